#include <TarnelSDK/bluetooth/BluetoothManager.hpp>
#include <TarnelSDK/foundation/Log.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

namespace tarnel {

using platform::CentralState;
using platform::PeripheralPointer;
using platform::PeripheralState;

namespace {

constexpr auto reconnectionDelay = std::chrono::seconds(2);
/// The glasses end their manufacturer data with this in normal mode.
constexpr std::uint8_t normalMode = 2;

std::shared_ptr<BluetoothOwner> owner() {
    return platform::Provided<BluetoothOwner>::get();
}

void setScanning(bool isScanning) {
    if (const auto manager = owner()) {
        manager->setScanning(isScanning);
    }
}

bool isInNormalMode(const platform::AdvertisementData& advertisement) {
    const auto& data = advertisement.manufacturerData;
    return !data || (!data->empty() && data->back() == normalMode);
}

void logError(const std::optional<platform::BluetoothError>& error, const char* operation) {
    log(error ? error->description : "no error", {operation});
}

template <typename Container>
bool contains(const Container& container, const typename Container::value_type& value) {
    return std::find(container.begin(), container.end(), value) != container.end();
}

} // namespace

Bluetooth& Bluetooth::shared() {
    return *platform::Platform::current().shared<Bluetooth>();
}

std::shared_ptr<Bluetooth> Bluetooth::make() {
    auto bluetooth = std::make_shared<Bluetooth>();
    platform::Provided<DeviceCentral>::provide(bluetooth);
    auto central = platform::Platform::current().services().bluetooth->makeCentral(bluetooth, bluetooth->queue_,
                                                                                   {.showPowerAlert = true});
    const std::lock_guard lock(bluetooth->mutex_);
    bluetooth->bluetoothManager_ = std::move(central);
    return bluetooth;
}

Bluetooth::Bluetooth()
    : queue_(platform::Platform::current().services().scheduler->makeSerialQueue("com.brenlo.bluetooth")) {}

Bluetooth::~Bluetooth() = default;

std::shared_ptr<platform::BluetoothCentral> Bluetooth::bluetoothManager() const {
    const std::lock_guard lock(mutex_);
    return bluetoothManager_;
}

std::shared_ptr<platform::BluetoothCentral> Bluetooth::poweredCentral() const {
    auto central = bluetoothManager();
    return central && central->state() == CentralState::poweredOn ? central : nullptr;
}

std::optional<CentralState> Bluetooth::state() const {
    const auto central = bluetoothManager();
    return central ? std::optional(central->state()) : std::nullopt;
}

void Bluetooth::setDelegate() {
    if (const auto central = bluetoothManager()) {
        central->setDelegate(weak_from_this());
    }
}

std::vector<PeripheralPointer> Bluetooth::scannedPeripherals() const {
    const std::lock_guard lock(mutex_);
    return scannedPeripherals_;
}

void Bluetooth::scan(const ScanCallback& callback) {
    constexpr const char* operation = "scan(callback:)";
    {
        const std::lock_guard lock(mutex_);
        scannedPeripherals_.clear();
        scanCallback_ = callback;
    }
    const auto central = poweredCentral();
    if (!central) {
        return;
    }
    const std::vector<UUID> services{GATT_SERVICE_UUID, DFU_SERVICE_UUID};
    log("SCANNING FOR PERIPHERALS WITH SERVICE ID: [" + services[0].string() + ", " + services[1].string() + "]",
        {operation});
    if (central->isScanning()) {
        central->stopScan();
        setScanning(false);
    }
    central->scanForPeripherals(services);
    setScanning(true);

    for (const auto& peripheral : central->retrieveConnectedPeripherals(GATT_SERVICE_UUID)) {
        log("Found an already connected peripheral.", {operation});
        {
            const std::lock_guard lock(mutex_);
            scannedPeripherals_.push_back(peripheral);
        }
        if (callback) {
            callback(peripheral);
        }
    }
    for (const auto& peripheral : central->retrieveConnectedPeripherals(DFU_SERVICE_UUID)) {
        addUpdatePeripheral(peripheral, "Found an already connected DFU peripheral.", operation);
    }
}

bool Bluetooth::addScanned(const PeripheralPointer& peripheral) {
    const std::lock_guard lock(mutex_);
    if (contains(scannedPeripherals_, peripheral)) {
        return false;
    }
    scannedPeripherals_.push_back(peripheral);
    return true;
}

void Bluetooth::addUpdatePeripheral(const PeripheralPointer& peripheral, const char* message, const char* operation) {
    if (addScanned(peripheral)) {
        log(message, {operation});
        platform::Platform::current().notificationCenter().post(
            {scannedPeripheralChange, shared_from_this(), {{"peripheral", peripheral}}});
    }
}

void Bluetooth::stopScan() {
    if (const auto central = bluetoothManager()) {
        central->stopScan();
    }
    setScanning(false);
}

void Bluetooth::stopScanIfScanning() {
    const auto central = bluetoothManager();
    if (central && central->isScanning()) {
        central->stopScan();
        setScanning(false);
    }
}

void Bluetooth::connect(const std::shared_ptr<Tarnel>& device) {
    constexpr const char* operation = "connect(device:)";
    const auto central = poweredCentral();
    if (!central) {
        return;
    }
    const auto identifier = device->peripheralID();
    for (const auto& peripheral : central->retrieveConnectedPeripherals(GATT_SERVICE_UUID)) {
        if (peripheral->identifier() == identifier) {
            log("Found already connected peripheral...attempting to connect to it.", {operation});
            connectToPeripheral(peripheral, false);
            return;
        }
    }
    if (!identifier) {
        return;
    }
    for (const auto& peripheral : central->retrievePeripherals({*identifier})) {
        if (peripheral->identifier() == identifier) {
            log("Found known peripheral...attempting to connect to it.", {operation});
            connectToPeripheral(peripheral, false);
        }
    }
}

void Bluetooth::connectToPeripheral(const PeripheralPointer& peripheral, bool forceConnect) {
    connectInState(peripheral->state(), peripheral, forceConnect);
}

void Bluetooth::connectInState(PeripheralState state, const PeripheralPointer& peripheral, bool forceConnect) {
    constexpr const char* operation = "connectToPeripheral(peripheral:forceConnect:)";
    const auto central = bluetoothManager();
    if (!central) {
        return;
    }
    if (forceConnect || state == PeripheralState::disconnected || state == PeripheralState::connecting) {
        log("Trying to connect to peripheral: " + peripheral->description(), {operation});
        {
            const std::lock_guard lock(mutex_);
            peripherals_.insert(peripheral);
        }
        central->connect(peripheral);
    } else if (state == PeripheralState::connected) {
        log("Using Connected Device", {operation});
        bind(peripheral);
    } else {
        log("disconnecting peripheral, should reconnect, once disconnected.. hold tight", {operation});
    }
}

void Bluetooth::connectToPeripheral(const PeripheralPointer& peripheral, ConnectCallback callback) {
    // A connection requested here completes later, so its callback must be there before the request; one that is there
    // already is bound at once, which must not call the new callback.
    const PeripheralState state = peripheral->state();
    const bool isAlreadyConnected = state == PeripheralState::connected;
    if (isAlreadyConnected) {
        connectInState(state, peripheral, false);
    }
    {
        const std::lock_guard lock(mutex_);
        connectCallback_ = std::move(callback);
    }
    if (!isAlreadyConnected) {
        connectInState(state, peripheral, false);
    }
}

std::shared_ptr<Tarnel> Bluetooth::findOrMakeDevice(const PeripheralPointer& peripheral) {
    auto device = getDevice(peripheral);
    const std::lock_guard lock(mutex_);
    if (!device) {
        const auto found = std::find_if(boundDevices_.begin(), boundDevices_.end(),
                                        [&](const auto& bound) { return bound->peripheral() == peripheral; });
        if (found != boundDevices_.end()) {
            return *found;
        }
        device = Tarnel::make(peripheral);
        std::puts(">>>>>>CREATING NEW DEVICE>>>>THIS ");
    }
    boundDevices_.insert(device);
    return device;
}

void Bluetooth::bind(const PeripheralPointer& peripheral) {
    const auto device = findOrMakeDevice(peripheral);
    ConnectCallback callback;
    {
        const std::lock_guard lock(mutex_);
        callback = std::exchange(connectCallback_, nullptr);
    }
    device->setState(DeviceState::connected);
    device->setPeripheral(peripheral);
    device->setPeripheralID(peripheral->identifier());
    log("Discovering services on Device", {"connectToPeripheral(peripheral:forceConnect:)"});
    peripheral->discoverServices();
    if (callback) {
        callback(device);
    }
}

void Bluetooth::disconnect(const std::shared_ptr<Tarnel>& device) {
    const auto central = bluetoothManager();
    if (const auto peripheral = device->peripheral(); peripheral && central) {
        central->cancelPeripheralConnection(peripheral);
    }
    if (!device->shouldAutoReconnect()) {
        stopScanIfScanning();
    }
}

void Bluetooth::disconnect(const PeripheralPointer& peripheral) {
    if (const auto central = bluetoothManager()) {
        central->cancelPeripheralConnection(peripheral);
    }
}

std::optional<std::vector<PeripheralPointer>> Bluetooth::retrieveConnectedPeripherals() {
    const auto central = poweredCentral();
    if (!central) {
        return std::nullopt;
    }
    auto connected = central->retrieveConnectedPeripherals(GATT_SERVICE_UUID);
    {
        const std::lock_guard lock(mutex_);
        peripherals_ = {connected.begin(), connected.end()};
    }
    for (const auto& peripheral : connected) {
        connectToPeripheral(peripheral, false);
    }
    return connected;
}

std::shared_ptr<Tarnel> Bluetooth::getDevice(const PeripheralPointer& peripheral) const {
    const auto manager = owner();
    if (!manager) {
        return nullptr;
    }
    const UUID identifier = peripheral->identifier();
    for (const auto& device : manager->getAllDevices()) {
        if (device->peripheralID() == identifier) {
            return device;
        }
    }
    return nullptr;
}

void Bluetooth::centralManagerDidUpdateState(platform::BluetoothCentral& central) {
    const CentralState state = central.state();
    log("centralManagerDidUPdateState: " + std::to_string(static_cast<int>(state)),
        {"centralManagerDidUpdateState(_:)"});
    const auto manager = owner();
    if (state == CentralState::poweredOn) {
        platform::Platform::current().notificationCenter().post({bluetoothPoweredOn, nullptr, {}});
        isReady.setValue(true);
        if (manager) {
            manager->setBluetoothEnabled(true);
        }
        return;
    }
    if (state == CentralState::poweredOff) {
        endSessions(manager ? manager->currentDevice() : nullptr);
    }
    if (manager) {
        manager->setScanning(false); // a scan ends with the radio, and does not come back with it
        manager->setBluetoothEnabled(false);
    }
    isReady.setValue(false);
}

void Bluetooth::endSessions(const std::shared_ptr<Tarnel>& current) {
    for (const auto& device : releaseBound(nullptr)) {
        if (device != current) {
            device->setIsAuthenticated(false);
        }
    }
    if (current) {
        current->setIsAuthenticated(false);
        current->setState(DeviceState::notConnected);
    }
}

void Bluetooth::didDiscover(platform::BluetoothCentral&, const PeripheralPointer& peripheral,
                            const platform::AdvertisementData& advertisementData, int) {
    constexpr const char* operation = "centralManager(_:didDiscover:advertisementData:rssi:)";
    if (!advertisementData.isConnectable.value_or(false) || !advertisementData.serviceUUIDs) {
        return;
    }
    const auto& services = *advertisementData.serviceUUIDs;
    if (contains(services, GATT_SERVICE_UUID) && isInNormalMode(advertisementData)) {
        log("Found a Device during the scan", {operation});
        if (addScanned(peripheral)) {
            std::unique_lock lock(mutex_);
            const ScanCallback callback = scanCallback_;
            lock.unlock();
            if (callback) {
                callback(peripheral);
            }
        }
    } else if (contains(services, DFU_SERVICE_UUID)) {
        addUpdatePeripheral(peripheral, "Found a DFU Device", operation);
    }
}

void Bluetooth::didConnect(platform::BluetoothCentral& central, const PeripheralPointer& peripheral) {
    constexpr const char* operation = "centralManager(_:didConnect:)";
    log("Bluetooth connected to device(" + peripheral->identifier().string() + ").", {operation});
    {
        const std::lock_guard lock(mutex_);
        const auto found = std::find(scannedPeripherals_.begin(), scannedPeripherals_.end(), peripheral);
        if (found != scannedPeripherals_.end()) {
            scannedPeripherals_.erase(found);
        }
    }
    bind(peripheral);
    {
        const std::lock_guard lock(mutex_);
        peripherals_.clear();
    }
    log("Stopped BT Scan", {operation});
    central.stopScan();
    setScanning(false);
    if (peripheral->ancsAuthorized()) {
        postANCSAuthorization(true);
    }
}

void Bluetooth::didFailToConnect(platform::BluetoothCentral&, const PeripheralPointer& peripheral,
                                 const std::optional<platform::BluetoothError>& error) {
    constexpr const char* operation = "centralManager(_:didFailToConnect:error:)";
    log("didFailToConnect to peripheral", {operation});
    logError(error, operation);
    if (error && error->domain == platform::BluetoothError::Domain::central &&
        error->code == platform::peerRemovedPairingInformation) {
        log("Peer Removed Pairing INfo.", {operation});
        if (const auto manager = owner()) {
            manager->unlink();
        }
        platform::Platform::current().notificationCenter().post({peerRemovedPairingInfo, nullptr, {}});
    }
    if (const auto device = getDevice(peripheral); device && device->state() == DeviceState::scanning) {
        connect(device);
    }
}

void Bluetooth::didDisconnectPeripheral(platform::BluetoothCentral&, const PeripheralPointer& peripheral,
                                        const std::optional<platform::BluetoothError>& error) {
    constexpr const char* operation = "centralManager(_:didDisconnectPeripheral:error:)";
    log("didDisconnectPeripheral", {operation});
    logError(error, operation);
    const auto released = releaseBound(peripheral);
    const auto device = getDevice(peripheral);
    if (!device) {
        // No longer linked, but whoever still holds it must see that it is gone.
        for (const auto& bound : released) {
            bound->setIsAuthenticated(false);
        }
        return;
    }
    device->setIsAuthenticated(false);
    device->setState(DeviceState::notConnected);
    if (!device->shouldAutoReconnect()) {
        stopScanIfScanning();
        return;
    }
    queue_->asyncAfter(reconnectionDelay, [weak = weak_from_this(), device] { reconnect(weak, device); });
}

std::vector<std::shared_ptr<Tarnel>> Bluetooth::releaseBound(const PeripheralPointer& peripheral) {
    std::vector<std::shared_ptr<Tarnel>> released;
    const std::lock_guard lock(mutex_);
    for (auto device = boundDevices_.begin(); device != boundDevices_.end();) {
        if (!peripheral || (*device)->peripheral() == peripheral) {
            released.push_back(*device);
            device = boundDevices_.erase(device);
        } else {
            ++device;
        }
    }
    return released;
}

void Bluetooth::reconnect(const std::weak_ptr<Bluetooth>& weak, const std::shared_ptr<Tarnel>& device) {
    const auto identifier = device->peripheralID();
    const auto peripheral = device->peripheral();
    if (!identifier || (peripheral && peripheral->state() == PeripheralState::connected)) {
        return;
    }
    const auto bluetooth = weak.lock();
    // Unlinked in the meantime: nobody wants to know of its return.
    if (bluetooth && peripheral && !bluetooth->getDevice(peripheral)) {
        return;
    }
    log("searching for peripheralID: " + identifier->string(), {"centralManager(_:didDisconnectPeripheral:error:)"});
    if (const auto central = bluetooth ? bluetooth->bluetoothManager() : nullptr) {
        central->registerForConnectionEvents({*identifier});
    }
}

void Bluetooth::connectionEventDidOccur(platform::BluetoothCentral&, platform::ConnectionEvent event,
                                        const PeripheralPointer& peripheral) {
    constexpr const char* operation = "centralManager(_:connectionEventDidOccur:for:)";
    log("ConnectionEventDidOccur: " + peripheral->description(), {operation});
    switch (event) {
    case platform::ConnectionEvent::peerConnected:
        log("we connecting thru the ConnectionEventDidOccur", {operation});
        // A registration outlives the link that it was made for.
        if (const auto device = getDevice(peripheral); device && device->shouldAutoReconnect()) {
            connectToPeripheral(peripheral, false);
        }
        return;
    case platform::ConnectionEvent::peerDisconnected:
        log("bye", {operation});
        return;
    }
    log("unknown", {operation});
}

void Bluetooth::didUpdateANCSAuthorization(platform::BluetoothCentral&, const PeripheralPointer& peripheral) {
    log("Called didUpdateANCSAuthorizationFor", {"centralManager(_:didUpdateANCSAuthorizationFor:)"});
    postANCSAuthorization(peripheral->ancsAuthorized());
}

void Bluetooth::postANCSAuthorization(bool isAuthorized) {
    platform::Platform::current().notificationCenter().post(
        {didUpdateANCSAuthorizationName, shared_from_this(), {{"ancsAuthorized", isAuthorized}}});
}

} // namespace tarnel
