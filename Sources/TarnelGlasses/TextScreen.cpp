#include <TarnelGlasses/TextScreen.hpp>

#include <algorithm>
#include <chrono>
#include <utility>

namespace tarnel::glasses {

void TextScreen::setText(Text text) {
    text_ = std::move(text.text);
    if (text.font) {
        font_ = std::move(text.font);
    }
}

void TextScreen::showText(Text text, LvglAlignment alignment) {
    content_ = Content::text;
    alignment_ = alignment;
    setText(std::move(text));
}

void TextScreen::showNavigation(Text text, bool showsIcon) {
    content_ = Content::navigation;
    showsIcon_ = showsIcon;
    setText(std::move(text));
}

void TextScreen::reset() {
    *this = {};
}

void TextScreen::draw(Frame& frame, std::int64_t navigationOffset) const {
    if (content_ == Content::navigation) {
        constexpr std::int64_t farthest = Frame::height;
        drawNavigation(frame, static_cast<int>(std::clamp(navigationOffset, -farthest, farthest)));
    } else if (content_ == Content::text && font_) {
        const bool isCentred = alignment_ == LvglAlignment::center;
        const LvglLabel label(font_, {.text = text_,
                                      .alignment = alignment_,
                                      .anchor = isCentred ? LvglAnchor::bottomCenter : LvglAnchor::bottomLeft,
                                      .xOffset = isCentred ? 0 : margin,
                                      .yOffset = -margin,
                                      .width = Frame::width - 2 * margin});
        label.draw(frame, std::chrono::milliseconds(0));
    }
}

void TextScreen::drawNavigation(Frame& frame, int yOffset) const {
    int left = margin;
    if (showsIcon_ && icon_) {
        const auto box = alignLvglBox(LvglAnchor::midLeft, left, yOffset, {icon_->width(), icon_->height()});
        icon_->draw(frame, box.x, box.y);
        left += icon_->width() + margin;
    }
    if (font_) {
        const LvglLabel label(font_, {.text = text_,
                                      .alignment = LvglAlignment::left,
                                      .anchor = LvglAnchor::midLeft,
                                      .xOffset = left,
                                      .yOffset = yOffset,
                                      .width = std::max(Frame::width - margin - left, 0)});
        label.draw(frame, std::chrono::milliseconds(0));
    }
}

} // namespace tarnel::glasses
