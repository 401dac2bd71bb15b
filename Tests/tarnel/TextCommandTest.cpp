#include "Tarnel.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace tarnel::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// Where a frame is lit.
struct Ink {
    int left = 640;
    int top = 480;
    int right = -1;
    int bottom = -1;
    int count = 0;
    int brightest = 0;

    int width() const { return right - left + 1; }
    int height() const { return bottom - top + 1; }
};

class TextCommand : public testing::Test {
protected:
    const TemporaryFolder folder;
    const std::string frame = folder / "frame.png";

    CommandResult show(std::vector<std::string> arguments, std::string_view input = {}) const {
        arguments.insert(arguments.begin(), "text");
        arguments.insert(arguments.end(), {"--simulated", "--frame", frame});
        return runTarnel(arguments, input);
    }

    /// What is lit below the status bar.
    Ink ink(std::vector<std::string> arguments) const {
        const auto result = show(std::move(arguments));
        EXPECT_EQ(result.status, 0) << result.error;
        return inkOfFrame();
    }
    Ink inkOfFrame() const {
        const Bytes levels = levelsOfFrame(frame);
        Ink ink;
        for (int y = 60; y < 480; ++y) {
            for (int x = 0; x < 640; ++x) {
                const int level = levels[static_cast<std::size_t>(y * 640 + x)];
                if (level > 0) {
                    ink = {std::min(ink.left, x),   std::min(ink.top, y), std::max(ink.right, x),
                           std::max(ink.bottom, y), ink.count + 1,        std::max(ink.brightest, level)};
                }
            }
        }
        return ink;
    }
};

TEST_F(TextCommand, ShowsALabelInTheMiddle) {
    const Ink shown = ink({"Grüße"});
    EXPECT_NEAR((shown.left + shown.right) / 2, 320, 4);
    EXPECT_NEAR((shown.top + shown.bottom) / 2, 240, 12);
    EXPECT_GT(shown.count, 200);
    EXPECT_EQ(shown.brightest, 3);
}

TEST_F(TextCommand, ShowsALineAtTheBottomLeftOrCentre) {
    const Ink left = ink({"Grüße", "--layout", "left"});
    EXPECT_LT(left.right, 320);
    EXPECT_GT(left.top, 360);
    const Ink center = ink({"Grüße", "--layout", "center"});
    EXPECT_NEAR((center.left + center.right) / 2, 320, 4);
    EXPECT_EQ(center.count, left.count) << "the same letters";
}

TEST_F(TextCommand, PutsALabelWhereItIsTold) {
    const Ink shown = ink({"Grüße", "--anchor", "bottomRight", "--at=-20,-30", "--color", "mid"});
    EXPECT_GT(shown.left, 500);
    EXPECT_LE(shown.right, 620);
    EXPECT_NEAR(shown.bottom, 440, 10);
    EXPECT_EQ(shown.brightest, 2);
}

TEST_F(TextCommand, WrapsTextInAWidth) {
    const Ink line = ink({"one two three four"});
    const Ink wrapped = ink({"one two three four", "--wrap", "wrap", "--width", "100", "--align", "right"});
    EXPECT_GT(line.width(), 200);
    EXPECT_LE(wrapped.width(), 100);
    EXPECT_GT(wrapped.height(), 2 * line.height());
    EXPECT_EQ(wrapped.count, line.count);
}

TEST_F(TextCommand, DrawsLargerLettersWithALargerSize) {
    const Ink usual = ink({"Wagen"});
    const Ink large = ink({"Wagen", "--size", "56"});
    EXPECT_NEAR(large.width(), 2 * usual.width(), 8);
    EXPECT_NEAR(large.height(), 2 * usual.height(), 4);
}

TEST_F(TextCommand, TakesTheFontThatItIsTold) {
    const int usual = ink({"Wagen"}).count;
    EXPECT_NE(ink({"Wagen", "--font", "/usr/share/fonts/truetype/noto/NotoSerif-Regular.ttf"}).count, usual);
    const auto refused = show({"Wagen", "--font", "No Such Family"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.error, HasSubstr("no font family \"No Such Family\" is installed"));
}

TEST_F(TextCommand, DrawsHanCharactersInTheFormsOfTheLocale) {
    ASSERT_EQ(show({"直骨", "--locale", "ja-JP"}).status, 0);
    const Bytes japanese = levelsOfFrame(frame);
    ASSERT_EQ(show({"直骨", "--locale", "zh-CN"}).status, 0);
    EXPECT_NE(levelsOfFrame(frame), japanese);
}

TEST_F(TextCommand, ReadsTheTextFromStandardInput) {
    const int count = ink({"Grüße"}).count;
    ASSERT_EQ(show({"-"}, "Grüße\n").status, 0);
    EXPECT_EQ(inkOfFrame().count, count);
}

TEST_F(TextCommand, TextThatIsNoTextIsAFailure) {
    for (const std::string_view input : {std::string_view("\xff\xfe"), std::string_view("a\0b", 3)}) {
        const auto result = show({"-"}, input);
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.error, StartsWith("tarnel: the text "));
    }
    EXPECT_EQ(show({"\xff"}).status, 1);
    EXPECT_EQ(show({"-"}, std::string(100'000, 'a')).status, 1);
    EXPECT_FALSE(std::filesystem::exists(frame));
}

TEST_F(TextCommand, TextThatDoesNotFitInAMessageIsAFailureThatSaysWhatToDo) {
    for (const std::string layout : {"canvas", "left"}) {
        const auto result = show({"-", "--layout", layout}, std::string(12'000, 'a'));
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.error, StartsWith("tarnel: the text and its font take 12,"));
    }
}

TEST_F(TextCommand, TextWiderThanTheDisplayIsWrapped) {
    ASSERT_EQ(show({"one two three four five six seven eight nine ten eleven twelve thirteen"}).status, 0);
    const auto wrapped = inkOfFrame();
    EXPECT_GE(wrapped.left, 20);
    EXPECT_LE(wrapped.right, 620);
    EXPECT_GT(wrapped.bottom - wrapped.top, 40);
}

TEST_F(TextCommand, DescribesWhatItDidInJSON) {
    const auto result = show({"Grüße", "--json", "--trace", folder / "trace.jsonl"});
    ASSERT_EQ(result.status, 0) << result.error;
    const auto json = nlohmann::json::parse(result.output);
    EXPECT_EQ(json.at("text"), "Grüße");
    EXPECT_EQ(json.at("frame"), frame);
    EXPECT_GT(json.at("bytes"), 100);
    EXPECT_EQ(json.at("trace"), folder / "trace.jsonl");
    EXPECT_GT(summaryOfTrace(folder / "trace.jsonl").writesWithoutResponse, 0U);
}

TEST_F(TextCommand, AnEmptyTextShowsNothing) {
    EXPECT_EQ(ink({""}).count, 0);
    EXPECT_EQ(ink({" "}).count, 0);
}

} // namespace
} // namespace tarnel::test
