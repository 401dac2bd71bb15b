#include "TerminalPicture.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarnel::command {
namespace {

using glasses::Frame;

constexpr std::array<const char*, 4> greens{"0", "85", "170", "255"};

/// The frame in another size; each pixel is the level nearest to the mean of what it covers.
std::vector<std::uint8_t> resized(const Frame& frame, int width, int height) {
    std::vector<std::uint8_t> levels;
    levels.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y) {
        const int top = y * Frame::height / height;
        const int bottom = std::max(top + 1, (y + 1) * Frame::height / height);
        for (int x = 0; x < width; ++x) {
            const int left = x * Frame::width / width;
            const int right = std::max(left + 1, (x + 1) * Frame::width / width);
            int sum = 0;
            for (int row = top; row < bottom; ++row) {
                for (int column = left; column < right; ++column) {
                    sum += frame.at(column, row);
                }
            }
            const int count = (bottom - top) * (right - left);
            // Thin lines stay visible: what is not wholly dark is at least dim.
            const int mean = (2 * sum + count) / (2 * count);
            levels.push_back(static_cast<std::uint8_t>(std::max(mean, sum > 0 ? 1 : 0)));
        }
    }
    return levels;
}

std::string colour(const char* code, std::uint8_t level) {
    return std::string("\x1b[") + code + ";2;0;" + greens.at(level) + ";0m";
}

} // namespace

std::string terminalPicture(const glasses::Frame& frame, int columns, int rows) {
    const int width = std::clamp(std::min(columns, 2 * rows * Frame::width / Frame::height), 1, Frame::width);
    const int height = std::clamp(width * Frame::height / Frame::width / 2 * 2, 2, Frame::height);
    const auto levels = resized(frame, width, height);
    const auto at = [&](int x, int y) {
        return levels.at(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x));
    };
    const std::string margin(static_cast<std::size_t>(std::max(0, (columns - width) / 2)), ' ');
    std::string text;
    for (int y = 0; y < height; y += 2) {
        text += margin;
        int above = -1;
        int below = -1;
        for (int x = 0; x < width; ++x) {
            if (above != at(x, y)) {
                above = at(x, y);
                text += colour("38", at(x, y));
            }
            if (below != at(x, y + 1)) {
                below = at(x, y + 1);
                text += colour("48", at(x, y + 1));
            }
            text += "▀";
        }
        text += "\x1b[0m\x1b[K\r\n";
    }
    return text;
}

} // namespace tarnel::command
