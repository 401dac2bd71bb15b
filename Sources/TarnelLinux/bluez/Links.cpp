#include <TarnelLinux/bluez/Address.hpp>
#include <TarnelLinux/bluez/Errors.hpp>
#include <TarnelLinux/bluez/Host.hpp>
#include <TarnelLinux/bluez/Links.hpp>
#include <TarnelLinux/bluez/Names.hpp>
#include <TarnelLinux/bluez/Peripheral.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::bluez {
namespace {

using namespace std::chrono_literals;
using platform::BluetoothError;

/// The daemon gives up by itself before this.
constexpr auto connectPatience = 90s;
constexpr auto disconnectPatience = 15s;
/// An attempt that fails at once is not made again before.
constexpr auto betweenAttempts = 1s;
/// Controllers do not connect while they look for devices. A device that is there connects within this; one that is not
/// must not keep others from being found.
constexpr auto radioPatience = 4s;

bool contains(const std::vector<std::shared_ptr<Peripheral>>& list, const std::shared_ptr<Peripheral>& peripheral) {
    return std::find(list.begin(), list.end(), peripheral) != list.end();
}

} // namespace

bool Links::isWaiting() const {
    return std::any_of(links_.begin(), links_.end(), [](const auto& entry) {
        const Link& link = entry.second;
        return !link.waiting.empty() && !link.isConnecting && !link.isDisconnecting;
    });
}

bool Links::isUsed(const std::string& address) const {
    const auto found = links_.find(address);
    return found != links_.end() && (!found->second.users.empty() || !found->second.waiting.empty());
}

std::vector<std::string> Links::connected() const {
    std::vector<std::string> addresses;
    for (const auto& [address, link] : links_) {
        if (!link.users.empty()) {
            addresses.push_back(address);
        }
    }
    return addresses;
}

std::vector<std::shared_ptr<Peripheral>> Links::users(const std::string& address) const {
    const auto found = links_.find(address);
    return found == links_.end() ? std::vector<std::shared_ptr<Peripheral>>() : found->second.users;
}

void Links::connect(const std::shared_ptr<Peripheral>& peripheral) {
    const std::string& address = peripheral->address();
    Link& link = links_[address];
    if (contains(link.users, peripheral)) {
        const auto path = host_.devicePath(address);
        return path ? peripheral->attached(*path) : void();
    }
    if (!contains(link.waiting, peripheral)) {
        link.waiting.push_back(peripheral);
    }
    if (failIfBondIsLost(address)) {
        return;
    }
    if (host_.isConnected(address) && !link.isDisconnecting) {
        return attach(address, link);
    }
    attempt(address);
    host_.updateDiscovery();
}

void Links::attach(const std::string& address, Link& link) {
    link.failures = 0;
    link.isRestarted = false;
    lostBonds_.connected(address);
    if (link.waiting.empty()) {
        return;
    }
    const auto path = host_.devicePath(address);
    for (const auto& peripheral : std::exchange(link.waiting, {})) {
        if (path) {
            link.users.push_back(peripheral);
            peripheral->attached(*path);
        }
    }
    host_.updateDiscovery();
    host_.deviceAttached();
}

void Links::cancel(const std::shared_ptr<Peripheral>& peripheral) {
    const std::string& address = peripheral->address();
    const auto found = links_.find(address);
    if (found == links_.end()) {
        return;
    }
    Link& link = found->second;
    std::erase(link.waiting, peripheral);
    if (std::erase(link.users, peripheral) != 0) {
        peripheral->ended(std::nullopt);
    }
    dropUnused(address);
}

void Links::cancelAll() {
    std::vector<std::shared_ptr<Peripheral>> all;
    for (const auto& [address, link] : links_) {
        all.insert(all.end(), link.users.begin(), link.users.end());
        all.insert(all.end(), link.waiting.begin(), link.waiting.end());
    }
    for (const auto& peripheral : all) {
        cancel(peripheral);
    }
}

void Links::dropUnused(const std::string& address) {
    const auto found = links_.find(address);
    if (found == links_.end()) {
        return;
    }
    Link& link = found->second;
    if (link.waiting.empty() && link.users.empty() && !link.isDisconnecting) {
        if (link.isConnecting || host_.isConnected(address)) {
            disconnect(address);
        } else {
            links_.erase(found);
        }
    }
    host_.updateDiscovery();
}

void Links::disconnect(const std::string& address) {
    const auto path = host_.devicePath(address);
    if (!path) {
        return;
    }
    links_[address].isDisconnecting = true;
    host_.bus().call(
        *path, deviceInterface, "Disconnect", nullptr,
        [this, address, generation = generation_](sdbus::MethodReply*, const Failure*) {
            if (generation == generation_) {
                disconnectAnswered(address);
            }
        },
        disconnectPatience);
}

/// BlueZ answers before it announces that the connection is gone. Until then the device would pass for a connected one.
void Links::disconnectAnswered(const std::string& address) {
    const auto path = host_.devicePath(address);
    if (!path || !host_.isConnected(address)) {
        return disconnected(address);
    }
    host_.bus().refresh(*path, deviceInterface, "Connected", [this, address, generation = generation_] {
        if (generation == generation_) {
            disconnected(address);
        }
    });
}

/// The device is disconnected as far as this process can see to it.
void Links::disconnected(const std::string& address) {
    const auto found = links_.find(address);
    if (found == links_.end() || !std::exchange(found->second.isDisconnecting, false)) {
        return;
    }
    if (found->second.waiting.empty()) {
        links_.erase(found);
    } else if (!found->second.isConnecting) {
        attempt(address);
    }
    host_.updateDiscovery();
}

