#pragma once

#include <TarnelGlasses/Frame.hpp>
#include <TarnelGlasses/LvglAnimation.hpp>
#include <TarnelGlasses/LvglFont.hpp>
#include <TarnelGlasses/LvglText.hpp>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::glasses {

/// Where an object stands on the display; the number is the wire value.
enum class LvglAnchor {
    topLeft = 1,
    topCenter = 2,
    topRight = 3,
    bottomLeft = 4,
    bottomCenter = 5,
    bottomRight = 6,
    midLeft = 7,
    midRight = 8,
    center = 9,
};

/// An area of the display in pixels; it may lie outside.
struct LvglBox {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    friend bool operator==(const LvglBox&, const LvglBox&) = default;
};

LvglBox alignLvglBox(LvglAnchor anchor, int xOffset, int yOffset, LvglSize size);

/// How the text of a label is aligned; the number is the wire value.
enum class LvglAlignment { auto_ = 0, left = 1, center = 2, right = 3 };

/// What a label does with text that is too long; the number is the wire value.
enum class LvglLongMode { wrap = 0, dots = 1, scroll = 2, circular = 3, clip = 4 };

/// What a label is made from.
struct LvglLabelOptions {
    std::string text; ///< UTF-8, at most 10,000 bytes; ends at a NUL
    LvglAlignment alignment = LvglAlignment::auto_;
    std::uint8_t level = 3; ///< of its pixels, 0 to 3
    LvglAnchor anchor = LvglAnchor::topLeft;
    int xOffset = 0;
    int yOffset = 0;
    std::optional<int> width = {};  ///< not negative; nothing: as wide as the text
    std::optional<int> height = {}; ///< not negative; nothing: as high as the text
    LvglLongMode longMode = LvglLongMode::wrap;

    friend bool operator==(const LvglLabelOptions&, const LvglLabelOptions&) = default;
};

/// A label as LVGL 8.3 lays it out and draws it, without theme, padding, right-to-left text and recolouring. All that
/// does not depend on the time is computed once.
class LvglLabel {
public:
    /// Fifty times the display.
    static constexpr std::int64_t maximumPixels = std::int64_t{50} * Frame::width * Frame::height;

    LvglLabel(std::shared_ptr<const LvglFont> font, LvglLabelOptions options);

    const LvglBox& box() const { return box_; }
    /// The text with dots, where the long mode put some.
    const std::string& drawnText() const { return text_; }
    const std::vector<LvglLine>& lines() const { return lines_; }
    /// By how much glyphs may be drawn outside of the box, in all directions; not when it scrolls.
    int drawMargin() const;
    bool isMoving() const { return scrollX_ || scrollY_; }

    struct Offset {
        int x = 0;
        int y = 0;

        friend bool operator==(const Offset&, const Offset&) = default;
    };
    /// By how much the text is shifted when drawn at `age` since the label was made.
    Offset offset(std::chrono::milliseconds age) const;

    /// Places the label anew.
    void moveTo(int xOffset, int yOffset);
    /// Draws the pixels of the glyphs, and nothing behind them. After `maximumPixels` the rest is left out, which only
    /// a font reaches whose glyphs lie upon one another.
    void draw(Frame& frame, std::chrono::milliseconds age) const;

private:
    /// The part of a frame that is drawn on.
    struct Target {
        Frame& frame;
        int left = 0;
        int top = 0;
        int right = 0; ///< exclusive, as `bottom`
        int bottom = 0;
        std::int64_t room = maximumPixels; ///< pixels of glyphs that may still be looked at
    };

    bool isScrolling() const;
    LvglBreaking breaking() const;
    void layOut();
    LvglSize measure() const;
    void putDots(LvglSize box);
    std::size_t dotPosition(LvglSize box) const;
    void planScrolling();
    int circularGap() const;

    void drawText(Target& target, int xOffset, int yOffset) const;
    void drawLine(Target& target, const LvglLine& line, int x, int y) const;
    void drawGlyph(Target& target, const LvglGlyph& glyph, int x, int y) const;
    void drawMissing(Target& target, const LvglGlyph& glyph, int x, int y) const;

    std::shared_ptr<const LvglFont> font_;
    LvglLabelOptions options_;
    std::string text_;
    std::vector<LvglLine> lines_;
    LvglSize textSize_;
    LvglBox box_;
    std::optional<LvglAnimation> scrollX_;
    std::optional<LvglAnimation> scrollY_;
};

} // namespace tarnel::glasses
