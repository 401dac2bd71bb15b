#pragma once

#include <TarnelGlasses/GlassesLink.hpp>
#include <TarnelGlasses/SimulatedGlasses.hpp>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <utility>
#include <vector>

namespace tarnel::glasses {

/// What changes about a pair of glasses. Guarded by its mutex, and changed on the radio's queue alone.
struct SimulatedGlasses::State {
    using Observer = std::function<void()>;

    static constexpr std::uint8_t chargingBit = 2; ///< of the power state

    State(const Options& options, Firmware::Output output, NotificationReader::Output readerOutput)
        : firmware(options, std::move(output)), reader(std::move(readerOutput)), mode(options.advertisingMode),
          name(options.name), batteryLevel(options.batteryLevel), isCharging(options.isCharging) {}

    Firmware firmware;
    NotificationReader reader;
    AdvertisingMode mode;
    std::optional<platform::AdvertisementData> advertisement; ///< in place of the mode's own
    std::string name;
    int batteryLevel;
    bool isCharging;
    Bytes lastWritten;

    std::shared_ptr<GlassesLink> link; ///< while connected
    std::weak_ptr<Host> host;
    std::set<UUID> subscriptions;
    bool isBonded = false;

    bool isInRange = true;
    bool isRestarting = false;
    bool isRemoved = false;
    bool isStalled = false;
    std::uint64_t stalls = 0;     ///< tells a stall from earlier ones
    std::uint64_t departures = 0; ///< tells a leaving of the range from earlier ones
    std::uint64_t restarts = 0;
    std::size_t refusals = 0;
    std::array<bool, 2> truncates{};

    Counters counters;
    GattTraceObserver trace;
    std::vector<std::weak_ptr<const Observer>> frameObservers; ///< in the order of their making
    Observer recordObserver;
    bool isFrameChanged = false;
    Observer notificationObserver;
    bool areNotificationsChanged = false;

    /// Those whose handles live.
    std::vector<std::shared_ptr<const Observer>> liveFrameObservers() {
        std::erase_if(frameObservers, [](const auto& observer) { return observer.expired(); });
        std::vector<std::shared_ptr<const Observer>> live;
        for (const auto& observer : frameObservers) {
            if (auto there = observer.lock()) {
                live.push_back(std::move(there));
            }
        }
        return live;
    }

    Bytes batteryPowerState() const {
        return {static_cast<std::uint8_t>(batteryLevel), isCharging ? chargingBit : std::uint8_t{0}};
    }

    void updateHalt() const {
        if (link) {
            link->setHalted(isStalled || !isInRange);
        }
    }

    Bytes truncated(Direction direction, Bytes value) {
        if (std::exchange(truncates[static_cast<std::size_t>(direction)], false)) {
            value.resize(value.size() / 2);
        }
        return value;
    }
};

} // namespace tarnel::glasses
