#include "CanvasFixture.hpp"
#include "support/Fonts.hpp"

#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/images/Luminance.hpp>

#include <algorithm>
#include <any>
#include <chrono>
#include <future>
#include <string>

namespace tarnel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class CanvasTextTest : public test::CanvasFixture {
protected:
    CanvasTextTest() { device->glypher.setCustomFont(Font::withFile(test::notoSans, 28)); }

    static MessagePackValue map(const char* key, MessagePackValue value) {
        return MessagePackValue::map({{key, std::move(value)}});
    }
    static MessagePackValue label(std::initializer_list<MessagePackValue> elements) {
        return map("label", MessagePackValue::array(elements));
    }
    MessagePackValue font(const char* characters, const char* locale = "en-US") const {
        return map("font", device->glypher.toBinFont(characters, locale).value());
    }
    const MessagePackValue flush = map("flush", nullptr);

    /// The commands of the only message that a commit sends.
    std::vector<MessagePackValue> committed() {
        device->messages.clear();
        canvas.commit();
        EXPECT_THAT(device->messages, SizeIs(1));
        const auto* commands = device->messages.empty() ? nullptr : device->messages[0]["lvgl_obj"];
        const auto* array = commands ? commands->arrayValue() : nullptr;
        EXPECT_TRUE(array);
        return array ? *array : std::vector<MessagePackValue>();
    }

    Bytes mirrorPixels() const {
        const Image mirror = canvas.mirror();
        return {mirror.data().begin(), mirror.data().end()};
    }

    /// What the mirror is with this text's line starting at (x, y) on its baseline, in green, and nothing else.
    static Bytes pixelsOfLine(const std::string& text, int x, int y) {
        const auto drawing = TextProperties{text, {}, {}, {}}.ctLine().draw();
        Bytes pixels(std::size_t{Canvas::WIDTH} * Canvas::HEIGHT);
        for (int row = 0; row < drawing.image.height(); ++row) {
            for (int column = 0; column < drawing.image.width(); ++column) {
                const int left = x - drawing.originX + column;
                const int top = y - drawing.originY + row;
                if (left >= 0 && left < Canvas::WIDTH && top >= 0 && top < Canvas::HEIGHT) {
                    const auto* pixel = &drawing.image.row(row)[static_cast<std::size_t>(column) * 4];
                    pixels[static_cast<std::size_t>(top * Canvas::WIDTH + left)] =
                        luminance(pixel[0], pixel[1], pixel[2], pixel[3]);
                }
            }
        }
        return pixels;
    }
    static Size sizeOf(const std::string& text) { return TextProperties{text, {}, {}, {}}.estimatedSize(); }
};

using CanvasTextDeathTest = CanvasTextTest;

TEST_F(CanvasTextTest, SendsALabelAtTheCommitWithAFontOfItsCharacters) {
    EXPECT_EQ(canvas.createText("Grüße", {.textAlignment = TextAlignment::center,
                                          .textColor = Color::mid,
                                          .anchor = Anchor::bottomRight,
                                          .xOffset = -10,
                                          .yOffset = 20,
                                          .isVisible = false}),
              0);
    EXPECT_THAT(device->messages, IsEmpty());
    EXPECT_THAT(committed(), ElementsAre(label({0, 2, 2, 6, -10, 20, false, "Grüße"}), font("Grüße"), flush));
    EXPECT_THAT(device->types, ElementsAre(ItemType::longwrite));
    device->messages.clear();
    canvas.commit();
    EXPECT_THAT(device->messages, IsEmpty());
}

TEST_F(CanvasTextTest, TheDefaultWrapModeOrNoWidthMakesALabelOfEightElements) {
    canvas.createText("a", {.width = 200, .height = 50});
    canvas.createText("b", {.height = 50, .wrapMode = TextWrapMode::clip});
    canvas.createText("c", {.width = -2, .wrapMode = TextWrapMode::clip});
    canvas.createText("d", {.width = 0, .height = 60, .wrapMode = TextWrapMode::clip});
    canvas.createText("e", {.width = 300, .wrapMode = TextWrapMode::wrap});
    EXPECT_THAT(committed(),
                ElementsAre(label({0, 0, 3, 1, 0, 0, true, "a"}), label({1, 0, 3, 1, 0, 0, true, "b"}),
                            label({2, 0, 3, 1, 0, 0, true, "c"}), label({3, 0, 3, 1, 0, 0, true, "d", 0, 60, 4}),
                            label({4, 0, 3, 1, 0, 0, true, "e", 300, -1, 0}), font("abcde"), flush));
}

