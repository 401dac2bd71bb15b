#include <TarnelSDK/display/Shapes.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace tarnel {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;

constexpr Rect display{0, 0, 640, 480};

std::uint8_t grayAt(const PlacedImage& drawn, int x, int y) {
    return drawn.image.row(y - drawn.origin.y)[static_cast<std::size_t>(x - drawn.origin.x) * 4];
}

/// The box as "x y width height", and nothing for nothing.
std::string box(const std::optional<PlacedImage>& drawn) {
    return drawn ? std::to_string(drawn->origin.x) + " " + std::to_string(drawn->origin.y) + " " +
                       std::to_string(drawn->image.width()) + " " + std::to_string(drawn->image.height())
                 : "nothing";
}

/// A row of greys a picture row, in steps: ' ' dark, '.' up to a half, '+' above, '#' full.
std::vector<std::string> picture(const std::optional<PlacedImage>& drawn) {
    std::vector<std::string> rows;
    for (int y = 0; drawn && y < drawn->image.height(); ++y) {
        std::string row;
        for (int x = 0; x < drawn->image.width(); ++x) {
            const int gray = grayAt(*drawn, drawn->origin.x + x, drawn->origin.y + y);
            row += gray == 0 ? ' ' : gray == 255 ? '#' : gray < 128 ? '.' : '+';
        }
        rows.push_back(row);
    }
    return rows;
}

TEST(DrawRectangle, FillsExactlyItsPixels) {
    const auto drawn = drawShape(RoundedRectangle{.rect = {10, 20, 3, 2}, .fillGray = 128}, display);
    EXPECT_EQ(box(drawn), "10 20 3 2");
    EXPECT_EQ(grayAt(*drawn, 10, 20), 128);
    EXPECT_EQ(grayAt(*drawn, 12, 21), 128);
    EXPECT_EQ(drawn->image.row(0)[3], 255);
}

TEST(DrawRectangle, DrawsItsBorderInsideItsEdge) {
    const auto drawn = drawShape(RoundedRectangle{.rect = {0, 0, 5, 4}, .borderWidth = 1, .borderGray = 255}, display);
    EXPECT_THAT(picture(drawn), ElementsAre("#####", "#   #", "#   #", "#####"));
}

TEST(DrawRectangle, ABorderOverAFillingLeavesTheFillingWithin) {
    const auto drawn =
        drawShape(RoundedRectangle{.rect = {0, 0, 6, 6}, .borderWidth = 2, .borderGray = 255, .fillGray = 64}, display);
    EXPECT_THAT(picture(drawn), ElementsAre("######", "######", "##..##", "##..##", "######", "######"));
}

TEST(DrawRectangle, ABorderWiderThanHalfFillsIt) {
    const auto drawn = drawShape(RoundedRectangle{.rect = {0, 0, 4, 4}, .borderWidth = 9}, display);
    EXPECT_THAT(picture(drawn), Each("####"));
}

TEST(DrawRectangle, RoundsOnlyTheCornersThatAreNamed) {
    const auto drawn = drawShape(RoundedRectangle{.rect = {0, 0, 40, 40},
                                                  .cornerRadius = 20,
                                                  .corners = {.topRight = false, .bottomLeft = false},
                                                  .fillGray = 255},
                                 display);
    EXPECT_EQ(grayAt(*drawn, 0, 0), 0);
    EXPECT_EQ(grayAt(*drawn, 39, 39), 0);
    EXPECT_EQ(grayAt(*drawn, 39, 0), 255);
    EXPECT_EQ(grayAt(*drawn, 0, 39), 255);
}

TEST(DrawRectangle, ARadiusBeyondHalfTheShorterSideMakesACircle) {
    const auto circle =
        drawShape(RoundedRectangle{.rect = {0, 0, 20, 20}, .cornerRadius = 500, .fillGray = 255}, display);
    double area = 0;
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 20; ++x) {
            area += grayAt(*circle, x, y) / 255.0;
        }
    }
    EXPECT_NEAR(area, 100 * std::acos(-1.0), 1.5);
}

TEST(DrawRectangle, IsCutAtTheEdgesOfTheClip) {
    EXPECT_EQ(box(drawShape(RoundedRectangle{.rect = {-5, -6, 10, 10}, .fillGray = 1}, display)), "0 0 5 4");
    EXPECT_EQ(box(drawShape(RoundedRectangle{.rect = {635, 470, 10, 20}, .fillGray = 1}, display)), "635 470 5 10");
    EXPECT_EQ(box(drawShape(RoundedRectangle{.rect = {640, 0, 10, 10}, .fillGray = 1}, display)), "nothing");
    EXPECT_EQ(box(drawShape(RoundedRectangle{.rect = {0, 0, 0, 10}, .fillGray = 1}, display)), "nothing");
}

