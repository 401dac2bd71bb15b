#pragma once

#include <TarnelSDK/glyphs/CharacterSet.hpp>
#include <TarnelSDK/glyphs/Font.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

namespace tarnel {

/// Makes the fonts that are sent with texts: the glasses hold none. Owned by its device. Called on any thread.
class Glypher {
public:
    static constexpr double defaultFontSize = 28;

    /// The font size is the stored default "fontSize" when there is one.
    Glypher();

    /// Fills the chain anew: the custom font, then the fonts of the resource bundle, each at `fontSize`. A file that
    /// cannot be read is left out.
    void updateFonts();

    std::vector<Font> fonts() const;
    /// What each of `fonts` covers, in the same order.
    std::vector<std::shared_ptr<const CharacterSet>> characterSets() const;
    std::shared_ptr<const CharacterSet> lastCharacterSet() const;

    double fontSize() const;
    /// From 8 to 96 pixels; fills the chain anew.
    void setFontSize(double size);
    std::optional<Font> customFont() const;
    /// The font that goes before all others; nothing goes back to the chain alone. Fills the chain anew.
    void setCustomFont(std::optional<Font> font);
    bool shouldGlyph() const;
    void setShouldGlyph(bool shouldGlyph);

    /// An LVGL binary font of exactly the characters of the text; nothing when none is to be drawn, when labels are not
    /// to be sent with fonts, or when they do not fit in one font. `preferredLocale` is a BCP 47 tag.
    std::optional<Bytes> toBinFont(std::string_view string, std::string_view preferredLocale);

private:
    mutable std::mutex mutex_;
};

} // namespace tarnel
