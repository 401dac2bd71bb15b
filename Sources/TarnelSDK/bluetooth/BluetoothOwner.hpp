#pragma once

#include <TarnelSDK/device/Tarnel.hpp>
#include <TarnelSDK/foundation/Bindable.hpp>

#include <memory>
#include <vector>

namespace tarnel {

/// What the central asks of the one who keeps the devices. Provided by the manager.
class BluetoothOwner {
public:
    virtual ~BluetoothOwner() = default;
    virtual std::vector<std::shared_ptr<Tarnel>> getAllDevices() const = 0;
    virtual std::shared_ptr<Tarnel> currentDevice() const = 0;
    virtual void unlink() = 0;
    virtual void setScanning(bool isScanning) = 0;
    virtual void setBluetoothEnabled(bool isEnabled) = 0;
};

} // namespace tarnel
