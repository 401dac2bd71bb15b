#pragma once

#include "Simulation.hpp"

#include <optional>
#include <string>

namespace tarnel::command {

struct DemoOptions {
    std::optional<std::string> picture;   ///< "-" for standard input; nothing for the photograph that comes along
    std::optional<std::string> frame;     ///< picture file to write
    std::optional<std::string> animation; ///< animated picture file to write
    double seconds = 6;                   ///< length of the animated picture
    bool asJSON = false;
    SimulationOptions simulation;
};

/// Shows a scene of all that the display can: a photograph with shapes and static text over it, labels in many scripts,
/// an image and an animation.
void demo(const DemoOptions& options);

} // namespace tarnel::command
