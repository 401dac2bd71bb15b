#include "CanvasFixture.hpp"
#include "support/Fonts.hpp"
#include "support/RLEDecoder.hpp"

#include <TarnelSDK/glyphs/TextImage.hpp>
#include <TarnelSDK/images/UIImage+Extension.hpp>

#include <algorithm>
#include <limits>

namespace tarnel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// Shapes and texts of the background.
class CanvasShapesTest : public test::CanvasFixture {
protected:
    static MessagePackValue fill(std::initializer_list<MessagePackValue> corners) {
        return message("canvas", "cnvs_clrblk", MessagePackValue::array(corners));
    }

    /// Levels 0 to 3 of the display on which the messages are drawn; what is not drawn is 9.
    Bytes shown() const {
        Bytes levels(std::size_t{Canvas::WIDTH} * Canvas::HEIGHT, 9);
        for (std::size_t n = 0; n < device->messages.size(); ++n) {
            const auto image = argument("canvas", "cnvs_img", n);
            const auto place = numbers(*image[0]);
            const auto size = numbers(*image[1]);
            const auto packed = test::decodeRLE(*image[3]->dataValue()).value();
            for (std::size_t i = 0; i < size[0] * size[1]; ++i) {
                levels.at((place[1] + i / size[0]) * Canvas::WIDTH + place[0] + i % size[0]) =
                    static_cast<std::uint8_t>(packed[i / 4] >> (6 - i % 4 * 2) & 3);
            }
        }
        return levels;
    }
    static std::uint8_t at(const Bytes& levels, int x, int y) {
        return levels[static_cast<std::size_t>(y * Canvas::WIDTH + x)];
    }
    /// The mirror shows what the glasses do.
    void expectMirrorAgrees() const {
        const Bytes levels = shown();
        const Image mirror = canvas.mirror();
        for (std::size_t i = 0; i < levels.size(); ++i) {
            ASSERT_EQ(mirror.data()[i], levels[i] == 9 ? 0 : levels[i] * 0x40) << "at " << i % 640 << ", " << i / 640;
        }
    }

    const Font font = Font::withFile(test::notoSans, 28).value();
};

using CanvasShapesDeathTest = CanvasShapesTest;

TEST_F(CanvasShapesTest, SendsAPlainFilledRectangleAsAFillOfFiveElements) {
    canvas.drawRect({.x = 10, .y = 20, .width = 30, .height = 40, .fillColor = Color::mid});
    EXPECT_THAT(device->messages, ElementsAre(fill({10, 20, 40, 60, 2})));
    expectMirrorShowsOnly({10, 20, 30, 40}, 0x80);
    canvas.commit();
    EXPECT_TRUE(isFlush(1));
}

TEST_F(CanvasShapesTest, ARadiusWithoutRoundCornersIsPlainToo) {
    canvas.drawRect({.width = 3,
                     .height = 4,
                     .cornerRadius = 9,
                     .fillColor = Color::black,
                     .corners = {false, false, false, false}});
    EXPECT_THAT(device->messages, ElementsAre(fill({0, 0, 3, 4, 0})));
}

TEST_F(CanvasShapesTest, CutsAFillAtTheEdgesOfTheDisplay) {
    canvas.drawRect({.x = -5, .y = -6, .width = 20, .height = 20, .fillColor = Color::white});
    canvas.drawRect({.x = 630, .y = 470, .width = 2147483647, .height = 2147483647, .fillColor = Color::dim});
    EXPECT_THAT(device->messages, ElementsAre(fill({0, 0, 15, 14, 3}), fill({630, 470, 640, 480, 1})));
    device->messages.clear();
    canvas.drawRect({.x = -5, .width = 5, .height = 5, .fillColor = Color::white});
    canvas.drawRect({.x = 640, .width = 5, .height = 5, .fillColor = Color::white});
    canvas.drawRect({.x = 5, .width = 0, .height = 5, .fillColor = Color::white});
    EXPECT_THAT(device->messages, IsEmpty());
}

TEST_F(CanvasShapesTest, DrawsNothingForARectangleWithoutBorderAndFilling) {
    canvas.drawRect({.width = 10, .height = 10, .cornerRadius = 3});
    canvas.commit();
    EXPECT_THAT(device->messages, IsEmpty());
}

TEST_F(CanvasShapesTest, DrawsABorderInsideItsEdgeOnBlack) {
    canvas.drawRect({.x = 10, .y = 20, .width = 30, .height = 40, .borderWidth = 2, .borderColor = Color::dim});
    ASSERT_THAT(device->messages, SizeIs(1));
    const Bytes levels = shown();
    EXPECT_EQ(at(levels, 10, 20), 1);
    EXPECT_EQ(at(levels, 39, 59), 1);
    EXPECT_EQ(at(levels, 11, 30), 1);
    EXPECT_EQ(at(levels, 12, 30), 0);
    EXPECT_EQ(at(levels, 40, 30), 9);
    expectMirrorAgrees();
    canvas.commit();
    EXPECT_TRUE(isFlush(1));
}

TEST_F(CanvasShapesTest, DrawsRoundCornersWithAFilling) {
    canvas.drawRect({.x = 100,
                     .y = 100,
                     .width = 80,
                     .height = 60,
                     .cornerRadius = 20,
                     .fillColor = Color::white,
                     .corners = {.bottomRight = false}});
    const Bytes levels = shown();
    EXPECT_EQ(at(levels, 100, 100), 0);
    EXPECT_EQ(at(levels, 179, 100), 0);
    EXPECT_EQ(at(levels, 179, 159), 3);
    EXPECT_EQ(at(levels, 140, 100), 3);
    EXPECT_EQ(at(levels, 140, 130), 3);
    EXPECT_GT(std::count(levels.begin(), levels.end(), 1) + std::count(levels.begin(), levels.end(), 2), 10)
        << "the edges are smooth";
    expectMirrorAgrees();
}

