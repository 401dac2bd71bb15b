#pragma once

#include <TarnelSDK/glyphs/Font.hpp>
#include <TarnelSDK/images/Image.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <cstdint>
#include <span>
#include <vector>

namespace tarnel {

/// What a glyph covers, in pixels, x from the pen to the right and y from the baseline upward.
struct GlyphBox {
    double x = 0;
    double y = 0; ///< of the lower edge
    double width = 0;
    double height = 0;

    friend bool operator==(const GlyphBox&, const GlyphBox&) = default;
};

/// Characters of one font, drawn for a display of one bit a pixel. The lists are parallel.
struct GlyphRun {
    Font font;
    std::vector<std::uint16_t> glyphs; ///< in the font
    std::vector<char32_t> codePoints;
    std::vector<GlyphBox> boundingBoxes;
    std::vector<double> advances; ///< in pixels
    std::vector<Bytes> bitmaps;   ///< as by `toPixelData`
};

/// The ink of each glyph in whole pixels, all 0 for one without ink.
std::vector<GlyphBox> boundingRects(const Font& font, std::span<const std::uint16_t> glyphs);

/// How far each glyph moves the pen, unhinted.
std::vector<double> advances(const Font& font, std::span<const std::uint16_t> glyphs);

/// Each glyph drawn into a bitmap of its box (width rounded down, height up): a bit a pixel, rows from the top, not
/// padded, the most significant bit first. Posts "imageTest" with each picture under "image" (an `Image`, `gray8`).
///
/// A box that no picture can be made of, e.g. that of a space, is printed to standard output and gives an empty bitmap.
/// A glyph whose data in the font is broken gives no entry. REQUIRES: as many glyphs as boxes, and finite boxes.
std::vector<Bytes> toPixelData(const Font& font, std::span<const GlyphBox> boundingBoxes,
                               std::span<const std::uint16_t> glyphs);

/// While one lives, what this thread's `toPixelData` is to post waits; it is posted in its order at the end. For
/// whoever draws with a lock held. One within another leaves it to that.
class HeldGlyphImages {
public:
    HeldGlyphImages();
    ~HeldGlyphImages();
    HeldGlyphImages(const HeldGlyphImages&) = delete;
    HeldGlyphImages& operator=(const HeldGlyphImages&) = delete;

    void add(const Image& image) { images_.push_back(image); }

private:
    std::vector<Image> images_;
};

} // namespace tarnel
