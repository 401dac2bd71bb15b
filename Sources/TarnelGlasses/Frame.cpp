#include <TarnelGlasses/Frame.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>

namespace tarnel::glasses {

std::size_t Frame::index(int x, int y) {
    precondition(x >= 0 && x < width && y >= 0 && y < height, "a pixel lies in the frame");
    return static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x);
}

void Frame::set(int x, int y, std::uint8_t level) {
    precondition(level <= 3, "a level lies in 0...3");
    levels_[index(x, y)] = level;
}

void Frame::fill(std::int64_t x1, std::int64_t y1, std::int64_t x2, std::int64_t y2, std::uint8_t level) {
    precondition(level <= 3, "a level lies in 0...3");
    const auto left = static_cast<std::ptrdiff_t>(std::clamp<std::int64_t>(x1, 0, width));
    const auto right = static_cast<std::ptrdiff_t>(std::clamp<std::int64_t>(x2, 0, width));
    const auto bottom = std::clamp<std::int64_t>(y2, 0, height);
    if (left >= right) {
        return;
    }
    for (auto y = std::clamp<std::int64_t>(y1, 0, height); y < bottom; ++y) {
        const auto row = levels_.begin() + static_cast<std::ptrdiff_t>(y) * width;
        std::fill(row + left, row + right, level);
    }
}

bool Frame::isDark() const {
    return std::all_of(levels_.begin(), levels_.end(), [](auto level) { return level == 0; });
}

Bytes Frame::toGray() const {
    Bytes gray(levels_.size());
    std::transform(levels_.begin(), levels_.end(), gray.begin(),
                   [](auto level) { return static_cast<std::uint8_t>(level * 85); });
    return gray;
}

Bytes Frame::toGreen() const {
    Bytes green(levels_.size() * 3, 0);
    for (std::size_t i = 0; i < levels_.size(); ++i) {
        green[3 * i + 1] = static_cast<std::uint8_t>(levels_[i] * 85);
    }
    return green;
}

} // namespace tarnel::glasses
