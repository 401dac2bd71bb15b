#include "images/Pictures.hpp"

#include <TarnelSDK/images/Dither.hpp>
#include <TarnelSDK/images/ImageFile.hpp>
#include <TarnelSDK/images/UIImage+Extension.hpp>

#include <algorithm>
#include <cmath>
#include <random>
#include <set>

namespace tarnel {
namespace {

/// The grey value that emits the mean light of a dithered picture, level i shown as 85 i.
double shownGray(const Image& levels) {
    double light = 0;
    const Bytes pixels = pixelsOf(levels);
    for (const std::uint8_t value : pixels) {
        const double shown = value / 0x40 / 3.0;
        light += shown <= 0.04045 ? shown / 12.92 : std::pow((shown + 0.055) / 1.055, 2.4);
    }
    light /= static_cast<double>(pixels.size());
    return 255 * (light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055);
}

TEST(DitherToLevels, KeepsTheBrightnessOfEveryGrey) {
    for (int gray = 0; gray < 256; ++gray) {
        EXPECT_NEAR(shownGray(ditherToLevels(flatGray(64, 64, gray))), gray, gray < 16 ? 3 : 1.5) << gray;
    }
}

TEST(DitherToLevels, MixesOnlyTheTwoLevelsAroundAFlatGrey) {
    for (int gray = 0; gray < 256; ++gray) {
        const Bytes pixels = pixelsOf(ditherToLevels(flatGray(64, 64, gray)));
        const std::set<std::uint8_t> used(pixels.begin(), pixels.end());
        for (const std::uint8_t value : used) {
            const int shown = value / 0x40 * 85;
            EXPECT_LT(std::abs(shown - gray), 85) << gray;
        }
    }
}

TEST(DitherToLevels, TheGreysThatTheLevelsStandForStayFlat) {
    for (int level = 0; level < 4; ++level) {
        const Bytes pixels = pixelsOf(ditherToLevels(flatGray(20, 20, level * 85)));
        EXPECT_EQ(pixels, Bytes(400, static_cast<std::uint8_t>(level * 0x40)));
    }
}

TEST(DitherToLevels, IsUnchangedByTheGreyReduction) {
    const Image dithered = ditherToLevels(makeGray(97, 61, [](int x, int y) { return (x * 3 + y) % 256; }));
    ASSERT_EQ(dithered.format(), PixelFormat::gray8);
    EXPECT_EQ(pixelsOf(convertToGrayScale(dithered).value()), pixelsOf(dithered));
}

TEST(DitherToLevels, TakesColourOverBlack) {
    const Image color(1, 1, PixelFormat::rgba8, {255, 255, 255, 255});
    EXPECT_EQ(pixelsOf(ditherToLevels(color)), Bytes{0xC0});
    const Image clear(1, 1, PixelFormat::rgba8, {255, 255, 255, 0});
    EXPECT_EQ(pixelsOf(ditherToLevels(clear)), Bytes{0x00});
}

TEST(DitherToLevels, TakesAnySize) {
    EXPECT_TRUE(ditherToLevels(Image()).isEmpty());
    for (const auto& [width, height] : {std::pair(1, 1), std::pair(1, 50), std::pair(50, 1), std::pair(640, 480)}) {
        const Image dithered = ditherToLevels(flatGray(width, height, 100));
        EXPECT_EQ(dithered.width(), width);
        EXPECT_EQ(dithered.height(), height);
    }
}

TEST(DitherToLevels, LeavesNoStripesInAFlatGrey) {
    // Every row and every column of a mid grey holds about its share of each level.
    const Image dithered = ditherToLevels(flatGray(128, 128, 120));
    const double mean = meanOf(dithered);
    for (int line = 8; line < 120; ++line) {
        EXPECT_NEAR(meanOf(crop(dithered, {0, line, 128, 1})), mean, 16) << "row " << line;
        EXPECT_NEAR(meanOf(crop(dithered, {line, 0, 1, 128})), mean, 16) << "column " << line;
    }
}

/// Black on white, with edges one pixel soft: rings and spokes.
Image lineDrawing() {
    return makeGray(320, 240, [](int x, int y) {
        const double dx = x - 160;
        const double dy = y - 120;
        const double radius = std::hypot(dx, dy);
        const double toRing = std::abs(std::fmod(radius, 24.0) - 12);
        const double toSpoke = radius * std::abs(std::sin(std::atan2(dy, dx) * 4)) / 4;
        return static_cast<int>(255 * std::clamp(std::min(toRing, toSpoke) - 0.7, 0.0, 1.0));
    });
}

/// Lines of small marks of soft-edged strokes, like a page of text.
Image textPage() {
    std::mt19937 random(5);
    std::vector<int> page(320 * 240, 255);
    for (int line = 6; line + 10 < 240; line += 14) {
        for (int x = 6; x + 6 < 320; x += 6) {
            for (int stroke = 0; stroke < 2; ++stroke) {
                const auto at = static_cast<int>(random() % 5);
                for (int y = 0; y < 9; ++y) {
                    page[static_cast<std::size_t>((line + y) * 320 + x + at)] = static_cast<int>(random() % 60);
                    page[static_cast<std::size_t>((line + y) * 320 + x + at + 1)] =
                        90 + static_cast<int>(random() % 120);
                }
            }
        }
    }
    return makeGray(320, 240, [&](int x, int y) { return page[static_cast<std::size_t>(y * 320 + x)]; });
}

/// Flat panels with borders and a few marks.
Image screenshot() {
    return makeGray(320, 240, [](int x, int y) {
        if (y < 24) {
            return 40;
        }
        if (x < 80) {
            return y % 20 < 2 ? 180 : 225;
        }
        return (x + y) % 61 == 0 ? 0 : (x / 60 + y / 50) % 2 == 0 ? 250 : 240;
    });
}

/// Soft shading with a little noise, from `darkest` to `brightest`.
Image shading(int darkest, int brightest, double noise) {
    std::mt19937 random(7);
    std::normal_distribution<double> grain(0, noise);
    return makeGray(320, 240, [&](int x, int y) {
        const double wave = 0.5 + 0.25 * std::sin(x / 37.0 + y / 90.0) + 0.25 * std::cos(y / 23.0 - x / 71.0);
        const double value = darkest + wave * (brightest - darkest) + grain(random);
        return static_cast<int>(std::clamp(value, 0.0, 255.0));
    });
}

TEST(LooksLikePhotograph, IsFalseForDrawingsTextAndScreenshots) {
    EXPECT_FALSE(looksLikePhotograph(lineDrawing()));
    EXPECT_FALSE(looksLikePhotograph(textPage()));
    EXPECT_FALSE(looksLikePhotograph(screenshot()));
    EXPECT_FALSE(looksLikePhotograph(flatGray(320, 240, 128)));
    EXPECT_FALSE(looksLikePhotograph(makeGray(320, 240, [](int x, int y) { return (x / 8 + y / 8) % 2 * 255; })));
}

TEST(LooksLikePhotograph, IsTrueForShadingBrightDarkAndNoisy) {
    EXPECT_TRUE(looksLikePhotograph(shading(0, 255, 0)));
    EXPECT_TRUE(looksLikePhotograph(shading(10, 250, 6)));
    EXPECT_TRUE(looksLikePhotograph(shading(2, 60, 3)));
    EXPECT_TRUE(looksLikePhotograph(shading(180, 250, 3)));
}

TEST(LooksLikePhotograph, IsFalseForADitheredPicture) {
    EXPECT_FALSE(looksLikePhotograph(ditherToLevels(shading(0, 255, 0))));
}

TEST(LooksLikePhotograph, IsFalseForPicturesTooSmallToTell) {
    EXPECT_FALSE(looksLikePhotograph(Image()));
    EXPECT_FALSE(looksLikePhotograph(makeGray(3, 3, [](int x, int y) { return x * 9 + y; })));
}

TEST(LooksLikePhotograph, TellsTheExamplesApartInEverySize) {
    const Image photograph = imageOf(readImage(TARNEL_PICTURES "/photograph.jpg"));
    const Image drawing = imageOf(readImage(TARNEL_PICTURES "/drawing.png"));
    for (const int width : {1'024, 640, 320, 160}) {
        EXPECT_TRUE(looksLikePhotograph(resizeMaintainAspectWithWidth(photograph, width))) << width;
        EXPECT_FALSE(looksLikePhotograph(resizeMaintainAspectWithWidth(drawing, width))) << width;
    }
}

} // namespace
} // namespace tarnel
