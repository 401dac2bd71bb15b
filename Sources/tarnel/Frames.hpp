#pragma once

#include <TarnelGlasses/Frame.hpp>
#include <TarnelSDK/images/Image.hpp>

namespace tarnel::command {

/// What the display shows, in its green: the levels 0 to 3 are 0, 85, 170 and 255.
Image imageOf(const glasses::Frame& frame);

} // namespace tarnel::command
