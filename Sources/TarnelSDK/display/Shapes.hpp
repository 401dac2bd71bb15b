#pragma once

#include <TarnelSDK/images/Geometry.hpp>
#include <TarnelSDK/images/Image.hpp>

#include <cstdint>
#include <optional>

namespace tarnel {

/// The corners of a rectangle that a radius rounds.
struct Corners {
    bool topLeft = true;
    bool topRight = true;
    bool bottomLeft = true;
    bool bottomRight = true;

    friend bool operator==(const Corners&, const Corners&) = default;
};

/// A rectangle with rounded corners, a border inside its edge and a filling. Greys from 0, black, to 255, white.
struct RoundedRectangle {
    Rect rect;
    double cornerRadius = 0; ///< pixels, at most half the shorter side
    Corners corners = {};
    double borderWidth = 0; ///< pixels, at most half the shorter side; 0 is none
    std::uint8_t borderGray = 255;
    std::optional<std::uint8_t> fillGray = std::nullopt;
};

/// A straight line from one pixel to another, both included, with square ends. A line of an odd width is centred on its
/// pixels, one of an even width on their upper left edges.
struct StraightLine {
    double x1 = 0;
    double y1 = 0;
    double x2 = 0;
    double y2 = 0;
    double lineWidth = 1; ///< pixels
    std::uint8_t gray = 255;
};

/// A picture and the place of its upper left corner.
struct PlacedImage {
    Image image;
    Point origin;
};

/// The shape drawn smoothly on black, `rgba8` without transparency: its bounding box as far as it lies within `clip`.
/// Nothing when that is empty. REQUIRES: finite numbers, no negative size, radius or width.
std::optional<PlacedImage> drawShape(const RoundedRectangle& rectangle, const Rect& clip);
std::optional<PlacedImage> drawShape(const StraightLine& line, const Rect& clip);

} // namespace tarnel
