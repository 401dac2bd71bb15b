#pragma once

#include <TarnelSDK/platform/Bluetooth.hpp>

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarnel::glasses {

/// What a simulated host knows, for those who ask on any thread: its switch, the devices that it met, its bonds and who
/// is connected. Written on the radio's queue, except the user's settings.
class HostDirectory {
public:
    platform::CentralState state() const;
    void setState(platform::CentralState state);

    void learn(const UUID& device, const std::string& name);
    void forget(const UUID& device);
    bool isKnown(const UUID& device) const;
    std::optional<std::string> name(const UUID& device) const;

    void setConnected(const UUID& device, std::vector<UUID> services);
    void setDisconnected(const UUID& device);
    /// Connected devices with the service.
    std::vector<UUID> connected(const UUID& service) const;

    bool isBonded(const UUID& device) const;
    void setBonded(const UUID& device, bool bonded);
    bool acceptsPairing() const;
    void setAcceptsPairing(bool accepts);
    bool isAncsAuthorized(const UUID& device) const;
    void setAncsAuthorized(const UUID& device, bool authorized);

private:
    mutable std::mutex mutex_;
    platform::CentralState state_ = platform::CentralState::poweredOn;
    bool acceptsPairing_ = true;
    std::map<UUID, std::string> names_; ///< of the known devices
    std::map<UUID, std::vector<UUID>> connected_;
    std::set<UUID> bonded_;
    std::set<UUID> ancsAuthorized_;
};

} // namespace tarnel::glasses
