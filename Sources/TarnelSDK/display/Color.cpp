#include <TarnelSDK/display/Color.hpp>

namespace tarnel {

std::optional<Color> colorFromRawValue(int rawValue) {
    if (rawValue < static_cast<int>(Color::black) || rawValue > static_cast<int>(Color::white)) {
        return std::nullopt;
    }
    return static_cast<Color>(rawValue);
}

Color colorFromUIColor(const UIColor& color) {
    const auto components = color.components();
    double luminance = 0;
    if (components.size() == 2) {
        luminance = components[0];
    } else if (components.size() == 4) {
        luminance = 0.3 * components[0] + 0.59 * components[1] + 0.11 * components[2];
    }
    if (luminance == 0) {
        return Color::black;
    }
    if (luminance < 0.26) {
        return Color::dim;
    }
    return luminance < 0.51 ? Color::mid : Color::white;
}

std::uint8_t grayOf(Color color) {
    switch (color) {
    case Color::black:
        return 0;
    case Color::dim:
        return 64;
    case Color::mid:
        return 128;
    case Color::white:
        break;
    }
    return 255;
}

} // namespace tarnel
