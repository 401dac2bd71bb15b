#include "Machine.hpp"

#include <TarnelLinux/bluez/Writer.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace tarnel {
namespace {

using platform::WriteType;
using test::batteryLevel;
using test::glasses;
using test::glassesAddress;
using test::inCharacteristic;
using test::Machine;
using test::outCharacteristic;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(BlueZPeripheral, discoversServicesAndCharacteristics) {
    Machine machine;
    machine.open();
    EXPECT_EQ(machine.application->services.size(), 2U);
    ASSERT_TRUE(machine.out && machine.in && machine.battery);
    EXPECT_TRUE(machine.out->canRead && machine.out->canWrite && machine.out->canWriteWithoutResponse);
    EXPECT_FALSE(machine.out->canNotify);
    EXPECT_TRUE(machine.in->canNotify);
    EXPECT_FALSE(machine.in->canRead);
    EXPECT_EQ(machine.in->service, UUID::parse(test::dataService));
}

TEST(BlueZPeripheral, waitsForCharacteristicsThatAreExportedLate) {
    Machine machine;
    auto device = glasses();
    device.exportsLate = true;
    machine.bluez.addDevice(device);
    machine.connect();
    machine.peripheral->discoverServices();
    EXPECT_TRUE(Machine::eventually([&] { return machine.bluez.device(glassesAddress).isResolved; }));
    machine.bluez.exportCharacteristics(glassesAddress);
    ASSERT_TRUE(machine.application->await("services"));
    EXPECT_EQ(machine.application->services.size(), 2U);
    machine.discover();
    EXPECT_TRUE(machine.out && machine.in && machine.battery);
}

TEST(BlueZPeripheral, discoversServicesThatAreResolvedWithoutASignal) {
    Machine machine;
    auto device = glasses();
    device.resolvesSilently = true;
    machine.bluez.addDevice(device);
    machine.connect();
    machine.discover();
    EXPECT_TRUE(machine.out && machine.in && machine.battery);
}

TEST(BlueZPeripheral, readsValues) {
    Machine machine;
    machine.open();
    machine.peripheral->readValue(machine.battery);
    ASSERT_TRUE(machine.application->await("value"));
    EXPECT_THAT(machine.application->values, ElementsAre(Bytes{80}));
}

TEST(BlueZPeripheral, tellsWhyARequestIsRefused) {
    const std::vector<std::pair<bluez::Failure, int>> refusals{
        {{"org.bluez.Error.NotPermitted", "Not paired"}, 5},
        {{"org.bluez.Error.NotPermitted", "Read not permitted"}, 2},
        {{"org.bluez.Error.NotPermitted", "Write not permitted"}, 3},
        {{"org.bluez.Error.NotAuthorized", "Operation Not Authorized"}, 8},
        {{"org.bluez.Error.NotSupported", "Operation is not supported"}, 6},
        {{"org.bluez.Error.Failed", "Operation failed with ATT error: 0x0e"}, 14},
        {{"org.bluez.Error.Failed", "Operation failed with ATT error: 0x0f"}, 5},
        {{"org.bluez.Error.Failed", "Operation failed with ATT error: 0xzz"}, 0},
    };
    Machine machine;
    machine.open();
    for (const auto& [refusal, code] : refusals) {
        const std::string suffix = " with error " + std::to_string(code);
        machine.application->forget();
        machine.bluez.change(glassesAddress, [&refusal = refusal](auto& device) {
            device.gatt[0].characteristics[0].refusal = refusal;
            device.gatt[0].characteristics[1].refusal = refusal;
        });
        machine.peripheral->readValue(machine.out);
        machine.peripheral->writeValue(Bytes{1}, machine.out, WriteType::withResponse);
        machine.peripheral->setNotifyValue(true, machine.in);
        EXPECT_TRUE(machine.application->await("subscribed" + suffix)) << refusal.message;
        EXPECT_THAT(machine.application->events(),
                    ElementsAre("value" + suffix, "written" + suffix, "subscribed" + suffix));
    }
}

TEST(BlueZPeripheral, isNotifiedOfEveryValueInOrder) {
    Machine machine;
    machine.open();
    machine.bluez.notify(glassesAddress, inCharacteristic, {0});
    machine.peripheral->setNotifyValue(true, machine.in);
    ASSERT_TRUE(machine.application->await("subscribed"));
    std::vector<Bytes> sent;
    for (std::uint8_t i = 1; i <= 100; ++i) {
        sent.push_back({i, i});
        sent.push_back({i, i});
        machine.bluez.notify(glassesAddress, inCharacteristic, sent.back());
        machine.bluez.notify(glassesAddress, inCharacteristic, sent.back());
    }
    ASSERT_TRUE(machine.application->await("value", 200));
    EXPECT_EQ(machine.application->values, sent);
    machine.peripheral->setNotifyValue(false, machine.in);
    ASSERT_TRUE(machine.application->await("subscribed", 2));
    machine.bluez.notify(glassesAddress, inCharacteristic, {1});
    machine.peripheral->readValue(machine.battery);
    ASSERT_TRUE(machine.application->await("value", 201));
    EXPECT_EQ(machine.application->values.back(), Bytes{80});
}

TEST(BlueZPeripheral, tellsAReadValueOnceAlthoughItIsSubscribed) {
    Machine machine;
    machine.open();
    machine.peripheral->setNotifyValue(true, machine.battery);
    machine.peripheral->readValue(machine.battery);
    ASSERT_TRUE(machine.application->await("value"));
    machine.bluez.notify(glassesAddress, batteryLevel, {79});
    ASSERT_TRUE(machine.application->await("value", 2));
    EXPECT_THAT(machine.application->values, ElementsAre(Bytes{80}, Bytes{79}));
}

TEST(BlueZPeripheral, writesWithAResponse) {
    Machine machine;
    auto device = glasses();
    device.gatt[0].characteristics[0].flags = {"read", "write"};
    machine.open(device);
    EXPECT_EQ(machine.bluez.calls("AcquireWrite"), 0);
    machine.peripheral->writeValue(Bytes{1, 2}, machine.out, WriteType::withResponse);
    machine.peripheral->writeValue(Bytes{3}, machine.out, WriteType::withResponse);
    ASSERT_TRUE(machine.application->await("written", 2));
    EXPECT_THAT(machine.bluez.characteristic(glassesAddress, outCharacteristic).written,
                ElementsAre(Bytes{1, 2}, Bytes{3}));
    machine.peripheral->writeValue(Bytes(496, 1), machine.out, WriteType::withResponse);
    EXPECT_TRUE(machine.application->await("written with error 13"));
}

TEST(BlueZPeripheral, writesWithAResponseWhereItHasASocket) {
    Machine machine;
    machine.open();
    machine.peripheral->writeValue(Bytes{1}, machine.out, WriteType::withResponse);
    ASSERT_TRUE(machine.application->await("written"));
    machine.peripheral->writeValue(Bytes{2}, machine.out, WriteType::withoutResponse);
    EXPECT_TRUE(Machine::eventually([&] { return machine.bluez.calls("AcquireWrite") == 2; }));
    EXPECT_EQ(machine.bluez.receive(glassesAddress, outCharacteristic), Bytes{2});
    EXPECT_THAT(machine.bluez.characteristic(glassesAddress, outCharacteristic).written, ElementsAre(Bytes{1}));
}

TEST(BlueZPeripheral, writesValuesThatTheStackCarries) {
    for (const auto& [mtu, length] : std::vector<std::pair<std::uint16_t, std::size_t>>{
             {517, 495}, {499, 495}, {498, 495}, {497, 494}, {247, 244}, {23, 20}, {0, 20}}) {
        Machine machine;
        auto device = glasses();
        device.gatt[0].characteristics[0].mtu = mtu;
        machine.bluez.addDevice(device);
        machine.connect();
        EXPECT_EQ(machine.peripheral->maximumWriteValueLength(WriteType::withoutResponse), 20U);
        machine.discover();
        EXPECT_EQ(machine.peripheral->maximumWriteValueLength(WriteType::withoutResponse), length) << mtu;
        machine.peripheral->writeValue(Bytes(length + 1, 1), machine.out, WriteType::withoutResponse);
        machine.peripheral->writeValue(Bytes(length, 2), machine.out, WriteType::withoutResponse);
        EXPECT_EQ(machine.bluez.receive(glassesAddress, outCharacteristic), Bytes(length, 2)) << "a longer one is lost";
    }
}

TEST(BlueZPeripheral, losesNothingWhenItWaitsForRoom) {
    constexpr int count = 600;
    Machine machine;
    machine.open();
    int sent = 0;
    const std::function<void()> fill = [&] {
        while (sent < count && machine.peripheral->canSendWriteWithoutResponse()) {
            Bytes value(495, static_cast<std::uint8_t>(sent));
            value[1] = static_cast<std::uint8_t>(sent >> 8);
            ++sent;
            machine.peripheral->writeValue(value, machine.out, WriteType::withoutResponse);
        }
    };
    fill();
    int received = 0;
    int ready = 0;
    while (received < count) {
        if (const int now = machine.application->count("ready"); now != ready) {
            ready = now;
            fill();
        }
        const auto value = machine.bluez.receive(glassesAddress, outCharacteristic);
        ASSERT_TRUE(value) << "after " << received << " of " << sent;
        ASSERT_EQ(value->at(0) + 256 * value->at(1), received);
        ++received;
        if (sent < count && received == sent) {
            ASSERT_TRUE(machine.application->await("ready", ready + 1));
        }
    }
    EXPECT_GE(machine.bluez.calls("ReadValue"), static_cast<int>(count * 495 / bluez::SegmentLength::greatest))
        << "a request after each segment";
}

TEST(BlueZPeripheral, hasNoMoreThanTwoSegmentsUnderWay) {
    Machine machine;
    auto device = glasses();
    device.gatt[1].characteristics[0].holdsRead = true;
    machine.open(device);
    const auto arrived = [&] { return machine.bluez.packetsIn(glassesAddress, outCharacteristic); };
    const auto free = [&] {
        arrived();
        return machine.peripheral->canSendWriteWithoutResponse();
    };
    // 8,192 bytes are 21 values of 400: two such segments go, and as many more as the platform has room for wait.
    constexpr int underWay = 42;
    for (int sent = 0; sent < underWay + bluez::WriteRoom::depth; ++sent) {
        ASSERT_TRUE(Machine::eventually(free)) << sent;
        machine.peripheral->writeValue(Bytes(400, 1), machine.out, WriteType::withoutResponse);
    }
    EXPECT_TRUE(Machine::eventually([&] { return arrived() == underWay; }));
    EXPECT_FALSE(free());
}

TEST(BlueZPeripheral, writesThroughTheDaemonWhenItGivesNoSocket) {
    Machine machine;
    auto device = glasses();
    device.gatt[0].characteristics[0].givesSocket = false;
    machine.open(device);
    EXPECT_EQ(machine.peripheral->maximumWriteValueLength(WriteType::withoutResponse), 495U);
    std::vector<Bytes> sent;
    for (std::uint8_t i = 0; i < 50; ++i) {
        ASSERT_TRUE(Machine::eventually([&] { return machine.peripheral->canSendWriteWithoutResponse(); }));
        sent.push_back({i});
        machine.peripheral->writeValue(sent.back(), machine.out, WriteType::withoutResponse);
    }
    EXPECT_TRUE(Machine::eventually(
        [&] { return machine.bluez.characteristic(glassesAddress, outCharacteristic).commands.size() == 50; }));
    EXPECT_EQ(machine.bluez.characteristic(glassesAddress, outCharacteristic).commands, sent);
}

TEST(BlueZPeripheral, isToldOfServicesThatGo) {
    Machine machine;
    machine.open();
    machine.application->forget();
    machine.bluez.removeService(glassesAddress, test::dataService);
    EXPECT_TRUE(machine.application->await("modified 1"));
    machine.peripheral->readValue(machine.out);
    machine.peripheral->writeValue(Bytes{1}, machine.out, WriteType::withoutResponse);
    machine.peripheral->readValue(machine.battery);
    EXPECT_TRUE(machine.application->await("value"));
    EXPECT_THAT(machine.application->events(), ElementsAre("modified 1", "value"));
    EXPECT_TRUE(machine.peripheral->canSendWriteWithoutResponse()) << "a write that is dropped takes no room";
}

TEST(BlueZPeripheral, sendsNothingOldToACharacteristicThatComesBack) {
    Machine machine;
    machine.open();
    const Bytes old(400, 0xaa);
    while (machine.peripheral->canSendWriteWithoutResponse()) {
        machine.peripheral->writeValue(old, machine.out, WriteType::withoutResponse);
        std::this_thread::sleep_for(std::chrono::milliseconds(5)); // until it is in the socket, should that have room
    }
    machine.bluez.removeService(glassesAddress, test::dataService);
    ASSERT_TRUE(machine.application->await("modified 1"));
    EXPECT_TRUE(machine.application->await("ready")) << "there is room for what the application sends next";
    EXPECT_TRUE(machine.peripheral->canSendWriteWithoutResponse());
    machine.bluez.restoreService(glassesAddress, test::dataService);
    machine.discover();
    machine.peripheral->writeValue(Bytes{1, 2, 3}, machine.out, WriteType::withoutResponse);
    EXPECT_EQ(machine.bluez.receive(glassesAddress, outCharacteristic), (Bytes{1, 2, 3}));
}

TEST(BlueZPeripheral, goesOnWhenACharacteristicGoesBeforeItHasAnswered) {
    Machine machine;
    auto device = glasses();
    device.gatt[0].characteristics[0].holdsRead = true;
    machine.open(device);
    machine.peripheral->readValue(machine.out);
    ASSERT_TRUE(Machine::eventually([&] { return machine.bluez.calls("ReadValue") == 1; }));
    machine.bluez.removeService(glassesAddress, test::dataService);
    EXPECT_TRUE(machine.application->await("value with error 0")) << "what was asked of it is answered";
    EXPECT_TRUE(machine.application->await("modified 1"));
    machine.peripheral->readValue(machine.battery);
    EXPECT_TRUE(machine.application->await("value"));
    machine.peripheral->discoverServices();
    EXPECT_TRUE(machine.application->await("services", 2));
}

TEST(BlueZPeripheral, ignoresCharacteristicsOfAnEarlierConnection) {
    Machine machine;
    machine.open();
    const auto stale = machine.out;
    machine.bluez.dropConnection(glassesAddress);
    ASSERT_TRUE(machine.application->await("disconnected with error 7"));
    EXPECT_FALSE(machine.peripheral->canSendWriteWithoutResponse());
    machine.connect();
    machine.discover();
    EXPECT_NE(machine.out, stale);
    machine.application->forget();
    machine.peripheral->readValue(stale);
    machine.peripheral->readValue(nullptr);
    machine.peripheral->writeValue(Bytes{1}, stale, WriteType::withResponse);
    machine.peripheral->readValue(machine.battery);
    ASSERT_TRUE(machine.application->await("value"));
    EXPECT_THAT(machine.application->events(), ElementsAre("value"));
}

TEST(BlueZPeripheral, dropsOperationsWithoutAConnection) {
    Machine machine;
    machine.open();
    machine.central->cancelPeripheralConnection(machine.peripheral);
    ASSERT_TRUE(machine.application->await("disconnected"));
    machine.application->forget();
    machine.peripheral->discoverServices();
    machine.peripheral->readValue(machine.battery);
    machine.peripheral->writeValue(Bytes{1}, machine.out, WriteType::withoutResponse);
    machine.connect();
    EXPECT_THAT(machine.application->events(), ElementsAre("connected"));
}

TEST(BlueZPeripheral, isToldOfAChangedName) {
    Machine machine;
    machine.open();
    machine.bluez.change(glassesAddress, [](auto& device) { device.name = "Mine"; });
    EXPECT_TRUE(machine.application->await("name Mine"));
}

} // namespace
} // namespace tarnel
