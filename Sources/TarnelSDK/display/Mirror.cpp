#include <TarnelSDK/display/Mirror.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>

namespace tarnel {
namespace {

/// The rectangle, whose vertical axis points up, in rows counted from the top.
Rect flipped(const Rect& rect, int height) {
    return {rect.x, height - rect.y - rect.height, rect.width, rect.height};
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

void Mirror::clear(const Rect& rect) {
    const Rect visible = intersection(flipped(rect, height_), {0, 0, width_, height_});
    for (int row = visible.y; row < visible.y + visible.height; ++row) {
        std::fill_n(pixels_.begin() + std::ptrdiff_t{row} * width_ + visible.x, visible.width, std::uint8_t{0});
    }
}

Image Mirror::image() const {
    return Image(width_, height_, PixelFormat::gray8, pixels_);
}

} // namespace tarnel
