#pragma once

#include "Operation.hpp"

#include <TarnelSDK/platform/Bluetooth.hpp>

/// The cases of Bluetooth's enumerations, as the user reads them.
namespace tarnel::command {

inline constexpr Cases<platform::CentralState, 6> centralStates{{
    {"unknown", platform::CentralState::unknown},
    {"resetting", platform::CentralState::resetting},
    {"unsupported", platform::CentralState::unsupported},
    {"unauthorized", platform::CentralState::unauthorized},
    {"poweredOff", platform::CentralState::poweredOff},
    {"poweredOn", platform::CentralState::poweredOn},
}};

} // namespace tarnel::command
