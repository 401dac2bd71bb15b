#pragma once

#include "support/FakeBluetooth.hpp"
#include "support/SentMessages.hpp"
#include "support/TestPlatform.hpp"

#include <TarnelSDK/device/DeviceHosts.hpp>
#include <TarnelSDK/device/GATTIdentifiers.hpp>
#include <TarnelSDK/device/Tarnel.hpp>
#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/messagepack/Pack.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <any>
#include <memory>
#include <string>
#include <vector>

namespace tarnel::test {

/// Plays the rooms above the device and notes what they are asked.
class FakeHosts : public DeviceCentral, public DeviceRegistry {
public:
    explicit FakeHosts(std::shared_ptr<platform::Queue> queue) : queue_(std::move(queue)) {}

    std::shared_ptr<platform::Queue> queue() const override { return queue_; }
    std::shared_ptr<Tarnel> currentDevice() const override { return current.lock(); }
    void connect(const std::shared_ptr<Tarnel>&) override { ++connects; }
    void disconnect(const std::shared_ptr<Tarnel>&) override { ++disconnects; }
    void linkDevice(const std::shared_ptr<Tarnel>&) override { ++links; }
    void unlinkDevice(const std::shared_ptr<Tarnel>&) override { ++unlinks; }

    std::weak_ptr<Tarnel> current;
    int connects = 0;
    int disconnects = 0;
    int links = 0;
    int unlinks = 0;

private:
    const std::shared_ptr<platform::Queue> queue_;
};

/// A device of a fake peripheral; a test plays the glasses and reads what was written to them.
class DeviceFixture : public ::testing::Test {
protected:
    /// Calls the peripheral's delegate on the central's queue and lets everything run that follows.
    template <typename Call>
    void report(Call call) {
        hosts->queue()->async([this, call] {
            if (const auto delegate = peripheral->delegate.lock()) {
                call(*delegate);
            }
        });
        platform.run();
    }

    void discoverDataService(bool canWriteWithoutResponse) {
        out->canWriteWithoutResponse = canWriteWithoutResponse;
        peripheral->currentState = platform::PeripheralState::connected;
        report([this](auto& delegate) {
            delegate.didDiscoverCharacteristics(peripheral, service(GATTIdentifiers::GATT_SERVICE_UUID), {in, out}, {});
        });
    }

    /// Answers the subscription to what the glasses send, by which a session is ready.
    void confirmSubscription() {
        report([this](auto& delegate) { delegate.didUpdateNotificationState(peripheral, in, {}); });
    }

    /// A session whose opening messages are written; what is written later is in `chunks`.
    void startSession(int protocolVersion = 2) {
        discoverDataService(protocolVersion == 2);
        confirmSubscription();
        confirmWrites();
        peripheral->writes.clear();
    }

    /// Confirms writes with response until no more come.
    void confirmWrites() {
        std::size_t confirmed = 0;
        while (device->protocolVersion() == 1 && confirmed < peripheral->writes.size()) {
            ++confirmed;
            confirmWrite();
        }
    }
    void confirmWrite(const std::optional<platform::BluetoothError>& error = std::nullopt) {
        report([=, this](auto& delegate) { delegate.didWriteValue(peripheral, out, error); });
    }

    void updateValue(const UUID& uuid, const Bytes& value,
                     const std::optional<platform::BluetoothError>& error = std::nullopt) {
        const auto characteristic = characteristicOf(uuid);
        report([=, this](auto& delegate) { delegate.didUpdateValue(peripheral, characteristic, value, error); });
    }

    /// The glasses send a message in one chunk.
    void recieve(const MessagePackValue& message) { recieveBytes(pack(message)); }
    void recieveBytes(Bytes message) {
        message.insert(message.begin(), 0);
        updateValue(GATTIdentifiers::GATT_IN_CHARACTERISTIC_UUID, message);
    }

    std::vector<Bytes> chunks() const {
        std::vector<Bytes> values;
        for (const auto& write : peripheral->writes) {
            values.push_back(write.value);
        }
        return values;
    }
    std::vector<MessagePackValue> messages() const { return joinedMessages(chunks()); }

    void observe(const std::string& name) {
        observations.push_back(platform.notificationCenter().observe(
            name, [this](const auto& notification) { notifications.push_back(notification); }));
    }

    /// The items of all log lines from now on, without time and place.
    void observeLog() {
        setLogEnabled(true);
        observations.push_back(platform.notificationCenter().observe("log", [this](const auto& notification) {
            const auto line = std::any_cast<std::string>(notification.userInfo.at("msg"));
            const auto start = line.find("): ") + 3;
            logLines.push_back(line.substr(start, line.rfind(" | ") - start));
        }));
    }

    static std::shared_ptr<platform::Characteristic> characteristicOf(const UUID& uuid) {
        auto characteristic = std::make_shared<platform::Characteristic>();
        characteristic->uuid = uuid;
        return characteristic;
    }
    static platform::ServicePointer service(const UUID& uuid) {
        return std::make_shared<platform::Service>(platform::Service{uuid});
    }

    TestPlatform platform;
    const std::shared_ptr<FakeHosts> hosts =
        std::make_shared<FakeHosts>(platform.scheduler->makeSerialQueue("com.brenlo.bluetooth"));
    const std::shared_ptr<FakePeripheral> peripheral = std::make_shared<FakePeripheral>(UUID::random());
    const std::shared_ptr<platform::Characteristic> in = characteristicOf(GATTIdentifiers::GATT_IN_CHARACTERISTIC_UUID);
    const std::shared_ptr<platform::Characteristic> out =
        characteristicOf(GATTIdentifiers::GATT_OUT_CHARACTERISTIC_UUID);
    std::vector<platform::Observation> observations;
    std::vector<platform::Notification> notifications;
    std::vector<std::string> logLines;
    std::shared_ptr<Tarnel> device = makeDevice();

private:
    std::shared_ptr<Tarnel> makeDevice() {
        platform::Provided<DeviceCentral>::provide(hosts);
        platform::Provided<DeviceRegistry>::provide(hosts);
        return Tarnel::make(peripheral);
    }
};

} // namespace tarnel::test
