#pragma once

#include "Files.hpp"
#include "Surroundings.hpp"

#include <TarnelGlasses/Frame.hpp>
#include <TarnelSDK/images/Image.hpp>

#include <optional>

namespace tarnel::command {

/// What the display shows, in its green: the levels 0 to 3 are 0, 85, 170 and 255.
Image imageOf(const glasses::Frame& frame);

/// Writes what the simulated glasses show, if there is a file for it. REQUIRES: on the air there is none.
void storeFrame(const std::optional<OutputFile>& file, Surroundings& surroundings);

} // namespace tarnel::command
