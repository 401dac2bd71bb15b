#pragma once

#include <TarnelSDK/link/Item.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <memory>

namespace tarnel {

/// The pair of glasses on which a canvas draws, as far as the canvas needs it.
class DisplayDevice {
public:
    virtual ~DisplayDevice() = default;

    /// Queues one packed message for the glasses; dropped unless they are connected.
    virtual void sendData(Bytes data, ItemType type) = 0;
};

/// Tells which device is current. Provided by the manager.
class DisplayDeviceSource {
public:
    virtual ~DisplayDeviceSource() = default;

    /// Empty when no device is current.
    virtual std::shared_ptr<DisplayDevice> currentDisplayDevice() = 0;
};

} // namespace tarnel
