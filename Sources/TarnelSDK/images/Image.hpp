#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace tarnel {

/// How the pixels of an image are stored, rows from the top, pixels from the left.
enum class PixelFormat {
    gray8,      ///< 1 byte a pixel: luminance, 0 black to 255 white
    grayAlpha8, ///< 2 bytes a pixel: luminance multiplied by alpha, alpha
    rgba8,      ///< 4 bytes a pixel: red, green, blue (not multiplied by alpha), alpha
};

/// A picture in memory: an immutable value, cheap to copy (copies share the pixels).
class Image {
public:
    /// An empty picture of 0 x 0.
    Image() = default;

    /// `pixels` holds `height` rows of `bytesPerRow` bytes. REQUIRES: no negative size, rows at least as long as their
    /// pixels need, and `pixels.size() == bytesPerRow * height`.
    Image(int width, int height, PixelFormat format, std::size_t bytesPerRow, Bytes pixels);

    /// Rows without slack.
    Image(int width, int height, PixelFormat format, Bytes pixels);

    int width() const { return width_; }
    int height() const { return height_; }
    PixelFormat format() const { return format_; }
    std::size_t bytesPerPixel() const;
    std::size_t bitsPerPixel() const { return bytesPerPixel() * 8; }
    std::size_t bytesPerRow() const { return bytesPerRow_; }
    bool isEmpty() const { return width_ == 0 || height_ == 0; }
    ByteView data() const { return pixels_ ? ByteView(*pixels_) : ByteView(); }
    /// The `width * bytesPerPixel` bytes of row y, counted from the top.
    ByteView row(int y) const;

private:
    int width_ = 0;
    int height_ = 0;
    PixelFormat format_ = PixelFormat::gray8;
    std::size_t bytesPerRow_ = 0;
    std::shared_ptr<const Bytes> pixels_;
};

} // namespace tarnel
