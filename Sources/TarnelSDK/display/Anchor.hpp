#pragma once

#include <TarnelSDK/images/Geometry.hpp>

#include <cstdint>
#include <optional>

namespace tarnel {

/// The place of the display from which an object's offsets count; the number is the wire value.
enum class Anchor : std::uint8_t {
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

std::optional<Anchor> anchorFromRawValue(int rawValue);

/// The lower left corner at which the canvas's mirror places an object of that size, y downward. The glasses place
/// objects themselves. REQUIRES: nothing overflows.
Point toPoint(Anchor anchor, int offsetX, int offsetY, Size size);

} // namespace tarnel
