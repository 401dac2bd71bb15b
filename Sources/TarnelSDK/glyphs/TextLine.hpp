#pragma once

#include <TarnelSDK/glyphs/AttributedString.hpp>
#include <TarnelSDK/images/Image.hpp>

#include <memory>
#include <string_view>

namespace tarnel {

/// A line of text, shaped and measured: an immutable value. Characters that a run's font lacks are taken from the
/// system's fonts. A line feed is drawn as a space. Called on any thread.
class TextLine {
public:
    /// In pixels, x from the start of the line to the right and y from the baseline upward, as in a font.
    struct Bounds {
        double x = 0;
        double y = 0; ///< of the lower edge
        double width = 0;
        double height = 0;

        friend bool operator==(const Bounds&, const Bounds&) = default;
    };

    /// `locale` is the BCP 47 tag that chooses among forms of a character.
    explicit TextLine(const AttributedString& string, std::string_view locale = {});

    /// What the ink covers; zero when there is none.
    Bounds imageBounds() const;
    /// How far the line leads, in pixels.
    double width() const;
    double ascent() const;
    double descent() const;

    /// The line as `rgba8`, smooth, `ascent` rounded up and `descent` rounded up high and `width` rounded up wide, or
    /// larger where ink sticks out; empty when there is no ink. `origin` is where the line starts on its baseline,
    /// counted from the upper left corner.
    struct Drawing {
        Image image;
        int originX = 0;
        int originY = 0;
    };
    Drawing draw() const;

private:
    struct Layout;
    std::shared_ptr<const Layout> layout_;
};

/// The text as a picture, transparent where no ink is; the larger of ink and line box. Line feeds make lines.
Image text(const AttributedString& string, std::string_view locale = {});

} // namespace tarnel
