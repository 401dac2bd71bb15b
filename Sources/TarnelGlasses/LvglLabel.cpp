#include <TarnelGlasses/LvglLabel.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::glasses {

namespace {

using std::chrono::milliseconds;

constexpr std::size_t dotCount = 3;
constexpr int waitCharacters = 3;
constexpr int scrollSpeed = 43; ///< pixels a second: a third of 130 dots an inch
constexpr milliseconds scrollWait{300};
/// The margin of LVGL 8.2, a quarter of its default font's line height.
constexpr int fixedDrawMargin = 4;

LvglAnimation scrolling(int end, bool goesBack) {
    const auto duration = milliseconds(std::int64_t{std::abs(end)} * 1000 / scrollSpeed);
    return {.end = end, .duration = duration, .wait = goesBack ? scrollWait : milliseconds(0), .goesBack = goesBack};
}

std::size_t codePointCount(std::string_view text) {
    std::size_t count = 0;
    for (std::size_t position = 0; position < text.size(); ++count) {
        nextLvglCodePoint(text, position);
    }
    return count;
}

/// The beginning of the code point that ends before `position`.
std::size_t previousCodePoint(std::string_view text, std::size_t position) {
    do {
        --position;
    } while (position > 0 && (static_cast<unsigned char>(text[position]) & 0xC0U) == 0x80U);
    return position;
}

} // namespace

LvglBox alignLvglBox(LvglAnchor anchor, int xOffset, int yOffset, LvglSize size) {
    const int right = Frame::width - size.width;
    const int bottom = Frame::height - size.height;
    const int middleX = Frame::width / 2 - size.width / 2;
    const int middleY = Frame::height / 2 - size.height / 2;
    int x = 0;
    int y = 0;
    switch (anchor) {
    case LvglAnchor::topLeft:
        break;
    case LvglAnchor::topCenter:
        x = middleX;
        break;
    case LvglAnchor::topRight:
        x = right;
        break;
    case LvglAnchor::bottomLeft:
        y = bottom;
        break;
    case LvglAnchor::bottomCenter:
        x = middleX;
        y = bottom;
        break;
    case LvglAnchor::bottomRight:
        x = right;
        y = bottom;
        break;
    case LvglAnchor::midLeft:
        y = middleY;
        break;
    case LvglAnchor::midRight:
        x = right;
        y = middleY;
        break;
    case LvglAnchor::center:
        x = middleX;
        y = middleY;
        break;
    }
    return {x + xOffset, y + yOffset, size.width, size.height};
}

LvglLabel::LvglLabel(std::shared_ptr<const LvglFont> font, LvglLabelOptions options)
    : font_(std::move(font)), options_(std::move(options)),
      text_(options_.text.substr(0, std::min(options_.text.find('\0'), options_.text.size()))) {
    layOut();
}

int LvglLabel::drawMargin() const {
    return font_->version() == LvglVersion::v8_2 ? fixedDrawMargin : font_->lineHeight() / 4;
}

bool LvglLabel::isScrolling() const {
    return options_.longMode == LvglLongMode::scroll || options_.longMode == LvglLongMode::circular;
}

LvglBreaking LvglLabel::breaking() const {
    const bool isExpanded = isScrolling() || options_.longMode == LvglLongMode::clip;
    return isExpanded || !options_.width ? LvglBreaking::newlines : LvglBreaking::words;
}

LvglSize LvglLabel::measure() const {
    const bool isExpanded = isScrolling() || options_.longMode == LvglLongMode::clip;
    // A content size is measured in lines of words even though none is broken: a CR LF then counts once.
    return measureLvglText(*font_, text_, options_.width.value_or(lvglMaximumCoordinate),
                           isExpanded ? LvglBreaking::newlines : LvglBreaking::words);
}

void LvglLabel::layOut() {
    textSize_ = measure();
    LvglSize size{options_.width.value_or(textSize_.width), options_.height.value_or(textSize_.height)};
    if (options_.longMode == LvglLongMode::dots && options_.width) {
        if (!options_.height) {
            // LVGL first cuts the text in a box without width, where the dots take a line each.
            size.height = std::min(size.height, static_cast<int>(dotCount) * font_->lineHeight());
        }
        putDots(size);
        textSize_ = measure();
        size.height = options_.height.value_or(textSize_.height);
    }
    lines_ = breakLvglLines(*font_, text_, size.width, breaking());
    box_ = alignLvglBox(options_.anchor, options_.xOffset, options_.yOffset, size);
    planScrolling();
}

/// Cuts a text that is higher than its box, and appends dots.
void LvglLabel::putDots(LvglSize box) {
    if (textSize_.height <= box.height || textSize_.height <= font_->lineHeight() ||
        codePointCount(text_) <= dotCount) {
        return;
    }
    auto position = dotPosition(box);
    while (position + dotCount > text_.size()) {
        position = previousCodePoint(text_, position);
    }
    text_.replace(position, std::string::npos, dotCount, '.');
}

/// Where in the text the dots begin.
std::size_t LvglLabel::dotPosition(LvglSize box) const {
    const auto lines = breakLvglLines(*font_, text_, box.width, breaking());
    const auto row = static_cast<std::size_t>(std::max(box.height / font_->lineHeight() - 1, 0));
    const auto& line = lines[std::min(row, lines.size() - 1)];
    const int room = box.width - static_cast<int>(dotCount) * font_->advance('.');
    int x = 0;
    if (options_.alignment == LvglAlignment::center) {
        x = box.width / 2 - line.width / 2;
    } else if (options_.alignment == LvglAlignment::right) {
        x = box.width - line.width;
    }
    std::size_t before = line.begin;
    for (auto position = line.begin; position < line.end;) {
        before = position;
        x += font_->advance(nextLvglCodePoint(text_, position));
        if (x > room) {
            break;
        }
    }
    return before;
}

