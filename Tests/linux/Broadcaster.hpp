#pragma once

#include "Machine.hpp"

#include <TarnelLinux/bluez/PeripheralManager.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::test {

using bluez::AnswerAttribute;
using bluez::ConnectedCentral;
using bluez::LocalService;
using bluez::PeripheralManager;
using bluez::PeripheralManagerState;
using Radio = PeripheralManagerState::Radio;

inline std::vector<LocalService> services(bool withoutResponse = true, bool needsEncryption = false) {
    return {{UUID::bluetooth(dataService),
             {{.uuid = UUID::bluetooth(outCharacteristic),
               .canRead = true,
               .canWrite = true,
               .canWriteWithoutResponse = withoutResponse,
               .needsEncryption = needsEncryption},
              {.uuid = UUID::bluetooth(inCharacteristic), .canNotify = true, .needsEncryption = needsEncryption}}},
            {UUID::bluetooth(batteryService),
             {{.uuid = UUID::bluetooth(batteryLevel), .canRead = true, .canNotify = true}}}};
}

inline platform::AdvertisementData advertisementData() {
    return {.isConnectable = true,
            .serviceUUIDs = {{UUID::bluetooth(dataService)}},
            .manufacturerData = Bytes{0xff, 0xff, 2},
            .localName = "Glasses"};
}

inline FakeDevice phone(bool isBonded = false) {
    return {.address = phoneAddress, .name = "Phone", .isAdvertising = false, .isBonded = isBonded};
}

/// Keeps what it is told, and answers as it was told to. Any thread.
class Record final : public bluez::PeripheralManagerDelegate {
public:
    void stateChanged(const PeripheralManagerState& state) override {
        note("state", [&] { states.push_back(state); });
    }
    void centralConnected(const ConnectedCentral& central) override {
        std::function<void()> meanwhile;
        note("connected " + central.address, [&] {
            last = central;
            meanwhile = connecting;
        });
        if (meanwhile) {
            meanwhile();
        }
    }
    void centralChanged(const ConnectedCentral& central) override {
        note(central.isBonded ? "bonded" : "changed", [&] { last = central; });
    }
    void centralDisconnected(const std::string&) override { note("disconnected"); }
    void readAsked(const std::string&, std::uint16_t mtu, const UUID& characteristic, AnswerAttribute answer) override {
        bool isHeld = false;
        bluez::AttributeAnswer own;
        note("read " + std::to_string(mtu), [&] {
            asked = characteristic;
            own = reply;
            isHeld = holdsAnswers;
            if (isHeld) {
                held.push_back(answer);
            }
        });
        if (!isHeld) {
            answer(own);
        }
    }
    void writeAsked(const std::string&, std::uint16_t mtu, const UUID&, Bytes value, platform::WriteType type,
                    AnswerAttribute answer) override {
        note(type == platform::WriteType::withResponse ? "write " + std::to_string(mtu)
                                                       : "command " + std::to_string(mtu),
             [&] { written.push_back(std::move(value)); });
        answer(reply);
    }
    void subscriptionChanged(const UUID& characteristic, bool isSubscribed) override {
        note(isSubscribed ? "subscribed" : "unsubscribed", [&] { asked = characteristic; });
    }

    bool await(const std::function<bool()>& condition) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(30), condition);
    }
    bool await(const std::string& event, int times = 1) {
        return await([&] { return std::count(events.begin(), events.end(), event) >= times; });
    }
    bool awaitState(const PeripheralManagerState& state) {
        return await([&] { return !states.empty() && states.back() == state; });
    }
    bool awaitRadio(Radio radio) {
        return await([&] { return !states.empty() && states.back().radio == radio; });
    }
    bool awaitAdvertising() { return awaitState({.radio = Radio::ready, .isPublished = true, .isAdvertising = true}); }
    int count(const std::string& event) {
        const std::lock_guard lock(mutex_);
        return static_cast<int>(std::count(events.begin(), events.end(), event));
    }
    void set(const std::function<void()>& change) {
        const std::lock_guard lock(mutex_);
        change();
    }

    std::vector<std::string> events;
    std::vector<PeripheralManagerState> states;
    std::vector<Bytes> written;
    ConnectedCentral last;
    UUID asked;
    bluez::AttributeAnswer reply;
    bool holdsAnswers = false;
    std::vector<AnswerAttribute> held;
    std::function<void()> connecting; ///< holds the manager up while it tells of a central

private:
    void note(
        const std::string& event, const std::function<void()>& change = [] {}) {
        {
            const std::lock_guard lock(mutex_);
            change();
            events.push_back(event);
        }
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
};

/// A machine that is a peripheral.
class Broadcaster {
public:
    explicit Broadcaster(bool hasAdapter = true, bool isPowered = true, bool isForbidden = false)
        : bus(isForbidden), bluez(bus.address()) {
        if (hasAdapter) {
            bluez.addAdapter("hci0", isPowered);
        }
    }
    ~Broadcaster() { quit(); }
    Broadcaster(const Broadcaster&) = delete;
    Broadcaster& operator=(const Broadcaster&) = delete;

    void launch(std::optional<std::string> adapter = std::nullopt) {
        manager = PeripheralManager::make({.busAddress = bus.address(), .adapter = std::move(adapter)}, record);
    }
    /// Comes up and advertises.
    void open(std::vector<LocalService> offered = services()) {
        bluez.start();
        launch();
        manager->setServices(std::move(offered));
        manager->setAdvertisement(advertisementData());
        ASSERT_TRUE(record->awaitAdvertising());
    }
    void connectPhone(bool isBonded = false) {
        bluez.addDevice(phone(isBonded));
        bluez.connectByAnother(phoneAddress);
        ASSERT_TRUE(record->await("connected " + std::string(phoneAddress)));
    }
    void quit() {
        if (manager) {
            manager->end();
            manager.reset();
        }
    }

    static bool eventually(const std::function<bool()>& condition) { return Machine::eventually(condition); }

    PrivateBus bus;
    FakeBlueZ bluez;
    std::shared_ptr<Record> record = std::make_shared<Record>();
    std::shared_ptr<PeripheralManager> manager;
};

} // namespace tarnel::test
