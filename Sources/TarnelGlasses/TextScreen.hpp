#pragma once

#include <TarnelGlasses/Frame.hpp>
#include <TarnelGlasses/LvglImage.hpp>
#include <TarnelGlasses/LvglLabel.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace tarnel::glasses {

/// What the layouts for text and navigation show: a text wrapped to the display, and an icon left of it. A text that
/// comes without a font is drawn with the earlier one; while there is none, no text is drawn.
class TextScreen {
public:
    /// From the edges of the display to text and icon, and between them, in pixels.
    static constexpr int margin = 20;

    struct Text {
        std::string text;
        std::shared_ptr<const LvglFont> font;
    };

    /// A text at the bottom of the display, aligned left or centred.
    void showText(Text text, LvglAlignment alignment);
    /// A text at the left in the middle of the display's height, right of the icon if there is one and it is shown.
    void showNavigation(Text text, bool showsIcon);
    /// The icon of the navigation; it may come before or after its text.
    void setIcon(LvglImage icon) { icon_ = std::move(icon); }
    void reset();

    /// `navigationOffset` moves icon and text of a navigation down, in pixels.
    void draw(Frame& frame, std::int64_t navigationOffset) const;

private:
    enum class Content { nothing, text, navigation };

    void setText(Text text);
    void drawNavigation(Frame& frame, int yOffset) const;

    Content content_ = Content::nothing;
    std::string text_;
    std::shared_ptr<const LvglFont> font_;
    LvglAlignment alignment_ = LvglAlignment::left;
    bool showsIcon_ = false;
    std::optional<LvglImage> icon_;
};

} // namespace tarnel::glasses
