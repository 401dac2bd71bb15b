#include <TarnelGlasses/BluetoothErrors.hpp>
#include <TarnelGlasses/SimulatedCentral.hpp>
#include <TarnelGlasses/SimulatedHost.hpp>
#include <TarnelGlasses/SimulatedPeripheral.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::glasses {

std::shared_ptr<SimulatedHost> SimulatedHost::make(std::shared_ptr<Radio> radio,
                                                   std::shared_ptr<ancs::NotificationProvider> notifications) {
    auto host = std::make_shared<SimulatedHost>(std::move(radio), std::move(notifications));
    host->radio_->queue().async([weak = std::weak_ptr(host)] {
        if (const auto self = weak.lock()) {
            self->radio_->addListener(self);
        }
    });
    return host;
}

void SimulatedHost::after(platform::Duration delay, std::function<void(SimulatedHost&)> step) {
    radio_->queue().asyncAfter(delay, [weak = weak_from_this(), step = std::move(step)] {
        if (const auto self = weak.lock()) {
            step(*self);
        }
    });
}

std::vector<std::shared_ptr<SimulatedCentral>> SimulatedHost::centrals() const {
    std::vector<std::shared_ptr<SimulatedCentral>> centrals;
    for (const auto& weak : centrals_) {
        if (auto central = weak.lock()) {
            centrals.push_back(std::move(central));
        }
    }
    return centrals;
}

void SimulatedHost::setState(platform::CentralState state) {
    if (directory_->state() == state) {
        return;
    }
    directory_->setState(state);
    if (!isOn()) {
        shutConnections();
    }
    for (const auto& central : centrals()) {
        central->powerChanged(state);
    }
}

void SimulatedHost::shutConnections() {
    for (auto& [identifier, device] : devices_) {
        device.pending.clear();
        device.isHeld = false;
        directory_->setDisconnected(identifier);
        if (const auto connection = std::exchange(device.connection, nullptr)) {
            for (const auto& user : connection->users()) {
                user->detached();
            }
            connection->close();
        }
    }
}

void SimulatedHost::addCentral(const std::shared_ptr<SimulatedCentral>& central) {
    centrals_.push_back(central);
    central->powerChanged(directory_->state());
}

void SimulatedHost::dropGoneCentrals() {
    std::erase_if(centrals_, [](const auto& central) { return central.expired(); });
    for (auto& [identifier, device] : devices_) {
        std::erase_if(device.pending, [](const auto& peripheral) { return !peripheral->hasCentral(); });
        if (!device.connection) {
            continue;
        }
        for (const auto& user : device.connection->users()) {
            if (!user->hasCentral()) {
                device.connection->removeUser(user);
            }
        }
        endIfUnused(identifier);
    }
}

void SimulatedHost::hold(const UUID& device) {
    if (!isOn()) {
        return;
    }
    devices_[device].isHeld = true;
    listen();
}

void SimulatedHost::release(const UUID& device) {
    devices_[device].isHeld = false;
    endIfUnused(device);
}

void SimulatedHost::setAncsAuthorized(const UUID& device, bool authorized) {
    if (directory_->isAncsAuthorized(device) == authorized) {
        return;
    }
    directory_->setAncsAuthorized(device, authorized);
    if (!isConnected(device)) {
        return;
    }
    const auto connection = devices_[device].connection;
    connection->shareNotifications(notifications_, authorized);
    for (const auto& user : connection->users()) {
        user->ancsAuthorizationChanged();
    }
}

bool SimulatedHost::isConnected(const UUID& device) const {
    const auto found = devices_.find(device);
    return found != devices_.end() && found->second.connection != nullptr;
}

void SimulatedHost::connect(const std::shared_ptr<SimulatedPeripheral>& peripheral) {
    if (!isOn()) {
        return;
    }
    auto& device = devices_[peripheral->identifier()];
    if (device.connection) {
        if (!device.connection->hasUser(peripheral)) {
            device.connection->addUser(peripheral);
        }
        return peripheral->attached(device.connection);
    }
    if (std::find(device.pending.begin(), device.pending.end(), peripheral) == device.pending.end()) {
        device.pending.push_back(peripheral);
    }
    listen();
}

void SimulatedHost::cancel(const std::shared_ptr<SimulatedPeripheral>& peripheral) {
    auto& device = devices_[peripheral->identifier()];
    std::erase(device.pending, peripheral);
    if (!device.connection || !device.connection->hasUser(peripheral)) {
        return;
    }
    device.connection->removeUser(peripheral);
    peripheral->ended(std::nullopt);
    endIfUnused(peripheral->identifier());
}

