#include "LvglData.hpp"
#include "WiredGlasses.hpp"

#include <TarnelGlasses/LvglLabel.hpp>
#include <TarnelGlasses/StatusBar.hpp>
#include <TarnelGlasses/TextScreen.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

namespace tarnel::glasses {
namespace {

using namespace std::chrono_literals;
using namespace test;
using testing::IsEmpty;

constexpr int textLeftLayout = 1;
constexpr int textCenterLayout = 2;
constexpr int navigationLayout = 3;
constexpr int margin = TextScreen::margin;

constexpr const char* longText = "A text that is longer than the display is wide and so goes on in another line";

Bytes fontFile(const std::string& name = "latin28") {
    return lvglBytes("fonts/" + name + ".bin");
}

/// Glasses with one layout taken, without status bar unless it is asked for.
struct LayoutGlasses : Glasses {
    explicit LayoutGlasses(int layout, bool hidesStatusBar = true, const GlassesOptions& options = {})
        : Glasses(options) {
        receive(message("control", list(false, 0, layout, "app", hidesStatusBar)));
    }
    Frame frame() const { return firmware.frame(); }
};

Frame drawn(const LvglLabelOptions& options, const std::string& font = "latin28") {
    Frame frame;
    LvglLabel(lvglFont("fonts/" + font + ".bin"), options).draw(frame, 0ms);
    return frame;
}

LvglLabelOptions leftText(const std::string& text) {
    return {.text = text, .anchor = LvglAnchor::bottomLeft, .xOffset = margin, .yOffset = -margin, .width = 600};
}

Bytes icon() {
    return lvglBytes("images/i1-100x50-ring.bin");
}

Frame navigation(const std::string& text, int left, int yOffset = 0) {
    return drawn({.text = text,
                  .anchor = LvglAnchor::midLeft,
                  .xOffset = left,
                  .yOffset = yOffset,
                  .width = 640 - margin - left});
}

void drawIcon(Frame& frame, int yOffset = 0) {
    std::get<LvglImage>(LvglImage::decode(icon())).draw(frame, margin, 240 - 25 + yOffset);
}

TEST(Layouts, showATextAtTheBottomLeftAtOnce) {
    LayoutGlasses glasses(textLeftLayout);
    glasses.receive(message("tbla", list(longText, fontFile())));
    EXPECT_EQ(glasses.frame(), drawn(leftText(longText)));
    glasses.receive(message("tbla", list("another")));
    EXPECT_EQ(glasses.frame(), drawn(leftText("another"))) << "with the earlier font";
    EXPECT_THAT(glasses.answers(), IsEmpty());
}

TEST(Layouts, showATextAtTheBottomCentre) {
    LayoutGlasses glasses(textCenterLayout);
    glasses.receive(message("tbca", list(longText, fontFile())));
    EXPECT_EQ(glasses.frame(), drawn({.text = longText,
                                      .alignment = LvglAlignment::center,
                                      .anchor = LvglAnchor::bottomCenter,
                                      .yOffset = -margin,
                                      .width = 600}));
}

TEST(Layouts, showNoTextWithoutAFont) {
    LayoutGlasses glasses(textLeftLayout);
    glasses.receive(message("tbla", list(longText)));
    EXPECT_TRUE(glasses.frame().isDark());
    EXPECT_THAT(glasses.answers(), IsEmpty());
}

TEST(Layouts, answerAFontThatCannotBeReadAndShowTheTextWithTheEarlierOne) {
    LayoutGlasses glasses(textLeftLayout);
    glasses.receive(message("tbla", list("one", fontFile())));
    glasses.receive(message("tbla", list("two", Bytes{1, 2, 3})));
    EXPECT_EQ(glasses.onlyAnswer(), entry("font", "the font is cut off"));
    EXPECT_EQ(glasses.frame(), drawn(leftText("two")));
}

TEST(Layouts, showTextOnlyInItsOwnLayoutAndInControl) {
    const std::array<std::pair<int, Bytes>, 4> commands = {{{textLeftLayout, message("tbla", list("a"))},
                                                            {textCenterLayout, message("tbca", list("a"))},
                                                            {navigationLayout, message("nav", list(0, list("a")))},
                                                            {navigationLayout, message("icon", icon())}}};
    for (const auto& [own, command] : commands) {
        Glasses without;
        without.receive(command);
        EXPECT_EQ(without.errorCode(), 2);
        for (int layout = textLeftLayout; layout <= canvasLayout; ++layout) {
            LayoutGlasses glasses(layout);
            glasses.receive(command);
            EXPECT_EQ(glasses.errorCode(), layout == own ? 0 : 2);
            glasses.firmware.takeControl("another");
            glasses.answers();
            glasses.receive(command);
            EXPECT_EQ(glasses.errorCode(), 2);
        }
    }
}

TEST(Layouts, showAnIconLeftOfTheNavigationsText) {
    LayoutGlasses glasses(navigationLayout);
    glasses.receive(message("icon", icon()));
    EXPECT_TRUE(glasses.frame().isDark()) << "it waits for its text";
    glasses.receive(message("nav", list(9, list("Turn right", fontFile()))));
    auto expected = navigation("Turn right", margin + 100 + margin);
    drawIcon(expected);
    EXPECT_EQ(glasses.frame(), expected);
    glasses.receive(message("nav", list(0, list("Go on"))));
    EXPECT_EQ(glasses.frame(), navigation("Go on", margin));
    glasses.receive(message("nav", list(9, list("Go on"))));
    expected = navigation("Go on", margin + 100 + margin);
    drawIcon(expected);
    EXPECT_EQ(glasses.frame(), expected) << "the icon is kept";
    EXPECT_THAT(glasses.answers(), IsEmpty());
}

TEST(Layouts, wrapTheNavigationsTextToWhatTheIconLeaves) {
    LayoutGlasses glasses(navigationLayout);
    glasses.receive(message("icon", icon()));
    glasses.receive(message("nav", list(9, list(longText, fontFile()))));
    auto expected = navigation(longText, margin + 100 + margin);
    drawIcon(expected);
    EXPECT_EQ(glasses.frame(), expected);
}

TEST(Layouts, shiftTheNavigationByItsProperty) {
    LayoutGlasses glasses(navigationLayout, true, {.navigationOffset = 30});
    glasses.receive(message("icon", icon()));
    glasses.receive(message("nav", list(9, list("Turn right", fontFile()))));
    auto expected = navigation("Turn right", margin + 100 + margin, 30);
    drawIcon(expected, 30);
    EXPECT_EQ(glasses.frame(), expected);
    const int changes = glasses.frameChanges;
    glasses.receive(message("nav_y_offset", -40));
    EXPECT_EQ(glasses.frameChanges, changes + 1);
    expected = navigation("Turn right", margin + 100 + margin, -40);
    drawIcon(expected, -40);
    EXPECT_EQ(glasses.frame(), expected);
    for (const auto farthest : {INT32_MIN, INT32_MAX}) {
        glasses.receive(message("nav_y_offset", farthest));
        EXPECT_TRUE(glasses.frame().isDark());
    }
}

TEST(Layouts, failWhatIsNotWellFormedAndShowNothing) {
    for (const auto& [layout, key] : {std::pair{textLeftLayout, "tbla"}, std::pair{textCenterLayout, "tbca"}}) {
        LayoutGlasses glasses(layout);
        for (const auto& wrong : {Value(), Value("text"), list(), list(5), list("a", "b"), list("a", fontFile(), 1)}) {
            glasses.receive(message(key, wrong));
            EXPECT_EQ(glasses.errorCode(), 2) << wrong.description();
        }
        EXPECT_TRUE(glasses.frame().isDark());
    }
    LayoutGlasses glasses(navigationLayout);
    for (const auto& wrong : {Value(), list(9), list(1, list("a")), list(10, list("a")), list(-1, list("a")),
                              list(9, "a"), list(0, list("a", 5)), list(0, list("a"), 1)}) {
        glasses.receive(message("nav", wrong));
        EXPECT_EQ(glasses.errorCode(), 2) << wrong.description();
    }
    for (const auto& wrong :
         {Value(), Value("icon"), Value(Bytes{}), Value(Bytes{7, 0, 0, 0}), Value(lvglBytes("images/i2-13x5.bin"))}) {
        glasses.receive(message("icon", wrong));
        EXPECT_EQ(glasses.errorCode(), 2);
    }
    EXPECT_TRUE(glasses.frame().isDark());
}

TEST(Layouts, lightTheDisplayWithAText) {
    LayoutGlasses glasses(textLeftLayout);
    glasses.receive(message("screen_off", {}));
    glasses.receive(message("tbla", list("a", fontFile())));
    EXPECT_TRUE(glasses.firmware.isDisplayOn());
    EXPECT_FALSE(glasses.frame().isDark());
}

TEST(Layouts, areEmptiedWhenControlIsTaken) {
    LayoutGlasses glasses(textLeftLayout);
    glasses.receive(message("tbla", list("a", fontFile())));
    glasses.receive(message("control", list(false, 0, textLeftLayout, "app", true)));
    EXPECT_TRUE(glasses.frame().isDark());
    glasses.receive(message("tbla", list("a")));
    EXPECT_TRUE(glasses.frame().isDark()) << "the font is gone too";
}

/// The frame of one clock and battery.
Frame bar(const std::string& time, int battery = 80, bool isCharging = false) {
    Frame frame;
    StatusBar{.time = time, .batteryLevel = battery, .isCharging = isCharging}.draw(frame);
    return frame;
}

TEST(Layouts, haveAStatusBarUnlessItIsHidden) {
    for (const int layout : {textLeftLayout, textCenterLayout, navigationLayout}) {
        LayoutGlasses hidden(layout);
        EXPECT_TRUE(hidden.frame().isDark());
        LayoutGlasses shown(layout, false);
        shown.receive(message("set_time", "20261121T093000"));
        EXPECT_EQ(shown.frame(), bar("20261121T093000"));
    }
}

TEST(Layouts, haveNoStatusBarOnTheCanvasAndTheGlassesOwnScreen) {
    LayoutGlasses onCanvas(canvasLayout, false);
    EXPECT_TRUE(onCanvas.frame().isDark());
    onCanvas.receive(control("tn", 0));
    EXPECT_TRUE(onCanvas.firmware.isDisplayOn());
    EXPECT_TRUE(onCanvas.frame().isDark());
}

TEST(Layouts, letTheClockOfTheStatusBarTick) {
    LayoutGlasses glasses(textLeftLayout, false);
    EXPECT_EQ(glasses.firmware.nextFrameChange(), std::nullopt);
    glasses.receive(message("set_time", "20261121T235950"));
    EXPECT_EQ(glasses.firmware.nextFrameChange(), 10s);
    glasses.now = 9s;
    EXPECT_EQ(glasses.frame(), bar("20261121T235900"));
    EXPECT_EQ(glasses.firmware.nextFrameChange(), 1s);
    glasses.now = 10s;
    EXPECT_EQ(glasses.frame(), bar("20261122T000000"));
    EXPECT_EQ(glasses.firmware.nextFrameChange(), 60s);
    EXPECT_TRUE(glasses.timers.empty());
}

TEST(Layouts, showBatteryAndChargingInTheStatusBar) {
    LayoutGlasses glasses(navigationLayout, false, {.batteryLevel = 25});
    glasses.receive(message("set_time", "20261121T093000"));
    EXPECT_EQ(glasses.frame(), bar("20261121T093000", 25));
    const int changes = glasses.frameChanges;
    glasses.firmware.setBattery(60, true);
    EXPECT_EQ(glasses.frameChanges, changes + 1);
    EXPECT_EQ(glasses.frame(), bar("20261121T093000", 60, true));
}

TEST(StatusBar, drawsEveryMinuteAndBatteryLevelDifferently) {
    std::vector<Frame> seen;
    for (const auto* time :
         {"20260101T000000", "20260101T112200", "20260101T223300", "20260101T134400", "20260101T155500",
          "20260101T166600", "20260101T177700", "20260101T188800", "20260101T199900", "20260101T100100"}) {
        seen.push_back(bar(time));
    }
    for (int battery = 0; battery <= 100; battery += 10) {
        seen.push_back(bar("20260101T111100", battery));
    }
    seen.push_back(bar("20260101T111100", 50, true));
    for (std::size_t i = 0; i < seen.size(); ++i) {
        for (std::size_t j = i + 1; j < seen.size(); ++j) {
            EXPECT_NE(seen[i].levels(), seen[j].levels()) << i << ", " << j;
        }
    }
}

/// The strokes that are lit of the character whose left edge is at x, from the top: top, upper left, upper right,
/// middle, lower left, lower right, bottom.
std::string strokes(const Frame& frame, int x) {
    std::string lit;
    for (const auto& [dx, y] : {std::pair{7, 15}, std::pair{1, 20}, std::pair{12, 20}, std::pair{7, 25},
                                std::pair{1, 32}, std::pair{12, 32}, std::pair{7, 36}}) {
        lit += frame.at(x + dx, y) == StatusBar::level ? '1' : '0';
    }
    return lit;
}

TEST(StatusBar, drawsHoursAndMinutesInSevenStrokesADigit) {
    const std::array<std::string, 10> digits = {"1110111", "0010010", "1011101", "1011011", "0111010",
                                                "1101011", "1101111", "1010010", "1111111", "1111011"};
    const std::array<int, 4> positions = {20, 40, 70, 90};
    for (const std::string shown : {"0123", "4567", "8901", "2345"}) {
        const auto frame = bar("20260101T" + shown + "59");
        for (std::size_t i = 0; i < positions.size(); ++i) {
            EXPECT_EQ(strokes(frame, positions.at(i)), digits.at(static_cast<std::size_t>(shown[i] - '0'))) << shown;
        }
        EXPECT_EQ(frame.at(61, 21), StatusBar::level) << "the colon's upper dot";
        EXPECT_EQ(frame.at(61, 26), 0);
        EXPECT_EQ(frame.at(61, 30), StatusBar::level) << "the colon's lower dot";
    }
}

TEST(StatusBar, fillsTheBatteryByItsLevelAndCrossesItWhenItCharges) {
    // The room within the outline begins at 580 and is 36 pixels wide.
    for (const auto& [level, pixels] : {std::pair{0, 0}, std::pair{50, 18}, std::pair{99, 35}, std::pair{100, 36}}) {
        const auto frame = bar("20260101T111100", level);
        EXPECT_EQ(frame.at(576, 26), StatusBar::level);
        EXPECT_EQ(frame.at(578, 26), 0);
        for (int x = 0; x < 36; ++x) {
            EXPECT_EQ(frame.at(580 + x, 26), x < pixels ? StatusBar::level : 0) << level << " percent at " << x;
        }
    }
    EXPECT_EQ(bar("20260101T111100", 50, true).at(562, 26), StatusBar::level);
    EXPECT_EQ(bar("20260101T111100", 50, false).at(562, 26), 0);
}

Frame barWith(std::size_t notifications) {
    Frame frame;
    StatusBar{.time = "20260101T085800", .batteryLevel = 100, .isCharging = true, .notifications = notifications}.draw(
        frame);
    return frame;
}

TEST(StatusBar, countsNotificationsBesideALetterInTheMiddle) {
    EXPECT_EQ(barWith(0), bar("20260101T085800", 100, true));
    // With one digit, the letter begins at 294 and the digit at 332; with two, at 284, 322 and 342.
    EXPECT_EQ(barWith(3).at(294, 26), StatusBar::level);
    EXPECT_EQ(barWith(0).at(294, 26), 0);
    EXPECT_EQ(strokes(barWith(3), 332), "1011011");
    EXPECT_EQ(strokes(barWith(42), 322), "0111010");
    EXPECT_EQ(strokes(barWith(42), 342), "1011101");
    EXPECT_EQ(barWith(100), barWith(99));
}

TEST(StatusBar, staysWithinItsRows) {
    auto frame = barWith(88);
    frame.fill(0, 0, 640, StatusBar::height, 0);
    EXPECT_TRUE(frame.isDark());
}

TEST(StatusBar, showsDashesWithoutATime) {
    Frame frame;
    StatusBar{}.draw(frame);
    EXPECT_FALSE(frame.isDark());
    EXPECT_EQ(frame.at(27, 26), StatusBar::level);
    EXPECT_EQ(frame.at(27, 15), 0);
}

} // namespace
} // namespace tarnel::glasses
