#include <TarnelSDK/images/Image.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <utility>

namespace tarnel {

namespace {

std::size_t lengthOfPixel(PixelFormat format) {
    switch (format) {
    case PixelFormat::gray8:
        return 1;
    case PixelFormat::grayAlpha8:
        return 2;
    case PixelFormat::rgba8:
        return 4;
    }
    preconditionFailure("a pixel format is one of the enumeration");
}

} // namespace

Image::Image(int width, int height, PixelFormat format, std::size_t bytesPerRow, Bytes pixels)
    : width_(width), height_(height), format_(format), bytesPerRow_(bytesPerRow) {
    precondition(width >= 0 && height >= 0, "an image has no negative size");
    precondition(bytesPerRow / lengthOfPixel(format) >= static_cast<std::size_t>(width),
                 "an image's row is at least as long as its pixels");
    std::size_t length = 0;
    precondition(!__builtin_mul_overflow(bytesPerRow, static_cast<std::size_t>(height), &length) &&
                     pixels.size() == length,
                 "an image has as many bytes as its rows");
    pixels_ = std::make_shared<const Bytes>(std::move(pixels));
}

Image::Image(int width, int height, PixelFormat format, Bytes pixels)
    : Image(width, height, format, width > 0 ? static_cast<std::size_t>(width) * lengthOfPixel(format) : 0,
            std::move(pixels)) {}

std::size_t Image::bytesPerPixel() const {
    return lengthOfPixel(format_);
}

ByteView Image::row(int y) const {
    precondition(y >= 0 && y < height_, "a row lies within the image");
    return data().subspan(static_cast<std::size_t>(y) * bytesPerRow_,
                          static_cast<std::size_t>(width_) * bytesPerPixel());
}

} // namespace tarnel
