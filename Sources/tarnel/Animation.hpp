#pragma once

#include <TarnelGlasses/Frame.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <chrono>
#include <vector>

namespace tarnel::command {

/// What the display shows for a while.
struct TimedFrame {
    glasses::Frame frame;
    std::chrono::milliseconds duration{};
};

/// The frames in the display's green as an animated GIF that repeats without end. Times are rounded to hundredths of a
/// second and at least two of them, the shortest that viewers keep to. REQUIRES: there is a frame.
Bytes gifOf(const std::vector<TimedFrame>& frames);

} // namespace tarnel::command
