#include "DeviceFixture.hpp"
#include "support/Fonts.hpp"

#include <TarnelSDK/images/UIImage+Extension.hpp>

namespace tarnel {
namespace {

using test::valuesOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class TextCommandsTest : public test::DeviceFixture {
protected:
    TextCommandsTest() {
        startSession();
        device->setCustomFontForAllText(Font::withFile(test::notoSans, 28));
    }

    void take(Layout layout) {
        device->setLayout(layout, 180, false);
        platform.run();
        peripheral->writes.clear();
    }

    /// [text, font]
    MessagePackValue withFont(const char* text, const char* locale = "en-US") {
        return MessagePackValue::array({text, device->glypher.toBinFont(text, locale).value()});
    }

    std::vector<MessagePackValue> sent() {
        platform.run();
        return messages();
    }
    static MessagePackValue map(const char* key, MessagePackValue value) {
        return MessagePackValue::map({{key, std::move(value)}});
    }

    const Image picture = Image(5, 2, PixelFormat::gray8, Bytes{0, 255, 0, 255, 0, 255, 0, 255, 0, 255});
};

TEST_F(TextCommandsTest, SendsATextWithTheFontOfItsCharactersToTheLayoutThatIsSet) {
    take(Layout::textBottomLeftAlign);
    device->sendText("Grüße");
    EXPECT_THAT(sent(), ElementsAre(map("tbla", withFont("Grüße"))));
    take(Layout::textBottomCenterAlign);
    device->sendText("Grüße");
    EXPECT_THAT(sent(), ElementsAre(map("tbca", withFont("Grüße"))));
}

TEST_F(TextCommandsTest, SendsNoTextInAnotherLayout) {
    device->sendText("text");
    for (const auto layout : {Layout::navigation, Layout::canvas, Layout::default_}) {
        take(layout);
        device->sendText("text");
        EXPECT_THAT(sent(), IsEmpty());
    }
}

TEST_F(TextCommandsTest, SendsATextAloneWhereThereIsNoFont) {
    device->glypher.setShouldGlyph(false);
    take(Layout::textBottomLeftAlign);
    device->sendText("text");
    EXPECT_THAT(sent(), ElementsAre(map("tbla", MessagePackValue::array({"text"}))));
    device->glypher.setShouldGlyph(true);
    take(Layout::textBottomCenterAlign);
    device->sendText("");
    EXPECT_THAT(sent(), ElementsAre(map("tbca", MessagePackValue::array({""}))));
}

TEST_F(TextCommandsTest, AsksForAFontInTheUsersLocale) {
    platform.application->setLocale("ja-JP");
    take(Layout::textBottomLeftAlign);
    device->sendText("text");
    EXPECT_THAT(sent(), ElementsAre(map("tbla", withFont("text", "ja-JP"))));
}

TEST_F(TextCommandsTest, OfTwoTextsWhileTheSlotIsBusyOnlyTheFirstIsSent) {
    take(Layout::textBottomLeftAlign);
    peripheral->room = 0;
    device->screenOff();
    device->sendText("first");
    device->sendText("second");
    peripheral->room = 100;
    report([this](auto& delegate) { delegate.isReadyToSendWriteWithoutResponse(peripheral); });
    EXPECT_THAT(valuesOf(sent(), "tbla"), ElementsAre(withFont("first")));
    device->sendText("third");
    EXPECT_THAT(valuesOf(sent(), "tbla"), SizeIs(2));
}

TEST_F(TextCommandsTest, SendsAnIconOfOneBitAPixelBeforeItsText) {
    take(Layout::navigation);
    device->sendTextAndImage("left", picture);
    EXPECT_THAT(sent(), ElementsAre(map("icon", toTNImage(picture, 1).value()),
                                    map("nav", MessagePackValue::array({9, withFont("left")}))));
}

TEST_F(TextCommandsTest, SendsATextWithoutAnIconUnderAnotherNumber) {
    take(Layout::navigation);
    device->sendTextAndImage("left", std::nullopt);
    EXPECT_THAT(sent(), ElementsAre(map("nav", MessagePackValue::array({0, withFont("left")}))));
}

TEST_F(TextCommandsTest, AnIconWithoutPixelsIsNotSentButCounts) {
    device->glypher.setShouldGlyph(false);
    take(Layout::navigation);
    device->sendTextAndImage("left", Image());
    EXPECT_THAT(sent(), ElementsAre(map("nav", MessagePackValue::array({9, MessagePackValue::array({"left"})}))));
}

TEST_F(TextCommandsTest, SendsNoIconInAnotherLayout) {
    device->sendTextAndImage("left", picture);
    for (const auto layout : {Layout::textBottomLeftAlign, Layout::textBottomCenterAlign, Layout::canvas}) {
        take(layout);
        device->sendTextAndImage("left", picture);
        EXPECT_THAT(sent(), IsEmpty());
    }
}

TEST_F(TextCommandsTest, HandsTheCustomFontToTheGlypherAndBack) {
    const auto font = Font::withFile(test::notoSans, 17);
    device->setCustomFontForAllText(font);
    ASSERT_TRUE(device->glypher.customFont());
    EXPECT_EQ(device->glypher.customFont()->name(), "NotoSans-Regular");
    device->setCustomFontForAllText(std::nullopt);
    EXPECT_EQ(device->glypher.customFont(), std::nullopt);
}

} // namespace
} // namespace tarnel
