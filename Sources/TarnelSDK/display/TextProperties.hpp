#pragma once

#include <TarnelSDK/display/Color.hpp>
#include <TarnelSDK/glyphs/TextLine.hpp>
#include <TarnelSDK/images/Geometry.hpp>

#include <cstdint>
#include <optional>
#include <string>

namespace tarnel {

/// How a label's lines stand in its width; the number is the wire value.
enum class TextAlignment : std::uint8_t { auto_ = 0, left = 1, center = 2, right = 3 };

std::optional<TextAlignment> textAlignmentFromRawValue(int rawValue);

/// What a label does with text that is wider than itself; the number is the wire value.
enum class TextWrapMode : std::int8_t {
    default_ = -1,
    wrap = 0,
    truncate = 1,
    scrollBackAndForth = 2,
    scrollCircular = 3,
    clip = 4,
};

std::optional<TextWrapMode> textWrapModeFromRawValue(int rawValue);

/// The text of a label and how it is set.
struct TextProperties {
    std::string text; ///< UTF-8
    TextAlignment alignment = TextAlignment::auto_;
    Color color = Color::white;
    TextWrapMode wrapMode = TextWrapMode::default_;

    /// The text as one line in the system's font, green, at the font size of the current device, 28 pixels without one.
    TextLine ctLine() const;

    /// What the ink of `ctLine` covers, rounded up, in pixels; 0 x 0 while no device is current.
    Size estimatedSize() const;

    friend bool operator==(const TextProperties&, const TextProperties&) = default;
};

} // namespace tarnel
