#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

/// LVGL's binary font: what its font loader (lv_font_loader, LVGL 8) reads. Documentation/Fonts.md describes the bytes.
namespace tarnel {

/// A glyph of one bit a pixel. In pixels, x from the pen to the right and y from the baseline upward.
struct BinaryFontGlyph {
    int advance = 0;
    int x = 0; ///< of the left edge
    int y = 0; ///< of the lower edge
    int width = 0;
    int height = 0;
    Bytes bitmap; ///< rows from the top, not padded, most significant bit first

    friend bool operator==(const BinaryFontGlyph&, const BinaryFontGlyph&) = default;
};

/// The fields of the "head" section, in their order in the file. Lengths in pixels.
struct BinaryFontHead {
    std::uint32_t version = 1;
    int tableCount = 3;
    int fontSize = 0;
    int ascent = 0;
    int descent = 0; ///< negative below the baseline, as is `typographicDescent`
    int typographicAscent = 0;
    int typographicDescent = 0;
    int typographicLineGap = 0;
    int lowestY = 0;
    int highestY = 0;
    int defaultAdvance = 0;
    int kerningScale = 16;
    int locationFormat = 0; ///< offsets of 16 bits (0) or 32 (1)
    int glyphIdFormat = 0;
    int advanceFormat = 0; ///< advances in pixels (0) or sixteenths (1)
    int bitsPerPixel = 1;
    int positionBits = 8;
    int sizeBits = 8;
    int advanceBits = 8;
    int compression = 0;
    int subpixelMode = 0;
    int underlinePosition = 2;
    int underlineThickness = 0;

    int lineHeight() const { return ascent - descent; }
};

/// Maps a range of code points to glyphs.
struct BinaryFontSubtable {
    enum class Format : std::uint8_t { full = 0, sparse = 1, tiny = 2, sparseTiny = 3 };

    std::uint32_t dataOffset = 0;
    std::uint32_t firstCodePoint = 0;
    int length = 0; ///< in code points
    int firstGlyph = 0;
    int entries = 0;
    Format format = Format::tiny;
};

/// A font as read. Glyph 0 is never drawn.
struct BinaryFont {
    BinaryFontHead head;
    std::vector<BinaryFontSubtable> subtables;
    std::vector<BinaryFontGlyph> glyphs;
    /// Code points and indices into `glyphs`, ascending.
    std::vector<std::pair<char32_t, std::uint16_t>> characters;

    /// Nothing, as null, when the font has no glyph for the code point.
    const BinaryFontGlyph* glyph(char32_t codePoint) const;
};

/// Why there is no font: a sentence for the user.
struct BinaryFontError {
    std::string message;
};

/// Of the font that gives the line its height; pixels, rounded.
struct BinaryFontMetrics {
    int pointSize = 0;
    int ascent = 0;
    int descent = 0; ///< positive below the baseline
    int leading = 0;
};

/// The most characters of a font: glyph ids have 16 bits, and 0 is never drawn.
inline constexpr std::size_t maximumBinaryFontCharacters = 65'534;

/// How many bits hold a value; 0 for 0. A negative value takes one more than its complement, for the sign.
int bitsNeeded(int num);

/// A font of these glyphs; an error when there is none, or when they are more than a loader takes: 65,534 glyphs, 1
/// MiB.
std::variant<Bytes, BinaryFontError> writeBinaryFont(const BinaryFontMetrics& metrics,
                                                     const std::map<char32_t, BinaryFontGlyph>& glyphs);

/// Reads a font of one bit a pixel without compression, in any layout that LVGL's loader knows. Every field is checked;
/// what a loader would overlook, such as a bitmap that is cut short, is an error.
std::variant<BinaryFont, BinaryFontError> readBinaryFont(ByteView bytes);

} // namespace tarnel
