#pragma once

#include <TarnelSDK/glyphs/AttributedString.hpp>
#include <TarnelSDK/glyphs/CharacterSet.hpp>
#include <TarnelSDK/glyphs/Font.hpp>
#include <TarnelSDK/glyphs/GlyphRun.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tarnel {

/// Makes the fonts that are sent with texts: the glasses hold none. Owned by its device. Called on any thread.
///
/// A character is drawn with the first font of the chain that has a glyph for it, else with the first of the system's
/// fonts that has, those for the locale's language before others. The fonts of the chain are opened when a text first
/// needs them.
class Glypher {
public:
    static constexpr double defaultFontSize = 28;
    static constexpr double minimumFontSize = 8;
    static constexpr double maximumFontSize = 96;

    /// The font size is the stored default "fontSize", an integer, when there is one, brought into the range.
    /// REQUIRES: a platform is installed.
    Glypher();

    /// Fills the chain anew: the custom font, then the fonts of the resource bundle, each at `fontSize`. A file that
    /// cannot be read is left out.
    void updateFonts();

    std::vector<Font> fonts() const;
    /// What each of `fonts` covers, in the same order. Opens all fonts.
    std::vector<std::shared_ptr<const CharacterSet>> characterSets() const;
    /// The characters of the last font made; empty when none was.
    std::shared_ptr<const CharacterSet> lastCharacterSet() const;

    double fontSize() const;
    /// From 8 to 96 pixels, a size outside is brought into the range; fills the chain anew.
    void setFontSize(double size);
    std::optional<Font> customFont() const;
    /// The font that goes before all others; nothing goes back to the chain alone. Fills the chain anew.
    void setCustomFont(std::optional<Font> font);
    bool shouldGlyph() const;
    void setShouldGlyph(bool shouldGlyph);

    /// An LVGL binary font of exactly the characters of the text (and of the space for a tab); nothing when none is to
    /// be drawn, when labels are not to be sent with fonts, or when they do not fit in one font, which is logged.
    /// Characters that no font has are left out: the glasses draw a box. `preferredLocale` is a BCP 47 tag; it chooses
    /// the national forms of Han characters, else the application's locale does, else they are Japanese.
    std::optional<Bytes> toBinFont(std::string_view string, std::string_view preferredLocale);

    /// The characters to be drawn, in ascending order and each once, with the font of each. Those that no font has have
    /// none.
    AttributedString createAttributedStringForGlyphMaking(std::string_view string,
                                                          std::string_view preferredLocale) const;

    /// The characters of the string drawn, a run for each change of font. Those without a font are left out.
    static std::vector<GlyphRun> createRuns(const AttributedString& string);

    /// Which character each glyph draws; of several, the one with the highest code point.
    static std::unordered_map<std::uint16_t, char32_t> createUnicodeFontMap(const Font& font);

private:
    struct ChainFont {
        Font font;
        /// A collection whose faces have the national forms of Han characters.
        bool isHan = false;
    };

    /// What a font is made with: of one moment.
    struct Chain {
        std::vector<Font> fonts;
        double size = defaultFontSize;
    };

    Chain chainFor(std::string_view preferredLocale) const;
    static AttributedString attributedString(const Chain& chain, std::u32string_view codePoints,
                                             std::string_view preferredLocale);
    /// The lock is held.
    void fillChain();

    mutable std::mutex mutex_;
    std::vector<ChainFont> chain_;
    double fontSize_ = defaultFontSize;
    std::optional<Font> customFont_;
    std::shared_ptr<const CharacterSet> lastCharacterSet_;
    bool shouldGlyph_ = true;
};

} // namespace tarnel
