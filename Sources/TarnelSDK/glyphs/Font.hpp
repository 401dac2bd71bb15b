#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

class CharacterSet;
class Typeface;

/// How heavy the strokes of a font are: the weight classes of OpenType's OS/2 table.
enum class FontWeight : std::uint16_t {
    thin = 100,
    extraLight = 200,
    light = 300,
    regular = 400,
    medium = 500,
    semibold = 600,
    bold = 700,
    extraBold = 800,
    black = 900,
};

/// A typeface at a size: an immutable value, cheap to copy. Called on any thread.
///
/// The file is opened, mapped and not read, when something is first asked of its glyphs or metrics; a font whose file
/// then proves unreadable covers no character and has metrics of 0. Sizes and metrics are in pixels of the display.
class Font {
public:
    /// A face of a font file; nothing when the file cannot be opened. `size` is above 0 and at most 1,000.
    static std::optional<Font> withFile(const std::filesystem::path& file, double size, int face = 0);

    /// The installed font of that family that comes nearest; nothing when no such family is installed.
    static std::optional<Font> named(std::string_view family, double size, FontWeight weight = FontWeight::regular);

    /// The system's font for text; nothing on a system without fonts.
    static std::optional<Font> system(double size, FontWeight weight = FontWeight::regular);

    Font withSize(double size) const;

    /// PostScript name, e.g. "NotoSans-Regular"; the file's name when it has none.
    std::string name() const;
    double pointSize() const { return size_; }
    /// Of the baseline below the top of the line.
    double ascent() const;
    /// Of the bottom of the line below the baseline; not negative.
    double descent() const;
    /// Between lines.
    double leading() const;

    /// Whether the font has a glyph of its own for the code point.
    bool isGlyphSupported(char32_t codePoint) const;
    /// The installed fonts that stand in for this one, at its size and about its weight: those for the languages (BCP
    /// 47 tags, the dearest first), then any. Only fonts with outlines of one colour.
    std::vector<Font> getReplacementFonts(std::span<const std::string> languages) const;
    std::shared_ptr<const CharacterSet> characterSet() const;

    /// The file, opened once for all sizes.
    const std::shared_ptr<Typeface>& typeface() const { return typeface_; }

    friend bool operator==(const Font&, const Font&) = default;

private:
    Font(std::shared_ptr<Typeface> typeface, double size);

    std::shared_ptr<Typeface> typeface_;
    double size_ = 0;
};

} // namespace tarnel
