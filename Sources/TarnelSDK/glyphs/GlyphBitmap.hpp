#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <cstdint>
#include <optional>

struct FT_FaceRec_;

namespace tarnel {

/// A glyph as a display of one bit a pixel draws it: no row or column at its edges is empty. In pixels, x from the pen
/// to the right and y from the baseline upward.
struct GlyphBitmap {
    int x = 0; ///< of the left edge
    int y = 0; ///< of the lower edge
    int width = 0;
    int height = 0;
    double advance = 0;
    Bytes pixels; ///< a byte a pixel, 0 or 255, rows from the top
};

/// Draws a glyph at the size that the face is set to, with strokes fitted to the pixels. A glyph without ink, or of
/// more than 2,047 pixels a side, has an empty bitmap; nothing when the font's data for it is broken.
std::optional<GlyphBitmap> rasterize(FT_FaceRec_* face, std::uint32_t glyph);

} // namespace tarnel
