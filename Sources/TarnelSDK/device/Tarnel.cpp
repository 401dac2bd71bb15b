#include <TarnelSDK/device/DeviceHosts.hpp>
#include <TarnelSDK/device/Peripheral.hpp>
#include <TarnelSDK/device/Tarnel.hpp>
#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/foundation/UTF8.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <utility>

namespace tarnel {
namespace {

std::shared_ptr<platform::Queue> requiredCentralQueue() {
    const auto central = platform::Provided<DeviceCentral>::get();
    precondition(central != nullptr, "the Bluetooth central is made before a device");
    return central->queue();
}

std::optional<std::string> text(const MessagePackValue& map, const char* key) {
    const auto* value = map[key];
    return value ? value->stringValue() : std::nullopt;
}

} // namespace

std::shared_ptr<Tarnel> Tarnel::make(platform::PeripheralPointer peripheral) {
    return make(UUID::random(), std::move(peripheral));
}

std::shared_ptr<Tarnel> Tarnel::make(UUID uuid, platform::PeripheralPointer peripheral) {
    auto device = std::make_shared<Tarnel>(Key(), uuid);
    device->peripheralDelegate_ = std::make_shared<Peripheral>(device);
    if (peripheral) {
        device->setPeripheralID(peripheral->identifier());
        device->setPeripheral(std::move(peripheral));
    }
    if (const auto& notifications = platform::Platform::current().services().userNotifications) {
        notifications->setDelegate(device);
    }
    return device;
}

std::shared_ptr<Tarnel> Tarnel::make(const MessagePackValue& archived) {
    const auto uuidText = text(archived, "uuid");
    const auto uuid = uuidText ? UUID::parse(*uuidText) : std::nullopt;
    if (!uuid) {
        return nullptr;
    }
    auto device = make(*uuid, nullptr);
    if (const auto identifier = text(archived, "peripheralID")) {
        device->peripheralID_ = UUID::parse(*identifier);
    }
    device->peripheralName_ = text(archived, "peripheralName");
    device->isPaired_ = true;
    return device;
}

MessagePackValue Tarnel::encode() const {
    const std::lock_guard lock(mutex_);
    MessagePackValue::Map entries;
    entries.set("uuid", uuidString());
    if (peripheralID_) {
        entries.set("peripheralID", peripheralID_->string());
    }
    entries.set("peripheralName", peripheralName_ ? MessagePackValue(*peripheralName_) : MessagePackValue());
    return entries;
}

Tarnel::Tarnel(Key, UUID uuid)
    : uuid_(uuid), centralQueue_(requiredCentralQueue()),
      writingQueue_(platform::Platform::current().services().scheduler->makeSerialQueue("com.brenlo.tarnel.write")),
      incomingManager_(std::make_shared<IncomingManager>()),
      outgoingManager_(std::make_shared<OutgoingManager>(centralQueue_)) {}

Tarnel::~Tarnel() = default;

DeviceState Tarnel::state() const {
    const std::lock_guard lock(mutex_);
    return state_;
}

void Tarnel::setState(DeviceState state) {
    {
        const std::lock_guard lock(mutex_);
        state_ = state;
    }
    log("Device state: " + std::string(name(state)), {"state", "Tarnel"});
    platform::Platform::current().notificationCenter().post(
        {deviceStateChanged, nullptr, {{"state", state}, {"device", shared_from_this()}}});
    if (state != DeviceState::connected && unlinkOnDisconnect()) {
        unlinkDevice();
    }
}

bool Tarnel::isPaired() const {
    const std::lock_guard lock(mutex_);
    return isPaired_;
}

bool Tarnel::isAuthenticated() const {
    const std::lock_guard lock(mutex_);
    return isAuthenticated_;
}

void Tarnel::setIsAuthenticated(bool isAuthenticated) {
    // One step with the channel's: `isConnected` must not be left behind by a change on another thread.
    const std::lock_guard channelLock(channelMutex_);
    if (!isAuthenticated) {
        {
            const std::lock_guard lock(mutex_);
            isAuthenticated_ = false;
        }
        isConnected.setValue(false);
        resetChannel();
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        isAuthenticated_ = true;
        isPaired_ = true;
    }
    if (protocolVersion() < 2) {
        continueChannel();
    }
    isConnected.setValue(true);
}

void Tarnel::bondIsMissing(bool hadBond) {
    platform::Platform::current().services().scheduler->mainQueue()->async([weak = weak_from_this(), hadBond] {
        if (const auto device = weak.lock()) {
            device->setState(hadBond ? DeviceState::authenticationFailed : DeviceState::notBonded);
        }
    });
}

bool Tarnel::shouldAutoReconnect() const {
    const std::lock_guard lock(mutex_);
    return shouldAutoReconnect_;
}

void Tarnel::setShouldAutoReconnect(bool shouldAutoReconnect) {
    const std::lock_guard lock(mutex_);
    shouldAutoReconnect_ = shouldAutoReconnect;
}

bool Tarnel::unlinkOnDisconnect() const {
    const std::lock_guard lock(mutex_);
    return unlinkOnDisconnect_;
}

void Tarnel::setUnlinkOnDisconnect(bool unlinkOnDisconnect) {
    const std::lock_guard lock(mutex_);
    unlinkOnDisconnect_ = unlinkOnDisconnect;
}

Revision Tarnel::revision() const {
    const std::lock_guard lock(mutex_);
    return revision_;
}

int Tarnel::protocolVersion() const {
    const std::lock_guard lock(mutex_);
    return protocolVersion_;
}

std::optional<Layout> Tarnel::layout() const {
    const std::lock_guard lock(mutex_);
    return layout_;
}

bool Tarnel::hasControl() const {
    const std::lock_guard lock(mutex_);
    return hasControl_;
}

platform::PeripheralPointer Tarnel::peripheral() const {
    const std::lock_guard lock(mutex_);
    return peripheral_;
}

void Tarnel::setPeripheral(platform::PeripheralPointer peripheral) {
    if (peripheral) {
        peripheral->setDelegate(peripheralDelegate_);
        if (auto name = peripheral->name()) {
            setPeripheralName(std::move(name));
        }
    }
    const std::lock_guard lock(mutex_);
    peripheral_ = std::move(peripheral);
}

std::optional<UUID> Tarnel::peripheralID() const {
    const std::lock_guard lock(mutex_);
    return peripheralID_;
}

void Tarnel::setPeripheralID(std::optional<UUID> identifier) {
    const std::lock_guard lock(mutex_);
    peripheralID_ = identifier;
}

std::optional<std::string> Tarnel::peripheralName() const {
    const std::lock_guard lock(mutex_);
    return peripheralName_;
}

void Tarnel::setPeripheralName(std::optional<std::string> name) {
    if (name && !isValidUTF8(*name)) {
        return;
    }
    const std::lock_guard lock(mutex_);
    peripheralName_ = std::move(name);
}

int Tarnel::maxPayloadSize() const {
    return OutgoingManager::maximumWriteValueLength();
}

bool Tarnel::hasDataInOutgoingQueue() const {
    return outgoingManager()->hasItems();
}

std::size_t Tarnel::pendingByteCount() const {
    return outgoingManager()->pendingByteCount();
}

std::map<std::string, Value> Tarnel::data() const {
    const std::lock_guard lock(mutex_);
    return data_;
}

std::shared_ptr<OutgoingManager> Tarnel::outgoingManager() const {
    const std::lock_guard lock(mutex_);
    return outgoingManager_;
}

} // namespace tarnel
