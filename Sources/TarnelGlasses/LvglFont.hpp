#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tarnel::glasses {

/// The LVGL whose font loader and text are played. Released ones up to 8.4.0 test the range of a character table with
/// one code point too many, and take the gaps of a full table for its first glyph.
enum class LvglVersion {
    v8_2,    ///< released; a missing glyph is neither drawn nor wide
    v8_3_11, ///< released; a missing glyph is an empty box
    v8_4,    ///< the head of the 8.4 branch: ranges are mended
};

/// How one code point is drawn, in pixels.
struct LvglGlyph {
    bool isFound = false;
    int advance = 0;
    int width = 0; ///< of the bitmap; of the empty box for a missing glyph
    int height = 0;
    int x = 0;              ///< from the pen to the bitmap's left edge
    int y = 0;              ///< from the baseline up to the bitmap's lower edge
    std::size_t bitmap = 0; ///< bit of the file at which the bitmap begins
};

/// A font in LVGL's binary format (sections head, cmap, loca, glyf; 1 bit a pixel, uncompressed), an immutable value.
///
/// Any bytes are safe to load. Refused is what LVGL's loader refuses, what it would read outside of the file, glyphs
/// whose bitmap is longer than their record, and what these glasses cannot draw: other depths, compression, kerning.
class LvglFont {
public:
    /// The font, or why it is refused.
    static std::variant<LvglFont, std::string> load(ByteView file, LvglVersion version);

    int lineHeight() const { return lineHeight_; }
    /// From the bottom of the line up to the baseline.
    int baseLine() const { return baseLine_; }
    /// Glyphs with the one of id 0, which is never drawn.
    std::size_t glyphCount() const { return glyphs_.size(); }
    LvglVersion version() const { return version_; }
    const Bytes& file() const { return file_; }

    /// A tab is a space of double width. A glyph that is missing has the size of its box; code points below U+0020,
    /// U+200C and U+F8FF have none.
    LvglGlyph glyph(std::uint32_t codePoint) const;
    int advance(std::uint32_t codePoint) const { return glyph(codePoint).advance; }
    /// The glyph's id as the tables give it; nothing when missing. It may lie beyond the last glyph.
    std::optional<std::uint32_t> glyphId(std::uint32_t codePoint) const;
    /// REQUIRES: `glyph` is one of this font that is found, and the pixel lies in its bitmap.
    bool isLit(const LvglGlyph& glyph, int column, int row) const;

private:
    class Loader;

    struct Table {
        std::uint32_t data = 0; ///< offset in the file
        std::uint32_t first = 0;
        std::uint32_t length = 0;
        std::uint32_t firstGlyph = 0;
        std::uint32_t entries = 0;
        std::uint8_t format = 0;
    };

    LvglFont() = default;
    std::uint32_t number16(std::size_t offset) const;
    bool isInRange(const Table& table, std::uint32_t offset) const;
    std::uint32_t lookUp(const Table& table, std::uint32_t offset) const;

    Bytes file_;
    LvglVersion version_ = LvglVersion::v8_3_11;
    int lineHeight_ = 0;
    int baseLine_ = 0;
    std::vector<Table> tables_;
    std::vector<LvglGlyph> glyphs_;
};

} // namespace tarnel::glasses
