#pragma once

#include "../linux/FakeBlueZ.hpp"
#include "../linux/Machine.hpp"

#include <TarnelGlasses/Firmware.hpp>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace tarnel::test {

/// Glasses behind a fake daemon, with the firmware of the simulated ones: what is written to them is shown.
class GlassesOnTheBus {
public:
    /// The daemon outlives the glasses.
    explicit GlassesOnTheBus(FakeBlueZ& bluez, FakeDevice device = glasses())
        : bluez_(bluez), address_(device.address),
          firmware_({}, {.notify = [this](Bytes value) { bluez_.notify(address_, inCharacteristic, value); },
                         .after = [](platform::Duration, const platform::Block&) {},
                         .now = [] { return platform::Duration(std::chrono::steady_clock::now().time_since_epoch()); },
                         .frameChanged = [] {}}) {
        bluez_.addDevice(std::move(device));
        thread_ = std::thread([this] { serve(); });
    }
    ~GlassesOnTheBus() {
        isEnding_ = true;
        thread_.join();
    }
    GlassesOnTheBus(const GlassesOnTheBus&) = delete;
    GlassesOnTheBus& operator=(const GlassesOnTheBus&) = delete;

    void tap(int count) {
        const std::lock_guard lock(mutex_);
        firmware_.tap(count);
    }
    /// What was shown before the last connection ended, or is shown now.
    glasses::Frame lastFrame() {
        const std::lock_guard lock(mutex_);
        return isConnected_ ? firmware_.frame() : lastFrame_;
    }
    std::size_t received() {
        const std::lock_guard lock(mutex_);
        return firmware_.receivedCount();
    }
    std::vector<glasses::CommandError> errors() {
        const std::lock_guard lock(mutex_);
        return firmware_.errors();
    }
    const std::string& address() const { return address_; }

private:
    void serve() {
        constexpr std::size_t valueLength = 495;
        while (!isEnding_) {
            const bool isConnected = bluez_.device(address_).isConnected;
            {
                const std::lock_guard lock(mutex_);
                if (isConnected && !std::exchange(isConnected_, isConnected)) {
                    firmware_.connected(valueLength);
                } else if (!isConnected && std::exchange(isConnected_, isConnected)) {
                    lastFrame_ = firmware_.frame();
                    firmware_.disconnected();
                }
            }
            while (const auto value = bluez_.take(address_, outCharacteristic)) {
                const std::lock_guard lock(mutex_);
                firmware_.receive(*value);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    FakeBlueZ& bluez_;
    const std::string address_;
    std::mutex mutex_; ///< of the three below
    glasses::Firmware firmware_;
    glasses::Frame lastFrame_;
    bool isConnected_ = false;
    std::atomic<bool> isEnding_ = false;
    std::thread thread_;
};

} // namespace tarnel::test
