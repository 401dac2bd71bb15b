#include "BridgeEvents.hpp"

#include "MessageJSON.hpp"

#include <TarnelSDK/bluetooth/BluetoothManager.hpp>
#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/manager/TarnelManager.hpp>

#include <any>
#include <array>
#include <utility>

namespace tarnel::command {
namespace {

constexpr const char* logNotification = "log";

/// Keys that the glasses are known to send. The first three are events of their own name.
constexpr std::array<const char*, 8> knownKeys{"tap", "power_btn", "disp_timeout", "dev_name",
                                               "led", "app_ver",   "nav_y_offset", "fontSize"};
constexpr std::size_t namedKeys = 3;

bool isNamed(const std::string& key) {
    return std::find(knownKeys.begin(), knownKeys.begin() + namedKeys, key) != knownKeys.begin() + namedKeys;
}

template <typename T>
const T* entry(const platform::UserInfo& userInfo, const std::string& key) {
    const auto found = userInfo.find(key);
    return found == userInfo.end() ? nullptr : std::any_cast<T>(&found->second);
}

JSON describe(bool value) {
    return value;
}
JSON describe(int value) {
    return value;
}
JSON describe(const std::optional<FirmwareError>& error) {
    if (!error) {
        return nullptr;
    }
    const bool isFailed = error->code == FirmwareError::Code::CODE_FAILED_COMMAND;
    return JSON::Object{{"code", isFailed ? "CODE_FAILED_COMMAND" : "CODE_UNKNOWN_COMMAND"},
                        {"message", error->message}};
}

JSON::Object stateOf(const platform::UserInfo& userInfo) {
    const auto* state = entry<DeviceState>(userInfo, "state");
    return state ? JSON::Object{{"state", name(*state)}} : JSON::Object();
}

JSON::Object peripheralOf(const platform::UserInfo& userInfo) {
    const auto* peripheral = entry<platform::PeripheralPointer>(userInfo, "peripheral");
    return peripheral ? JSON::Object{{"device", (*peripheral)->identifier().string()}} : JSON::Object();
}

JSON::Object authorizationOf(const platform::UserInfo& userInfo) {
    const auto* isAuthorized = entry<bool>(userInfo, "ancsAuthorized");
    return isAuthorized ? JSON::Object{{"ancsAuthorized", *isAuthorized}} : JSON::Object();
}

} // namespace

template <typename T>
void BridgeEvents::follow(Bindable<T>& bindable, const char* event, std::vector<std::shared_ptr<void>>& listeners) {
    auto listener = std::make_shared<BondListener<T>>([this, event](const T& value) {
        (*emit_)({{"event", event}, {"value", describe(value)}});
    });
    bindable.bind(listener, false);
    listeners.push_back(std::move(listener));
}

/// Notifications are posted on any thread.
void BridgeEvents::observe(const char* notification, std::function<JSON::Object(const platform::UserInfo&)> members) {
    observations_.push_back(platform::Platform::current().notificationCenter().observe(
        notification, [later = emitLater(), members = std::move(members)](const platform::Notification& posted) {
            JSON::Object event{{"event", posted.name}};
            for (auto& member : members(posted.userInfo)) {
                event.push_back(std::move(member));
            }
            // A message of the glasses may have the key of one of the SDK's own notifications.
            if (!posted.userInfo.contains(posted.name)) {
                later(std::move(event));
            }
        }));
}

BridgeEvents::Emit BridgeEvents::emitLater() const {
    return [weak = std::weak_ptr(emit_),
            queue = platform::Platform::current().services().scheduler->mainQueue()](const JSON::Object& event) {
        queue->async([weak, event] {
            if (const auto emit = weak.lock()) {
                (*emit)(event);
            }
        });
    };
}

BridgeEvents::BridgeEvents(Emit emit, bool logs) : emit_(std::make_shared<const Emit>(std::move(emit))) {
    auto& manager = TarnelManager::shared();
    follow(manager.isBluetoothEnabled, "isBluetoothEnabled", managerListeners_);
    follow(manager.isReady, "isReady", managerListeners_);
    follow(manager.isScanning, "isScanning", managerListeners_);
    follow(manager.isLinked, "isLinked", managerListeners_);

    const auto nothing = [](const platform::UserInfo&) { return JSON::Object(); };
    observe(Bluetooth::bluetoothPoweredOn, nothing);
    observe(Bluetooth::peerRemovedPairingInfo, nothing);
    observe(Bluetooth::scannedPeripheralChange, peripheralOf);
    observe(Bluetooth::didUpdateANCSAuthorizationName, authorizationOf);
    observe(Tarnel::deviceStateChanged, stateOf);
    observe(TarnelManager::currentDeviceChange, [this](const platform::UserInfo&) {
        currentDeviceChanged();
        const auto device = device_.lock();
        return JSON::Object{{"device", device ? JSON(device->uuidString()) : JSON()}};
    });
    if (logs) {
        setLogEnabled(true);
        observe(logNotification, [](const platform::UserInfo& userInfo) {
            const auto* line = entry<std::string>(userInfo, "msg");
            return line ? JSON::Object{{"message", *line}} : JSON::Object();
        });
    }
    for (const char* key : knownKeys) {
        watch(key);
    }
    currentDeviceChanged();
}

void BridgeEvents::watch(const std::string& key) {
    if (!watched_.insert(key).second) {
        return;
    }
    observations_.push_back(platform::Platform::current().notificationCenter().observe(
        key, [later = emitLater(), key](const platform::Notification& posted) {
            const auto* value = entry<Value>(posted.userInfo, key);
            if (!value) {
                return;
            }
            if (isNamed(key)) {
                later({{"event", key}, {"value", toJSON(*value)}});
            } else {
                later({{"event", "property"}, {"key", key}, {"value", toJSON(*value)}});
            }
        }));
}

void BridgeEvents::currentDeviceChanged() {
    const auto device = TarnelManager::shared().currentDevice();
    if (device == device_.lock()) {
        return;
    }
    deviceListeners_.clear();
    device_ = device;
    if (device) {
        follow(device->batteryLevel, "batteryLevel", deviceListeners_);
        follow(device->batteryChargeStatus, "batteryChargeStatus", deviceListeners_);
        follow(device->firmwareError, "firmwareError", deviceListeners_);
        follow(device->isConnected, "isConnected", deviceListeners_);
    }
}

} // namespace tarnel::command