void SimulatedHost::endIfUnused(const UUID& identifier) {
    auto& device = devices_[identifier];
    if (!device.connection || device.isHeld || !device.connection->users().empty()) {
        return;
    }
    const auto connection = std::exchange(device.connection, nullptr);
    directory_->setDisconnected(identifier);
    tellReachable(identifier, false);
    connection->close();
}

void SimulatedHost::connectionClosed(const std::shared_ptr<HostConnection>& connection,
                                     const platform::BluetoothError& error) {
    const auto identifier = connection->glasses()->identifier();
    auto& device = devices_[identifier];
    if (device.connection != connection) {
        return;
    }
    device.connection.reset();
    device.isHeld = false;
    directory_->setDisconnected(identifier);
    for (const auto& user : connection->users()) {
        user->ended(error);
    }
    tellReachable(identifier, false);
}

void SimulatedHost::tellReachable(const UUID& device, bool isReachable) {
    for (const auto& central : centrals()) {
        central->reachabilityChanged(device, isReachable);
    }
}

void SimulatedHost::listen() {
    const auto all = radio_->glasses();
    for (const auto& glasses : all) {
        listen(glasses);
    }
}

void SimulatedHost::airChanged(const std::shared_ptr<SimulatedGlasses>& glasses) {
    if (!glasses->advertisement() && !isConnected(glasses->identifier())) {
        tellReachable(glasses->identifier(), false);
    }
    listen(glasses);
}

/// Hears the next advertisement, if somebody wants to.
void SimulatedHost::listen(const std::shared_ptr<SimulatedGlasses>& glasses) {
    auto& device = devices_[glasses->identifier()];
    const auto all = centrals();
    const bool isWanted = wantsConnection(device) || std::any_of(all.begin(), all.end(), [&](const auto& central) {
                              return central->listensTo(glasses->identifier());
                          });
    if (!isOn() || !isWanted || device.isListening) {
        return;
    }
    device.isListening = true;
    after(radio_->model().advertisingInterval,
          [weak = std::weak_ptr(glasses), identifier = glasses->identifier()](SimulatedHost& self) {
              self.devices_[identifier].isListening = false;
              if (const auto heard = weak.lock()) {
                  self.hear(heard);
              }
          });
}

void SimulatedHost::hear(const std::shared_ptr<SimulatedGlasses>& glasses) {
    const auto& identifier = glasses->identifier();
    const auto advertisement = glasses->advertisement();
    if (!isOn()) {
        return;
    }
    if (!advertisement) {
        // Connected ones are within reach without being heard.
        if (isConnected(identifier)) {
            tellReachable(identifier, true);
        }
        return;
    }
    for (const auto& central : centrals()) {
        central->heard(glasses, *advertisement);
    }
    if (advertisement->isConnectable != false) {
        tellReachable(identifier, true);
        if (wantsConnection(devices_[identifier])) {
            beginConnection(glasses);
        }
    }
}

void SimulatedHost::beginConnection(const std::shared_ptr<SimulatedGlasses>& glasses) {
    auto& device = devices_[glasses->identifier()];
    if (std::exchange(device.isConnecting, true)) {
        return;
    }
    after(radio_->model().connectionSetup,
          [weak = std::weak_ptr(glasses), identifier = glasses->identifier()](SimulatedHost& self) {
              self.devices_[identifier].isConnecting = false;
              if (const auto found = weak.lock()) {
                  self.finishConnection(found);
              }
          });
}

void SimulatedHost::finishConnection(const std::shared_ptr<SimulatedGlasses>& glasses) {
    const auto& identifier = glasses->identifier();
    auto& device = devices_[identifier];
    if (!isOn() || !wantsConnection(device) || device.connection) {
        return;
    }
    if (!glasses->advertisement()) {
        return; // The request stays pending until it comes back.
    }
    if (directory_->isBonded(identifier) && !glasses->isBonded()) {
        for (const auto& peripheral : std::exchange(device.pending, {})) {
            peripheral->failed(centralError(platform::peerRemovedPairingInformation,
                                            "The peripheral removed its pairing information."));
        }
        device.isHeld = false;
        return;
    }
    directory_->learn(identifier, glasses->name());
    std::vector<UUID> services;
    for (const auto& service : glasses->services()) {
        services.push_back(service.uuid);
    }
    directory_->setConnected(identifier, std::move(services));
    device.connection = std::make_shared<HostConnection>(weak_from_this(), glasses, AirLink::make(*radio_));
    glasses->open(device.connection->link(), device.connection);
    for (const auto& peripheral : std::exchange(device.pending, {})) {
        device.connection->addUser(peripheral);
        peripheral->attached(device.connection);
    }
    if (directory_->isAncsAuthorized(identifier)) {
        device.connection->shareNotifications(notifications_, true);
    }
}

} // namespace tarnel::glasses
