#include <TarnelGlasses/HostDirectory.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::glasses {

namespace {

void setMember(std::set<UUID>& set, const UUID& device, bool isMember) {
    if (isMember) {
        set.insert(device);
    } else {
        set.erase(device);
    }
}

} // namespace

platform::CentralState HostDirectory::state() const {
    const std::lock_guard lock(mutex_);
    return state_;
}

void HostDirectory::setState(platform::CentralState state) {
    const std::lock_guard lock(mutex_);
    state_ = state;
}

void HostDirectory::learn(const UUID& device, const std::string& name) {
    const std::lock_guard lock(mutex_);
    names_[device] = name;
}

void HostDirectory::forget(const UUID& device) {
    const std::lock_guard lock(mutex_);
    names_.erase(device);
}

bool HostDirectory::isKnown(const UUID& device) const {
    const std::lock_guard lock(mutex_);
    return names_.contains(device);
}

std::optional<std::string> HostDirectory::name(const UUID& device) const {
    const std::lock_guard lock(mutex_);
    const auto name = names_.find(device);
    if (name == names_.end() || name->second.empty()) {
        return std::nullopt;
    }
    return name->second;
}

void HostDirectory::setConnected(const UUID& device, std::vector<UUID> services) {
    const std::lock_guard lock(mutex_);
    connected_[device] = std::move(services);
}

void HostDirectory::setDisconnected(const UUID& device) {
    const std::lock_guard lock(mutex_);
    connected_.erase(device);
}

std::vector<UUID> HostDirectory::connected(const UUID& service) const {
    const std::lock_guard lock(mutex_);
    std::vector<UUID> devices;
    for (const auto& [device, services] : connected_) {
        if (std::find(services.begin(), services.end(), service) != services.end()) {
            devices.push_back(device);
        }
    }
    return devices;
}

bool HostDirectory::isBonded(const UUID& device) const {
    const std::lock_guard lock(mutex_);
    return bonded_.contains(device);
}

void HostDirectory::setBonded(const UUID& device, bool bonded) {
    const std::lock_guard lock(mutex_);
    setMember(bonded_, device, bonded);
}

bool HostDirectory::acceptsPairing() const {
    const std::lock_guard lock(mutex_);
    return acceptsPairing_;
}

void HostDirectory::setAcceptsPairing(bool accepts) {
    const std::lock_guard lock(mutex_);
    acceptsPairing_ = accepts;
}

bool HostDirectory::isAncsAuthorized(const UUID& device) const {
    const std::lock_guard lock(mutex_);
    return ancsAuthorized_.contains(device);
}

void HostDirectory::setAncsAuthorized(const UUID& device, bool authorized) {
    const std::lock_guard lock(mutex_);
    setMember(ancsAuthorized_, device, authorized);
}

} // namespace tarnel::glasses