TEST(DrawRectangle, MayBeAsLargeAsNumbersGo) {
    constexpr int most = std::numeric_limits<int>::max();
    const auto drawn = drawShape(
        RoundedRectangle{.rect = {std::numeric_limits<int>::min() / 2, -5, most, most}, .fillGray = 200}, display);
    EXPECT_EQ(box(drawn), "0 0 640 480");
    EXPECT_EQ(grayAt(*drawn, 320, 240), 200);
}

TEST(DrawLine, CoversBothEndPixelsOfAHairline) {
    const auto drawn = drawShape(StraightLine{.x1 = 2, .y1 = 7, .x2 = 5, .y2 = 7}, display);
    EXPECT_EQ(box(drawn), "2 7 4 1");
    EXPECT_THAT(picture(drawn), ElementsAre("####"));
}

TEST(DrawLine, IsTheSameFromEitherEnd) {
    const auto there = drawShape(StraightLine{.x1 = 3, .y1 = 4, .x2 = 50, .y2 = 31, .lineWidth = 3}, display);
    const auto back = drawShape(StraightLine{.x1 = 50, .y1 = 31, .x2 = 3, .y2 = 4, .lineWidth = 3}, display);
    EXPECT_EQ(box(there), box(back));
    EXPECT_EQ(picture(there), picture(back));
}

TEST(DrawLine, AVerticalLineIsAsWideAsItSays) {
    EXPECT_EQ(box(drawShape(StraightLine{.x1 = 10, .y1 = 0, .x2 = 10, .y2 = 4, .lineWidth = 3}, display)), "9 0 3 5");
    EXPECT_EQ(box(drawShape(StraightLine{.x1 = 10, .y1 = 4, .x2 = 10, .y2 = 0, .lineWidth = 2}, display)), "9 0 2 5");
    EXPECT_EQ(box(drawShape(StraightLine{.x1 = 0, .y1 = 10, .x2 = 4, .y2 = 10, .lineWidth = 4}, display)), "0 8 5 4");
}

TEST(DrawLine, ADiagonalIsSmooth) {
    const auto drawn = drawShape(StraightLine{.x1 = 0, .y1 = 0, .x2 = 9, .y2 = 9}, display);
    ASSERT_TRUE(drawn);
    EXPECT_GT(grayAt(*drawn, 5, 5), 128);
    EXPECT_GT(grayAt(*drawn, 5, 6), 0);
    EXPECT_LT(grayAt(*drawn, 5, 6), 128);
    EXPECT_EQ(grayAt(*drawn, 0, 9), 0);
}

TEST(DrawLine, APointIsOnePixelOfItsWidth) {
    EXPECT_EQ(box(drawShape(StraightLine{.x1 = 10, .y1 = 10, .x2 = 10, .y2 = 10}, display)), "10 10 1 1");
    EXPECT_EQ(box(drawShape(StraightLine{.x1 = 10, .y1 = 10, .x2 = 10, .y2 = 10, .lineWidth = 0}, display)), "nothing");
}

TEST(DrawLine, KeepsItsPlaceWhenItsEndsAreFarAway) {
    const auto drawn =
        drawShape(StraightLine{.x1 = -1e12, .y1 = 100, .x2 = 1e12, .y2 = 100, .lineWidth = 1, .gray = 80}, display);
    EXPECT_EQ(box(drawn), "0 100 640 1");
    EXPECT_EQ(grayAt(*drawn, 639, 100), 80);
    const auto diagonal =
        drawShape(StraightLine{.x1 = -1e9, .y1 = -1e9, .x2 = 1e9, .y2 = 1e9, .lineWidth = 5}, display);
    EXPECT_EQ(box(diagonal), "0 0 484 480");
    EXPECT_EQ(grayAt(*diagonal, 200, 200), 255);
    EXPECT_EQ(grayAt(*diagonal, 210, 200), 0);
    EXPECT_EQ(box(drawShape(StraightLine{.x1 = 0, .y1 = -50, .x2 = 639, .y2 = -50, .lineWidth = 3}, display)),
              "nothing");
}

TEST(DrawLineDeathTest, ItsEndsAreNumbers) {
    EXPECT_DEATH(drawShape(StraightLine{.x1 = std::nan(""), .x2 = 1}, display), "ends of a line are numbers");
    EXPECT_DEATH(drawShape(StraightLine{.x2 = 1, .lineWidth = -1}, display), "not negative");
}

} // namespace
} // namespace tarnel
