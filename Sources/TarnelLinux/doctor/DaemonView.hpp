#pragma once

#include <TarnelLinux/bluez/Bus.hpp>

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace tarnel::doctor {

/// How the system bus answers to somebody who connects.
struct BusProbe {
    enum class Answer { alive, absent, refused, silent, unknownUser };
    Answer answer = Answer::alive;
    std::string path;   ///< of the socket; empty for an address that is no path
    std::string reason; ///< what the system says
};

/// Connects to the socket of "unix:path=..." and asks to be let in (D-Bus 0.32, "Authentication Protocol").
/// Other addresses are taken to be alive.
BusProbe probeBus(const std::string& address, std::chrono::milliseconds patience);

/// What the Bluetooth daemon of a bus says of itself, once.
struct DaemonView {
    std::optional<bluez::Failure> busFailure;    ///< the bus lets nobody in
    bool isRunning = false;                      ///< somebody has the daemon's name
    std::optional<bluez::Failure> daemonFailure; ///< the daemon may not be, or cannot be, asked
    std::map<std::string, bluez::Interfaces> objects;
};

DaemonView viewDaemon(const std::string& address, std::chrono::milliseconds patience);

} // namespace tarnel::doctor
