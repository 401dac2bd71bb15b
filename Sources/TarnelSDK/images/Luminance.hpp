#pragma once

#include <TarnelSDK/images/Image.hpp>

#include <cstdint>
#include <span>

namespace tarnel {

/// Luminance, 0.3 R + 0.59 G + 0.11 B rounded, over black.
constexpr std::uint8_t luminance(std::uint8_t red, std::uint8_t green, std::uint8_t blue, std::uint8_t alpha) {
    constexpr std::uint32_t one = 100 * 255;
    const std::uint32_t weighted = (30U * red + 59U * green + 11U * blue) * alpha;
    return static_cast<std::uint8_t>((weighted + one / 2) / one);
}

/// The luminance of row y over black. REQUIRES: `out` has room for the row.
void luminanceOfRow(const Image& image, int y, std::span<std::uint8_t> out);

} // namespace tarnel
