#pragma once

#include <TarnelGlasses/SimulatedWorld.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace tarnel::command {

/// What the simulated glasses of a command and the air to them are like.
struct SimulationOptions {
    bool isSimulated = false;
    std::uint64_t seed = 1;
    glasses::GlassesOptions glasses;
    glasses::LinkModel link;
    std::optional<std::string> trace; ///< file to write
};

/// Options of a command that uses glasses, which set `simulation`.
void addSimulation(CLI::App* command, const std::shared_ptr<SimulationOptions>& simulation);

} // namespace tarnel::command
