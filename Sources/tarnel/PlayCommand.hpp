#pragma once

#include "Simulation.hpp"

#include <optional>
#include <string>

namespace tarnel::command {

struct PlayOptions {
    std::string scene = "-";          ///< "-" for standard input
    bool links = true;                ///< links the glasses before the first line
    bool logs = false;                ///< log lines are events
    std::optional<std::string> frame; ///< file to write at the end
    SimulationOptions simulation;
};

/// Drives glasses by lines of JSON.
void play(const PlayOptions& options);

} // namespace tarnel::command
