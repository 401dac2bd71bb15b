#pragma once

#include "SimulationOptions.hpp"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace tarnel::command {

/// How glasses that are really there are reached.
struct AirOptions {
    std::optional<std::string> adapter; ///< "hci1" or an address; one that is switched on when empty
    std::chrono::duration<double> timeout = std::chrono::seconds(30); ///< for a connection
    std::chrono::duration<double> shown = std::chrono::seconds(10);   ///< how long what was sent stays
    bool sharesNotifications = false;                                 ///< those of the desktop can be read meanwhile
};

/// Where a command's glasses are.
struct SurroundingsOptions {
    bool isSimulated = false;
    SimulationOptions simulation;
    AirOptions air;
    std::optional<std::string> trace;  ///< file to write
    std::optional<std::string> locale; ///< the user's language; the environment's on the air, en-US when simulated
};

/// What a command may be told of the glasses that it uses.
enum class Uses {
    aLink,    ///< it takes as long as it is told to
    aDisplay, ///< it shows something and ends
};

/// Options of a command that uses glasses, on the air or simulated, which set `options`; these live as long as the
/// command.
void addSurroundings(CLI::App* command, const std::shared_ptr<SurroundingsOptions>& options, Uses uses);

/// --adapter, for commands that know no simulated glasses.
void addAdapter(CLI::App* command, const std::shared_ptr<AirOptions>& options);

/// --share-notifications, for commands that are long connected.
void addSharing(CLI::App* command, const std::shared_ptr<AirOptions>& options);

/// --adapter and --timeout, for commands that know no simulated glasses.
void addAir(CLI::App* command, const std::shared_ptr<AirOptions>& options);

} // namespace tarnel::command
