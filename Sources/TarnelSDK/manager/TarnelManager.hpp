#pragma once

#include <TarnelSDK/bluetooth/BluetoothManager.hpp>
#include <TarnelSDK/bluetooth/BluetoothOwner.hpp>
#include <TarnelSDK/device/DeviceHosts.hpp>
#include <TarnelSDK/device/Tarnel.hpp>
#include <TarnelSDK/display/DisplayDevice.hpp>
#include <TarnelSDK/foundation/Bindable.hpp>

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace tarnel {

enum class BluetoothScanResult { SUCCESS, DISABLED, BLUETOOTH_PERMISSION_NEEDED };

/// The application's entry point: the linked glasses, the current device, scanning, linking, and the storage by which
/// the link survives a restart.
///
/// Operations may be called on any thread; listeners of the bindables are called on the main queue. One pair of glasses
/// is linked at a time.
class TarnelManager : public BluetoothOwner,
                      public DeviceRegistry,
                      public DisplayDeviceSource,
                      public std::enable_shared_from_this<TarnelManager> {
public:
    /// Notification, on the main queue, after each assignment of `currentDevice`.
    static constexpr const char* currentDeviceChange = "currentDeviceChange";

    /// The one manager. Made when first asked for: restores the linked glasses, which connect by themselves as soon as
    /// Bluetooth is on.
    static TarnelManager& shared();
    static std::shared_ptr<TarnelManager> make();

    TarnelManager();
    ~TarnelManager() override;

    Bindable<bool> isBluetoothEnabled{false};
    Bindable<bool> isScanning{false};
    /// Bluetooth is on and the central can be used.
    Bindable<bool> isReady{false};
    /// A device is current.
    Bindable<bool> isLinked{false};

    /// The device that commands and drawings go to; empty when none is linked.
    std::shared_ptr<Tarnel> currentDevice() const override;
    /// Takes effect later; a read made right after it may still give the old device.
    void setCurrentDevice(std::shared_ptr<Tarnel> device);

    std::vector<std::shared_ptr<Tarnel>> devices() const;
    void setDevices(std::vector<std::shared_ptr<Tarnel>> devices);
    std::vector<std::shared_ptr<Tarnel>> getAllDevices() const override { return devices(); }

    /// Makes the device the one linked and current device and stores it. Ignored when it has no peripheral identifier.
    void linkDevice(const std::shared_ptr<Tarnel>& device) override;

    /// Forgets all linked devices and erases ALL user defaults of the host application.
    void unlinkDevice(const std::shared_ptr<Tarnel>& device) override;
    /// `unlinkDevice` of the current device, if any.
    void unlink() override;

    void save();

    /// Scans for glasses. `callback` gets the peripheral of each pair found, on the central's queue; keep it short.
    BluetoothScanResult startScan(const Bluetooth::ScanCallback& callback);
    void stopScan();

    /// Connects a scanned peripheral and links it. `callback` gets the device on the central's queue; it can be drawn
    /// on once its `isConnected` is true.
    void link(const platform::PeripheralPointer& device, Bluetooth::ConnectCallback callback);

    std::shared_ptr<platform::BluetoothCentral> getBluetoothManager() const;
    /// Makes the central report to the SDK again and restarts the current device's connection.
    void setBluetoothManger();

    void setScanning(bool value) override { isScanning.setValue(value); }
    void setBluetoothEnabled(bool value) override { isBluetoothEnabled.setValue(value); }
    std::shared_ptr<DisplayDevice> currentDisplayDevice() override { return currentDevice(); }

private:
    void start();
    void restore();

    const std::shared_ptr<platform::Queue> internalQueue_;
    std::shared_ptr<Tarnel> currentDevice_; ///< only on `internalQueue_`
    std::shared_ptr<BondListener<bool>> bluetoothIsReadyListener_;
    mutable std::mutex devicesMutex_;
    std::vector<std::shared_ptr<Tarnel>> devices_;
};

} // namespace tarnel
