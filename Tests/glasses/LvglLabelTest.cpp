#include "LvglData.hpp"

#include <TarnelGlasses/LvglLabel.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>

namespace tarnel::glasses {
namespace {

using namespace std::chrono_literals;
using namespace test;
using nlohmann::json;

std::shared_ptr<const LvglFont> cachedFont(const std::string& name) {
    static std::map<std::string, std::shared_ptr<const LvglFont>> fonts;
    auto& font = fonts[name];
    if (!font) {
        font = lvglFont(name);
    }
    return font;
}

std::optional<int> optionalInt(const json& object, const char* key) {
    return object.contains(key) ? std::optional<int>(object.at(key).get<int>()) : std::nullopt;
}

LvglLabel makeLabel(const json& label) {
    const bool isBlack = label.value("color", "white") == "black";
    return {cachedFont(label.at("font")),
            {.text = label.at("text"),
             .alignment = static_cast<LvglAlignment>(label.at("alignment").get<int>()),
             .level = isBlack ? std::uint8_t{0} : std::uint8_t{3},
             .anchor = static_cast<LvglAnchor>(label.at("anchor").get<int>()),
             .xOffset = label.at("xOffset"),
             .yOffset = label.at("yOffset"),
             .width = optionalInt(label, "width"),
             .height = optionalInt(label, "height"),
             .longMode = static_cast<LvglLongMode>(label.value("wrap", 0))}};
}

const json& labelCases() {
    static const json cases = lvglJSON("labels/labels.json").at("cases");
    return cases;
}

std::chrono::milliseconds ageOf(const json& given) {
    return std::chrono::milliseconds(given.at("time_ms").get<int>());
}

void expectLayout(const json& part, std::chrono::milliseconds age) {
    const auto label = makeLabel(part);
    const auto& result = part.at("result");
    EXPECT_EQ(label.box(), (LvglBox{result.at("x"), result.at("y"), result.at("width"), result.at("height")})) << part;
    EXPECT_EQ(label.drawMargin(), result.at("draw_margin"));
    EXPECT_EQ(label.drawnText(), result.value("drawn_text", part.at("text").get<std::string>()));
    const auto& lines = result.at("lines");
    ASSERT_EQ(label.lines().size(), lines.size()) << lines;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const auto& line = label.lines()[i];
        EXPECT_EQ(label.drawnText().substr(line.begin, line.end - line.begin), lines[i].at("text"));
        EXPECT_EQ(line.width, lines[i].at("width")) << lines[i];
    }
    if (result.contains("scroll_x")) {
        EXPECT_EQ(label.offset(age), (LvglLabel::Offset{result.at("scroll_x"), result.at("scroll_y")}));
    } else {
        EXPECT_FALSE(label.isMoving());
    }
}

void expectPicture(const json& given) {
    Frame frame;
    for (const auto& label : given.at("labels")) {
        makeLabel(label).draw(frame, ageOf(given));
    }
    const auto picture = lvglPicture("labels/" + given.at("picture").get<std::string>());
    ASSERT_EQ(picture.format(), PixelFormat::gray8);
    const auto levels = ByteView(frame.levels());
    int lit = 0;
    for (int y = 0; y < Frame::height; ++y) {
        const auto row = levels.subspan(static_cast<std::size_t>(y) * Frame::width, Frame::width);
        const auto expected = picture.row(y);
        const bool isEqual = std::equal(row.begin(), row.end(), expected.begin(), expected.end(),
                                        [](auto level, auto grey) { return (level == 3) == (grey != 0); });
        EXPECT_TRUE(isEqual) << "row " << y;
        lit += static_cast<int>(std::count(row.begin(), row.end(), 3));
    }
    EXPECT_EQ(lit, given.at("lit"));
}

/// The cases whose ids begin with one word.
class LvglLabelCases : public testing::TestWithParam<std::string> {
protected:
    std::vector<json> cases() const {
        std::vector<json> cases;
        const auto& all = labelCases();
        std::copy_if(all.begin(), all.end(), std::back_inserter(cases), [](const json& given) {
            const std::string id = given.at("id");
            return id.substr(0, id.find('-')) == GetParam();
        });
        return cases;
    }
};

TEST_P(LvglLabelCases, areLaidOutAsLvglDoes) {
    for (const auto& given : cases()) {
        SCOPED_TRACE(given.at("id").get<std::string>());
        for (const auto& part : given.at("labels")) {
            expectLayout(part, ageOf(given));
        }
    }
}

TEST_P(LvglLabelCases, areDrawnAsLvglDoesPixelForPixel) {
    for (const auto& given : cases()) {
        SCOPED_TRACE(given.at("id").get<std::string>());
        expectPicture(given);
    }
}

const std::map<std::string, std::size_t>& labelFamilies() {
    static const std::map<std::string, std::size_t> families = {
        {"align", 20},  {"anchor", 22}, {"circ", 28}, {"dot", 19}, {"emoji", 4}, {"empty", 3},
        {"font", 9},    {"h", 11},      {"miss", 12}, {"nl", 11},  {"off", 7},   {"overlap", 4},
        {"recolor", 1}, {"scroll", 28}, {"space", 2}, {"tab", 5},  {"two", 1},   {"wrap", 38}};
    return families;
}

std::vector<std::string> labelFamilyNames() {
    std::vector<std::string> names;
    for (const auto& family : labelFamilies()) {
        names.push_back(family.first);
    }
    return names;
}

INSTANTIATE_TEST_SUITE_P(Labels, LvglLabelCases, testing::ValuesIn(labelFamilyNames()),
                         [](const auto& parameter) { return parameter.param; });

TEST_P(LvglLabelCases, areAllThere) {
    EXPECT_EQ(cases().size(), labelFamilies().at(GetParam()));
}

TEST(LvglLabel, hasAllTheCasesOfTheData) {
    std::size_t count = 0;
    for (const auto& family : labelFamilies()) {
        count += family.second;
    }
    EXPECT_EQ(count, 225U);
    EXPECT_EQ(labelCases().size(), count);
}

TEST(LvglLabel, endsAtANul) {
    const LvglLabel label(cachedFont("fonts/latin28.bin"), {.text = std::string("ab\0cd", 5)});
    EXPECT_EQ(label.drawnText(), "ab");
}

TEST(LvglLabel, drawsInItsLevelAndMovesToItsPlace) {
    LvglLabel label(cachedFont("fonts/single48.bin"), {.text = "A", .level = 2, .anchor = LvglAnchor::bottomRight});
    EXPECT_EQ(label.box(), (LvglBox{640 - 31, 480 - 34, 31, 34}));
    label.moveTo(-100, -50);
    EXPECT_EQ(label.box(), (LvglBox{640 - 131, 480 - 84, 31, 34}));
    Frame frame;
    label.draw(frame, 0ms);
    EXPECT_EQ(frame.at(640 - 131 + 15, 480 - 84), 2);
    EXPECT_EQ(std::count(frame.levels().begin(), frame.levels().end(), 3), 0);
}

TEST(LvglLabel, drawsNothingForMissingGlyphsInTheOldestVersion) {
    const LvglLabel label(lvglFont("fonts/latin28.bin", LvglVersion::v8_2), {.text = "\xE4\xB8\xAD"});
    EXPECT_EQ(label.box().width, 0);
    EXPECT_EQ(label.drawMargin(), 4);
    Frame frame;
    label.draw(frame, 0ms);
    EXPECT_TRUE(frame.isDark());
}

TEST(LvglLabel, cutsTextOfMoreThanThreeLinesInDotModeWithContentHeight) {
    const LvglLabel label(cachedFont("fonts/latin28.bin"),
                          {.text = "1\n2\n3\n4444", .width = 200, .longMode = LvglLongMode::dots});
    EXPECT_EQ(label.drawnText(), "1\n2\n3...");
    EXPECT_EQ(label.box().height, 99);
}

TEST(LvglLabel, leavesOutWhatHostileGlyphsDrawUponOneAnother) {
    // The font's last glyph, of 31 x 34 pixels, made as narrow as nothing.
    auto file = lvglBytes("fonts/single48.bin");
    constexpr std::size_t defaultAdvance = 30;
    file[defaultAdvance] = 0;
    const auto font = std::make_shared<const LvglFont>(std::get<LvglFont>(LvglFont::load(file, LvglVersion::v8_3_11)));
    ASSERT_EQ(font->advance('A'), 0);
    constexpr auto glyphs = static_cast<std::size_t>(LvglLabel::maximumPixels / (31 * 34));
    const auto count = [&](std::size_t before) {
        Frame frame;
        const LvglLabel label(font, {.text = std::string(before, 'A') + "\nA", .width = 100});
        label.draw(frame, 0ms);
        return std::count(frame.levels().begin(), frame.levels().end(), 3);
    };
    EXPECT_EQ(count(10), 2 * count(glyphs + 10));
}

TEST(LvglText, readsBytesThatAreNoUtf8AsNothing) {
    const auto codePoints = [](std::string_view text) {
        std::vector<std::uint32_t> result;
        for (std::size_t position = 0; position < text.size();) {
            result.push_back(nextLvglCodePoint(text, position));
        }
        return result;
    };
    using Points = std::vector<std::uint32_t>;
    EXPECT_EQ(codePoints("a\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80"), (Points{'a', 0xE9, 0x4E2D, 0x1F600}));
    EXPECT_EQ(codePoints("\xC3"), Points{0});
    EXPECT_EQ(codePoints("\xC3"
                         "a"),
              (Points{0, 'a'}));
    EXPECT_EQ(codePoints("\x80\xFF"), (Points{0, 0}));
    EXPECT_EQ(codePoints("\xF0\x9F"), Points{0});
}

TEST(LvglText, isBrokenInTimeThatGrowsWithItsLength) {
    // A font of which most characters have no width, words without end, and lines of one character.
    const auto& font = *cachedFont("fonts/latin28.bin");
    for (const auto& text :
         {std::string(10'000, 'W'), std::string(10'000, '\x01'), std::string(10'000, ' '), std::string(10'000, '\n')}) {
        for (const int width : {0, 1, 30, 600, lvglMaximumCoordinate}) {
            const auto lines = breakLvglLines(font, text, width, LvglBreaking::words);
            EXPECT_EQ(lines.back().end, text.size());
            EXPECT_LE(lines.size(), text.size());
        }
    }
}

TEST(LvglAnimation, goesThereAndBackWithWaits) {
    const LvglAnimation animation{.end = -100, .duration = 100ms, .wait = 300ms, .goesBack = true};
    EXPECT_EQ(animation.at(0ms), 0);
    EXPECT_EQ(animation.at(50ms), -50);
    EXPECT_EQ(animation.at(100ms), -100);
    EXPECT_EQ(animation.at(120ms), -100) << "the lap's last move";
    EXPECT_EQ(animation.at(420ms), -100) << "the wait is over";
    EXPECT_EQ(animation.at(470ms), -50);
    EXPECT_EQ(animation.at(540ms), 0) << "120 ms and 400 ms, rounded up to moves";
    EXPECT_EQ(animation.at(840ms), 0);
    EXPECT_EQ(animation.at(890ms), -50);
}

TEST(LvglAnimation, startsAgainAtOnceWithoutWait) {
    const LvglAnimation animation{.end = 4, .duration = 100ms};
    EXPECT_EQ(animation.at(99ms), 3);
    EXPECT_EQ(animation.at(100ms), 4);
    EXPECT_EQ(animation.at(120ms), 4);
    EXPECT_EQ(animation.at(121ms), 0);
    EXPECT_EQ(animation.at(170ms), 2);
    EXPECT_EQ(animation.at(24h), 4);
    EXPECT_EQ(LvglAnimation::untilNextMove(0ms), 30ms);
    EXPECT_EQ(LvglAnimation::untilNextMove(59ms), 1ms);
}

TEST(LvglAnimation, staysAtTheEndWithoutDuration) {
    const LvglAnimation animation{.end = 4};
    EXPECT_EQ(animation.at(0ms), 4);
    EXPECT_EQ(animation.at(12'345ms), 4);
}

} // namespace
} // namespace tarnel::glasses
