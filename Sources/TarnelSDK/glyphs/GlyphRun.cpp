#include <TarnelSDK/glyphs/GlyphBitmap.hpp>
#include <TarnelSDK/glyphs/GlyphRun.hpp>
#include <TarnelSDK/glyphs/Typeface.hpp>
#include <TarnelSDK/images/UIImage+Extension.hpp>
#include <TarnelSDK/platform/Platform.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>

namespace tarnel {
namespace {

constexpr double farthestSide = 32'767;

/// The bitmap moved into a picture whose lower left corner lies at (x, y), as seen from the pen.
Image drawn(const GlyphBitmap& bitmap, int x, int y, int width, int height) {
    Bytes pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0);
    const int left = bitmap.x - x;
    const int top = y + height - (bitmap.y + bitmap.height);
    for (int row = std::max(0, -top); row < bitmap.height && row + top < height; ++row) {
        for (int column = std::max(0, -left); column < bitmap.width && column + left < width; ++column) {
            const auto from = static_cast<std::size_t>(row) * static_cast<std::size_t>(bitmap.width) +
                              static_cast<std::size_t>(column);
            const auto to = static_cast<std::size_t>(row + top) * static_cast<std::size_t>(width) +
                            static_cast<std::size_t>(column + left);
            pixels[to] = bitmap.pixels[from];
        }
    }
    return Image(width, height, PixelFormat::gray8, std::move(pixels));
}

void printProblem(const GlyphBox& box) {
    std::printf("problem with bounding box: (%.1f, %.1f, %.1f, %.1f)\n", box.x, box.y, box.width, box.height);
}

/// Of this thread; none where images are posted at once.
thread_local HeldGlyphImages* heldImages = nullptr;

void postImage(const Image& image) {
    if (heldImages) {
        return heldImages->add(image);
    }
    if (platform::Platform::isInstalled()) {
        platform::Platform::current().notificationCenter().post({"imageTest", nullptr, {{"image", image}}});
    }
}

/// Empty bytes for a box of no size, nothing for a glyph that cannot be drawn.
std::optional<Bytes> pixelData(const Font& font, const GlyphBox& box, std::uint16_t glyph) {
    precondition(std::isfinite(box.x) && std::isfinite(box.y) && std::isfinite(box.width) && std::isfinite(box.height),
                 "a glyph's box is finite");
    const double width = std::floor(box.width);
    const double height = std::ceil(box.height);
    if (width < 1 || height < 1 || width > farthestSide || height > farthestSide || std::abs(box.x) > farthestSide ||
        std::abs(box.y) > farthestSide) {
        printProblem(box);
        return Bytes();
    }
    const auto bitmap = font.typeface()->bitmap(glyph, font.pointSize());
    if (!bitmap) {
        return std::nullopt;
    }
    const Image image = drawn(*bitmap, static_cast<int>(std::lround(box.x)), static_cast<int>(std::lround(box.y)),
                              static_cast<int>(width), static_cast<int>(height));
    postImage(image);
    return convertToLvglImg(image, 1, false);
}

} // namespace

HeldGlyphImages::HeldGlyphImages() {
    heldImages = heldImages ? heldImages : this;
}

HeldGlyphImages::~HeldGlyphImages() {
    if (heldImages != this) {
        return;
    }
    heldImages = nullptr;
    for (const auto& image : images_) {
        postImage(image);
    }
}

std::vector<GlyphBox> boundingRects(const Font& font, std::span<const std::uint16_t> glyphs) {
    std::vector<GlyphBox> boxes;
    boxes.reserve(glyphs.size());
    for (const auto glyph : glyphs) {
        const auto bitmap = font.typeface()->bitmap(glyph, font.pointSize());
        boxes.push_back(bitmap ? GlyphBox{static_cast<double>(bitmap->x), static_cast<double>(bitmap->y),
                                          static_cast<double>(bitmap->width), static_cast<double>(bitmap->height)}
                               : GlyphBox{});
    }
    return boxes;
}

std::vector<double> advances(const Font& font, std::span<const std::uint16_t> glyphs) {
    std::vector<double> result;
    result.reserve(glyphs.size());
    for (const auto glyph : glyphs) {
        const auto bitmap = font.typeface()->bitmap(glyph, font.pointSize());
        result.push_back(bitmap ? bitmap->advance : 0);
    }
    return result;
}

std::vector<Bytes> toPixelData(const Font& font, std::span<const GlyphBox> boundingBoxes,
                               std::span<const std::uint16_t> glyphs) {
    precondition(boundingBoxes.size() == glyphs.size(), "every glyph has a box");
    std::vector<Bytes> bitmaps;
    bitmaps.reserve(glyphs.size());
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        if (auto bitmap = pixelData(font, boundingBoxes[i], glyphs[i])) {
            bitmaps.push_back(std::move(*bitmap));
        }
    }
    return bitmaps;
}

} // namespace tarnel
