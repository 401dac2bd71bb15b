#pragma once

#include <TarnelSDK/bluetooth/BluetoothOwner.hpp>
#include <TarnelSDK/device/DeviceHosts.hpp>
#include <TarnelSDK/device/GATTIdentifiers.hpp>
#include <TarnelSDK/device/Tarnel.hpp>
#include <TarnelSDK/foundation/Bindable.hpp>
#include <TarnelSDK/platform/Platform.hpp>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarnel {

/// The SDK's one Bluetooth LE central: scans for glasses, connects them, binds them to their device objects and brings
/// them back after a drop. Never talks GATT itself: that is the device's.
///
/// Operations may be called on any thread and do not block; callbacks run on `queue`.
class Bluetooth : public GATTIdentifiers,
                  public DeviceCentral,
                  public platform::BluetoothCentralDelegate,
                  public std::enable_shared_from_this<Bluetooth> {
public:
    using ScanCallback = std::function<void(const platform::PeripheralPointer&)>;
    using ConnectCallback = std::function<void(const std::shared_ptr<Tarnel>&)>;

    /// Notification: a pair of glasses in update mode was added to `scannedPeripherals`; sender: the `Bluetooth`;
    /// "peripheral" (`platform::PeripheralPointer`).
    static constexpr const char* scannedPeripheralChange = "scannedPeripheralChange";
    /// Notification: the central is powered on.
    static constexpr const char* bluetoothPoweredOn = "bluetoothPoweredOn";
    /// Notification: whether the glasses may see the host's notifications; sender: the `Bluetooth`; "ancsAuthorized"
    /// (`bool`).
    static constexpr const char* didUpdateANCSAuthorizationName = "didUpdateANCSAuthorization";
    /// Notification: the glasses have forgotten the host; the link is dropped and the user has to pair again.
    static constexpr const char* peerRemovedPairingInfo = "PEER_REMOVED_PAIRING_INFO";

    /// The one central, made when first asked for. The manager does so.
    static Bluetooth& shared();
    static std::shared_ptr<Bluetooth> make();

    Bluetooth();
    ~Bluetooth() override;

    /// True while the central is powered on.
    Bindable<bool> isReady{false};
    /// For the host application; the SDK never reads it.
    bool isDFUMode = false;

    std::shared_ptr<platform::Queue> queue() const override { return queue_; }
    std::shared_ptr<platform::BluetoothCentral> bluetoothManager() const;

    /// Empty while there is no central.
    std::optional<platform::CentralState> state() const;

    /// Starts a scan, or starts it anew. `callback` gets each pair of glasses found, once, on `queue` or, for those
    /// that the system already holds connected, at once. Without power the callback is kept and nothing starts.
    void scan(const ScanCallback& callback);
    void stopScan();

    /// Results of the current scan, in order of discovery, glasses in update mode included.
    std::vector<platform::PeripheralPointer> scannedPeripherals() const;

    /// Connects the peripheral that the device remembers. The request stays pending until the glasses appear.
    void connect(const std::shared_ptr<Tarnel>& device) override;
    void connectToPeripheral(const platform::PeripheralPointer& peripheral, bool forceConnect);
    /// As above without force; `callback` gets the device once, at the next completed connection, on `queue` (or on the
    /// thread of a caller who then connects a peripheral that is connected already, which completes none of its own).
    void connectToPeripheral(const platform::PeripheralPointer& peripheral, ConnectCallback callback);
    void disconnect(const std::shared_ptr<Tarnel>& device) override;
    void disconnect(const platform::PeripheralPointer& peripheral);

    /// Connects the glasses that the system holds connected and gives them; empty without power.
    std::optional<std::vector<platform::PeripheralPointer>> retrieveConnectedPeripherals();

    /// Makes this the central's delegate again.
    void setDelegate();

    void centralManagerDidUpdateState(platform::BluetoothCentral& central) override;
    void didDiscover(platform::BluetoothCentral& central, const platform::PeripheralPointer& peripheral,
                     const platform::AdvertisementData& advertisementData, int rssi) override;
    void didConnect(platform::BluetoothCentral& central, const platform::PeripheralPointer& peripheral) override;
    void didFailToConnect(platform::BluetoothCentral& central, const platform::PeripheralPointer& peripheral,
                          const std::optional<platform::BluetoothError>& error) override;
    void didDisconnectPeripheral(platform::BluetoothCentral& central, const platform::PeripheralPointer& peripheral,
                                 const std::optional<platform::BluetoothError>& error) override;
    void connectionEventDidOccur(platform::BluetoothCentral& central, platform::ConnectionEvent event,
                                 const platform::PeripheralPointer& peripheral) override;
    void didUpdateANCSAuthorization(platform::BluetoothCentral& central,
                                    const platform::PeripheralPointer& peripheral) override;

private:
    std::shared_ptr<platform::BluetoothCentral> poweredCentral() const;
    std::shared_ptr<Tarnel> getDevice(const platform::PeripheralPointer& peripheral) const;
    void bind(const platform::PeripheralPointer& peripheral);
    bool addScanned(const platform::PeripheralPointer& peripheral);
    void stopScanIfScanning();
    /// The power is off, and no drop will be reported.
    void endSessions(const std::shared_ptr<Tarnel>& current);
    void addUpdatePeripheral(const platform::PeripheralPointer& peripheral, const char* message, const char* operation);
    std::shared_ptr<Tarnel> findOrMakeDevice(const platform::PeripheralPointer& peripheral);
    /// Takes the devices of this peripheral, or of all, out of `boundDevices_`.
    std::vector<std::shared_ptr<Tarnel>> releaseBound(const platform::PeripheralPointer& peripheral);
    void connectInState(platform::PeripheralState state, const platform::PeripheralPointer& peripheral,
                        bool forceConnect);
    static void reconnect(const std::weak_ptr<Bluetooth>& weak, const std::shared_ptr<Tarnel>& device);
    void postANCSAuthorization(bool isAuthorized);

    const std::shared_ptr<platform::Queue> queue_;

    /// Guards the fields below it; held for no callback.
    mutable std::mutex mutex_;
    std::shared_ptr<platform::BluetoothCentral> bluetoothManager_;
    std::set<platform::PeripheralPointer> peripherals_;
    std::vector<platform::PeripheralPointer> scannedPeripherals_;
    ScanCallback scanCallback_;
    ConnectCallback connectCallback_;
    /// Devices of connected peripherals, kept until these drop: before a session links one, nobody else holds it.
    std::set<std::shared_ptr<Tarnel>> boundDevices_;
};

} // namespace tarnel
