#pragma once

#include <TarnelSDK/images/Image.hpp>

#include <cstdint>
#include <random>

namespace tarnel::test {

/// A picture of the size of the display of the four levels at random, here and there in long runs.
inline Image randomPicture(std::uint32_t seed, int width = 640, int height = 480) {
    std::mt19937 random(seed);
    Bytes pixels;
    const auto count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    while (pixels.size() < count) {
        const auto level = static_cast<std::uint8_t>(random() % 4 * 0x40);
        const std::size_t run = random() % 2000 == 0 ? random() % 900 + 1 : random() % 5 + 1;
        pixels.insert(pixels.end(), std::min(run, count - pixels.size()), level);
    }
    return Image(width, height, PixelFormat::gray8, pixels);
}

/// The level of each pixel of a picture of `randomPicture`.
inline Bytes levels(const Image& picture) {
    Bytes result;
    for (const auto value : picture.data()) {
        result.push_back(static_cast<std::uint8_t>(value >> 6));
    }
    return result;
}

} // namespace tarnel::test
