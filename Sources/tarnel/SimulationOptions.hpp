#pragma once

#include <TarnelGlasses/SimulatedWorld.hpp>

#include <cstdint>
#include <memory>
#include <string>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace tarnel::command {

/// What the simulated glasses of a command and the air to them are like.
struct SimulationOptions {
    std::uint64_t seed = 1;
    glasses::GlassesOptions glasses;
    glasses::LinkModel link;
};

/// Options that say what simulated glasses are like, in a group of the help, which set `glasses`.
void addGlassesOptions(CLI::App* command, const std::shared_ptr<glasses::GlassesOptions>& glasses,
                       const std::string& group);

/// Options that set `simulation` and may be given along with the flag `simulated` only.
void addSimulation(CLI::App* command, const std::shared_ptr<SimulationOptions>& simulation, CLI::Option* simulated);

} // namespace tarnel::command
