#include "images/Pictures.hpp"

#include <TarnelSDK/images/UIImage+Extension.hpp>

#include <array>

namespace tarnel {
namespace {

using RGBA = std::array<std::uint8_t, 4>;
using GrayAlpha = std::array<std::uint8_t, 2>;

Image onePixel(RGBA pixel) {
    return makeImage(1, 1, PixelFormat::rgba8, [&](int, int) { return pixel; });
}

int grayOf(RGBA pixel) {
    return pixelAt(convertToGrayScale(onePixel(pixel)).value(), 0, 0).front();
}

TEST(ConvertToGrayScale, TakesTheNearestLevelOfEveryGrey) {
    const Image ramp = makeGray(256, 1, [](int x, int) { return x; });
    const Image gray = convertToGrayScale(ramp).value();
    ASSERT_EQ(gray.format(), PixelFormat::gray8);
    for (int value = 0; value < 256; ++value) {
        const int expected = value < 0x20 ? 0x00 : value < 0x60 ? 0x40 : value < 0xA0 ? 0x80 : 0xC0;
        EXPECT_EQ(pixelAt(gray, value, 0).front(), expected) << "grey " << value;
    }
}

TEST(ConvertToGrayScale, WeighsRedGreenAndBlue) {
    EXPECT_EQ(grayOf({255, 0, 0, 255}), 0x40);   // 76.5
    EXPECT_EQ(grayOf({0, 255, 0, 255}), 0x80);   // 150.45
    EXPECT_EQ(grayOf({0, 0, 255, 255}), 0x00);   // 28.05
    EXPECT_EQ(grayOf({255, 255, 0, 255}), 0xC0); // 226.95
    EXPECT_EQ(pixelAt(convertToGrayScale_OLD(onePixel({255, 0, 0, 255})).value(), 0, 0).front(), 77);
    EXPECT_EQ(pixelAt(convertToGrayScale_OLD(onePixel({0, 255, 0, 255})).value(), 0, 0).front(), 150);
    EXPECT_EQ(pixelAt(convertToGrayScale_OLD(onePixel({0, 0, 255, 255})).value(), 0, 0).front(), 28);
}

TEST(ConvertToGrayScale, LaysATransparentPictureOverBlack) {
    EXPECT_EQ(grayOf({255, 255, 255, 0}), 0x00);
    EXPECT_EQ(grayOf({255, 255, 255, 0x1F}), 0x00);
    EXPECT_EQ(grayOf({255, 255, 255, 0x20}), 0x40);
    EXPECT_EQ(grayOf({255, 255, 255, 0x9F}), 0x80);
    EXPECT_EQ(grayOf({255, 255, 255, 0xA0}), 0xC0);
}

TEST(ConvertToGrayScale, IsUnchangedByASecondTime) {
    const Image once = convertToGrayScale(makeGray(256, 1, [](int x, int) { return x; })).value();
    EXPECT_EQ(pixelsOf(convertToGrayScale(once).value()), pixelsOf(once));
}

TEST(ConvertToGrayScale, RedrawsMonochromeWithMultipliedAlphaWithoutReducingIt) {
    const Image image = makeImage(3, 1, PixelFormat::grayAlpha8, [](int x, int) {
        return std::array<GrayAlpha, 3>{{{33, 200}, {100, 100}, {0, 0}}}[static_cast<std::size_t>(x)];
    });
    const Image gray = convertToGrayScale(image).value();
    EXPECT_EQ(gray.format(), PixelFormat::gray8);
    EXPECT_EQ(pixelsOf(gray), (Bytes{33, 100, 0}));
}

TEST(ConvertToGrayScale, GivesNothingForAnEmptyImage) {
    EXPECT_FALSE(convertToGrayScale(Image()));
    EXPECT_FALSE(convertToGrayScale_OLD(Image()));
}

TEST(ConvertToGrayScale, SkipsTheSlackOfRows) {
    const Image image(2, 2, PixelFormat::gray8, 4, {0x00, 0xFF, 1, 1, 0x45, 0x7E, 1, 1});
    EXPECT_EQ(pixelsOf(convertToGrayScale(image).value()), (Bytes{0x00, 0xC0, 0x40, 0x80}));
}

TEST(ConvertToLvglImg, TakesOneTwoFourOrEightBitsAndNoOtherNumber) {
    const Image image = flatGray(3, 4, 0xFF);
    for (int bpp = -1; bpp <= 33; ++bpp) {
        const bool isAccepted = bpp == 1 || bpp == 2 || bpp == 4 || bpp == 8;
        EXPECT_EQ(convertToLvglImg(image, bpp, false).has_value(), isAccepted) << bpp;
        EXPECT_EQ(convertToLvglImg(image, bpp, true).has_value(), isAccepted) << bpp;
    }
}

TEST(ConvertToLvglImg, AThreePixelRowOfTwoBitsIsOneByteWithItsLowTwoBitsZeroWhenPadded) {
    EXPECT_EQ(convertToLvglImg(flatGray(3, 4, 0xFF), 2, true).value(), (Bytes{0xFC, 0xFC, 0xFC, 0xFC}));
}

TEST(ConvertToLvglImg, FourThreePixelRowsOfTwoBitsAreThreeBytesWhenNotPadded) {
    const Image image = makeGray(3, 4, [](int x, int y) { return ((y * 3 + x) % 4) * 0x40; });
    EXPECT_EQ(convertToLvglImg(image, 2, false).value(), (Bytes{0x1B, 0x1B, 0x1B}));
    EXPECT_EQ(packArray(image, 2).value(), (Bytes{0x1B, 0x1B, 0x1B}));
}

TEST(ConvertToLvglImg, ABytePartlyFilledAtTheEndIsAlwaysAppended) {
    EXPECT_EQ(convertToLvglImg(flatGray(3, 3, 0xFF), 1, false).value(), (Bytes{0xFF, 0x80}));
    EXPECT_EQ(convertToLvglImg(flatGray(3, 3, 0xFF), 1, true).value(), (Bytes{0xE0, 0xE0, 0xE0}));
    EXPECT_EQ(convertToLvglImg(flatGray(8, 1, 0xFF), 1, true).value(), (Bytes{0xFF}));
}

TEST(ConvertToLvglImg, TakesTheTopBitsOfEachPixel) {
    const Image image(4, 1, PixelFormat::gray8, {0x7F, 0x80, 0xBF, 0xC1});
    EXPECT_EQ(convertToLvglImg(image, 1, false).value(), (Bytes{0x70}));
    EXPECT_EQ(convertToLvglImg(image, 2, false).value(), (Bytes{0x6B}));
    EXPECT_EQ(convertToLvglImg(image, 4, false).value(), (Bytes{0x78, 0xBC}));
    EXPECT_EQ(convertToLvglImg(image, 8, false).value(), (Bytes{0x7F, 0x80, 0xBF, 0xC1}));
}

TEST(ConvertToLvglImg, SamplesTheSecondByteOfALongerPixel) {
    const Image color(2, 1, PixelFormat::rgba8, {0xFF, 0x40, 0xFF, 0xFF, 0x00, 0xC0, 0x00, 0x00});
    EXPECT_EQ(convertToLvglImg(color, 8, false).value(), (Bytes{0x40, 0xC0}));
    const Image gray(2, 1, PixelFormat::grayAlpha8, {0x10, 0x80, 0x20, 0xFF});
    EXPECT_EQ(convertToLvglImg(gray, 8, false).value(), (Bytes{0x80, 0xFF}));
}

TEST(ConvertToLvglImg, SkipsTheSlackOfRows) {
    const Image gray(2, 2, PixelFormat::gray8, 5, {1, 2, 99, 99, 99, 3, 4, 99, 99, 99});
    EXPECT_EQ(convertToLvglImg(gray, 8, false).value(), (Bytes{1, 2, 3, 4}));
    const Image color(1, 2, PixelFormat::rgba8, 6, {9, 1, 9, 9, 99, 99, 9, 2, 9, 9, 99, 99});
    EXPECT_EQ(convertToLvglImg(color, 8, false).value(), (Bytes{1, 2}));
}

TEST(ConvertToLvglImg, AnImageOfNoHeightOrWidthGivesNoBytes) {
    EXPECT_EQ(convertToLvglImg(Image(), 2, true).value(), Bytes{});
    EXPECT_EQ(convertToLvglImg(Image(5, 0, PixelFormat::gray8, Bytes{}), 2, true).value(), Bytes{});
    EXPECT_EQ(convertToLvglImg(Image(0, 5, PixelFormat::gray8, Bytes{}), 2, true).value(), Bytes{});
}

TEST(ConvertToLvglImg, PacksEachPixelsOwnLevelOfAGreyReduction) {
    const Image gray = convertToGrayScale(Image(4, 1, PixelFormat::gray8, {0x1F, 0x20, 0x9F, 0xA0})).value();
    EXPECT_EQ(convertToLvglImg(gray, 2, false).value(), (Bytes{0x1B}));
}

TEST(ToTNImage, TakesOneOrTwoBitsAndNoOtherNumber) {
    const Image image = flatGray(3, 4, 0xFF);
    EXPECT_FALSE(toTNImage(image, 3));
    EXPECT_FALSE(toTNImage(image, 0));
    EXPECT_FALSE(toTNImage(image, -1));
    EXPECT_FALSE(toTNImage(image, 4));
    EXPECT_FALSE(toTNImage(image, 8));
    EXPECT_TRUE(toTNImage(image, 1));
    EXPECT_TRUE(toTNImage(image, 2));
}

TEST(ToTNImage, TheHeaderOf100By50PixelsAtTwoBitsIs08904106) {
    const Bytes image = toTNImage(flatGray(100, 50, 0), 2).value();
    EXPECT_EQ(Bytes(image.begin(), image.begin() + 4), (Bytes{0x08, 0x90, 0x41, 0x06}));
    EXPECT_EQ(image.size(), 4U + 16U + 25U * 50U);
}

TEST(ToTNImage, IsHeaderPaletteAndPaddedRowsAtTwoBits) {
    const Image image = makeGray(3, 2, [](int x, int y) { return (x + y) * 0x40; });
    EXPECT_EQ(toTNImage(image, 2).value(), (Bytes{0x08, 0x0C, 0x40, 0x00,                         //
                                                  0x00, 0x00, 0x00, 0x00, 0x00, 0x40, 0x00, 0xFF, //
                                                  0x00, 0x80, 0x00, 0xFF, 0x00, 0xC0, 0x00, 0xFF, //
                                                  0x18, 0x6C}));
}

TEST(ToTNImage, IsHeaderPaletteAndPaddedRowsAtOneBit) {
    const Image image = makeGray(9, 1, [](int x, int) { return x % 2 == 0 ? 255 : 0; });
    EXPECT_EQ(toTNImage(image, 1).value(), (Bytes{0x07, 0x24, 0x20, 0x00,                         //
                                                  0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, //
                                                  0xAA, 0x80}));
}

TEST(ToTNImage, ConvertsColourToGreyFirst) {
    const Image pink(1, 1, PixelFormat::rgba8, {255, 0, 255, 255}); // Luminance 105, green 0
    EXPECT_EQ(toTNImage(pink, 2)->back(), 0x80);
}

TEST(ToTNImage, LargestSizeFillsTheHeader) {
    const Bytes image = toTNImage(flatGray(2047, 2047, 0), 1).value();
    EXPECT_EQ(Bytes(image.begin(), image.begin() + 4), (Bytes{0x07, 0xFC, 0xFF, 0xFF}));
}

TEST(ToTNImage, AHeightOf2048IsCutToItsLowBits) {
    const Bytes image = toTNImage(flatGray(1, 2049, 0), 1).value();
    EXPECT_EQ(Bytes(image.begin(), image.begin() + 4), (Bytes{0x07, 0x04, 0x20, 0x00}));
}

TEST(ToTNImageDeathTest, AWidthOf2048StopsTheProgram) {
    EXPECT_DEATH(toTNImage(flatGray(2048, 1, 0), 2), "less than 2048 pixels wide");
    EXPECT_DEATH(toTNImage(flatGray(2048, 8, 0), 2), "less than 2048 pixels wide");
}

TEST(ToTNImage, GivesNothingForAnEmptyImage) {
    EXPECT_FALSE(toTNImage(Image(), 2));
}

TEST(DifferenceRect, EnclosesAllDifferingPixels) {
    const Image a = flatGray(10, 8, 0);
    const Image b = makeGray(10, 8, [](int x, int y) { return (x == 7 && y == 2) || (x == 3 && y == 5) ? 1 : 0; });
    EXPECT_EQ(differenceRect(a, b), (Rect{3, 2, 5, 4}));
    EXPECT_EQ(differenceRect(b, a), (Rect{3, 2, 5, 4}));
}

TEST(DifferenceRect, ReachesTheEdges) {
    EXPECT_EQ(differenceRect(flatGray(10, 8, 0), flatGray(10, 8, 9)), (Rect{0, 0, 10, 8}));
    const Image corner = makeGray(10, 8, [](int x, int y) { return x == 9 && y == 7 ? 5 : 0; });
    EXPECT_EQ(differenceRect(flatGray(10, 8, 0), corner), (Rect{9, 7, 1, 1}));
}

TEST(DifferenceRect, GivesNothingForEqualImages) {
    EXPECT_FALSE(differenceRect(flatGray(4, 4, 3), flatGray(4, 4, 3)));
    const Image slack(1, 2, PixelFormat::gray8, 2, {1, 50, 2, 60});
    const Image otherSlack(1, 2, PixelFormat::gray8, 2, {1, 70, 2, 80});
    EXPECT_FALSE(differenceRect(slack, otherSlack));
}

TEST(DifferenceRect, GivesNothingForImagesOfDifferentShape) {
    EXPECT_FALSE(differenceRect(flatGray(4, 4, 0), flatGray(4, 5, 1)));
    EXPECT_FALSE(differenceRect(flatGray(4, 4, 0), flatGray(5, 4, 1)));
    EXPECT_FALSE(differenceRect(flatGray(2, 1, 0), Image(2, 1, PixelFormat::grayAlpha8, Bytes(4, 1))));
    EXPECT_FALSE(differenceRect(flatGray(2, 1, 0), Image(2, 1, PixelFormat::gray8, 3, {1, 1, 1})));
    EXPECT_FALSE(differenceRect(Image(), Image()));
}

TEST(DifferenceRect, ComparesRedGreenAndBlueButNotAlpha) {
    const auto pixel = [](Bytes bytes) { return Image(1, 1, PixelFormat::rgba8, std::move(bytes)); };
    const Image black = pixel({0, 0, 0, 0});
    EXPECT_TRUE(differenceRect(black, pixel({1, 0, 0, 0})));
    EXPECT_TRUE(differenceRect(black, pixel({0, 1, 0, 0})));
    EXPECT_TRUE(differenceRect(black, pixel({0, 0, 1, 0})));
    EXPECT_FALSE(differenceRect(black, pixel({0, 0, 0, 1})));
}

TEST(DifferenceRect, ComparesTheSampledByteOfAGreyPixelWithAlpha) {
    const auto pixel = [](Bytes bytes) { return Image(1, 1, PixelFormat::grayAlpha8, std::move(bytes)); };
    EXPECT_TRUE(differenceRect(pixel({0, 0}), pixel({0, 1})));
    EXPECT_FALSE(differenceRect(pixel({0, 9}), pixel({1, 9})));
}

} // namespace
} // namespace tarnel
