#pragma once

#include <TarnelSDK/images/UIColor.hpp>

#include <cstdint>
#include <optional>

namespace tarnel {

/// The levels of the display; the number is the wire value.
enum class Color : std::uint8_t { black = 0, dim = 1, mid = 2, white = 3 };

std::optional<Color> colorFromRawValue(int rawValue);

/// The level of a colour by its luminance, 0.3 R + 0.59 G + 0.11 B: 0 is black, below 0.26 dim, below 0.51 mid, all
/// else white. Alpha does not count. A colour of a model other than grey and RGB is black.
Color colorFromUIColor(const UIColor& color);

/// Its grey on the application's side, from 0 to 255: none, a quarter, half, full.
std::uint8_t grayOf(Color color);

/// The grey of a picture that was reduced to the display's levels: 00, 40, 80 or C0.
inline std::uint8_t levelOf(Color color) {
    return static_cast<std::uint8_t>(static_cast<unsigned>(color) << 6);
}

} // namespace tarnel
