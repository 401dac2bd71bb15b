#pragma once

#include <TarnelSDK/images/ImageError.hpp>

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>
#include <variant>

namespace tarnel {

/// A picture whose pixels are what `pixel(x, y)` gives, a `std::uint8_t` or an array of them.
template <typename Pixel>
Image makeImage(int width, int height, PixelFormat format, Pixel pixel) {
    Bytes pixels;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const auto value = pixel(x, y);
            if constexpr (std::is_convertible_v<decltype(value), int>) {
                pixels.push_back(static_cast<std::uint8_t>(value));
            } else {
                pixels.insert(pixels.end(), value.begin(), value.end());
            }
        }
    }
    return Image(width, height, format, std::move(pixels));
}

template <typename Pixel>
Image makeGray(int width, int height, Pixel pixel) {
    return makeImage(width, height, PixelFormat::gray8, pixel);
}

inline Image flatGray(int width, int height, int value) {
    return makeGray(width, height, [value](int, int) { return value; });
}

/// The bytes of pixel (x, y).
inline Bytes pixelAt(const Image& image, int x, int y) {
    const ByteView pixel =
        image.row(y).subspan(static_cast<std::size_t>(x) * image.bytesPerPixel(), image.bytesPerPixel());
    return Bytes(pixel.begin(), pixel.end());
}

/// All pixels without row slack.
inline Bytes pixelsOf(const Image& image) {
    Bytes pixels;
    for (int y = 0; y < image.height(); ++y) {
        const ByteView row = image.row(y);
        pixels.insert(pixels.end(), row.begin(), row.end());
    }
    return pixels;
}

inline double meanOf(const Image& image) {
    double sum = 0;
    const Bytes pixels = pixelsOf(image);
    for (const std::uint8_t value : pixels) {
        sum += value;
    }
    return sum / static_cast<double>(pixels.size());
}

/// The picture, or an empty one and a failed test.
inline Image imageOf(const ImageResult& result) {
    if (const auto* error = std::get_if<ImageError>(&result)) {
        ADD_FAILURE() << error->message;
        return {};
    }
    return std::get<Image>(result);
}

/// The error's message; empty when there is a picture.
inline std::string messageOf(const ImageResult& result) {
    const auto* error = std::get_if<ImageError>(&result);
    return error ? error->message : std::string();
}

} // namespace tarnel
