#include "LvglData.hpp"
#include "WiredGlasses.hpp"

#include <TarnelGlasses/LvglLabel.hpp>
#include <TarnelGlasses/ObjectLayer.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarnel::glasses {
namespace {

using namespace std::chrono_literals;
using namespace test;
using testing::IsEmpty;

constexpr int labelType = 0;
constexpr int imageType = 1;
constexpr int animationType = 2;

Bytes objects(Value value) {
    return message("lvgl_obj", std::move(value));
}

Bytes object(const std::string& key, Value value) {
    return objects(entry(key, std::move(value)));
}

Value flushCommand() {
    return entry("flush", {});
}

Value fontCommand(const std::string& name) {
    return entry("font", lvglBytes("fonts/" + name + ".bin"));
}

/// A label of eight elements at the top left.
Value label(int id, const std::string& text, int x = 0, int y = 0, int level = 3, bool isVisible = true) {
    return entry("label", list(id, 0, level, 1, x, y, isVisible, text));
}

Value sizedLabel(int id, const std::string& text, int width, int height, int mode) {
    return entry("label", list(id, 0, 3, 1, 0, 0, true, text, width, height, mode));
}

/// A picture of 2 bits a pixel, of one index.
Bytes picture(int width, int height, int index) {
    Bytes file = {8,
                  static_cast<std::uint8_t>(width << 2),
                  static_cast<std::uint8_t>((height & 7) << 5 | width >> 6),
                  static_cast<std::uint8_t>(height >> 3),
                  0,
                  0,
                  0,
                  0,
                  0,
                  0x40,
                  0,
                  0xFF,
                  0,
                  0x80,
                  0,
                  0xFF,
                  0,
                  0xC0,
                  0,
                  0xFF};
    const int pixels = (width + 3) / 4 * height;
    file.insert(file.end(), static_cast<std::size_t>(pixels), static_cast<std::uint8_t>(index * 0x55));
    return file;
}

Value image(int id, int x, int y, const Bytes& bytes, bool isVisible = true) {
    return entry("image", list(id, 1, x, y, isVisible, bytes));
}

Value animation(int duration, Value frames, bool isVisible = true) {
    return entry("animate", list(0, duration, 1, 0, 0, std::move(frames), isVisible));
}

Frame filled(int left, int top, int right, int bottom, int level) {
    Frame frame;
    frame.fill(left, top, right, bottom, static_cast<std::uint8_t>(level));
    return frame;
}

/// What a label alone looks like.
Frame drawn(const LvglLabelOptions& options, const std::string& font = "single48",
            std::chrono::milliseconds age = 0ms) {
    Frame frame;
    LvglLabel(lvglFont("fonts/" + font + ".bin"), options).draw(frame, age);
    return frame;
}

/// Glasses whose canvas an application has.
struct Canvas : Glasses {
    explicit Canvas(const GlassesOptions& options = {}) : Glasses(options) { takeCanvas(); }

