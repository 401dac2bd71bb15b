#include "Machine.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarnel {
namespace {

using platform::CentralState;
using platform::PeripheralState;
using test::glasses;
using test::glassesAddress;
using test::glassesService;
using test::Machine;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(BlueZState, isUnsupportedWithoutAnAdapter) {
    Machine machine({.hasAdapter = false});
    EXPECT_TRUE(machine.application->await("state 2"));
    EXPECT_EQ(machine.central->state(), CentralState::unsupported);
    machine.bluez.addAdapter("hci0");
    EXPECT_TRUE(machine.application->await("state 5"));
}

TEST(BlueZState, isOffWithoutTheDaemonAndOnOnceItRuns) {
    Machine machine({.hasDaemon = false});
    EXPECT_TRUE(machine.application->await("state 4"));
    machine.bluez.start();
    EXPECT_TRUE(machine.application->await("state 5"));
    EXPECT_THAT(machine.application->events(), ElementsAre("state 4", "state 5"));
}

TEST(BlueZState, followsTheSwitch) {
    Machine machine({.isPowered = false});
    EXPECT_TRUE(machine.application->await("state 4"));
    machine.bluez.setPowered("hci0", true);
    EXPECT_TRUE(machine.application->await("state 5"));
    machine.bluez.setPowered("hci0", false);
    EXPECT_TRUE(machine.application->await("state 4", 2));
    EXPECT_THAT(machine.application->events(), ElementsAre("state 4", "state 5", "state 4"));
}

TEST(BlueZState, isUnauthorizedWhenTheBusForbidsIt) {
    Machine machine({.isForbidden = true});
    EXPECT_TRUE(machine.application->await("state 3"));
}

TEST(BlueZState, followsAnAdapterThatComesUpWithoutASignal) {
    Machine machine({.isPowered = false});
    EXPECT_TRUE(machine.application->await("state 4"));
    machine.bluez.powerUpSilently();
    EXPECT_TRUE(machine.application->await("state 5"));
    EXPECT_THAT(machine.application->events(), ElementsAre("state 4", "state 5"));
}

TEST(BlueZState, comesBackWithAnAdapterOfAnotherName) {
    Machine machine;
    machine.open();
    machine.application->forget();
    machine.bluez.removeAdapter("hci0");
    EXPECT_TRUE(machine.application->await("state 4"));
    EXPECT_EQ(machine.peripheral->state(), PeripheralState::disconnected);
    machine.bluez.addAdapter("hci2");
    EXPECT_TRUE(machine.application->await("state 5"));
    EXPECT_THAT(machine.application->events(), ElementsAre("disconnected with error 7", "state 4", "state 5"));
    EXPECT_EQ(machine.known(), machine.peripheral);
    machine.connect();
    machine.discover();
    EXPECT_NE(machine.out, nullptr);
}

TEST(BlueZState, survivesTheEndOfTheDaemon) {
    Machine machine;
    machine.open();
    for (int round = 1; round <= 3; ++round) {
        machine.bluez.crash();
        EXPECT_TRUE(machine.application->await("state 4", round));
        EXPECT_EQ(machine.peripheral->state(), PeripheralState::disconnected);
        EXPECT_FALSE(machine.peripheral->canSendWriteWithoutResponse());
        machine.bluez.start();
        EXPECT_TRUE(machine.application->await("state 5", round + 1));
        machine.connect();
        machine.discover();
    }
    EXPECT_EQ(machine.application->count("state 4"), 3);
}

TEST(BlueZState, survivesTheEndOfTheBus) {
    Machine machine;
    machine.open();
    machine.bus.stop();
    EXPECT_TRUE(machine.application->await("state 4"));
    machine.bluez.crash();
    machine.bus.start();
    machine.bluez.start();
    EXPECT_TRUE(machine.application->await("state 5", 2));
    machine.connect();
}

TEST(BlueZScan, reportsWhatIsAdvertised) {
    Machine machine;
    machine.bluez.addDevice(glasses());
    machine.bluez.addDevice({.address = "00:AA:01:01:00:09", .services = {test::batteryService}});
    ASSERT_TRUE(machine.application->await("state 5"));
    machine.central->scanForPeripherals(glassesService());
    EXPECT_TRUE(machine.central->isScanning());
    ASSERT_TRUE(machine.application->await("found"));
    EXPECT_EQ(machine.application->found.at(0), machine.known());
    EXPECT_EQ(machine.application->found.at(0)->name(), "Glasses");
    EXPECT_EQ(machine.application->strengths.at(0), -50);
    const auto& advertisement = machine.application->advertisements.at(0);
    EXPECT_EQ(advertisement.isConnectable, true);
    EXPECT_EQ(advertisement.serviceUUIDs, glassesService());
    EXPECT_EQ(advertisement.manufacturerData, (Bytes{0x34, 0x12, 7, 2}));
    EXPECT_EQ(advertisement.localName, "Glasses");
    EXPECT_THAT(machine.bluez.filteredServices(), ElementsAre(test::dataService));
}

TEST(BlueZScan, leavesOutWhatIsNotAdvertised) {
    Machine machine;
    machine.bluez.addDevice({.address = glassesAddress, .services = {test::dataService}});
    ASSERT_TRUE(machine.application->await("state 5"));
    machine.central->scanForPeripherals(glassesService());
    ASSERT_TRUE(machine.application->await("found"));
    EXPECT_EQ(machine.application->advertisements.at(0).manufacturerData, std::nullopt);
}

TEST(BlueZScan, reportsADeviceOnceUnlessItsAdvertisementChanges) {
    Machine machine;
    machine.bluez.addDevice(glasses());
    ASSERT_TRUE(machine.application->await("state 5"));
    machine.central->scanForPeripherals(glassesService());
    ASSERT_TRUE(machine.application->await("found"));
    machine.bluez.change(glassesAddress, [](auto& device) { device.rssi = -60; });
    machine.bluez.change(glassesAddress, [](auto& device) { device.manufacturer = {{0x1234, {7, 1}}}; });
    ASSERT_TRUE(machine.application->await("found", 2));
    EXPECT_EQ(machine.application->advertisements.at(1).manufacturerData, (Bytes{0x34, 0x12, 7, 1}));

    machine.central->stopScan();
    machine.central->scanForPeripherals(glassesService());
    ASSERT_TRUE(machine.application->await("found", 3)) << "a new scan reports it again";
}

/// BlueZ drops what it hears before it is told that the scan has begun, and a controller reports a device only once.
TEST(BlueZScan, looksAfreshForWhatWasMissed) {
    Machine machine;
    machine.bluez.addDevice(glasses());
    machine.bluez.startDeaf();
    ASSERT_TRUE(machine.application->await("state 5"));
    machine.central->scanForPeripherals(glassesService());
    EXPECT_TRUE(machine.application->await("found"));
    EXPECT_EQ(machine.bluez.calls("StartDiscovery"), 1) << "or it would be deaf again";
    EXPECT_TRUE(Machine::eventually([&] { return machine.bluez.calls("SetDiscoveryFilter") >= 3; }));
    EXPECT_TRUE(Machine::eventually([&] { return !machine.bluez.filtersBySignal(); }));
    EXPECT_EQ(machine.bluez.filteredServices().size(), 1u);
}

TEST(BlueZScan, endsForTheAdapterToo) {
    Machine machine;
    ASSERT_TRUE(machine.application->await("state 5"));
    machine.central->scanForPeripherals({});
    EXPECT_TRUE(Machine::eventually([&] { return machine.bluez.isDiscovering(); }));
    machine.central->stopScan();
    EXPECT_FALSE(machine.central->isScanning());
    EXPECT_TRUE(Machine::eventually([&] { return !machine.bluez.isDiscovering(); }));
    machine.bluez.addDevice(glasses());
    EXPECT_EQ(machine.application->count("found"), 0);
}

TEST(BlueZScan, endsWithThePower) {
    Machine machine;
    ASSERT_TRUE(machine.application->await("state 5"));
    machine.central->scanForPeripherals({});
    EXPECT_TRUE(Machine::eventually([&] { return machine.bluez.isDiscovering(); }));
    machine.bluez.setPowered("hci0", false);
    EXPECT_TRUE(machine.application->await("state 4"));
    EXPECT_FALSE(machine.central->isScanning());
    machine.bluez.setPowered("hci0", true);
    EXPECT_TRUE(machine.application->await("state 5", 2));
    EXPECT_FALSE(machine.bluez.isDiscovering());
}

TEST(BlueZScan, knowsDevicesOfOtherProgramsThatAreConnected) {
    Machine machine;
    machine.bluez.addDevice(glasses());
    ASSERT_TRUE(machine.application->await("state 5"));
    EXPECT_THAT(machine.central->retrieveConnectedPeripherals(glassesService()[0]), IsEmpty());
    machine.bluez.connectByAnother(glassesAddress);
    EXPECT_TRUE(Machine::eventually(
        [&] { return machine.central->retrieveConnectedPeripherals(glassesService()[0]).size() == 1; }));
    EXPECT_THAT(machine.central->retrieveConnectedPeripherals(UUID()), IsEmpty());
    machine.peripheral = machine.central->retrieveConnectedPeripherals(glassesService()[0]).at(0);
    EXPECT_EQ(machine.peripheral->state(), PeripheralState::disconnected);
    machine.central->connect(machine.peripheral);
    EXPECT_TRUE(machine.application->await("connected"));
    EXPECT_EQ(machine.bluez.calls("Connect"), 0);
}

} // namespace
} // namespace tarnel
