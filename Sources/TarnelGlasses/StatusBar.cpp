#include <TarnelGlasses/StatusBar.hpp>

#include <algorithm>
#include <array>

namespace tarnel::glasses {

namespace {

constexpr int margin = 20;
constexpr int top = 14;
constexpr int digitWidth = 14;
constexpr int digitHeight = 24;
constexpr int stroke = 3;
constexpr int digitGap = 6;
constexpr int colonWidth = 4;
constexpr int batteryWidth = 44;
constexpr int letterWidth = 32;

/// A rectangle within a character, from its top left corner.
struct Part {
    int left;
    int top;
    int right;
    int bottom;
};

constexpr int middle = (digitHeight - stroke) / 2;

/// The strokes of a digit: top, upper left, upper right, middle, lower left, lower right, bottom.
constexpr std::array<Part, 7> strokes = {{{0, 0, digitWidth, stroke},
                                          {0, 0, stroke, middle + stroke},
                                          {digitWidth - stroke, 0, digitWidth, middle + stroke},
                                          {0, middle, digitWidth, middle + stroke},
                                          {0, middle, stroke, digitHeight},
                                          {digitWidth - stroke, middle, digitWidth, digitHeight},
                                          {0, digitHeight - stroke, digitWidth, digitHeight}}};

/// Bit i stands for stroke i.
constexpr std::array<unsigned, 10> digits = {0b1110111, 0b0100100, 0b1011101, 0b1101101, 0b0101110,
                                             0b1101011, 0b1111011, 0b0100101, 0b1111111, 0b1101111};
constexpr unsigned dash = 0b0001000;

void fill(Frame& frame, int x, int y, const Part& part) {
    frame.fill(x + part.left, y + part.top, x + part.right, y + part.bottom, StatusBar::level);
}

void drawDigit(Frame& frame, int x, char digit) {
    const bool isDigit = digit >= '0' && digit <= '9';
    const unsigned lit = isDigit ? digits.at(static_cast<std::size_t>(digit - '0')) : dash;
    for (std::size_t i = 0; i < strokes.size(); ++i) {
        if ((lit >> i & 1U) != 0) {
            fill(frame, x, top, strokes.at(i));
        }
    }
}

void drawColon(Frame& frame, int x) {
    fill(frame, x, top, {0, 6, colonWidth, 6 + colonWidth});
    fill(frame, x, top, {0, digitHeight - 6 - colonWidth, colonWidth, digitHeight - 6});
}

void drawBattery(Frame& frame, int x, int percent) {
    constexpr int line = 2;
    constexpr int room = batteryWidth - 4 * line;
    fill(frame, x, top, {0, 0, batteryWidth, line});
    fill(frame, x, top, {0, digitHeight - line, batteryWidth, digitHeight});
    fill(frame, x, top, {0, 0, line, digitHeight});
    fill(frame, x, top, {batteryWidth - line, 0, batteryWidth, digitHeight});
    fill(frame, x, top, {batteryWidth, digitHeight / 3, batteryWidth + line, digitHeight - digitHeight / 3});
    fill(frame, x, top, {2 * line, 2 * line, 2 * line + room * percent / 100, digitHeight - 2 * line});
}

void drawCross(Frame& frame, int x) {
    fill(frame, x, top, {0, middle, digitWidth, middle + stroke});
    fill(frame, x, top, {5, middle - 5, 5 + stroke, middle + stroke + 5});
}

void drawLetter(Frame& frame, int x) {
    constexpr int line = 2;
    fill(frame, x, top, {0, 2, letterWidth, 2 + line});
    fill(frame, x, top, {0, digitHeight - 2 - line, letterWidth, digitHeight - 2});
    fill(frame, x, top, {0, 2, line, digitHeight - 2});
    fill(frame, x, top, {letterWidth - line, 2, letterWidth, digitHeight - 2});
    for (int step = 0; step < letterWidth / 2; ++step) {
        const int y = 2 + step * 2 / 3;
        fill(frame, x, top, {step, y, step + 1, y + line});
        fill(frame, x, top, {letterWidth - 1 - step, y, letterWidth - step, y + line});
    }
}

void drawNotifications(Frame& frame, std::size_t count) {
    constexpr std::size_t most = 99;
    const auto text = std::to_string(std::min(count, most));
    const int width = letterWidth + static_cast<int>(text.size()) * (digitGap + digitWidth);
    int x = (Frame::width - width) / 2;
    drawLetter(frame, x);
    x += letterWidth + digitGap;
    for (const char digit : text) {
        drawDigit(frame, x, digit);
        x += digitWidth + digitGap;
    }
}

} // namespace

void StatusBar::draw(Frame& frame) const {
    constexpr std::size_t hours = 9; // where they stand in the time
    const auto shown = time ? time->substr(hours, 4) : "----";
    int x = margin;
    for (std::size_t i = 0; i < shown.size(); ++i) {
        drawDigit(frame, x, shown[i]);
        x += digitWidth + digitGap;
        if (i == 1) {
            drawColon(frame, x);
            x += colonWidth + digitGap;
        }
    }
    const int battery = Frame::width - margin - batteryWidth;
    drawBattery(frame, battery, batteryLevel);
    if (isCharging) {
        drawCross(frame, battery - digitGap - digitWidth);
    }
    if (notifications > 0) {
        drawNotifications(frame, notifications);
    }
}

} // namespace tarnel::glasses
