#pragma once

#include <TarnelSDK/glyphs/Font.hpp>
#include <TarnelSDK/glyphs/TextLine.hpp>
#include <TarnelSDK/images/UIColor.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct _cairo;

namespace tarnel {

/// Characters of one font, colour, script and direction, shaped by HarfBuzz: an immutable value.
class ShapedRun {
public:
    /// `script` is an `hb_script_t`, `locale` a BCP 47 tag or empty.
    ShapedRun(const Font& font, UIColor color, std::u32string_view codePoints, std::uint32_t script, bool isRightToLeft,
              std::string_view locale);

    const Font& font() const { return font_; }
    /// From the start of the run to that of the next, in pixels.
    double advance() const { return advance_; }
    TextLine::Bounds imageBounds() const;
    /// Draws the run from (x, y), on its baseline.
    void draw(_cairo* context, double x, double y) const;

private:
    struct Glyph {
        std::uint32_t id = 0;
        double x = 0; ///< from the start of the run
        double y = 0; ///< above the baseline
    };

    Font font_;
    UIColor color_;
    std::vector<Glyph> glyphs_;
    double advance_ = 0;
};

} // namespace tarnel
