#include <TarnelGlasses/BluetoothErrors.hpp>
#include <TarnelGlasses/SimulatedGlassesState.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <utility>

namespace tarnel::glasses {

using platform::Duration;

// What the wearer and other applications do.

void SimulatedGlasses::tap(std::int64_t count) {
    postChange([count](State& state) { state.firmware.tap(count); });
}

void SimulatedGlasses::powerButton(std::int64_t count) {
    postChange([count](State& state) { state.firmware.powerButton(count); });
}

void SimulatedGlasses::requestTime() {
    postChange([](State& state) { state.firmware.requestTime(); });
}

void SimulatedGlasses::takeControl(std::string application) {
    postChange([application = std::move(application)](State& state) { state.firmware.takeControl(application); });
}

void SimulatedGlasses::displayTimeout() {
    postChange([](State& state) { state.firmware.displayTimeout(); });
}

void SimulatedGlasses::openNotification(std::uint32_t uid) {
    postChange([uid](State& state) { state.reader.open(uid); });
}

void SimulatedGlasses::clearNotification(std::uint32_t uid) {
    postChange([uid](State& state) { state.reader.clear(uid); });
}

void SimulatedGlasses::setBattery(int level, bool charging) {
    precondition(level >= 0 && level <= 100, "a battery level lies in 0...100");
    post([level, charging](SimulatedGlasses& self) {
        self.perform([&](State& state) {
            state.batteryLevel = level;
            state.isCharging = charging;
            state.firmware.setBattery(level, charging);
            self.notify(state, gatt::batteryLevel(), {static_cast<std::uint8_t>(level)});
            self.notify(state, gatt::batteryPowerState(), state.batteryPowerState());
        });
    });
}

void SimulatedGlasses::send(Bytes message) {
    postChange([message = std::move(message)](State& state) { state.firmware.send(message); });
}

void SimulatedGlasses::sendInterleaved(std::vector<Bytes> messages) {
    postChange([messages = std::move(messages)](State& state) { state.firmware.sendInterleaved(messages); });
}

void SimulatedGlasses::notifyValue(Bytes value) {
    post([value = std::move(value)](SimulatedGlasses& self) {
        self.perform([&](State& state) { self.notify(state, gatt::inCharacteristic(), value); });
    });
}

void SimulatedGlasses::setAdvertisingMode(AdvertisingMode mode) {
    post([mode](SimulatedGlasses& self) {
        const auto change = [mode](State& state) { state.mode = mode; };
        bool changesProgram = false;
        self.perform([&](State& state) {
            changesProgram = (state.mode == AdvertisingMode::update) != (mode == AdvertisingMode::update);
        });
        if (changesProgram) {
            return self.restart(change);
        }
        self.perform(change);
        self.announce();
    });
}

void SimulatedGlasses::setAdvertisement(std::optional<platform::AdvertisementData> advertisement) {
    post([advertisement = std::move(advertisement)](SimulatedGlasses& self) {
        self.perform([&](State& state) { state.advertisement = advertisement; });
        self.announce();
    });
}

void SimulatedGlasses::setName(std::string name) {
    post([name = std::move(name)](SimulatedGlasses& self) {
        std::shared_ptr<Host> host;
        self.perform([&](State& state) {
            state.name = name;
            host = state.host.lock();
        });
        if (host) {
            host->nameChanged(name);
        }
        self.announce();
    });
}

void SimulatedGlasses::changeServices() {
    post([](SimulatedGlasses& self) {
        std::shared_ptr<Host> host;
        self.perform([&](State& state) {
            state.subscriptions.clear();
            host = state.host.lock();
        });
        if (host) {
            host->servicesChanged();
        }
    });
}

void SimulatedGlasses::remove() {
    post([](SimulatedGlasses& self) {
        self.end(peripheralEnded(), [](State& state) { state.isRemoved = true; });
        if (const auto radio = self.radio_.lock()) {
            radio->remove(self.shared_from_this());
        }
    });
}

// Faults.

void SimulatedGlasses::dropConnection() {
    post([](SimulatedGlasses& self) { self.end(peripheralEnded(), {}); });
}

void SimulatedGlasses::refuseWrite(std::size_t count) {
    postChange([count](State& state) { state.refusals += count; });
}

void SimulatedGlasses::loseBond() {
    post([](SimulatedGlasses& self) { self.end(peripheralEnded(), [](State& state) { state.isBonded = false; }); });
}

void SimulatedGlasses::stall(std::optional<Duration> duration) {
    post([duration](SimulatedGlasses& self) {
        std::uint64_t stalls = 0;
        self.perform([&](State& state) {
            state.isStalled = true;
            stalls = ++state.stalls;
            state.updateHalt();
        });
        if (!duration) {
            return;
        }
        self.post(
            [stalls](SimulatedGlasses& later) {
                later.perform([stalls](State& state) {
                    if (state.stalls == stalls) {
                        state.isStalled = false;
                        state.updateHalt();
                    }
                });
            },
            *duration);
    });
}

void SimulatedGlasses::resume() {
    postChange([](State& state) {
        ++state.stalls;
        state.isStalled = false;
        state.updateHalt();
    });
}

void SimulatedGlasses::truncateChunk(Direction direction) {
    postChange([direction](State& state) { state.truncates[static_cast<std::size_t>(direction)] = true; });
}

void SimulatedGlasses::reset() {
    post([](SimulatedGlasses& self) { self.restart({}); });
}

void SimulatedGlasses::leaveRange() {
    post([](SimulatedGlasses& self) {
        std::shared_ptr<GlassesLink> link;
        std::uint64_t departures = 0;
        self.perform([&](State& state) {
            state.isInRange = false;
            departures = ++state.departures;
            link = state.link;
            state.updateHalt();
        });
        self.announce();
        if (!link) {
            return;
        }
        self.post(
            [departures](SimulatedGlasses& later) {
                bool isStillAway = false;
                later.perform([&](State& state) { isStillAway = state.departures == departures; });
                if (isStillAway) {
                    later.end(centralError(platform::connectionTimedOut, "The connection timed out."), {});
                }
            },
            link->supervisionTimeout());
    });
}

void SimulatedGlasses::enterRange() {
    post([](SimulatedGlasses& self) {
        self.perform([](State& state) {
            state.isInRange = true;
            ++state.departures;
            state.updateHalt();
        });
        self.announce();
    });
}

} // namespace tarnel::glasses
