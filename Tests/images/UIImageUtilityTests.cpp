#include "images/Pictures.hpp"

#include <TarnelSDK/images/UIImage+Extension.hpp>

#include <array>
#include <cmath>
#include <limits>

namespace tarnel {
namespace {

Size sizeOf(const Image& image) {
    return {image.width(), image.height()};
}

TEST(Resize, GivesTheSizeAskedForWithoutAspect) {
    EXPECT_EQ(sizeOf(resize(flatGray(30, 20, 5), {7, 90}, false)), (Size{7, 90}));
}

TEST(Resize, FitsWithinTheSizeWithAspect) {
    EXPECT_EQ(sizeOf(resize(flatGray(300, 200, 5), {90, 90}, true)), (Size{90, 60}));
    EXPECT_EQ(sizeOf(resize(flatGray(200, 300, 5), {90, 90}, true)), (Size{60, 90}));
    EXPECT_EQ(sizeOf(resize(flatGray(30, 20, 5), {640, 480}, true)), (Size{640, 427}));
    EXPECT_EQ(sizeOf(resize(flatGray(1000, 1, 5), {10, 10}, true)), (Size{10, 1}));
}

TEST(Resize, FollowsAWidthOrAHeight) {
    EXPECT_EQ(sizeOf(resizeMaintainAspectWithWidth(flatGray(300, 200, 5), 150)), (Size{150, 100}));
    EXPECT_EQ(sizeOf(resizeMaintainAspectWithHeight(flatGray(300, 200, 5), 400)), (Size{600, 400}));
    EXPECT_EQ(sizeOf(resizeMaintainAspectWithWidth(flatGray(1, 30'000, 5), 2)), (Size{2, 32'768}));
}

TEST(Resize, AnEmptyImageOrSizeGivesAnEmptyImage) {
    EXPECT_TRUE(resize(Image(), {10, 10}, true).isEmpty());
    EXPECT_TRUE(resize(flatGray(3, 3, 5), {0, 10}, false).isEmpty());
    EXPECT_TRUE(resize(flatGray(3, 3, 5), {10, -1}, true).isEmpty());
    EXPECT_TRUE(resizeMaintainAspectWithWidth(flatGray(3, 3, 5), 0).isEmpty());
    EXPECT_TRUE(resizeMaintainAspectWithHeight(Image(), 5).isEmpty());
}

TEST(Resize, TheSameSizeChangesNothing) {
    const Image image = makeGray(5, 4, [](int x, int y) { return x * 50 + y; });
    EXPECT_EQ(pixelsOf(resize(image, {5, 4}, false)), pixelsOf(image));
}

TEST(Resize, AFlatPictureStaysFlatInEverySize) {
    for (const int side : {1, 2, 3, 7, 16, 17, 31, 40, 100}) {
        const Bytes pixels = pixelsOf(resize(flatGray(17, 13, 201), {side, 3 * side / 2 + 1}, false));
        EXPECT_EQ(pixels, Bytes(pixels.size(), 201)) << side;
    }
}

TEST(Resize, ReductionAveragesAreas) {
    const Image image = makeGray(4, 2, [](int x, int y) { return x < 2 ? (y == 0 ? 0 : 100) : 200 + x; });
    EXPECT_EQ(pixelsOf(resize(image, {2, 1}, false)), (Bytes{50, 203}));
    // Three pixels to two: each target pixel takes one and a half.
    EXPECT_EQ(pixelsOf(resize(Image(3, 1, PixelFormat::gray8, {0, 90, 240}), {2, 1}, false)), (Bytes{30, 190}));
}

TEST(Resize, ALargeReductionKeepsTheMean) {
    const Image image = makeGray(301, 211, [](int x, int y) { return (x * 7 + y * 13) % 256; });
    EXPECT_NEAR(meanOf(resize(image, {10, 7}, false)), meanOf(image), 1.0);
}

TEST(Resize, EnlargementInterpolatesSmoothly) {
    const Image large = resize(Image(4, 1, PixelFormat::gray8, {0, 80, 160, 240}), {32, 1}, false);
    for (int x = 1; x < large.width(); ++x) {
        const int step = pixelAt(large, x, 0).front() - pixelAt(large, x - 1, 0).front();
        EXPECT_GE(step, -2) << x;
        EXPECT_LE(step, 20) << x;
    }
    EXPECT_NEAR(pixelAt(large, 12, 0).front(), 85, 3);
}

TEST(Resize, TreatsRowsAsItTreatsColumns) {
    const auto gray = [](int x, int y) { return (x * x * 31 + y * 57) % 256; };
    const Image image = makeGray(9, 7, gray);
    const Image turned = makeGray(7, 9, [&](int x, int y) { return gray(y, x); });
    for (const Size& size : {Size{30, 40}, Size{5, 40}, Size{30, 3}, Size{4, 3}}) {
        const Image scaled = resize(image, size, false);
        const Image turnedScaled = resize(turned, {size.height, size.width}, false);
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < size.width; ++x) {
                ASSERT_NEAR(pixelAt(scaled, x, y)[0], pixelAt(turnedScaled, y, x)[0], 1) << x << ", " << y;
            }
        }
    }
}

TEST(Resize, ColoursOfTransparentPixelsDoNotBleed) {
    const Image image(2, 1, PixelFormat::rgba8, {255, 0, 0, 255, 0, 255, 0, 0});
    EXPECT_EQ(pixelsOf(resize(image, {1, 1}, false)), (Bytes{255, 0, 0, 128}));
    const Image enlarged = resize(image, {9, 1}, false);
    for (int x = 0; x < enlarged.width(); ++x) {
        EXPECT_EQ(pixelAt(enlarged, x, 0)[1], 0) << x;
    }
}

TEST(Resize, GreyStaysWithinItsAlpha) {
    const Image image(4, 1, PixelFormat::grayAlpha8, {0, 0, 200, 200, 0, 255, 0, 0});
    const Image enlarged = resize(image, {40, 1}, false);
    for (int x = 0; x < enlarged.width(); ++x) {
        EXPECT_LE(pixelAt(enlarged, x, 0)[0], pixelAt(enlarged, x, 0)[1]) << x;
    }
}

TEST(Resize, SkipsTheSlackOfRows) {
    const Image image(2, 2, PixelFormat::gray8, 3, {10, 20, 255, 30, 40, 255});
    EXPECT_EQ(pixelsOf(resize(image, {1, 1}, false)), (Bytes{25}));
}

TEST(Crop, CutsOut) {
    const Image image = makeGray(5, 4, [](int x, int y) { return y * 10 + x; });
    const Image cut = crop(image, {1, 2, 3, 2});
    EXPECT_EQ(sizeOf(cut), (Size{3, 2}));
    EXPECT_EQ(pixelsOf(cut), (Bytes{21, 22, 23, 31, 32, 33}));
}

TEST(Crop, KeepsToThePartInsideThePicture) {
    const Image image = makeGray(5, 4, [](int x, int y) { return y * 10 + x; });
    EXPECT_EQ(pixelsOf(crop(image, {-2, -3, 4, 4})), (Bytes{0, 1}));
    EXPECT_EQ(pixelsOf(crop(image, {4, 3, std::numeric_limits<int>::max(), 9})), (Bytes{34}));
    EXPECT_TRUE(crop(image, {5, 0, 3, 3}).isEmpty());
    EXPECT_TRUE(crop(image, {1, 1, 0, 3}).isEmpty());
    EXPECT_TRUE(crop(Image(), {0, 0, 3, 3}).isEmpty());
}

TEST(Crop, KeepsThePixelFormat) {
    const Image image(2, 1, PixelFormat::rgba8, {1, 2, 3, 4, 5, 6, 7, 8});
    const Image cut = crop(image, {1, 0, 1, 1});
    EXPECT_EQ(cut.format(), PixelFormat::rgba8);
    EXPECT_EQ(pixelsOf(cut), (Bytes{5, 6, 7, 8}));
}

TEST(Offset, MovesThePictureWithinItsSize) {
    const Image image = makeGray(3, 2, [](int x, int y) { return 1 + y * 10 + x; });
    EXPECT_EQ(pixelsOf(offset(image, 1, 1)), (Bytes{0, 0, 0, 0, 1, 2}));
    EXPECT_EQ(pixelsOf(offset(image, -1, 0)), (Bytes{2, 3, 0, 12, 13, 0}));
    EXPECT_EQ(pixelsOf(offset(image, 0, 0)), pixelsOf(image));
}

TEST(Offset, MovesItOutOfSight) {
    const Image image = flatGray(3, 2, 9);
    EXPECT_EQ(pixelsOf(offset(image, 3, 0)), Bytes(6));
    EXPECT_EQ(pixelsOf(offset(image, std::numeric_limits<int>::min(), std::numeric_limits<int>::max())), Bytes(6));
    EXPECT_TRUE(offset(Image(), 1, 1).isEmpty());
}

TEST(RoundedCorners, AreTransparentOutsideTheirCircles) {
    const Image round = roundedCorners(flatGray(20, 20, 200), 8);
    ASSERT_EQ(round.format(), PixelFormat::rgba8);
    for (const auto& [x, y] : {std::pair(0, 0), std::pair(19, 0), std::pair(0, 19), std::pair(19, 19)}) {
        EXPECT_EQ(pixelAt(round, x, y)[3], 0) << x << ", " << y;
    }
    EXPECT_EQ(pixelAt(round, 10, 0), (Bytes{200, 200, 200, 255}));
    EXPECT_EQ(pixelAt(round, 0, 10), (Bytes{200, 200, 200, 255}));
    EXPECT_EQ(pixelAt(round, 10, 10), (Bytes{200, 200, 200, 255}));
}

TEST(RoundedCorners, CoverAsMuchAsACircleOfAtMostHalfTheShorterSide) {
    const Image round = roundedCorners(flatGray(64, 64, 255), 1000);
    EXPECT_NEAR(meanOf(convertToGrayScale_OLD(round).value()) / 255 * 64 * 64, std::acos(-1.0) * 32 * 32, 10);
}

TEST(RoundedCorners, HaveSmoothEdges) {
    const Image round = roundedCorners(flatGray(64, 64, 255), 32);
    int partly = 0;
    for (int x = 0; x < 64; ++x) {
        const int alpha = pixelAt(round, x, 3)[3];
        partly += alpha > 0 && alpha < 255 ? 1 : 0;
    }
    EXPECT_GE(partly, 2);
}

TEST(RoundedCorners, FadeBothBytesOfAMultipliedPixel) {
    const Image round = roundedCorners(Image(1, 1, PixelFormat::grayAlpha8, {100, 200}), 0.5);
    EXPECT_LT(pixelAt(round, 0, 0)[1], 201);
    const Image large = roundedCorners(makeImage(8, 8, PixelFormat::grayAlpha8,
                                                 [](int, int) {
                                                     return std::array<std::uint8_t, 2>{100, 200};
                                                 }),
                                       4);
    EXPECT_EQ(pixelAt(large, 0, 0), (Bytes{0, 0}));
    EXPECT_EQ(pixelAt(large, 4, 4), (Bytes{100, 200}));
}

TEST(RoundedCorners, ARadiusThatIsNotAboveZeroChangesNothing) {
    const Image image = flatGray(4, 4, 7);
    for (const double radius : {0.0, -3.0, std::nan("")}) {
        const Image same = roundedCorners(image, radius);
        EXPECT_EQ(same.format(), PixelFormat::gray8);
        EXPECT_EQ(pixelsOf(same), pixelsOf(image));
    }
    EXPECT_TRUE(roundedCorners(Image(), 5).isEmpty());
    EXPECT_FALSE(roundedCorners(image, std::numeric_limits<double>::infinity()).isEmpty());
}

} // namespace
} // namespace tarnel