TEST_F(CanvasTextTest, AReplacedTextHasMinusOneAsItsHeightAndAsItsWrapMode) {
    canvas.createText("old", {.width = 300, .height = 40, .wrapMode = TextWrapMode::scrollCircular});
    canvas.updateText("new", 0);
    canvas.createText("short", {});
    canvas.updateText("a longer one", 1);
    EXPECT_THAT(committed(), ElementsAre(label({0, 0, 3, 1, 0, 0, true, "new", 300, -1, -1}),
                                         label({1, 0, 3, 1, 0, 0, true, "a longer one", sizeOf("short").width, -1, -1}),
                                         font("newa longer one"), flush));
}

TEST_F(CanvasTextTest, EveryCommitOfTextsSendsAllLabelsAgain) {
    canvas.createText("one", {});
    canvas.createText("two", {});
    (void)committed();
    canvas.updateText("three", 1);
    EXPECT_THAT(committed(), ElementsAre(label({0, 0, 3, 1, 0, 0, true, "one"}),
                                         label({1, 0, 3, 1, 0, 0, true, "three", sizeOf("two").width, -1, -1}),
                                         font("onethree"), flush));
    canvas.removeText(0);
    canvas.updateText("four", 1);
    EXPECT_THAT(committed(), SizeIs(3));
}

TEST_F(CanvasTextTest, ALabelThatWasMovedOrHiddenIsSentAsItWasMadeUntilItsTextIsReplaced) {
    canvas.createText("text", {});
    canvas.moveText(0, 30, 40);
    canvas.setTextVisible(0, false);
    EXPECT_THAT(committed(), ElementsAre(label({0, 0, 3, 1, 0, 0, true, "text"}), font("text"), flush));
    canvas.updateText("text", 0);
    EXPECT_EQ(committed().at(0), label({0, 0, 3, 1, 30, 40, false, "text", sizeOf("text").width, -1, -1}));
}

TEST_F(CanvasTextTest, WhoIsShownTheGlyphsMayUseTheCanvasOnAnotherThread) {
    std::vector<std::future<int>> others;
    const auto observation = platform.notificationCenter().observe("imageTest", [&](const platform::Notification&) {
        others.push_back(std::async(std::launch::async, [&] { return canvas.mirror().width(); }));
        EXPECT_EQ(others.back().wait_for(std::chrono::seconds(5)), std::future_status::ready);
    });
    canvas.createText("ab", {});
    EXPECT_EQ(others.size(), 0U);
    canvas.commit();
    EXPECT_EQ(others.size(), 2U);
}

TEST_F(CanvasTextTest, AsksForAFontInTheUsersLocale) {
    platform.application->setLocale("ja-JP");
    canvas.createText("text", {});
    EXPECT_EQ(committed().at(1), font("text", "ja-JP"));
}

TEST_F(CanvasTextTest, TheFontOfALabelThatIsCutHasTheDots) {
    canvas.createText("a", {.width = 100, .wrapMode = TextWrapMode::truncate});
    EXPECT_EQ(committed().at(1), font("a."));
    canvas.updateText("b", 0);
    EXPECT_EQ(committed().at(1), font("b"));
}

TEST_F(CanvasTextTest, SendsLabelsWithoutAFontWhereThereIsNone) {
    device->glypher.setShouldGlyph(false);
    canvas.createText("text", {});
    EXPECT_THAT(committed(), ElementsAre(label({0, 0, 3, 1, 0, 0, true, "text"}), flush));
}

TEST_F(CanvasTextTest, AnEmptyTextIsALabelWithoutAFont) {
    canvas.createText("", {});
    EXPECT_THAT(committed(), ElementsAre(label({0, 0, 3, 1, 0, 0, true, ""}), flush));
}

TEST_F(CanvasTextTest, ChangesNoLabelWhereThereIsNone) {
    canvas.updateText("text", 3);
    EXPECT_THAT(committed(), ElementsAre(flush));
}

TEST_F(CanvasTextTest, TheEighthLabelReusesTheIdOfTheOldest) {
    for (int n = 0; n < 7; ++n) {
        ASSERT_EQ(canvas.createText(std::to_string(n), {}), n);
        platform.advance(std::chrono::seconds(1));
    }
    EXPECT_EQ(canvas.createText("8", {}), 0);
    EXPECT_EQ(committed().at(0), label({0, 0, 3, 1, 0, 0, true, "8"}));
}

TEST_F(CanvasTextTest, MakesNoLabelWithoutAConnection) {
    device->isConnected = false;
    EXPECT_EQ(canvas.createText("text", {}), std::nullopt);
    EXPECT_THAT(committed(), ElementsAre(flush));
}

TEST_F(CanvasTextTest, KeepsLabelsForLaterWhileNoDeviceIsCurrent) {
    canvas.createText("text", {});
    device->isCurrent = false;
    canvas.commit();
    EXPECT_THAT(device->messages, IsEmpty());
    device->isCurrent = true;
    EXPECT_THAT(committed(), SizeIs(3));
}