int LvglLabel::circularGap() const {
    return waitCharacters * font_->advance(' ');
}

void LvglLabel::planScrolling() {
    if (!isScrolling()) {
        return;
    }
    const bool isCircular = options_.longMode == LvglLongMode::circular;
    if (textSize_.width > box_.width) {
        scrollX_ = scrolling(isCircular ? -textSize_.width - circularGap() : box_.width - textSize_.width, !isCircular);
    } else if (textSize_.height > box_.height) {
        const int end = isCircular ? -textSize_.height : box_.height - textSize_.height;
        scrollY_ = scrolling(end - font_->lineHeight(), !isCircular);
    }
}

LvglLabel::Offset LvglLabel::offset(milliseconds age) const {
    return {scrollX_ ? scrollX_->at(age) : 0, scrollY_ ? scrollY_->at(age) : 0};
}

void LvglLabel::moveTo(int xOffset, int yOffset) {
    options_.xOffset = xOffset;
    options_.yOffset = yOffset;
    box_ = alignLvglBox(options_.anchor, xOffset, yOffset, {box_.width, box_.height});
}

void LvglLabel::draw(Frame& frame, milliseconds age) const {
    const auto target = [&](int margin) {
        return Target{.frame = frame,
                      .left = std::max(box_.x - margin, 0),
                      .top = std::max(box_.y - margin, 0),
                      .right = std::min(box_.x + box_.width + margin, Frame::width),
                      .bottom = std::min(box_.y + box_.height + margin, Frame::height)};
    };
    auto box = target(0);
    if (box.left >= box.right || box.top >= box.bottom) {
        return;
    }
    if (!isScrolling()) {
        auto around = target(drawMargin());
        return drawText(around, 0, 0);
    }
    const auto shift = offset(age);
    drawText(box, shift.x, shift.y);
    if (options_.longMode != LvglLongMode::circular) {
        return;
    }
    if (textSize_.width > box_.width) {
        drawText(box, shift.x + textSize_.width + circularGap(), shift.y);
    }
    if (textSize_.height > box_.height) {
        drawText(box, shift.x, shift.y + textSize_.height + font_->lineHeight());
    }
}

void LvglLabel::drawText(Target& target, int xOffset, int yOffset) const {
    const bool isLeft = isScrolling() && textSize_.width > box_.width;
    int y = box_.y + yOffset;
    for (const auto& line : lines_) {
        if (y >= target.bottom) {
            return;
        }
        // The box of a missing glyph reaches one row below its line.
        if (y + font_->lineHeight() >= target.top) {
            int x = box_.x + xOffset;
            if (options_.alignment == LvglAlignment::center && !isLeft) {
                x += (box_.width - line.width) / 2;
            } else if (options_.alignment == LvglAlignment::right && !isLeft) {
                x += box_.width - line.width;
            }
            drawLine(target, line, x, y);
        }
        y += font_->lineHeight();
    }
}

void LvglLabel::drawLine(Target& target, const LvglLine& line, int x, int y) const {
    for (auto position = line.begin; position < line.end;) {
        const auto glyph = font_->glyph(nextLvglCodePoint(text_, position));
        if (glyph.isFound) {
            const int top = y + font_->lineHeight() - font_->baseLine() - glyph.height - glyph.y;
            drawGlyph(target, glyph, x + glyph.x, top);
        } else if (glyph.width > 0) {
            drawMissing(target, glyph, x, y);
        }
        x += glyph.advance;
    }
}

void LvglLabel::drawGlyph(Target& target, const LvglGlyph& glyph, int x, int y) const {
    const int left = std::max(target.left - x, 0);
    const int right = std::min(target.right - x, glyph.width);
    const int top = std::max(target.top - y, 0);
    const int bottom = std::min(target.bottom - y, glyph.height);
    if (left >= right || top >= bottom || target.room <= 0) {
        return;
    }
    target.room -= std::int64_t{right - left} * (bottom - top);
    for (int row = top; row < bottom; ++row) {
        for (int column = left; column < right; ++column) {
            if (font_->isLit(glyph, column, row)) {
                target.frame.set(x + column, y + row, options_.level);
            }
        }
    }
}

/// Lines of one pixel around the glyph's width and height and one more.
void LvglLabel::drawMissing(Target& target, const LvglGlyph& glyph, int x, int y) const {
    const auto fill = [&](int left, int top, int right, int bottom) {
        left = std::max(left, target.left);
        top = std::max(top, target.top);
        right = std::min(right, target.right);
        bottom = std::min(bottom, target.bottom);
        if (left < right && top < bottom) {
            target.frame.fill(left, top, right, bottom, options_.level);
        }
    };
    const int right = x + glyph.width;
    const int bottom = y + glyph.height;
    fill(x, y, right + 1, y + 1);
    fill(x, bottom, right + 1, bottom + 1);
    fill(x, y, x + 1, bottom + 1);
    fill(right, y, right + 1, bottom + 1);
}

} // namespace tarnel::glasses
