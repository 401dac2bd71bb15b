#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <cstdint>

namespace tarnel::glasses {

/// What the display shows: 640 x 480 pixels of the levels 0 (dark) to 3.
class Frame {
public:
    static constexpr int width = 640;
    static constexpr int height = 480;

    Frame() : levels_(std::size_t{width} * height, 0) {}

    /// REQUIRES: the pixel lies in the frame.
    std::uint8_t at(int x, int y) const { return levels_.at(index(x, y)); }
    /// REQUIRES: the pixel lies in the frame; level <= 3.
    void set(int x, int y, std::uint8_t level);

    /// Sets the pixels of [x1, x2) x [y1, y2) that lie in the frame.
    void fill(std::int64_t x1, std::int64_t y1, std::int64_t x2, std::int64_t y2, std::uint8_t level);

    bool isDark() const;

    /// One byte a pixel, row by row from the top, the level.
    const Bytes& levels() const { return levels_; }
    /// One byte a pixel, 85 a level.
    Bytes toGray() const;
    /// Three bytes a pixel (red, green, blue), the levels in green, 85 a level.
    Bytes toGreen() const;

    friend bool operator==(const Frame&, const Frame&) = default;

private:
    static std::size_t index(int x, int y);

    Bytes levels_;
};

} // namespace tarnel::glasses
