#pragma once

/// What a program that was built without a part of it says where that is asked for.
namespace tarnel::command {

inline constexpr const char* noBluetoothText =
    "this tarnel was built without Bluetooth, for which it needs SQLite, libsystemd and sdbus-c++ 1 (1.2 or newer, "
    "not 2) when it is built";

} // namespace tarnel::command
