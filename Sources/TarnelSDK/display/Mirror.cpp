#include <TarnelSDK/display/Coordinates.hpp>
#include <TarnelSDK/display/Mirror.hpp>
#include <TarnelSDK/images/Luminance.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <vector>

namespace tarnel {
namespace {

/// The rectangle, whose vertical axis points up, in rows counted from the top.
Rect flipped(const Rect& rect, int height) {
    return {rect.x, coordinate(std::int64_t{height} - rect.y - rect.height), rect.width, rect.height};
}

} // namespace

Mirror::Mirror(int width, int height)
    : width_(width), height_(height), pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

void Mirror::draw(const Image& image, int x, int y) {
    precondition(image.format() == PixelFormat::gray8, "the mirror draws gray8 images");
    const Rect place = flipped({x, y, image.width(), image.height()}, height_);
    const Rect visible = intersection(place, {0, 0, width_, height_});
    for (int row = visible.y; row < visible.y + visible.height; ++row) {
        const auto source = image.row(row - place.y).subspan(static_cast<std::size_t>(visible.x - place.x));
        std::copy_n(source.begin(), visible.width, pixels_.begin() + std::ptrdiff_t{row} * width_ + visible.x);
    }
}

void Mirror::blend(const Image& image, int x, int y) {
    const Rect place = flipped({x, y, image.width(), image.height()}, height_);
    const Rect visible = intersection(place, {0, 0, width_, height_});
    const std::size_t step = image.bytesPerPixel();
    std::vector<std::uint8_t> ink(static_cast<std::size_t>(image.width()));
    for (int row = visible.y; row < visible.y + visible.height; ++row) {
        luminanceOfRow(image, row - place.y, ink);
        const auto source = image.row(row - place.y);
        for (int column = visible.x; column < visible.x + visible.width; ++column) {
            const auto at = static_cast<std::size_t>(column - place.x);
            const unsigned alpha = step == 1 ? 255U : source[at * step + step - 1];
            auto& pixel = pixels_[static_cast<std::size_t>(row) * static_cast<std::size_t>(width_) +
                                  static_cast<std::size_t>(column)];
            pixel = static_cast<std::uint8_t>(std::min(255U, ink[at] + (pixel * (255U - alpha) + 127U) / 255U));
        }
    }
}

void Mirror::fill(const Rect& rect, std::uint8_t gray) {
    const Rect visible = intersection(flipped(rect, height_), {0, 0, width_, height_});
    for (int row = visible.y; row < visible.y + visible.height; ++row) {
        std::fill_n(pixels_.begin() + std::ptrdiff_t{row} * width_ + visible.x, visible.width, gray);
    }
}

Image Mirror::image() const {
    return Image(width_, height_, PixelFormat::gray8, pixels_);
}

} // namespace tarnel
