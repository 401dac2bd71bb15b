#include <TarnelGlasses/LvglImage.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <cstddef>

namespace tarnel::glasses {

namespace {

constexpr std::uint8_t indexed1Bit = 7;
constexpr std::uint8_t indexed2Bit = 8;
constexpr std::size_t headerSize = 4;
constexpr std::size_t entrySize = 4;

std::size_t bytesPerRow(int width, int bitsPerPixel) {
    return (static_cast<std::size_t>(width) * static_cast<std::size_t>(bitsPerPixel) + 7) / 8;
}

/// The level of a colour over what a pixel shows.
std::uint8_t mixedLevel(const LvglImage::Colour& colour, std::uint8_t below) {
    constexpr unsigned opaque = 255;
    constexpr unsigned greenPerLevel = 0x40;
    const unsigned alpha = colour.alpha;
    return levelOfGreen(
        static_cast<std::uint8_t>((colour.green * alpha + below * greenPerLevel * (opaque - alpha)) / opaque));
}

} // namespace

std::uint8_t levelOfGreen(std::uint8_t green) {
    return static_cast<std::uint8_t>(std::min((green + 0x20) / 0x40, 3));
}

std::variant<LvglImage, std::string> LvglImage::decode(ByteView file) {
    if (file.size() < headerSize) {
        return "the image is cut off";
    }
    const auto format = file[0];
    if (format != indexed1Bit && format != indexed2Bit) {
        return "not an image of 1 or 2 bits a pixel";
    }
    LvglImage image;
    image.bitsPerPixel_ = format == indexed1Bit ? 1 : 2;
    image.width_ = file[1] >> 2 | (file[2] & 0x1F) << 6;
    image.height_ = file[2] >> 5 | file[3] << 3;
    if (image.width_ == 0 || image.height_ == 0) {
        return "the image is empty";
    }
    const std::size_t entries = std::size_t{1} << image.bitsPerPixel_;
    const auto pixels = bytesPerRow(image.width_, image.bitsPerPixel_) * static_cast<std::size_t>(image.height_);
    if (file.size() != headerSize + entries * entrySize + pixels) {
        return "the pixels do not fill the image";
    }
    for (std::size_t i = 0; i < entries; ++i) {
        const auto entry = file.subspan(headerSize + i * entrySize, entrySize);
        image.palette_.at(i) = {.blue = entry[0], .green = entry[1], .red = entry[2], .alpha = entry[3]};
    }
    const auto data = file.last(pixels);
    image.pixels_.assign(data.begin(), data.end());
    return image;
}

const LvglImage::Colour& LvglImage::at(int x, int y) const {
    precondition(x >= 0 && x < width_ && y >= 0 && y < height_, "a pixel lies in the image");
    const auto bit = static_cast<std::size_t>(x) * static_cast<std::size_t>(bitsPerPixel_);
    const auto byte = pixels_[static_cast<std::size_t>(y) * bytesPerRow(width_, bitsPerPixel_) + bit / 8];
    const auto shift = 8 - static_cast<std::size_t>(bitsPerPixel_) - bit % 8;
    return palette_.at(static_cast<std::size_t>(byte >> shift) & ((1U << bitsPerPixel_) - 1));
}

void LvglImage::draw(Frame& frame, int x, int y) const {
    if (!isDrawnByObjects()) {
        return;
    }
    const int right = std::min(width_, Frame::width - x);
    const int bottom = std::min(height_, Frame::height - y);
    for (int row = std::max(-y, 0); row < bottom; ++row) {
        for (int column = std::max(-x, 0); column < right; ++column) {
            const auto& colour = at(column, row);
            if (colour.alpha != 0) {
                frame.set(x + column, y + row, mixedLevel(colour, frame.at(x + column, y + row)));
            }
        }
    }
}

} // namespace tarnel::glasses
