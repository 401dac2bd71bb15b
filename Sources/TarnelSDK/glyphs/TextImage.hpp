#pragma once

#include <TarnelSDK/glyphs/AttributedString.hpp>
#include <TarnelSDK/images/Image.hpp>

#include <string_view>

namespace tarnel {

/// The text as a picture, `rgba8`, transparent where no ink is. Line feeds make lines, one below the other from the
/// left. The picture is as large as the lines and their ink, at most 4,096 pixels each way; empty when the text is.
Image text(const AttributedString& attributes, std::string_view locale = {});

} // namespace tarnel
