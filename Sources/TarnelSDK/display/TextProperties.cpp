#include <TarnelSDK/display/Coordinates.hpp>
#include <TarnelSDK/display/DisplayDevice.hpp>
#include <TarnelSDK/display/TextProperties.hpp>
#include <TarnelSDK/glyphs/Glypher.hpp>
#include <TarnelSDK/platform/Platform.hpp>

#include <cmath>

namespace tarnel {

std::optional<TextAlignment> textAlignmentFromRawValue(int rawValue) {
    if (rawValue < static_cast<int>(TextAlignment::auto_) || rawValue > static_cast<int>(TextAlignment::right)) {
        return std::nullopt;
    }
    return static_cast<TextAlignment>(rawValue);
}

std::optional<TextWrapMode> textWrapModeFromRawValue(int rawValue) {
    if (rawValue < static_cast<int>(TextWrapMode::default_) || rawValue > static_cast<int>(TextWrapMode::clip)) {
        return std::nullopt;
    }
    return static_cast<TextWrapMode>(rawValue);
}

TextLine TextProperties::ctLine() const {
    const auto device = currentDisplayDevice();
    const double size = device ? device->displayGlypher().fontSize() : Glypher::defaultFontSize;
    return TextLine(AttributedString(text, {Font::system(size), UIColor::rgb(0, 1, 0)}),
                    platform::Platform::current().services().application->locale());
}

Size TextProperties::estimatedSize() const {
    if (!currentDisplayDevice()) {
        return {};
    }
    const auto bounds = ctLine().imageBounds();
    return {pixels(std::ceil(bounds.width + 1)), pixels(std::ceil(bounds.height))};
}

} // namespace tarnel
