#pragma once

#include <TarnelSDK/glyphs/AttributedString.hpp>
#include <TarnelSDK/images/Image.hpp>

#include <memory>
#include <string_view>

struct _cairo;

namespace tarnel {

/// A line of text, shaped and ordered for display: an immutable value, cheap to copy. Called on any thread.
///
/// Ligatures, marks and joined letters are as the fonts have them, and text from right to left runs so (Unicode
/// Standard Annex 9). A character that its run's font lacks is taken from an installed one that has it. A line feed or
/// another control character is as wide as a space.
class TextLine {
public:
    /// In pixels, x from the start of the line to the right, y from the baseline upward.
    struct Bounds {
        double x = 0;
        double y = 0; ///< of the lower edge
        double width = 0;
        double height = 0;

        bool isEmpty() const { return width <= 0 || height <= 0; }
        /// The smallest box around both; an empty one does not count.
        Bounds united(const Bounds& other) const;

        friend bool operator==(const Bounds&, const Bounds&) = default;
    };

    /// The longest side of a picture of text, in pixels; what lies beyond is cut off.
    static constexpr int largestSide = 4096;

    /// What the line looks like: `rgba8`, smooth, from the highest ascent to the lowest descent and as wide as the line
    /// leads, more where ink sticks out, and at most 4,096 pixels each way.
    struct Drawing {
        Image image;
        /// Where the line starts on its baseline, counted from the upper left corner of the image.
        int originX = 0;
        int originY = 0;
    };

    /// `locale`, a BCP 47 tag, chooses among national forms of a character.
    explicit TextLine(const AttributedString& string, std::string_view locale = {});

    /// The smallest box around the ink; all zero when there is none.
    Bounds imageBounds() const;
    /// How far the line leads.
    double width() const;
    /// Of the highest and the lowest of the fonts, from the baseline; not negative.
    double ascent() const;
    double descent() const;
    /// Of the font that has most.
    double leading() const;

    Drawing draw() const;
    /// Draws with Cairo, the line starting at (x, y) on its baseline.
    void draw(_cairo* context, double x, double y) const;

private:
    struct Layout;
    std::shared_ptr<const Layout> layout_;
};

} // namespace tarnel
