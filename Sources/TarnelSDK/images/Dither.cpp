#include <TarnelSDK/images/Dither.hpp>
#include <TarnelSDK/images/Luminance.hpp>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

namespace tarnel {

namespace {

/// The light that a grey value emits, from 0 to 1: the transfer function of IEC 61966-2-1 (sRGB).
float lightOf(int gray) {
    const double value = gray / 255.0;
    return static_cast<float>(value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4));
}

struct LightTable {
    LightTable() {
        for (int gray = 0; gray < 256; ++gray) {
            ofGray[static_cast<std::size_t>(gray)] = lightOf(gray);
        }
    }
    std::array<float, 256> ofGray{};
};

constexpr int levelCount = 4;

/// What each level shows: level i looks like the grey value 85 i.
const std::array<float, levelCount>& lightOfLevels() {
    static const std::array<float, levelCount> levels = {lightOf(0), lightOf(85), lightOf(170), lightOf(255)};
    return levels;
}

std::size_t nearestLevel(float light) {
    const auto& levels = lightOfLevels();
    std::size_t level = 0;
    while (level + 1 < levels.size() && light > (levels[level] + levels[level + 1]) / 2) {
        ++level;
    }
    return level;
}

} // namespace

// R. W. Floyd and L. Steinberg, "An Adaptive Algorithm for Spatial Greyscale", Proceedings of the SID 17 (2), 1976;
// rows in alternating direction after R. Ulichney, "Digital Halftoning", 1987. The errors are amounts of light, because
// the eye averages light: two levels mixed half and half look brighter than the grey value midway between them.
Image ditherToLevels(const Image& image) {
    static const LightTable light;
    const auto width = static_cast<std::size_t>(image.width());
    Bytes pixels(width * static_cast<std::size_t>(image.height()));
    Bytes gray(width);
    // One more at each end takes the error that falls outside.
    std::vector<float> errors(width + 2);
    std::vector<float> nextErrors(width + 2);
    for (int y = 0; y < image.height(); ++y) {
        luminanceOfRow(image, y, gray);
        const bool isLeftward = y % 2 != 0;
        const std::ptrdiff_t ahead = isLeftward ? -1 : 1;
        std::uint8_t* const out = pixels.data() + static_cast<std::size_t>(y) * width;
        for (std::size_t step = 0; step < width; ++step) {
            const std::size_t x = isLeftward ? width - 1 - step : step;
            float* const here = &errors[x + 1];
            float* const below = &nextErrors[x + 1];
            const float wanted = light.ofGray[gray[x]] + *here;
            const std::size_t level = nearestLevel(wanted);
            out[x] = static_cast<std::uint8_t>(level * 0x40);
            const float error = wanted - lightOfLevels()[level];
            here[ahead] += error * 7 / 16;
            below[-ahead] += error * 3 / 16;
            below[0] += error * 5 / 16;
            below[ahead] += error * 1 / 16;
        }
        errors.swap(nextErrors);
        nextErrors.assign(nextErrors.size(), 0);
    }
    return Image(image.width(), image.height(), PixelFormat::gray8, std::move(pixels));
}

// Pixels a little way apart differ softly where there is shading or texture, not at all in flat areas, and hard across
// the edges of a drawing, anti-aliased or not. Four pixels are further than an anti-aliased edge is wide, and near
// enough that shading stays soft.
bool looksLikePhotograph(const Image& image) {
    constexpr int distance = 4;
    constexpr int leastSoft = 2;
    constexpr int mostSoft = 40;
    constexpr double softShare = 0.3;

    const auto width = static_cast<std::size_t>(image.width());
    std::vector<Bytes> rows(distance, Bytes(width));
    std::size_t pairs = 0;
    std::size_t softPairs = 0;
    const auto compare = [&](int a, int b) {
        const int difference = std::abs(a - b);
        ++pairs;
        softPairs += difference >= leastSoft && difference <= mostSoft ? 1 : 0;
    };
    Bytes row(width);
    for (int y = 0; y < image.height(); ++y) {
        luminanceOfRow(image, y, row);
        Bytes& above = rows[static_cast<std::size_t>(y % distance)];
        for (std::size_t x = 0; x < width; ++x) {
            if (x >= distance) {
                compare(row[x], row[x - distance]);
            }
            if (y >= distance) {
                compare(row[x], above[x]);
            }
        }
        above.swap(row);
    }
    return pairs > 0 && static_cast<double>(softPairs) >= softShare * static_cast<double>(pairs);
}

} // namespace tarnel
