#pragma once

#include <TarnelLinux/bluez/EventLoop.hpp>

#include <sdbus-c++/sdbus-c++.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tarnel::bluez {

/// Why a method call failed: the D-Bus error's name and its text.
struct Failure {
    std::string name;
    std::string message;
};

/// A bus connection, or why there is none.
struct OpenedBus {
    std::unique_ptr<sdbus::IConnection> connection;
    std::vector<sdbus::Slot> matches; ///< ends before the connection
    Failure failure;                  ///< where `connection` is null
};

struct BusWish {
    std::function<std::unique_ptr<sdbus::IConnection>()> connect;
    std::vector<std::string> matches;             ///< rules (D-Bus Specification, "Match Rules")
    std::function<void(sdbus::Message&)> matched; ///< called by whoever lets the connection work
};

/// Opens a bus on a thread of its own, as a bus that does not answer holds up whoever connects: for a minute and a half
/// with sd-bus. Nobody waits for that thread; `done` is called on the loop's, unless that has ended.
void openBus(EventLoop& loop, BusWish wish, std::function<void(OpenedBus)> done);

} // namespace tarnel::bluez
