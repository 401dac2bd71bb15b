#include <TarnelGlassesAir/HostNotificationsOnAir.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::glasses {

namespace {

// Apple Notification Center Service (ANCS).
const UUID& notificationService() {
    static const UUID uuid = UUID::bluetooth("7905F431-B5CE-4E99-A40F-4B1E122D00D0");
    return uuid;
}
const UUID& notificationSource() {
    static const UUID uuid = UUID::bluetooth("9FBF120D-6301-42D9-8C58-25E699A21DBD");
    return uuid;
}
const UUID& controlPoint() {
    static const UUID uuid = UUID::bluetooth("69D1D8F3-45E1-49A8-9821-9BBDFDAAD9D9");
    return uuid;
}
const UUID& dataSource() {
    static const UUID uuid = UUID::bluetooth("22EAC6E9-24D6-4BB5-BE44-B36ACE7C7BFB");
    return uuid;
}

} // namespace

HostNotificationsOnAir::HostNotificationsOnAir(std::shared_ptr<platform::BluetoothProvider> bluetooth,
                                               std::shared_ptr<platform::Queue> queue,
                                               std::shared_ptr<SimulatedGlasses> glasses)
    : bluetooth_(std::move(bluetooth)), queue_(std::move(queue)), glasses_(std::move(glasses)) {}

void HostNotificationsOnAir::start() {
    central_ = bluetooth_->makeCentral(weak_from_this(), queue_, {});
}

void HostNotificationsOnAir::connected(const UUID& host, bool isBonded) {
    host_ = host;
    if (isBonded) {
        failures_.erase(host);
    }
    reach();
}

void HostNotificationsOnAir::disconnected() {
    if (std::exchange(isSubscribing_, false) && host_) {
        countFailure(*host_);
    }
    host_.reset();
    lose();
    // Its own end of the connection is gone with the host's; a request for it would call the host back.
    if (peripheral_ && peripheral_->state() == platform::PeripheralState::connecting) {
        central_->cancelPeripheralConnection(peripheral_);
    }
    peripheral_.reset();
}

void HostNotificationsOnAir::countFailure(const UUID& host) {
    if (failures_.size() >= mostHosts && !failures_.contains(host)) {
        failures_.erase(failures_.begin());
    }
    ++failures_[host];
}

void HostNotificationsOnAir::lose() {
    notificationSource_.reset();
    dataSource_.reset();
    if (std::exchange(controlPoint_, nullptr)) {
        glasses_->notificationsOffered(false);
    }
}

/// Takes part in the connection that the host has made.
void HostNotificationsOnAir::reach() {
    if (!host_ || peripheral_ || central_->state() != platform::CentralState::poweredOn) {
        return;
    }
    const auto known = central_->retrievePeripherals({*host_});
    if (!known.empty()) {
        peripheral_ = known.front();
        peripheral_->setDelegate(weak_from_this());
        central_->connect(peripheral_);
    }
}

void HostNotificationsOnAir::centralManagerDidUpdateState(platform::BluetoothCentral& central) {
    if (central.state() != platform::CentralState::poweredOn) {
        lose();
        peripheral_.reset();
    }
    reach();
}

void HostNotificationsOnAir::didConnect(platform::BluetoothCentral&, const platform::PeripheralPointer& peripheral) {
    if (peripheral == peripheral_) {
        peripheral->discoverServices();
    }
}

void HostNotificationsOnAir::didDiscoverServices(const platform::PeripheralPointer& peripheral,
                                                 const std::vector<platform::ServicePointer>& services,
                                                 const std::optional<platform::BluetoothError>&) {
    for (const auto& service : services) {
        if (service->uuid == notificationService()) {
            peripheral->discoverCharacteristics(service);
        }
    }
}

void HostNotificationsOnAir::didDiscoverCharacteristics(
    const platform::PeripheralPointer& peripheral, const platform::ServicePointer&,
    const std::vector<platform::CharacteristicPointer>& characteristics,
    const std::optional<platform::BluetoothError>&) {
    if (peripheral != peripheral_) {
        return;
    }
    const auto find = [&](const UUID& uuid) -> platform::CharacteristicPointer {
        const auto found = std::find_if(characteristics.begin(), characteristics.end(),
                                        [&](const auto& characteristic) { return characteristic->uuid == uuid; });
        return found == characteristics.end() ? nullptr : *found;
    };
    notificationSource_ = find(notificationSource());
    dataSource_ = find(dataSource());
    controlPoint_ = notificationSource_ && dataSource_ ? find(controlPoint()) : nullptr;
    const auto failures = host_ ? failures_.find(*host_) : failures_.end();
    if (failures != failures_.end() && failures->second >= mostAttempts) {
        controlPoint_.reset();
    }
    if (controlPoint_) {
        glasses_->notificationsOffered(true);
    }
}

void HostNotificationsOnAir::subscribe() {
    if (controlPoint_) {
        isSubscribing_ = true;
        peripheral_->setNotifyValue(true, dataSource_);
        peripheral_->setNotifyValue(true, notificationSource_);
    }
}

void HostNotificationsOnAir::write(ByteView command) {
    if (controlPoint_) {
        peripheral_->writeValue(command, controlPoint_, platform::WriteType::withResponse);
    }
}

void HostNotificationsOnAir::didUpdateNotificationState(const platform::PeripheralPointer&,
                                                        const platform::CharacteristicPointer& characteristic,
                                                        const std::optional<platform::BluetoothError>& error) {
    if (!host_ || characteristic != notificationSource_) {
        return;
    }
    isSubscribing_ = false;
    if (error) {
        countFailure(*host_);
        lose();
    } else {
        failures_.erase(*host_);
    }
}

void HostNotificationsOnAir::didUpdateValue(const platform::PeripheralPointer&,
                                            const platform::CharacteristicPointer& characteristic, ByteView value,
                                            const std::optional<platform::BluetoothError>& error) {
    if (error) {
        return;
    }
    if (characteristic == notificationSource_) {
        glasses_->notificationSourceChanged(value);
    } else if (characteristic == dataSource_) {
        glasses_->notificationDataChanged(value);
    }
}

void HostNotificationsOnAir::didWriteValue(const platform::PeripheralPointer&,
                                           const platform::CharacteristicPointer& characteristic,
                                           const std::optional<platform::BluetoothError>& error) {
    if (characteristic == controlPoint_) {
        glasses_->controlPointAnswered(!error);
    }
}

void HostNotificationsOnAir::didModifyServices(const platform::PeripheralPointer& peripheral,
                                               const std::vector<platform::ServicePointer>& invalidated) {
    const bool isConcerned = std::any_of(invalidated.begin(), invalidated.end(),
                                         [](const auto& service) { return service->uuid == notificationService(); });
    if (peripheral == peripheral_ && isConcerned) {
        lose();
        peripheral->discoverServices();
    }
}

} // namespace tarnel::glasses
