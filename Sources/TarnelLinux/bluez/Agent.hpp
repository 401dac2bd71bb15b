#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <memory>

namespace tarnel::bluez {

class Host;

/// Answers the daemon's questions while a device is paired: glasses have neither keys nor digits to compare ("just
/// works"), so a device that this process connects is accepted, and every other refused. The user's desktop keeps its
/// own agent for all else. On the loop's thread only.
class Agent {
public:
    /// The host outlives the agent.
    explicit Agent(Host& host) : host_(host) {}

    /// Puts the agent on this connection, or takes it from the present one.
    void expose(sdbus::IConnection* connection);
    /// Makes it known to the daemon.
    void enrol();

private:
    void require(const sdbus::ObjectPath& device) const;

    Host& host_;
    std::unique_ptr<sdbus::IObject> object_;
};

} // namespace tarnel::bluez