TEST_F(CanvasShapesTest, CutsShapesAtTheEdgesOfTheDisplay) {
    canvas.drawRect({.x = -40, .y = -30, .width = 80, .height = 60, .cornerRadius = 20, .fillColor = Color::white});
    canvas.drawLine({.x1 = -100, .y1 = 200, .x2 = 1000, .y2 = 200, .lineWidth = 3});
    ASSERT_THAT(device->messages, SizeIs(2));
    EXPECT_THAT(numbers(*argument("canvas", "cnvs_img", 0)[0]), ElementsAre(0, 0));
    EXPECT_THAT(numbers(*argument("canvas", "cnvs_img", 0)[1]), ElementsAre(40, 30));
    EXPECT_THAT(numbers(*argument("canvas", "cnvs_img", 1)[0]), ElementsAre(0, 199));
    EXPECT_THAT(numbers(*argument("canvas", "cnvs_img", 1)[1]), ElementsAre(640, 3));
    const Bytes levels = shown();
    EXPECT_EQ(at(levels, 0, 0), 3);
    EXPECT_EQ(at(levels, 39, 29), 0);
    EXPECT_EQ(at(levels, 639, 200), 3);
    expectMirrorAgrees();
}

TEST_F(CanvasShapesTest, DrawsALineFromOnePixelToAnother) {
    canvas.drawLine({.x1 = 10, .y1 = 10, .x2 = 10, .y2 = 30, .color = Color::mid});
    const Bytes levels = shown();
    EXPECT_EQ(std::count(levels.begin(), levels.end(), 2), 21);
    EXPECT_EQ(at(levels, 10, 10), 2);
    EXPECT_EQ(at(levels, 10, 30), 2);
    expectMirrorAgrees();
}

TEST_F(CanvasShapesTest, SendsALargeShapeInBands) {
    canvas.drawRect({.width = 640, .height = 480, .borderWidth = 3});
    EXPECT_THAT(device->messages, SizeIs(8));
    EXPECT_EQ(at(shown(), 639, 479), 3);
}

TEST_F(CanvasShapesTest, DrawsTextInItsColourOnBlack) {
    canvas.drawStaticText("Grüße", font, Color::mid, 50, 60);
    ASSERT_THAT(device->messages, SizeIs(1));
    const Image picture = text(AttributedString("Grüße", {font, UIColor::gray(1)}));
    EXPECT_THAT(numbers(*argument("canvas", "cnvs_img", 0)[0]), ElementsAre(50, 60));
    EXPECT_THAT(numbers(*argument("canvas", "cnvs_img", 0)[1]), ElementsAre(picture.width(), picture.height()));
    const Bytes levels = shown();
    EXPECT_GT(std::count(levels.begin(), levels.end(), 2), 100);
    EXPECT_EQ(std::count(levels.begin(), levels.end(), 3), 0);
    EXPECT_GT(std::count(levels.begin(), levels.end(), 0), 500);
    expectMirrorAgrees();
    canvas.commit();
    EXPECT_TRUE(isFlush(1));
}

TEST_F(CanvasShapesTest, DrawsAttributedTextAsThePictureThatItIs) {
    AttributedString string("one ", {font, UIColor::gray(0.25)});
    string.append("two", {font.withSize(40), UIColor::rgb(0, 1, 0)});
    canvas.drawStaticText(string, 5, 6);
    const Image picture = convertToGrayScale(text(string)).value();
    const Bytes levels = shown();
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            ASSERT_EQ(at(levels, x + 5, y + 6), picture.row(y)[static_cast<std::size_t>(x)] >> 6);
        }
    }
}

TEST_F(CanvasShapesTest, CutsTextAtTheEdgesOfTheDisplay) {
    canvas.drawStaticText("WWWWWWWWWW", font, Color::white, -20, -10);
    EXPECT_THAT(numbers(*argument("canvas", "cnvs_img", 0)[0]), ElementsAre(0, 0));
    const Bytes levels = shown();
    EXPECT_GT(std::count(levels.begin(), levels.end(), 3), 100);
    device->messages.clear();
    canvas.drawStaticText("WWWWWWWWWW", font, Color::white, -2000, 0);
    canvas.drawStaticText("", font, Color::white, 0, 0);
    EXPECT_THAT(device->messages, IsEmpty());
}

TEST_F(CanvasShapesDeathTest, StopsAtNumbersThatAreNoLengthsOrPlaces) {
    constexpr double infinite = std::numeric_limits<double>::infinity();
    const double noNumber = std::numeric_limits<double>::quiet_NaN();
    EXPECT_DEATH(canvas.drawRect({.width = -1, .height = 1, .fillColor = Color::white}), "not negative");
    EXPECT_DEATH(canvas.drawRect({.width = 1, .height = -1, .fillColor = Color::white}), "not negative");
    EXPECT_DEATH(canvas.drawRect({.width = 1, .height = 1, .cornerRadius = -1}), "not negative");
    EXPECT_DEATH(canvas.drawRect({.width = 1, .height = 1, .borderWidth = noNumber}), "finite");
    EXPECT_DEATH(canvas.drawLine({.x1 = infinite}), "finite");
    EXPECT_DEATH(canvas.drawLine({.y2 = noNumber}), "finite");
    EXPECT_DEATH(canvas.drawLine({.x2 = 5, .lineWidth = -1}), "not negative");
}

} // namespace
} // namespace tarnel
