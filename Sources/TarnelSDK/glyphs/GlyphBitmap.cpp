#include <TarnelSDK/glyphs/GlyphBitmap.hpp>

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H

#include <algorithm>
#include <cstddef>

namespace tarnel {
namespace {

constexpr int maximumSide = 2047;
constexpr int bitsPerByte = 8;

/// The monochrome rasteriser keeps thin strokes closed (drop-out control), and the autohinter makes stems even, where a
/// threshold on grey coverage does neither. Documentation/Fonts.md compares them.
constexpr FT_Int32 loadFlags = FT_LOAD_TARGET_MONO | FT_LOAD_FORCE_AUTOHINT | FT_LOAD_NO_BITMAP;

bool isSet(const FT_Bitmap& bitmap, int x, int y) {
    constexpr int topBit = 0x80;
    return (bitmap.buffer[static_cast<std::ptrdiff_t>(y) * bitmap.pitch + x / bitsPerByte] &
            (topBit >> (x % bitsPerByte))) != 0;
}

bool isTooLarge(FT_GlyphSlot slot) {
    constexpr FT_Pos fractionsPerPixel = 64;
    FT_BBox box;
    FT_Outline_Get_CBox(&slot->outline, &box);
    return box.xMax - box.xMin > maximumSide * fractionsPerPixel ||
           box.yMax - box.yMin > maximumSide * fractionsPerPixel;
}

/// Takes over the part of the bitmap that has ink.
void takeInk(GlyphBitmap& result, const FT_Bitmap& bitmap, int left, int top) {
    const int columns = static_cast<int>(bitmap.width);
    const int rows = static_cast<int>(bitmap.rows);
    int first = columns;
    int last = -1;
    int upper = rows;
    int lower = -1;
    for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < columns; ++x) {
            if (isSet(bitmap, x, y)) {
                first = std::min(first, x);
                last = std::max(last, x);
                upper = std::min(upper, y);
                lower = y;
            }
        }
    }
    if (last < 0) {
        return;
    }
    result.x = left + first;
    result.y = top - lower - 1;
    result.width = last - first + 1;
    result.height = lower - upper + 1;
    result.pixels.reserve(static_cast<std::size_t>(result.width) * static_cast<std::size_t>(result.height));
    for (int y = upper; y <= lower; ++y) {
        for (int x = first; x <= last; ++x) {
            result.pixels.push_back(isSet(bitmap, x, y) ? 0xFF : 0);
        }
    }
}

} // namespace

std::optional<GlyphBitmap> rasterize(FT_FaceRec_* face, std::uint32_t glyph) {
    if (FT_Load_Glyph(face, glyph, loadFlags) != 0) {
        return std::nullopt;
    }
    constexpr double linearUnitsPerPixel = 65536;
    GlyphBitmap result;
    FT_GlyphSlot slot = face->glyph;
    result.advance = static_cast<double>(slot->linearHoriAdvance) / linearUnitsPerPixel;
    if (slot->format != FT_GLYPH_FORMAT_OUTLINE || slot->outline.n_points == 0 || isTooLarge(slot)) {
        return result;
    }
    if (FT_Render_Glyph(slot, FT_RENDER_MODE_MONO) != 0) {
        return std::nullopt;
    }
    takeInk(result, slot->bitmap, slot->bitmap_left, slot->bitmap_top);
    return result;
}

} // namespace tarnel
