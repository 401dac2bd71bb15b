#include <TarnelSDK/images/UIImage+Extension.hpp>

#include <algorithm>
#include <cmath>
#include <utility>

namespace tarnel {

namespace {

Image toRGBA(const Image& image) {
    if (image.format() == PixelFormat::rgba8) {
        return image;
    }
    Bytes pixels;
    pixels.reserve(static_cast<std::size_t>(image.width()) * static_cast<std::size_t>(image.height()) * 4);
    for (int y = 0; y < image.height(); ++y) {
        for (const std::uint8_t gray : image.row(y)) {
            pixels.insert(pixels.end(), {gray, gray, gray, 255});
        }
    }
    return Image(image.width(), image.height(), PixelFormat::rgba8, std::move(pixels));
}

std::uint8_t scaled(std::uint8_t value, double factor) {
    return static_cast<std::uint8_t>(std::lround(value * factor));
}

/// How much of pixel (x, y) lies inside the corner's circle, from 0 to 1; the circle's centre is `radius` pixels from
/// the two edges, and x and y are counted from them.
double cornerCoverage(int x, int y, double radius) {
    const double dx = radius - (x + 0.5);
    const double dy = radius - (y + 0.5);
    if (dx <= 0 || dy <= 0) {
        return 1;
    }
    return std::clamp(radius - std::hypot(dx, dy) + 0.5, 0.0, 1.0);
}

} // namespace

Image crop(const Image& image, const Rect& rect) {
    const Rect part = intersection(rect, {0, 0, image.width(), image.height()});
    if (part.isEmpty()) {
        return {};
    }
    const std::size_t start = static_cast<std::size_t>(part.x) * image.bytesPerPixel();
    const std::size_t length = static_cast<std::size_t>(part.width) * image.bytesPerPixel();
    Bytes pixels;
    pixels.reserve(length * static_cast<std::size_t>(part.height));
    for (int y = part.y; y < part.y + part.height; ++y) {
        const ByteView row = image.row(y).subspan(start, length);
        pixels.insert(pixels.end(), row.begin(), row.end());
    }
    return Image(part.width, part.height, image.format(), std::move(pixels));
}

Image offset(const Image& image, int x, int y) {
    const std::size_t step = image.bytesPerPixel();
    const std::size_t bytesPerRow = static_cast<std::size_t>(image.width()) * step;
    Bytes pixels(bytesPerRow * static_cast<std::size_t>(image.height()));
    const Rect covered = intersection({x, y, image.width(), image.height()}, {0, 0, image.width(), image.height()});
    const std::size_t length = static_cast<std::size_t>(covered.width) * step;
    for (int to = covered.y; to < covered.y + covered.height; ++to) {
        const ByteView row = image.row(to - y).subspan(static_cast<std::size_t>(covered.x - x) * step, length);
        const std::size_t start =
            static_cast<std::size_t>(to) * bytesPerRow + static_cast<std::size_t>(covered.x) * step;
        std::copy(row.begin(), row.end(), pixels.begin() + static_cast<std::ptrdiff_t>(start));
    }
    return Image(image.width(), image.height(), image.format(), std::move(pixels));
}

Image roundedCorners(const Image& image, double radius) {
    if (!(radius > 0)) {
        return image;
    }
    const Image source = image.format() == PixelFormat::gray8 ? toRGBA(image) : image;
    const int width = source.width();
    const int height = source.height();
    const double within = std::min(radius, std::min(width, height) / 2.0);
    const std::size_t step = source.bytesPerPixel();
    // `rgba8` keeps its colours and loses alpha; `grayAlpha8` is multiplied, so both of its bytes fade.
    const std::size_t firstFaded = source.format() == PixelFormat::rgba8 ? 3 : 0;
    Bytes pixels;
    pixels.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * step);
    for (int y = 0; y < height; ++y) {
        const ByteView row = source.row(y);
        const std::size_t start = pixels.size();
        pixels.insert(pixels.end(), row.begin(), row.end());
        const int fromEdge = std::min(y, height - 1 - y);
        if (fromEdge >= within) {
            continue;
        }
        for (int x = 0; x < width; ++x) {
            const double coverage = cornerCoverage(std::min(x, width - 1 - x), fromEdge, within);
            std::uint8_t* const pixel = &pixels[start + static_cast<std::size_t>(x) * step];
            std::transform(pixel + firstFaded, pixel + step, pixel + firstFaded,
                           [&](std::uint8_t value) { return scaled(value, coverage); });
        }
    }
    return Image(width, height, source.format(), std::move(pixels));
}

} // namespace tarnel
