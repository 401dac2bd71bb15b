#pragma once

#include <TarnelSDK/platform/Queue.hpp>

#include <memory>

namespace tarnel {

class Tarnel;

/// What a device asks of the Bluetooth central.
class DeviceCentral {
public:
    virtual ~DeviceCentral() = default;

    /// The serial queue on which all Bluetooth callbacks arrive.
    virtual std::shared_ptr<platform::Queue> queue() const = 0;
    virtual void connect(const std::shared_ptr<Tarnel>& device) = 0;
    virtual void disconnect(const std::shared_ptr<Tarnel>& device) = 0;
};

/// What a device asks of the one who keeps the list of linked devices.
class DeviceRegistry {
public:
    virtual ~DeviceRegistry() = default;
    /// The device that the application uses; empty when none is linked.
    virtual std::shared_ptr<Tarnel> currentDevice() const = 0;
    virtual void linkDevice(const std::shared_ptr<Tarnel>& device) = 0;
    virtual void unlinkDevice(const std::shared_ptr<Tarnel>& device) = 0;
};

} // namespace tarnel