void Links::attempt(const std::string& address) {
    Link& link = links_[address];
    const auto path = host_.devicePath(address);
    if (!path || link.waiting.empty() || link.isConnecting || link.isDisconnecting) {
        return;
    }
    link.isConnecting = true;
    link.attempt = ++attempts_;
    link.lastAttempt = std::chrono::steady_clock::now();
    takeRadio();
    host_.bus().call(
        *path, deviceInterface, "Connect", nullptr,
        [this, address, attempt = link.attempt](sdbus::MethodReply*, const Failure* failure) {
            attempted(address, attempt, failure);
        },
        connectPatience);
}

void Links::takeRadio() {
    host_.loop().cancel(radioTimer_);
    radioTimer_ = host_.loop().after(radioPatience, [this] { releaseRadio(); });
    needsRadio_ = true;
    host_.updateDiscovery();
}

void Links::releaseRadio() {
    host_.loop().cancel(std::exchange(radioTimer_, 0));
    if (std::exchange(needsRadio_, false)) {
        host_.updateDiscovery();
    }
}

/// The answer to an attempt that was cancelled, and whose link is gone, may come when there is another.
void Links::attempted(const std::string& address, std::uint64_t attempt, const Failure* failure) {
    const auto found = links_.find(address);
    if (found != links_.end() && found->second.attempt != attempt) {
        return;
    }
    releaseRadio();
    const auto path = host_.devicePath(address);
    if (failure || !path || host_.isConnected(address)) {
        return concluded(address, attempt, failure);
    }
    // BlueZ 5.66 does not always announce a connection that it has made, or does so after it has answered.
    host_.bus().refresh(*path, deviceInterface, "Connected",
                        [this, address, attempt] { concluded(address, attempt, nullptr); });
}

void Links::concluded(const std::string& address, std::uint64_t attempt, const Failure* failure) {
    const auto found = links_.find(address);
    if (found == links_.end() || found->second.attempt != attempt) {
        return;
    }
    Link& link = found->second;
    link.isConnecting = false;
    if (host_.isConnected(address) && !link.isDisconnecting) {
        attach(address, link);
        return dropUnused(address);
    }
    if (link.waiting.empty()) {
        return dropUnused(address);
    }
    if (link.isDisconnecting) {
        return;
    }
    if (!failure) {
        lostBonds_.connected(address);
        endedByItself(address);
        if (failIfBondIsLost(address)) {
            return;
        }
    }
    attemptFailed(address, link,
                  failure ? *failure : Failure{"org.bluez.Error.Failed", "The connection ended at once."});
    host_.updateDiscovery();
}

void Links::attemptFailed(const std::string& address, Link& link, const Failure& failure) {
    const auto error = connectionError(failure, host_.isBonded(address));
    if (error.code == platform::peerRemovedPairingInformation) {
        return bondLost(address, error);
    }
    if (isInProgress(failure) && !std::exchange(link.isRestarted, true)) {
        // A client that is gone has left its attempt behind.
        return disconnect(address);
    }
    if (const auto& tell = host_.options().attemptFailed) {
        tell(identifierOfAddress(address).value_or(UUID()), error);
    }
    // The first failure is often the radio's, and cured by asking again.
    if (++link.failures == 1) {
        attempt(address);
    }
}

void Links::endedByItself(const std::string& address) {
    if (host_.isBonded(address)) {
        lostBonds_.ended(address);
    }
}

void Links::bondRefused(const std::string& address) {
    lostBonds_.refused(address);
    if (!host_.isConnected(address)) {
        failIfBondIsLost(address);
    }
}

/// Whether nobody waits for the device any longer, as it no longer has the bond.
bool Links::failIfBondIsLost(const std::string& address) {
    const auto found = links_.find(address);
    if (found == links_.end() || found->second.waiting.empty() || !lostBonds_.isLost(address) ||
        !host_.isBonded(address)) {
        return false;
    }
    bondLost(address, centralError(platform::peerRemovedPairingInformation, "The peripheral no longer has the bond."));
    return true;
}

/// With its own side of the bond removed too, the next connection makes a new one.
void Links::bondLost(const std::string& address, const BluetoothError& error) {
    lostBonds_.forget(address);
    for (const auto& peripheral : std::exchange(links_[address].waiting, {})) {
        peripheral->failed(error);
    }
    host_.removeDevice(address);
    dropUnused(address);
}

void Links::sighted(const std::string& address) {
    const auto found = links_.find(address);
    if (found == links_.end()) {
        return;
    }
    Link& link = found->second;
    if (std::chrono::steady_clock::now() - link.lastAttempt < betweenAttempts) {
        return;
    }
    link.failures = 0;
    link.isRestarted = false;
    attempt(address);
    host_.updateDiscovery();
}

void Links::connectedChanged(const std::string& address, bool isConnected) {
    const auto found = links_.find(address);
    if (found == links_.end()) {
        return;
    }
    Link& link = found->second;
    if (isConnected) {
        if (!link.isDisconnecting) {
            attach(address, link);
        }
        return;
    }
    if (!link.users.empty() && !link.isDisconnecting) {
        endedByItself(address);
    }
    for (const auto& peripheral : std::exchange(link.users, {})) {
        peripheral->ended(centralError(platform::peripheralDisconnected, "The peripheral ended the connection."));
    }
    disconnected(address);
    if (failIfBondIsLost(address)) {
        return;
    }
    if (const auto still = links_.find(address); still != links_.end()) {
        attempt(address);
        dropUnused(address);
    }
}

void Links::deviceRemoved(const std::string& address) {
    connectedChanged(address, false);
}

void Links::lostPower() {
    ++generation_;
    releaseRadio();
    for (auto& [address, link] : std::exchange(links_, {})) {
        for (const auto& peripheral : link.users) {
            peripheral->dropSession();
        }
    }
}

} // namespace tarnel::bluez
