#pragma once

#include <TarnelSDK/link/Item.hpp>
#include <TarnelSDK/platform/Bytes.hpp>
#include <TarnelSDK/platform/Platform.hpp>

#include <memory>

namespace tarnel {

class Glypher;

/// The pair of glasses on which a canvas draws, as far as the canvas needs it.
class DisplayDevice {
public:
    /// The largest message that the firmware takes, in bytes.
    static constexpr int MAX_PAYLOAD_SIZE = 10000;

    virtual ~DisplayDevice() = default;

    /// Queues one packed message for the glasses; dropped unless they are connected.
    virtual void sendData(Bytes data, ItemType type) = 0;

    /// Whether messages are taken.
    virtual bool isDisplayConnected() const = 0;

    /// The maker of the fonts for its labels; lives as long as the device.
    virtual Glypher& displayGlypher() = 0;
};

/// Tells which device is current. Provided by the manager.
class DisplayDeviceSource {
public:
    virtual ~DisplayDeviceSource() = default;

    /// Empty when no device is current.
    virtual std::shared_ptr<DisplayDevice> currentDisplayDevice() = 0;
};

/// The current device; empty when there is none, or nobody who knows it.
inline std::shared_ptr<DisplayDevice> currentDisplayDevice() {
    const auto source = platform::Provided<DisplayDeviceSource>::get();
    return source ? source->currentDisplayDevice() : nullptr;
}

} // namespace tarnel