    template <typename... Commands>
    void send(Commands... commands) {
        receive(objects(list(std::move(commands)...)));
    }
    Frame frame() const { return firmware.frame(); }
};

TEST(Objects, areDrawnOutOfSightUntilTheirFlush) {
    Canvas glasses;
    glasses.send(image(0, 10, 20, picture(8, 4, 2)), label(0, "A"), fontCommand("single48"));
    glasses.flush();
    EXPECT_TRUE(glasses.frame().isDark()) << "the canvas's own flush shows the background only";
    glasses.receive(object("flush", {}));
    auto expected = filled(10, 20, 18, 24, 2);
    LvglLabel(lvglFont("fonts/single48.bin"), {.text = "A"}).draw(expected, 0ms);
    EXPECT_EQ(glasses.frame(), expected);

    glasses.send(image(0, 0, 0, picture(4, 4, 1)), label(0, ""));
    EXPECT_EQ(glasses.frame(), expected);
    glasses.send(flushCommand());
    EXPECT_EQ(glasses.frame(), filled(0, 0, 4, 4, 1));
    EXPECT_THAT(glasses.answers(), IsEmpty());
}

TEST(Objects, doNotShowTheBackgroundWithTheirFlush) {
    Canvas glasses;
    glasses.receive(canvas("cnvs_clrblk", list(0, 0, 640, 480, 3)));
    glasses.send(flushCommand());
    EXPECT_TRUE(glasses.frame().isDark());
}

TEST(Objects, lightTheDisplayWithTheirFlush) {
    Canvas glasses;
    glasses.send(image(0, 0, 0, picture(4, 4, 1)), flushCommand());
    glasses.receive(message("screen_off", {}));
    EXPECT_TRUE(glasses.frame().isDark());
    glasses.receive(object("move", list(imageType, 0, 1, 1)));
    EXPECT_FALSE(glasses.firmware.isDisplayOn());
    glasses.send(flushCommand());
    EXPECT_EQ(glasses.frame(), filled(1, 1, 5, 5, 1));
}

TEST(Objects, standImagesByIdThenTheAnimationThenLabelsById) {
    Canvas glasses;
    glasses.receive(canvas("cnvs_clrblk", list(0, 0, 100, 100, 3)));
    glasses.flush();
    glasses.send(image(1, 0, 0, picture(40, 40, 2)), image(0, 0, 0, picture(50, 50, 1)),
                 image(2, 300, 300, picture(20, 20, 1), false), animation(0, list(2)), fontCommand("single48"),
                 label(1, "A", 0, 0, 0), label(0, "A", 0, 0, 3), flushCommand());
    auto expected = filled(0, 0, 100, 100, 3);
    expected.fill(0, 0, 50, 50, 1);
    expected.fill(0, 0, 40, 40, 2);
    expected.fill(0, 0, 20, 20, 1);
    LvglLabel(lvglFont("fonts/single48.bin"), {.text = "A", .level = 0}).draw(expected, 0ms);
    EXPECT_EQ(glasses.frame(), expected);
}

TEST(Objects, letTheBackgroundThroughWhereAnImageIsTransparent) {
    Canvas glasses;
    glasses.receive(canvas("cnvs_clrblk", list(0, 0, 10, 10, 2)));
    glasses.flush();
    glasses.send(image(0, 0, 0, picture(20, 20, 0)), flushCommand());
    EXPECT_EQ(glasses.frame(), filled(0, 0, 10, 10, 2));
}

TEST(Objects, areAlignedByTheirAnchor) {
    Canvas glasses;
    glasses.send(entry("image", list(0, 9, 5, -5, true, picture(7, 5, 3))), flushCommand());
    EXPECT_EQ(glasses.frame(), filled(320 - 3 + 5, 240 - 2 - 5, 320 + 4 + 5, 240 + 3 - 5, 3));
    glasses.send(entry("image", list(0, 6, -1, -2, true, picture(8, 4, 3))), flushCommand());
    EXPECT_EQ(glasses.frame(), filled(631, 474, 639, 478, 3));
}

TEST(Objects, moveHideAndGoAtOnce) {
    Canvas glasses;
    glasses.send(image(0, 0, 0, picture(4, 4, 1)), image(1, 50, 0, picture(4, 4, 2)), flushCommand());
    const int changes = glasses.frameChanges;
    glasses.receive(object("move", list(imageType, 0, 100, 200)));
    auto expected = filled(100, 200, 104, 204, 1);
    expected.fill(50, 0, 54, 4, 2);
    EXPECT_EQ(glasses.frame(), expected);
    EXPECT_EQ(glasses.frameChanges, changes + 1);
    glasses.receive(object("set_vis", list(imageType, 0, false)));
    EXPECT_EQ(glasses.frame(), filled(50, 0, 54, 4, 2));
    glasses.send(flushCommand());
    EXPECT_EQ(glasses.frame(), filled(50, 0, 54, 4, 2)) << "what is pending has changed too";
    glasses.receive(object("object_clr", list(imageType, 1)));
    EXPECT_TRUE(glasses.frame().isDark());
    glasses.receive(object("set_vis", list(imageType, 0, true)));
    EXPECT_EQ(glasses.frame(), filled(100, 200, 104, 204, 1));
    glasses.receive(object("clr_all", {}));
    EXPECT_TRUE(glasses.frame().isDark());
    glasses.send(flushCommand());
    EXPECT_TRUE(glasses.frame().isDark());
}

TEST(Objects, moveAndHideAsLabelsAndAnimationToo) {
    Canvas glasses;
    glasses.send(fontCommand("single48"), label(6, "A"), image(2, 0, 0, picture(4, 4, 1), false),
                 animation(100, list(2)), flushCommand());
    glasses.receive(object("move", list(labelType, 6, 200, 100)));
    glasses.receive(object("move", list(animationType, 0, 30, 40)));
    auto expected = drawn({.text = "A", .xOffset = 200, .yOffset = 100});
    expected.fill(30, 40, 34, 44, 1);
    EXPECT_EQ(glasses.frame(), expected);
    glasses.receive(object("set_vis", list(labelType, 6, false)));
    EXPECT_EQ(glasses.frame(), filled(30, 40, 34, 44, 1));
    glasses.receive(object("object_clr", list(animationType, 0)));
    EXPECT_TRUE(glasses.frame().isDark());
    glasses.receive(object("set_vis", list(labelType, 6, true)));
    EXPECT_EQ(glasses.frame(), drawn({.text = "A", .xOffset = 200, .yOffset = 100}));
    glasses.receive(object("object_clr", list(labelType, 6)));
    EXPECT_TRUE(glasses.frame().isDark());
    EXPECT_THAT(glasses.answers(), IsEmpty());
}

TEST(Objects, whoseOffsetsAreBeyondLVGLsCoordinatesLieOffTheDisplay) {
    Canvas glasses;
    glasses.send(fontCommand("latin28"), label(0, "far", 40'000, 0), label(1, "far", -40'000, 0),
                 label(2, "near", 5, 6), flushCommand());
    EXPECT_EQ(glasses.frame(), drawn({.text = "near", .xOffset = 5, .yOffset = 6}, "latin28"));
    EXPECT_THAT(glasses.answers(), IsEmpty());
}

TEST(Objects, thatAreNotThereCanBeMovedHiddenAndRemovedWithoutEffect) {
    Canvas glasses;
    for (const int type : {labelType, imageType, animationType}) {
        glasses.receive(object("move", list(type, 0, 5, 5)));
        glasses.receive(object("set_vis", list(type, 0, true)));
        glasses.receive(object("object_clr", list(type, 0)));
    }
    glasses.send(flushCommand());
    EXPECT_TRUE(glasses.frame().isDark());
    EXPECT_THAT(glasses.answers(), IsEmpty());
}

TEST(Objects, takeTheTextsSizeAndWrapWithoutSizeOfTheirOwn) {
    Canvas glasses;
    glasses.send(fontCommand("latin28"), label(0, "two\nlines", 5, 6), flushCommand());
    EXPECT_EQ(glasses.frame(), drawn({.text = "two\nlines", .xOffset = 5, .yOffset = 6}, "latin28"));
    glasses.send(sizedLabel(0, "some words to wrap", -1, -1, -1), flushCommand());
    EXPECT_EQ(glasses.frame(), drawn({.text = "some words to wrap"}, "latin28"));
    glasses.send(sizedLabel(0, "some words to wrap", 100, -1, -1), flushCommand());
    EXPECT_EQ(glasses.frame(), drawn({.text = "some words to wrap"}, "latin28"));
    glasses.send(sizedLabel(0, "some words to wrap", 100, -1, 0), flushCommand());
    EXPECT_EQ(glasses.frame(), drawn({.text = "some words to wrap", .width = 100}, "latin28"));
    glasses.send(sizedLabel(0, "some words to wrap", 100, 33, 1), flushCommand());
    EXPECT_EQ(
        glasses.frame(),
        drawn({.text = "some words to wrap", .width = 100, .height = 33, .longMode = LvglLongMode::dots}, "latin28"));
    glasses.send(sizedLabel(0, "some words to wrap", 100, 33, 4), flushCommand());
    EXPECT_EQ(
        glasses.frame(),
        drawn({.text = "some words to wrap", .width = 100, .height = 33, .longMode = LvglLongMode::clip}, "latin28"));
    EXPECT_THAT(glasses.answers(), IsEmpty());
}

TEST(Objects, takeAlignmentAndLevelOfALabel) {
    Canvas glasses;
    for (int alignment = 0; alignment <= 3; ++alignment) {
        glasses.send(fontCommand("latin28"), entry("label", list(3, alignment, 1, 8, -7, 8, true, "a\nbcd")),
                     flushCommand());
        EXPECT_EQ(glasses.frame(), drawn({.text = "a\nbcd",
                                          .alignment = static_cast<LvglAlignment>(alignment),
                                          .level = 1,
                                          .anchor = LvglAnchor::midRight,
                                          .xOffset = -7,
                                          .yOffset = 8},
                                         "latin28"));
    }
}

TEST(Objects, changeTheirFontWithTheFlush) {
    Canvas glasses;
    glasses.send(label(0, "A"), flushCommand());
    EXPECT_TRUE(glasses.frame().isDark()) << "there is no font";
    glasses.send(fontCommand("latin28"));
    EXPECT_TRUE(glasses.frame().isDark());
    glasses.send(flushCommand());
    EXPECT_EQ(glasses.frame(), drawn({.text = "A"}, "latin28"));
    glasses.send(fontCommand("single48"), flushCommand());
    EXPECT_EQ(glasses.frame(), drawn({.text = "A"}));
}

TEST(Objects, drawBoxesForWhatTheFontDoesNotHave) {
    Canvas glasses;
    glasses.send(fontCommand("single48"), label(0, "Ax"), flushCommand());
    auto expected = drawn({.text = "A"});
    // 34 / 2 + 1 pixels wide, 34 + 1 high
    for (const auto& line :
         {filled(31, 0, 49, 1, 3), filled(31, 34, 49, 35, 3), filled(31, 0, 32, 35, 3), filled(48, 0, 49, 35, 3)}) {
        for (int y = 0; y < 40; ++y) {
            for (int x = 0; x < 60; ++x) {
                if (line.at(x, y) != 0) {
                    expected.set(x, y, 3);
                }
            }
        }
    }
    EXPECT_EQ(glasses.frame(), expected);
}

TEST(Objects, loadFontsAsTheChosenVersionDoes) {
    Canvas released;
    Canvas mended({.lvglVersion = LvglVersion::v8_4});
    for (auto* glasses : {&released, &mended}) {
        glasses->send(fontCommand("latin28"), label(0, "\xC4\x80"), flushCommand());
    }
    // The code point past the first range: in released versions the first glyph of the next one.
    EXPECT_EQ(released.frame(), drawn({.text = "\xC5\x92"}, "latin28"));
    EXPECT_NE(mended.frame(), released.frame());
}

TEST(Objects, answerAFontThatCannotBeReadAndKeepTheEarlierOne) {
    Canvas glasses;
    glasses.send(fontCommand("single48"), label(0, "A"), flushCommand());
    EXPECT_THAT(glasses.answers(), IsEmpty());
    auto broken = lvglBytes("fonts/latin28.bin");
    broken[52] = 'x';
    glasses.send(entry("font", broken), label(0, "AA"), flushCommand());
    EXPECT_EQ(glasses.onlyAnswer(), entry("font", "no section cmap"));
    EXPECT_EQ(glasses.frame(), drawn({.text = "AA"})) << "the other commands hold";
    EXPECT_EQ(glasses.firmware.errorCount(), 0U);
}

TEST(Objects, showTheImagesOfAnAnimationInTurn) {
    Canvas glasses;
    glasses.now = 5s;
    glasses.send(image(0, 0, 0, picture(4, 4, 1), false), image(1, 0, 0, picture(8, 8, 2), false),
                 image(2, 0, 0, picture(6, 6, 3), false), animation(900, list(0, 1, 2)), flushCommand());
    const auto first = filled(0, 0, 4, 4, 1);
    const auto second = filled(0, 0, 8, 8, 2);
    const auto third = filled(0, 0, 6, 6, 3);
    for (const auto& [age, expected] : {std::pair{0ms, first}, std::pair{299ms, first}, std::pair{301ms, second},
                                        std::pair{599ms, second}, std::pair{601ms, third}, std::pair{899ms, third},
                                        std::pair{901ms, first}, std::pair{90'000ms + 301ms, second}}) {
        glasses.now = 5s + age;
        EXPECT_EQ(glasses.frame(), expected) << age.count();
    }
    EXPECT_TRUE(glasses.timers.empty()) << "nothing is scheduled for movement";
}

TEST(Objects, showTheImageThatAFramesObjectHasWhenItIsDrawn) {
    Canvas glasses;
    glasses.send(image(0, 0, 0, picture(4, 4, 1), false), animation(900, list(0, 1)), flushCommand());
    glasses.now = 500ms;
    EXPECT_TRUE(glasses.frame().isDark()) << "there is no image 1";
    glasses.send(image(1, 0, 0, picture(8, 8, 2), false));
    EXPECT_TRUE(glasses.frame().isDark());
    glasses.send(flushCommand());
    EXPECT_EQ(glasses.frame(), filled(0, 0, 8, 8, 2)) << "the animation goes on";
}

TEST(Objects, stayAtTheLastFrameOfAnAnimationWithoutDuration) {
    Canvas glasses;
    glasses.send(image(0, 0, 0, picture(4, 4, 1), false), image(1, 0, 0, picture(8, 8, 2), false),
                 animation(0, list(0, 1)), flushCommand());
    for (const auto now : {0ms, 1'000ms, 12'345ms}) {
        glasses.now = now;
        EXPECT_EQ(glasses.frame(), filled(0, 0, 8, 8, 2));
    }
}

TEST(Objects, beginAnAnimationThatIsSentAgainWithItsFlush) {
    Canvas glasses;
    glasses.send(image(0, 0, 0, picture(4, 4, 1), false), image(1, 0, 0, picture(8, 8, 2), false));
    glasses.send(animation(900, list(0, 1)), flushCommand());
    glasses.now = 500ms;
    glasses.send(animation(900, list(0, 1)));
    EXPECT_EQ(glasses.frame(), filled(0, 0, 8, 8, 2));
    glasses.send(flushCommand());
    EXPECT_EQ(glasses.frame(), filled(0, 0, 4, 4, 1));
}

const LvglLabelOptions circular = {.text = "wider than its box", .width = 100, .longMode = LvglLongMode::circular};

TEST(Objects, scrollLabelsFromTheFlushThatFirstShowedThem) {
    Canvas glasses;
    glasses.now = 3s;
    glasses.send(fontCommand("latin28"), sizedLabel(0, circular.text, 100, -1, 3));
    glasses.now = 4s;
    glasses.send(flushCommand());
    for (const auto age : {0ms, 30ms, 1'000ms, 7'777ms}) {
        glasses.now = 4s + age;
        EXPECT_EQ(glasses.frame(), drawn(circular, "latin28", age));
    }
    EXPECT_TRUE(glasses.timers.empty());
}

TEST(Objects, keepTheAgeOfALabelThatIsSentAgainUnchanged) {
    Canvas glasses;
    const auto commit = [&](const std::string& text) {
        glasses.send(sizedLabel(0, text, 100, -1, 3), fontCommand("latin28"), flushCommand());
    };
    commit(circular.text);
    glasses.now = 1s;
    commit(circular.text);
    EXPECT_EQ(glasses.frame(), drawn(circular, "latin28", 1s));
    auto other = circular;
    other.text = "another text that is wide";
    commit(other.text);
    EXPECT_EQ(glasses.frame(), drawn(other, "latin28", 0ms));
    glasses.now = 2s;
    glasses.send(fontCommand("latin14"), flushCommand());
    EXPECT_EQ(glasses.frame(), drawn(other, "latin14", 0ms)) << "with another font it begins again";
}

TEST(Objects, goBackToTheirPlaceWhenALabelIsSentAgain) {
    Canvas glasses;
    glasses.send(fontCommand("single48"), label(0, "A"), flushCommand());
    glasses.receive(object("move", list(labelType, 0, 50, 60)));
    glasses.send(label(0, "A"), flushCommand());
    EXPECT_EQ(glasses.frame(), drawn({.text = "A"}));
}

TEST(Objects, tellWhenTheyMayLookOtherwise) {
    Canvas glasses;
    EXPECT_EQ(glasses.firmware.nextFrameChange(), std::nullopt);
    glasses.send(fontCommand("latin28"), label(0, "still"), flushCommand());
    EXPECT_EQ(glasses.firmware.nextFrameChange(), std::nullopt);
    glasses.send(sizedLabel(1, circular.text, 100, -1, 3), flushCommand());
    EXPECT_EQ(glasses.firmware.nextFrameChange(), 30ms);
    glasses.now = 50ms;
    EXPECT_EQ(glasses.firmware.nextFrameChange(), 10ms);
    glasses.receive(object("set_vis", list(labelType, 1, false)));
    EXPECT_EQ(glasses.firmware.nextFrameChange(), std::nullopt);
    glasses.receive(object("set_vis", list(labelType, 1, true)));
    glasses.receive(message("screen_off", {}));
    EXPECT_EQ(glasses.firmware.nextFrameChange(), std::nullopt);
}

TEST(Objects, failWhatIsNotWellFormedAndChangeNothing) {
    Canvas glasses;
    const auto good = picture(4, 4, 1);
    auto cutOff = good;
    cutOff.pop_back();
    const auto text = [](Value id, Value alignment, Value level, Value anchor, Value x, Value visible, Value words) {
        return entry("label", list(std::move(id), std::move(alignment), std::move(level), std::move(anchor),
                                   std::move(x), 0, std::move(visible), std::move(words)));
    };
    for (const auto& wrong : {Value(),
                              Value(5),
                              Value(Value::Dictionary{}),
                              text(7, 0, 3, 1, 0, true, "A"),
                              text(-1, 0, 3, 1, 0, true, "A"),
                              text(0, 4, 3, 1, 0, true, "A"),
                              text(0, 0, 4, 1, 0, true, "A"),
                              text(0, 0, 3, 0, 0, true, "A"),
                              text(0, 0, 3, 10, 0, true, "A"),
                              text(0, 0, 3, 1, 2'147'483'648, true, "A"),
                              text(0, 0, 3, 1, -2'147'483'649, true, "A"),
                              text(0, 0, 3, 1, 1.5, true, "A"),
                              text(0, 0, 3, 1, 0, 1, "A"),
                              text(0, 0, 3, 1, 0, true, 5),
                              text("0", 0, 3, 1, 0, true, "A"),
                              entry("label", list(0, 0, 3, 1, 0, 0, true)),
                              entry("label", list(0, 0, 3, 1, 0, 0, true, "A", 10)),
                              entry("label", list(0, 0, 3, 1, 0, 0, true, "A", 10, 10)),
                              entry("label", list(0, 0, 3, 1, 0, 0, true, "A", 10, 10, 5)),
                              entry("label", list(0, 0, 3, 1, 0, 0, true, "A", 10, 10, -2)),
                              entry("label", list(0, 0, 3, 1, 0, 0, true, "A", 10, 10, 0, 0)),
                              entry("label", "A"),
                              image(3, 0, 0, good),
                              image(-1, 0, 0, good),
                              image(0, 0, 0, cutOff),
                              image(0, 0, 0, {}),
                              entry("image", list(0, 1, 0, 0, true, "text")),
                              entry("image", list(0, 1, 0, 0, good)),
                              entry("image", list(0, 0, 0, 0, true, good)),
                              entry("animate", list(1, 100, 1, 0, 0, list(0), true)),
                              animation(-1, list(0)),
                              animation(5, list(3)),
                              animation(5, list()),
                              animation(5, 0),
                              entry("animate", list(0, 100, 1, 0, 0, list(0))),
                              entry("move", list(3, 0, 0, 0)),
                              entry("move", list(0, 7, 0, 0)),
                              entry("move", list(1, 3, 0, 0)),
                              entry("move", list(2, 1, 0, 0)),
                              entry("move", list(0, 0, -1, 0)),
                              entry("move", list(0, 0, 0)),
                              entry("set_vis", list(0, 0, 1)),
                              entry("set_vis", list(-1, 0, true)),
                              entry("object_clr", list(0)),
                              entry("object_clr", list(0, 7)),
                              entry("clr_all", 1),
                              entry("flush", true),
                              entry("font", "text"),
                              list(label(0, "A"), Value()),
                              list(label(0, "A"), flushCommand(), entry("clr_all", 0)),
                              list(list(flushCommand()))}) {
        glasses.receive(objects(wrong));
        EXPECT_EQ(glasses.errorCode(), 2) << wrong.description();
    }
    glasses.send(fontCommand("single48"), flushCommand());
    EXPECT_TRUE(glasses.frame().isDark());
}

TEST(Objects, answerAnUnknownCommandAndHoldNoneOfItsArray) {
    Canvas glasses;
    glasses.send(fontCommand("single48"), label(0, "A"), flushCommand(), entry("nonsense", {}));
    EXPECT_EQ(glasses.onlyAnswer(), entry("cmp_err", list(1, "unknown command: nonsense")));
    EXPECT_TRUE(glasses.frame().isDark());
}

TEST(Objects, areForTheApplicationInControlOfTheCanvas) {
    Glasses glasses;
    glasses.receive(object("flush", {}));
    EXPECT_EQ(glasses.errorCode(), 2);
    glasses.receive(control("app", 1));
    glasses.receive(object("flush", {}));
    EXPECT_EQ(glasses.errorCode(), 2);
    glasses.takeCanvas();
    glasses.receive(object("flush", {}));
    EXPECT_EQ(glasses.errorCode(), 0);
}

TEST(Objects, areGoneWithTheirFontWhenControlIsTaken) {
    Canvas glasses;
    glasses.send(fontCommand("single48"), label(0, "A"), image(0, 0, 0, picture(4, 4, 1)), flushCommand());
    EXPECT_FALSE(glasses.frame().isDark());
    glasses.takeCanvas();
    EXPECT_TRUE(glasses.frame().isDark());
    glasses.send(label(0, "A"), flushCommand());
    EXPECT_TRUE(glasses.frame().isDark());
}

TEST(Objects, surviveHostileMessagesAndGoOn) {
    const std::vector<Bytes> good = {
        objects(list(label(0, "some text\nin lines"), fontCommand("latin14"), flushCommand())),
        objects(list(sizedLabel(1, "wide text that moves", 50, -1, 3), sizedLabel(2, "and dots", 30, 20, 1))),
        object("label", list(6, 2, 1, 9, -3, 4, true, "h\xC3\xA9llo", 100, -1, 2)),
        objects(image(0, 600, 470, picture(50, 50, 2))),
        objects(animation(100, list(0, 1, 2, 0))),
        object("move", list(0, 0, 5, 5)),
        object("set_vis", list(1, 0, true)),
        object("object_clr", list(2, 0)),
        object("font", lvglBytes("fonts/latin8.bin")),
        objects(flushCommand())};
    for (const unsigned seed : {1U, 2U, 3U}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        Canvas glasses;
        for (int i = 0; i < 3'000; ++i) {
            glasses.firmware.receive(chunk(static_cast<std::uint8_t>(i % 128), hostileBytes(random, good)));
            glasses.values.clear();
            glasses.now += 17ms;
            if (i % 20 == 0) {
                glasses.firmware.frame();
            }
        }
        EXPECT_GT(glasses.firmware.errorCount(), 300U);
        glasses.firmware.disconnected();
        glasses.firmware.connected(495);
        glasses.takeCanvas();
        glasses.send(fontCommand("single48"), label(0, "A"), flushCommand());
        EXPECT_EQ(glasses.frame(), drawn({.text = "A"}));
    }
}

TEST(ObjectLayerDeathTest, hasNoObjectsBeyondItsIds) {
    ObjectLayer layer;
    EXPECT_DEATH(layer.setLabel(7, {}), "an object's id is one of its kind");
    EXPECT_DEATH(layer.remove(ObjectType::image, 3), "an object's id is one of its kind");
}

} // namespace
} // namespace tarnel::glasses
