#include <TarnelSDK/images/DeviceImage.hpp>

#include <cstddef>
#include <string>
#include <utility>

namespace tarnel {

namespace {

constexpr std::size_t headerLength = 4;

struct Header {
    int colorFormat;
    int width;
    int height;
};

Header parseHeader(ByteView data) {
    const std::uint32_t word = static_cast<std::uint32_t>(data[0]) | static_cast<std::uint32_t>(data[1]) << 8 |
                               static_cast<std::uint32_t>(data[2]) << 16 | static_cast<std::uint32_t>(data[3]) << 24;
    return {static_cast<int>(word & 0x1F), static_cast<int>(word >> 10 & 0x7FF), static_cast<int>(word >> 21)};
}

} // namespace

ImageResult imageFromTNImage(ByteView data, std::string_view name) {
    const std::string subject(name);
    if (data.size() < headerLength) {
        return ImageError{subject + " is no device image: it has " + std::to_string(data.size()) +
                          " bytes, the header alone has 4"};
    }
    const Header header = parseHeader(data);
    if (header.colorFormat != 7 && header.colorFormat != 8) {
        return ImageError{subject + " has colour format " + std::to_string(header.colorFormat) +
                          "; the glasses show 7 (1 bit indexed) and 8 (2 bits indexed)"};
    }
    const std::size_t bits = header.colorFormat == 7 ? 1 : 2;
    const auto width = static_cast<std::size_t>(header.width);
    const auto height = static_cast<std::size_t>(header.height);
    const std::size_t bytesPerRow = (width * bits + 7) / 8;
    const std::size_t paletteLength = (std::size_t{1} << bits) * 4;
    const std::size_t length = headerLength + paletteLength + bytesPerRow * height;
    if (data.size() != length) {
        return ImageError{subject + " is " + (data.size() < length ? "cut off" : "too long") + ": " +
                          std::to_string(width) + " x " + std::to_string(height) + " pixels of " +
                          std::to_string(bits) + " bit take " + std::to_string(length) + " bytes, it has " +
                          std::to_string(data.size())};
    }

    const ByteView palette = data.subspan(headerLength, paletteLength);
    const ByteView rows = data.subspan(headerLength + paletteLength);
    const std::uint32_t highest = (1U << bits) - 1;
    Bytes pixels;
    pixels.reserve(width * height * 4);
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            const std::size_t bit = x * bits;
            const std::uint32_t index = rows[y * bytesPerRow + bit / 8] >> (8 - bits - bit % 8) & highest;
            const auto gray = static_cast<std::uint8_t>(255 * index / highest);
            pixels.insert(pixels.end(), {gray, gray, gray, palette[index * 4 + 3]});
        }
    }
    return Image(header.width, header.height, PixelFormat::rgba8, std::move(pixels));
}

} // namespace tarnel
