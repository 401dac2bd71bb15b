#pragma once

#include <TarnelLinux/bluez/Bus.hpp>

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace tarnel::bluez {

/// Answers the daemon's questions while a device is paired: glasses have neither keys nor digits to compare ("just
/// works"), so a device that belongs to this process is accepted, and every other refused. On the loop's thread only.
class Agent {
public:
    /// The bus outlives the agent. `accepts` is asked for the device's address.
    Agent(Bus& bus, std::function<bool(const std::string&)> accepts) : bus_(bus), accepts_(std::move(accepts)) {}

    /// Puts the agent on this connection, or takes it from the present one.
    void expose(sdbus::IConnection* connection);
    /// Makes it known to the daemon. It is asked when this process pairs a device; the user's desktop keeps its own
    /// agent for all else.
    void enrol();
    /// It is asked too when a device begins the pairing, in place of the desktop's agent, as long as this process
    /// lives.
    void requestDefault();

private:
    void require(const sdbus::ObjectPath& device) const;

    Bus& bus_;
    const std::function<bool(const std::string&)> accepts_;
    std::unique_ptr<sdbus::IObject> object_;
};

} // namespace tarnel::bluez
