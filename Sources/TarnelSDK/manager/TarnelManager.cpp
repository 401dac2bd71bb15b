#include <TarnelSDK/manager/TarnelManager.hpp>
#include <TarnelSDK/messagepack/Pack.hpp>
#include <TarnelSDK/messagepack/Unpack.hpp>

#include <array>
#include <string>
#include <utility>

namespace tarnel {
namespace {

constexpr const char* devicesKey = "devices";
constexpr const char* currentDeviceKey = "currentDeviceUUID";
constexpr std::array<const char*, 4> linkKeys{devicesKey, currentDeviceKey, "serialNumber", "macAddress"};

platform::UserDefaults& userDefaults() {
    return *platform::Platform::current().services().userDefaults;
}

std::shared_ptr<platform::Queue> mainQueue() {
    return platform::Platform::current().services().scheduler->mainQueue();
}

Bytes archive(const std::vector<std::shared_ptr<Tarnel>>& devices) {
    MessagePackValue::Array list;
    for (const auto& device : devices) {
        list.push_back(device->encode());
    }
    return pack(std::move(list));
}

/// All devices of the archive, or none when one of them cannot be read.
std::vector<std::shared_ptr<Tarnel>> unarchive(const Bytes& bytes) {
    std::vector<std::shared_ptr<Tarnel>> devices;
    try {
        const auto value = unpackFirst(bytes);
        const auto* list = value.arrayValue();
        if (!list) {
            return {};
        }
        for (const auto& element : *list) {
            auto device = Tarnel::make(element);
            if (!device) {
                return {};
            }
            devices.push_back(std::move(device));
        }
    } catch (const MessagePackError&) {
        return {};
    }
    return devices;
}

} // namespace

TarnelManager& TarnelManager::shared() {
    return *platform::Platform::current().shared<TarnelManager>();
}

std::shared_ptr<TarnelManager> TarnelManager::make() {
    auto manager = std::make_shared<TarnelManager>();
    manager->start();
    return manager;
}

TarnelManager::TarnelManager()
    : internalQueue_(platform::Platform::current().services().scheduler->makeConcurrentQueue(
          "com.brenlo.apps.tarnel.TarnelManagerInternalQueue")) {}

TarnelManager::~TarnelManager() = default;

void TarnelManager::start() {
    platform::Provided<BluetoothOwner>::provide(weak_from_this());
    platform::Provided<DeviceRegistry>::provide(weak_from_this());
    platform::Provided<DisplayDeviceSource>::provide(weak_from_this());
    auto& bluetooth = Bluetooth::shared();
    if (bluetooth.state() == platform::CentralState::poweredOn) {
        // The application has made the central before us, and its report went by.
        isBluetoothEnabled.setValue(true);
    }
    restore();
    bluetoothIsReadyListener_ = std::make_shared<BondListener<bool>>([weak = weak_from_this()](bool ready) {
        const auto manager = weak.lock();
        if (!manager) {
            return;
        }
        manager->isReady.setValue(ready);
        if (const auto device = ready ? manager->currentDevice() : nullptr) {
            device->connect();
        }
    });
    bluetooth.isReady.bind(bluetoothIsReadyListener_, true);
}

void TarnelManager::restore() {
    if (const auto stored = userDefaults().object(devicesKey).bytes()) {
        setDevices(unarchive(*stored));
    }
    const auto identifier = userDefaults().object(currentDeviceKey).string();
    if (!identifier) {
        return;
    }
    for (const auto& device : devices()) {
        if (device->uuidString() == *identifier) {
            setCurrentDevice(device);
            return;
        }
    }
}

std::shared_ptr<Tarnel> TarnelManager::currentDevice() const {
    std::shared_ptr<Tarnel> device;
    internalQueue_->sync([&] { device = currentDevice_; });
    return device;
}

void TarnelManager::setCurrentDevice(std::shared_ptr<Tarnel> device) {
    internalQueue_->asyncBarrier([weak = weak_from_this(), device = std::move(device)] {
        const auto manager = weak.lock();
        if (!manager) {
            return;
        }
        manager->currentDevice_ = device;
        manager->internalQueue_->async([weak] {
            if (const auto strong = weak.lock()) {
                strong->save();
            }
        });
        mainQueue()->async([weak, linked = device != nullptr] {
            if (const auto strong = weak.lock()) {
                platform::Platform::current().notificationCenter().post({currentDeviceChange, nullptr, {}});
                strong->isLinked.setValue(linked);
            }
        });
    });
}

std::vector<std::shared_ptr<Tarnel>> TarnelManager::devices() const {
    const std::lock_guard lock(devicesMutex_);
    return devices_;
}

void TarnelManager::setDevices(std::vector<std::shared_ptr<Tarnel>> devices) {
    const std::lock_guard lock(devicesMutex_);
    devices_.swap(devices);
}

void TarnelManager::linkDevice(const std::shared_ptr<Tarnel>& device) {
    if (!device->peripheralID()) {
        return;
    }
    setDevices({device});
    setCurrentDevice(device);
    isLinked.setValue(true);
    save();
}

void TarnelManager::unlinkDevice(const std::shared_ptr<Tarnel>& device) {
    if (const auto identifier = platform::Platform::current().services().application->bundleIdentifier()) {
        userDefaults().removePersistentDomain(*identifier);
        userDefaults().synchronize();
    }
    if (currentDevice() == device && device) {
        device->disconnect();
        mainQueue()->async([weak = weak_from_this()] {
            if (const auto manager = weak.lock()) {
                manager->setCurrentDevice(nullptr);
            }
        });
    }
    std::vector<std::shared_ptr<Tarnel>> forgotten;
    {
        // One step, so that a save on another thread cannot bring back what is removed here.
        const std::lock_guard lock(devicesMutex_);
        devices_.swap(forgotten);
        for (const char* key : linkKeys) {
            userDefaults().remove(key);
        }
    }
    isLinked.setValue(false);
}

void TarnelManager::unlink() {
    if (const auto device = currentDevice()) {
        unlinkDevice(device);
    }
}

void TarnelManager::save() {
    const auto current = currentDevice();
    const std::lock_guard lock(devicesMutex_);
    userDefaults().set(devicesKey, archive(devices_));
    if (current) {
        userDefaults().set(currentDeviceKey, current->uuidString());
    }
}

BluetoothScanResult TarnelManager::startScan(const Bluetooth::ScanCallback& callback) {
    if (!isBluetoothEnabled.value()) {
        return BluetoothScanResult::BLUETOOTH_PERMISSION_NEEDED;
    }
    if (!isReady.value()) {
        return BluetoothScanResult::DISABLED;
    }
    isScanning.setValue(true);
    Bluetooth::shared().scan(callback);
    return BluetoothScanResult::SUCCESS;
}

void TarnelManager::stopScan() {
    isScanning.setValue(false);
    if (const auto central = getBluetoothManager()) {
        central->stopScan();
    }
    isScanning.setValue(false);
}

void TarnelManager::link(const platform::PeripheralPointer& device, Bluetooth::ConnectCallback callback) {
    Bluetooth::shared().connectToPeripheral(
        device, [weak = weak_from_this(), callback = std::move(callback)](const std::shared_ptr<Tarnel>& connected) {
            const auto manager = weak.lock();
            if (!manager) {
                return;
            }
            manager->linkDevice(connected);
            if (callback) {
                callback(connected);
            }
        });
}

std::shared_ptr<platform::BluetoothCentral> TarnelManager::getBluetoothManager() const {
    return Bluetooth::shared().bluetoothManager();
}

void TarnelManager::setBluetoothManger() {
    Bluetooth::shared().setDelegate();
    if (const auto device = currentDevice()) {
        device->disconnect();
        device->connect();
    }
}

} // namespace tarnel