TEST_F(CanvasTextTest, TellsTheLogOfLabelsThatTheGlassesWillRefuseAndSendsThem) {
    setLogEnabled(true);
    std::vector<std::string> lines;
    const auto observation =
        ::tarnel::platform::Platform::current().notificationCenter().observe("log", [&](const auto& notification) {
            lines.push_back(std::any_cast<std::string>(notification.userInfo.at("msg")));
        });
    device->glypher.setShouldGlyph(false);
    // The rest of the message takes 37 bytes.
    canvas.createText(std::string(9963, 'a'), {});
    (void)committed();
    EXPECT_EQ(device->sizes.back(), 10000u);
    EXPECT_THAT(lines, IsEmpty());
    canvas.createText(std::string(1, 'b'), {});
    EXPECT_THAT(committed(), SizeIs(3));
    setLogEnabled(false);
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_THAT(lines[0], HasSubstr("the glasses refuse more than 10000"));
    EXPECT_THAT(lines[0], HasSubstr("Canvas:"));
}

TEST_F(CanvasTextTest, AFontThatDoesNotFitInTheMessageIsLeftOut) {
    canvas.createText("a", {});
    std::string scattered;
    for (int i = 0; i < 300; ++i) {
        scattered +=
            {static_cast<char>(0xE4 + i / 100), static_cast<char>(0xB8 + i % 7), static_cast<char>(0x80 + i % 61)};
    }
    canvas.createText(scattered, {});
    EXPECT_THAT(committed(), SizeIs(3)) << "two labels and the flush";
    EXPECT_LT(device->sizes.back(), 10000u);
    canvas.removeText(1);
    canvas.updateText("b", 0);
    EXPECT_EQ(committed().at(1), font("b"));
}

TEST_F(CanvasTextTest, TextThatNoMessageHasRoomForIsRefused) {
    EXPECT_EQ(canvas.createText(std::string(10'000, 'a'), {}), std::nullopt);
    canvas.commit();
    EXPECT_THAT(device->messages, IsEmpty());
    EXPECT_EQ(canvas.createText("short", {}), 0);
    canvas.updateText(std::string(10'000, 'a'), 0);
    EXPECT_EQ(committed().at(1), font("short"));
}

TEST_F(CanvasTextTest, DrawsLabelsInTheMirrorAtTheCommitAndNotBefore) {
    canvas.createText("Wagen", {.textColor = Color::dim, .xOffset = 100, .yOffset = 50});
    expectMirrorIsBlack();
    canvas.commit();
    const Bytes expected = pixelsOfLine("Wagen", 100, 50 + sizeOf("Wagen").height);
    EXPECT_GT(std::count(expected.begin(), expected.end(), 150), 50) << "full green is 0.59";
    EXPECT_EQ(mirrorPixels(), expected);
}

TEST_F(CanvasTextTest, DrawsLabelsInTheMirrorByTheirAnchor) {
    canvas.createText("Wagen", {.anchor = Anchor::bottomCenter, .yOffset = 10});
    canvas.commit();
    EXPECT_EQ(mirrorPixels(), pixelsOfLine("Wagen", 320 - sizeOf("Wagen").width / 2, 470));
}

TEST_F(CanvasTextTest, AReplacedOrMovedOrRemovedLabelLeavesNothingInTheMirror) {
    canvas.createText("jagged", {.xOffset = 100, .yOffset = 50});
    canvas.commit();
    canvas.updateText("Wagen", 0);
    EXPECT_EQ(mirrorPixels(), pixelsOfLine("jagged", 100, 50 + sizeOf("jagged").height));
    canvas.commit();
    EXPECT_EQ(mirrorPixels(), pixelsOfLine("Wagen", 100, 50 + sizeOf("jagged").height));
    canvas.moveText(0, 110, 57);
    EXPECT_EQ(mirrorPixels(), pixelsOfLine("Wagen", 110, 57 + sizeOf("jagged").height));
    canvas.removeText(0);
    expectMirrorIsBlack();
}

TEST_F(CanvasTextTest, CutsLabelsOffAtTheEdgesOfTheMirror) {
    canvas.createText("Wagen", {.anchor = Anchor::bottomRight, .xOffset = 30, .yOffset = -5});
    canvas.createText("Wagen", {.xOffset = -30, .yOffset = -5});
    canvas.commit();
    const Bytes right = pixelsOfLine("Wagen", 670 - sizeOf("Wagen").width, 485);
    Bytes both = pixelsOfLine("Wagen", -30, sizeOf("Wagen").height - 5);
    std::transform(both.begin(), both.end(), right.begin(), both.begin(),
                   [](std::uint8_t a, std::uint8_t b) { return std::max(a, b); });
    EXPECT_EQ(mirrorPixels(), both);
}

TEST_F(CanvasTextDeathTest, StopsAtOffsetsThatOverflow) {
    canvas.createText("text", {.yOffset = 2147483647});
    EXPECT_DEATH(canvas.commit(), "overflow");
}

} // namespace
} // namespace tarnel
