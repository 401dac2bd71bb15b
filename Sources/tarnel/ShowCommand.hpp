#pragma once

#include "Pictures.hpp"
#include "Simulation.hpp"

#include <TarnelSDK/images/Geometry.hpp>

#include <optional>
#include <string>

namespace tarnel::command {

struct ShowOptions {
    std::string picture; ///< "-" for standard input
    std::optional<Point> at;
    bool fit = false;
    Dither dither = Dither::automatic;
    std::optional<std::string> frame; ///< file to write
    bool asJSON = false;
    SimulationOptions simulation;
};

/// Shows a picture on the glasses.
void show(const ShowOptions& options);

} // namespace tarnel::command
