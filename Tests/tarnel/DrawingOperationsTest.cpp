#include "PlayFixture.hpp"

namespace tarnel::test {
namespace {

using nlohmann::json;
using testing::SizeIs;

/// Labels, images, animations, shapes and texts in scenes, as they are seen on the glasses.
class DrawingOperations : public PlayFixture {
protected:
    /// A square of one grey.
    std::string square(const std::string& name, int side, std::uint8_t gray) const {
        const auto size = static_cast<std::size_t>(side);
        writePNG(folder / name, Pixels{side, side, Bytes(size * size * 3, gray)});
        return folder / name;
    }

    int level(int x, int y) const { return levelsOfFrame(frame).at(static_cast<std::size_t>(y * 640 + x)); }

    int litBetween(int top, int bottom) const {
        const Bytes levels = levelsOfFrame(frame);
        return static_cast<int>(std::count_if(levels.begin() + std::ptrdiff_t{640} * top,
                                              levels.begin() + std::ptrdiff_t{640} * bottom,
                                              [](std::uint8_t each) { return each > 0; }));
    }

    static json op(const std::string& name, json arguments = json::object()) {
        arguments["op"] = name;
        return arguments;
    }

    const json bare{{"op", "setLayout"}, {"layout", "canvas"}, {"timeout", 180}, {"hideStatusBar", true}};
};

TEST_F(DrawingOperations, LabelsGetIdsAndAreShownReplacedMovedHiddenAndRemoved) {
    const json first = op("createText", {{"text", "Wagen"}, {"yOffset", 100}});
    auto answers = play({bare, first, op("createText", {{"text", "Rad"}, {"yOffset", 300}}), commit});
    EXPECT_EQ(answers[1].at("result"), 0);
    EXPECT_EQ(answers[2].at("result"), 1);
    const int lit = litBetween(100, 150);
    EXPECT_GT(lit, 200);
    EXPECT_GT(litBetween(300, 350), 100);

    play({bare, first, commit, op("moveText", {{"id", 0}, {"x", 50}, {"y", 200}})});
    EXPECT_EQ(litBetween(0, 199), 0);
    EXPECT_EQ(litBetween(200, 250), lit);
    play({bare, first, commit, op("setTextVisible", {{"id", 0}, {"visible", false}})});
    EXPECT_EQ(litBetween(0, 480), 0);
    play({bare, first, commit, op("removeText", {{"id", 0}})});
    EXPECT_EQ(litBetween(0, 480), 0);
    play({bare, first, commit, op("updateText", {{"id", 0}, {"text", "i"}}), commit});
    EXPECT_LT(litBetween(0, 480), lit / 3);
    EXPECT_GT(litBetween(0, 480), 0);
}

TEST_F(DrawingOperations, ImagesStandInFrontOfTheBackgroundWithoutTheirBlack) {
    const json image =
        op("createImage",
           {{"image", square("white.png", 20, 255)}, {"anchor", "bottomRight"}, {"xOffset", -10}, {"yOffset", -10}});
    auto answers = play({bare, image, commit});
    EXPECT_EQ(answers[1].at("result"), 0);
    EXPECT_EQ(level(610, 450), 3);
    EXPECT_EQ(level(629, 469), 3);
    EXPECT_EQ(litBetween(0, 480), 400);

    answers = play({bare, image, commit, op("updateImage", {{"image", square("gray.png", 10, 128)}, {"id", 0}}),
                    op("updateImage", {{"image", square("gray.png", 10, 128)}, {"id", 1}}), commit});
    EXPECT_EQ(answers[3].at("result"), true);
    EXPECT_EQ(answers[4].at("result"), false);
    EXPECT_EQ(level(629, 469), 2);
    EXPECT_EQ(litBetween(0, 480), 100);

    answers = play({bare, op("createImage", {{"image", square("black.png", 20, 0)}}),
                    op("drawRect", {{"x", 0}, {"y", 0}, {"width", 5}, {"height", 5}, {"fillColor", "dim"}}),
                    op("createImage", {{"image", square("large.png", 300, 128)}}), commit});
    EXPECT_EQ(level(4, 4), 1);
    EXPECT_EQ(answers[3].at("result"), nullptr) << "its message is too long";
}

TEST_F(DrawingOperations, AnAnimationShowsItsFramesInTurn) {
    const json animation = op("createAnimation", {{"images", {square("a.png", 10, 255), square("b.png", 20, 128)}},
                                                  {"xOffset", 100},
                                                  {"yOffset", 100},
                                                  {"duration", 2000}});
    auto answers = play({bare, animation, commit, idle, op("glasses.frame", {{"to", folder / "first.png"}}), wait(1),
                         op("glasses.frame", {{"to", folder / "second.png"}})});
    EXPECT_EQ(answers[1].at("result"), true);
    const auto count = [&](const std::string& name) {
        const Bytes levels = levelsOfFrame(folder / name);
        return std::count_if(levels.begin(), levels.end(), [](std::uint8_t each) { return each > 0; });
    };
    EXPECT_EQ(count("first.png"), 100);
    EXPECT_EQ(count("second.png"), 400);
    play({bare, animation, commit, op("moveAnimation", {{"x", 0}, {"y", 0}}), op("removeAninimation")});
    EXPECT_EQ(litBetween(0, 480), 0);
}

TEST_F(DrawingOperations, ObjectsAreReachedByTheirKindTooAndClearedTogether) {
    const json image = op("createImage", {{"image", square("white.png", 20, 255)}});
    play({bare, image, commit, op("moveTo", {{"type", "image"}, {"id", 0}, {"x", 30}, {"y", 40}})});
    EXPECT_EQ(level(30, 40), 3);
    EXPECT_EQ(level(0, 0), 0);
    play({bare, image, commit, op("setVisible", {{"type", "image"}, {"id", 0}, {"visible", false}})});
    EXPECT_EQ(litBetween(0, 480), 0);
    play({bare, image, commit, op("remove", {{"type", "image"}, {"id", 0}})});
    EXPECT_EQ(litBetween(0, 480), 0);
    play({bare, image, commit, op("clear_all")});
    EXPECT_EQ(litBetween(0, 480), 0);
    const json fill = op("drawRect", {{"x", 0}, {"y", 0}, {"width", 3}, {"height", 3}, {"fillColor", "white"}});
    play({bare, image, fill, commit, op("clear", {{"shouldClearBackground", false}}), commit});
    EXPECT_EQ(litBetween(0, 480), 9);
    play({bare, image, fill, commit, op("clear", {{"shouldClearBackground", true}}), commit});
    EXPECT_EQ(litBetween(0, 480), 0);
}

TEST_F(DrawingOperations, ShapesAndTextsAreOnTheGlassesAsInTheTraceAndTheMirror) {
    play({bare,
          op("drawRect", {{"x", -20},
                          {"y", -20},
                          {"width", 200},
                          {"height", 150},
                          {"cornerRadius", 40},
                          {"borderWidth", 6},
                          {"borderColor", "mid"},
                          {"fillColor", "dim"},
                          {"corners", {"bottomRight"}}}),
          op("drawRect", {{"x", 600}, {"y", 470}, {"width", 100}, {"height", 100}, {"fillColor", "white"}}),
          op("drawLine", {{"x1", 20}, {"y1", 300}, {"x2", 200}, {"y2", 210.5}, {"lineWidth", 3}, {"color", "mid"}}),
          op("drawStaticText", {{"text", "Grüße\nWelt"}, {"x", -5}, {"y", 350}, {"color", "mid"}, {"size", 40}}),
          commit, idle, op("mirror", {{"to", folder / "mirror.png"}})});
    const Bytes levels = levelsOfFrame(frame);
    EXPECT_EQ(levels, levelsOfTrace(trace));
    EXPECT_EQ(level(0, 0), 1);
    EXPECT_EQ(level(179, 50), 2);
    EXPECT_EQ(level(179, 129), 0);
    EXPECT_EQ(level(639, 479), 3);
    EXPECT_GT(litBetween(350, 450), 500);
    const Pixels mirror = readPNG(folder / "mirror.png");
    for (std::size_t i = 0; i < levels.size(); ++i) {
        ASSERT_EQ(mirror.rgb[i * 3], levels[i] * 0x40);
    }
}

TEST_F(DrawingOperations, TextsOfSeveralLooksAreDrawnAsOneLine) {
    const json run{{"text", "Grüße"}, {"color", "mid"}};
    play({bare, op("drawStaticText", {{"text", "Grüße"}, {"x", 10}, {"y", 20}, {"color", "mid"}}), commit});
    const Bytes one = levelsOfFrame(frame);
    play({bare, op("drawAttributedText", {{"runs", json::array({run})}, {"x", 10}, {"y", 20}}), commit});
    EXPECT_EQ(levelsOfFrame(frame), one);
    const int lit = litBetween(0, 480);
    play({bare,
          op("drawAttributedText",
             {{"runs", json::array({run, {{"text", "Welt"}, {"size", 60}}})}, {"x", 10}, {"y", 20}}),
          commit});
    EXPECT_GT(litBetween(0, 480), 2 * lit);
}

TEST_F(DrawingOperations, TextsOfTheOtherLayoutsAreShown) {
    const auto layout = [](const char* name) {
        return json{{"op", "setLayout"}, {"layout", name}, {"timeout", 180}, {"hideStatusBar", true}};
    };
    play({layout("textBottomLeftAlign"), op("sendText", {{"text", "Grüße"}})});
    const int lit = litBetween(300, 480);
    EXPECT_GT(lit, 200);
    play({layout("textBottomCenterAlign"), op("glypher.setFontSize", {{"size", 56}}),
          op("sendText", {{"text", "Grüße"}})});
    EXPECT_GT(litBetween(300, 480), 2 * lit);
    play({layout("textBottomCenterAlign"),
          op("setCustomFontForAllText", {{"font", "/usr/share/fonts/truetype/noto/NotoSerif-Regular.ttf"}}),
          op("sendText", {{"text", "Grüße"}})});
    EXPECT_NE(litBetween(300, 480), lit);
    play({layout("navigation"), op("sendTextAndImage", {{"text", "left"}, {"image", square("icon.png", 32, 255)}})});
    EXPECT_GT(litBetween(0, 480), 32 * 32);
}

} // namespace
} // namespace tarnel::test
