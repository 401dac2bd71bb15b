#include <TarnelSDK/device/DeviceHosts.hpp>
#include <TarnelSDK/device/GATTIdentifiers.hpp>
#include <TarnelSDK/device/Peripheral.hpp>
#include <TarnelSDK/device/Tarnel.hpp>
#include <TarnelSDK/foundation/Data+Extensions.hpp>
#include <TarnelSDK/foundation/Log.hpp>

#include <algorithm>
#include <string>
#include <utility>

namespace tarnel {
namespace {

/// The smallest write that every Bluetooth LE link carries: the default MTU of 23 less the ATT header.
constexpr std::size_t smallestWrite = 20;
/// No ATT value is longer.
constexpr std::size_t largestWrite = 512;

constexpr const char* didUpdateValueOperation = "peripheral(_:didUpdateValueFor:error:)";
constexpr const char* didDiscoverCharacteristicsOperation = "peripheral(_:didDiscoverCharacteristicsFor:error:)";

bool needsBond(const std::optional<platform::BluetoothError>& error) {
    return error && error->domain == platform::BluetoothError::Domain::attribute &&
           error->code == platform::insufficientAuthentication;
}

} // namespace

Peripheral::Peripheral(std::weak_ptr<Tarnel> device) : device_(std::move(device)) {}

void Peripheral::didDiscoverServices(const platform::PeripheralPointer& peripheral,
                                     const std::vector<platform::ServicePointer>& services,
                                     const std::optional<platform::BluetoothError>& error) {
    constexpr const char* operation = "peripheral(_:didDiscoverServices:)";
    if (device_.expired()) {
        return;
    }
    if (error) {
        log("DidDiscoverServices ERROR: " + error->description, {operation});
        return;
    }
    for (const auto& service : services) {
        log("Found Service UUID: " + service->uuid.string(), {operation});
        if (service->uuid == GATTIdentifiers::GATT_SERVICE_UUID) {
            log("Found GATT SERVICE", {operation});
        } else if (service->uuid == GATTIdentifiers::DEVICE_INFORMATION_SERVICE) {
            log("Found DIS Service", {operation});
        } else if (service->uuid == GATTIdentifiers::BATTERY_SERVICE_UUID) {
            log("Found Battery Service", {operation});
        } else {
            continue;
        }
        peripheral->discoverCharacteristics(service);
    }
}

void Peripheral::didDiscoverCharacteristics(const platform::PeripheralPointer& peripheral,
                                            const platform::ServicePointer& service,
                                            const std::vector<platform::CharacteristicPointer>& characteristics,
                                            const std::optional<platform::BluetoothError>& error) {
    const auto device = device_.lock();
    if (!device) {
        return;
    }
    if (error) {
        log("DidDiscoverCharacteristics ERROR: " + error->description, {didDiscoverCharacteristicsOperation});
        return;
    }
    if (service->uuid == GATTIdentifiers::GATT_SERVICE_UUID) {
        discoveredDataService(*device, peripheral, characteristics);
        return;
    }
    for (const auto& characteristic : characteristics) {
        const UUID& uuid = characteristic->uuid;
        const bool isBattery = uuid == GATTIdentifiers::BATTERY_LEVEL_CHARACTERISTIC_UUID ||
                               uuid == GATTIdentifiers::BATTERY_POWER_STATE_CHARACTERISTIC_UUID;
        if (isBattery || uuid == GATTIdentifiers::DIS_SOFTWARE_REVISION || uuid == GATTIdentifiers::DIS_SERIAL_NUMBER) {
            peripheral->readValue(characteristic);
        }
        if (isBattery && characteristic->canNotify) {
            peripheral->setNotifyValue(true, characteristic);
        }
    }
}

void Peripheral::discoveredDataService(Tarnel& device, const platform::PeripheralPointer& peripheral,
                                       const std::vector<platform::CharacteristicPointer>& characteristics) {
    if (peripheral->state() != platform::PeripheralState::connected) {
        return;
    }
    {
        const std::lock_guard lock(device.mutex_);
        device.inCharacteristic_ = nullptr;
        device.outCharacteristic_ = nullptr;
        device.notifyCharacteristic_ = nullptr;
    }
    bool foundIn = false;
    for (const auto& characteristic : characteristics) {
        const std::string uuid = characteristic->uuid.string();
        if (characteristic->uuid == GATTIdentifiers::GATT_IN_CHARACTERISTIC_UUID) {
            log("Found IN Characteristic: " + uuid, {didDiscoverCharacteristicsOperation});
            const std::lock_guard lock(device.mutex_);
            device.inCharacteristic_ = characteristic;
            device.notifyCharacteristic_ = characteristic;
            foundIn = true;
        } else if (characteristic->uuid == GATTIdentifiers::GATT_OUT_CHARACTERISTIC_UUID) {
            log("Found OUT Characteristic: " + uuid, {didDiscoverCharacteristicsOperation});
            const std::lock_guard lock(device.mutex_);
            device.outCharacteristic_ = characteristic;
        } else {
            log("Found Characteristic named: " + uuid, {didDiscoverCharacteristicsOperation});
        }
    }
    if (foundIn) {
        startSession(device, peripheral);
    }
}

void Peripheral::startSession(Tarnel& device, const platform::PeripheralPointer& peripheral) {
    log("Setting up Notificatons, state machine, set time, getSettings", {didDiscoverCharacteristicsOperation});
    if (const auto registry = platform::Provided<DeviceRegistry>::get()) {
        registry->linkDevice(device.shared_from_this());
    }

    auto type = platform::WriteType::withResponse;
    int protocolVersion = Tarnel::supportedProtocols.front();
    {
        const std::lock_guard lock(device.mutex_);
        if (device.outCharacteristic_ && device.outCharacteristic_->canWriteWithoutResponse) {
            type = platform::WriteType::withoutResponse;
            protocolVersion = Tarnel::supportedProtocols.back();
        }
        device.protocolVersion_ = protocolVersion;
    }
    const std::size_t length = peripheral->maximumWriteValueLength(type);
    OutgoingManager::setMaximumWriteValueLength(static_cast<int>(std::clamp(length, smallestWrite, largestWrite)));
    isStartingSession_ = true;
    if (!setupNotifications(device, peripheral)) {
        finishStartingSession(device);
    }
}

void Peripheral::finishStartingSession(Tarnel& device) {
    isStartingSession_ = false;
    int protocolVersion = 0;
    {
        const std::lock_guard lock(device.mutex_);
        protocolVersion = device.protocolVersion_;
        device.layout_ = Layout::default_;
        device.hasControl_ = false;
    }
    device.setIsAuthenticated(true);
    if (protocolVersion <= 1) {
        device.continueChannel();
    }
    device.setTime();
    device.getSettings();
}

bool Peripheral::setupNotifications(Tarnel& device, const platform::PeripheralPointer& peripheral) {
    platform::CharacteristicPointer characteristic;
    {
        const std::lock_guard lock(device.mutex_);
        characteristic = device.protocolVersion_ >= 2 ? device.inCharacteristic_ : device.notifyCharacteristic_;
    }
    if (characteristic) {
        peripheral->setNotifyValue(true, characteristic);
    }
    return characteristic != nullptr;
}

void Peripheral::didUpdateValue(const platform::PeripheralPointer&,
                                const platform::CharacteristicPointer& characteristic, ByteView value,
                                const std::optional<platform::BluetoothError>& error) {
    const auto device = device_.lock();
    if (!device) {
        return;
    }
    const UUID& uuid = characteristic->uuid;
    log("didUpdateValueFor called for: " + uuid.string(), {didUpdateValueOperation});
    if (needsBond(error)) {
        device->bondIsMissing(hasReadBond_);
    }
    if (uuid == GATTIdentifiers::GATT_IN_CHARACTERISTIC_UUID) {
        updatedIncoming(*device, value, error);
        return;
    }
    if (error || value.empty()) {
        return;
    }
    if (uuid == GATTIdentifiers::BATTERY_LEVEL_CHARACTERISTIC_UUID) {
        log("Reading Simple Battery info: ", {didUpdateValueOperation});
        device->batteryLevel.setValue(value[0]);
    } else if (uuid == GATTIdentifiers::BATTERY_POWER_STATE_CHARACTERISTIC_UUID) {
        updatedPowerState(*device, value);
    } else if (uuid == GATTIdentifiers::DIS_SOFTWARE_REVISION) {
        updatedSoftwareRevision(*device, value);
    } else if (uuid == GATTIdentifiers::DIS_SERIAL_NUMBER) {
        updatedSerialNumber(value);
    }
}

void Peripheral::updatedIncoming(Tarnel& device, ByteView value, const std::optional<platform::BluetoothError>& error) {
    if (error) {
        log("ERROR", {didUpdateValueOperation});
        device.continueChannel();
        return;
    }
    if (value.empty()) {
        return;
    }
    log("Reading Data from device", {didUpdateValueOperation});
    device.recieveChunk(value);
    device.acknowledgeRead();
}

void Peripheral::updatedPowerState(Tarnel& device, ByteView value) {
    constexpr std::size_t chargingBit = 1;
    log("Reading Battery info: ", {didUpdateValueOperation});
    device.batteryLevel.setValue(value[0]);
    if (value.size() >= 2) {
        device.batteryChargeStatus.setValue(toBits(value[1])[chargingBit]);
    }
}

void Peripheral::updatedSoftwareRevision(Tarnel& device, ByteView value) {
    const auto text = stringUTF8(value);
    if (!text) {
        return;
    }
    log("Software Revision: " + *text, {didUpdateValueOperation});
    if (const Revision revision = revisionFromRawValue(*text); rawValue(revision) == *text) {
        const std::lock_guard lock(device.mutex_);
        device.revision_ = revision;
    }
}

void Peripheral::updatedSerialNumber(ByteView value) {
    constexpr std::size_t serialNumberLength = 13;
    const auto text = stringUTF8(value);
    if (text && text->size() == serialNumberLength && text->starts_with('Z')) {
        platform::Platform::current().services().userDefaults->set("serialNumber", *text);
    }
}

void Peripheral::didWriteValue(const platform::PeripheralPointer&,
                               const platform::CharacteristicPointer& characteristic,
                               const std::optional<platform::BluetoothError>& error) {
    const auto device = device_.lock();
    if (!device) {
        return;
    }
    if (error) {
        log("TODO: error with writting: " + error->description, {"peripheral(_:didWriteValueFor:error:)"});
        if (needsBond(error)) {
            device->bondIsMissing(hasReadBond_);
        }
        return;
    }
    if (characteristic->uuid == GATTIdentifiers::GATT_IN_CHARACTERISTIC_UUID ||
        characteristic->uuid == GATTIdentifiers::GATT_OUT_CHARACTERISTIC_UUID) {
        device->nextState();
    }
}

void Peripheral::didUpdateNotificationState(const platform::PeripheralPointer& peripheral,
                                            const platform::CharacteristicPointer& characteristic,
                                            const std::optional<platform::BluetoothError>& error) {
    constexpr const char* operation = "peripheral(_:didUpdateNotificationStateFor:error:)";
    if (error) {
        log("Notified Error: " + error->description, {operation});
    } else {
        log("Notified: " + characteristic->uuid.string(), {operation});
    }
    const auto device = device_.lock();
    if (!device) {
        return;
    }
    if (needsBond(error)) {
        device->bondIsMissing(hasReadBond_);
        return;
    }
    if (!isStartingSession_ || peripheral->state() != platform::PeripheralState::connected) {
        return;
    }
    {
        // An answer from before a disconnection or a new discovery opens nothing.
        const std::lock_guard lock(device->mutex_);
        if (characteristic != device->inCharacteristic_) {
            return;
        }
    }
    hasReadBond_ = !error;
    finishStartingSession(*device);
}

void Peripheral::didModifyServices(const platform::PeripheralPointer& peripheral,
                                   const std::vector<platform::ServicePointer>& invalidated) {
    const auto device = device_.lock();
    if (!device) {
        return;
    }
    std::string list;
    for (const auto& service : invalidated) {
        list += (list.empty() ? "" : ", ") + service->uuid.string();
    }
    log("invalidated Services: " + list, {"peripheral(_:didModifyServices:)"});
    const bool endsSession = std::any_of(invalidated.begin(), invalidated.end(), [](const auto& service) {
        return service->uuid == GATTIdentifiers::GATT_SERVICE_UUID;
    });
    if (endsSession) {
        // What is half sent cannot be finished on the characteristics that are discovered next.
        device->setIsAuthenticated(false);
    }
    peripheral->discoverServices();
}

void Peripheral::isReadyToSendWriteWithoutResponse(const platform::PeripheralPointer&) {
    if (const auto device = device_.lock()) {
        log("peripheral is Ready.. writting more", {"peripheralIsReady(toSendWriteWithoutResponse:)"});
        device->continueChannel();
    }
}

void Peripheral::didUpdateName(const platform::PeripheralPointer& peripheral) {
    if (const auto device = device_.lock()) {
        device->setPeripheralName(peripheral->name());
    }
}

} // namespace tarnel
