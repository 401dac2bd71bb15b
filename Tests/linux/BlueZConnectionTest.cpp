#include "Machine.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>

namespace tarnel {
namespace {

using platform::PeripheralState;
using test::glasses;
using test::glassesAddress;
using test::glassesService;
using test::Machine;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

long entriesOf(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

TEST(BlueZConnection, givesADeviceOneIdentifierAndOneObject) {
    Machine machine;
    ASSERT_TRUE(machine.application->await("state 5"));
    const auto peripheral = machine.known();
    EXPECT_EQ(peripheral->identifier().string(), "5461726E-656C-8000-8000-00AA01010001");
    EXPECT_EQ(machine.known(), peripheral);
    EXPECT_THAT(machine.central->retrievePeripherals({UUID()}), IsEmpty());
    EXPECT_NE(peripheral->description().find(glassesAddress), std::string::npos);
}

TEST(BlueZConnection, waitsForADeviceThatIsNotThereYet) {
    Machine machine;
    ASSERT_TRUE(machine.application->await("state 5"));
    machine.peripheral = machine.known();
    machine.central->connect(machine.peripheral);
    EXPECT_EQ(machine.peripheral->state(), PeripheralState::connecting);
    EXPECT_TRUE(Machine::eventually([&] { return machine.bluez.isDiscovering(); }));
    machine.bluez.addDevice(glasses());
    EXPECT_TRUE(machine.application->await("connected"));
    EXPECT_EQ(machine.peripheral->state(), PeripheralState::connected);
    EXPECT_TRUE(Machine::eventually([&] { return !machine.bluez.isDiscovering(); })) << "nobody waits any more";
}

TEST(BlueZConnection, asksAgainWhenTheRadioGivesUpAtFirst) {
    Machine machine;
    auto device = glasses();
    device.isBonded = true;
    device.connectFailures = {{"org.bluez.Error.Failed", "le-connection-abort-by-local"}};
    machine.bluez.addDevice(device);
    machine.connect();
    EXPECT_EQ(machine.bluez.calls("Connect"), 2);
    EXPECT_EQ(machine.application->count("connected"), 1);
    EXPECT_EQ(machine.attemptFailures(),
              std::vector<std::string>{"org.bluez.Error.Failed: le-connection-abort-by-local"});
}

TEST(BlueZConnection, isNoticedWhenTheDaemonDoesNotSignalIt) {
    for (const bool isKnown : {false, true}) {
        Machine machine;
        auto device = glasses();
        device.isBonded = isKnown;
        device.connectsSilently = true;
        machine.bluez.addDevice(device);
        machine.connect();
        EXPECT_EQ(machine.bluez.calls("Connect"), 1);
        EXPECT_EQ(machine.application->count("connected"), 1);
        EXPECT_EQ(machine.attemptFailures(), std::vector<std::string>());
        machine.discover();
        EXPECT_NE(machine.out, nullptr);
    }
}

TEST(BlueZConnection, takesOverFromAClientThatIsGone) {
    Machine machine;
    auto device = glasses();
    device.isBonded = true;
    device.connectFailures = {{"org.bluez.Error.InProgress", "Operation already in progress"}};
    machine.bluez.addDevice(device);
    machine.connect();
    EXPECT_EQ(machine.bluez.calls("Disconnect"), 1);
}

test::FakeDevice bondedGlasses() {
    auto device = glasses();
    device.isBonded = true;
    return device;
}

test::FakeDevice forgetfulGlasses(bool isNamedLost) {
    auto device = bondedGlasses();
    device.hasLostBond = true;
    device.isNamedLost = isNamedLost;
    return device;
}

/// As the SDK does, an application asks again for a connection that has ended.
void connectUntilFailed(Machine& machine, int ends) {
    ASSERT_TRUE(machine.application->await("state 5"));
    machine.peripheral = machine.known();
    for (int end = 1; end <= ends; ++end) {
        machine.central->connect(machine.peripheral);
        ASSERT_TRUE(machine.application->await("disconnected with error 7", end));
    }
    machine.central->connect(machine.peripheral);
    ASSERT_TRUE(machine.application->await("failed with error 14"));
    EXPECT_EQ(machine.peripheral->state(), PeripheralState::disconnected);
}

TEST(BlueZConnection, namesALostBond) {
    Machine machine;
    auto device = bondedGlasses();
    device.connectFailures = {{"org.bluez.Error.AuthenticationFailed", "Authentication Failed"}};
    machine.bluez.addDevice(device);
    connectUntilFailed(machine, 0);
}

TEST(BlueZConnection, namesALostBondForWhichTheDaemonGivesTheReason) {
    Machine machine;
    machine.bluez.addDevice(forgetfulGlasses(true));
    connectUntilFailed(machine, 1);
}

TEST(BlueZConnection, namesALostBondOfWhichTheDaemonSaysNothing) {
    Machine machine;
    machine.bluez.addDevice(forgetfulGlasses(false));
    connectUntilFailed(machine, 3);
}

TEST(BlueZConnection, comesBackOnceALostBondIsNamed) {
    Machine machine;
    machine.bluez.addDevice(forgetfulGlasses(true));
    connectUntilFailed(machine, 1);
    EXPECT_TRUE(Machine::eventually([&] { return machine.bluez.calls("RemoveDevice") == 1; }));
    machine.application->forget();
    machine.central->scanForPeripherals(glassesService());
    ASSERT_TRUE(machine.application->await("found"));
    machine.central->stopScan();
    machine.connect();
    machine.discover();
    EXPECT_NE(machine.out, nullptr);
}

TEST(BlueZConnection, keepsTheBondOfADeviceThatIsLostAgainAndAgain) {
    Machine machine;
    machine.bluez.addDevice(bondedGlasses());
    ASSERT_TRUE(machine.application->await("state 5"));
    machine.peripheral = machine.known();
    for (int round = 1; round <= 5; ++round) {
        machine.central->connect(machine.peripheral);
        ASSERT_TRUE(machine.application->await("connected", round));
        machine.bluez.dropConnection(glassesAddress);
        ASSERT_TRUE(machine.application->await("disconnected with error 7", round));
    }
    EXPECT_EQ(machine.application->count("failed with error 14"), 0);
    EXPECT_EQ(machine.bluez.calls("RemoveDevice"), 0);
}

TEST(BlueZConnection, endsWithoutAnErrorWhenItIsCancelled) {
    Machine machine;
    machine.open();
    machine.application->forget();
    machine.central->cancelPeripheralConnection(machine.peripheral);
    machine.central->cancelPeripheralConnection(machine.peripheral);
    EXPECT_TRUE(machine.application->await("disconnected"));
    EXPECT_EQ(machine.peripheral->state(), PeripheralState::disconnected);
    EXPECT_TRUE(Machine::eventually([&] { return !machine.bluez.device(glassesAddress).isConnected; }));
    machine.connect();
    EXPECT_THAT(machine.application->events(), ElementsAre("disconnected", "connected"));
}

TEST(BlueZConnection, canBeCancelledWhileItIsPending) {
    Machine machine;
    ASSERT_TRUE(machine.application->await("state 5"));
    machine.peripheral = machine.known();
    machine.central->connect(machine.peripheral);
    EXPECT_TRUE(Machine::eventually([&] { return machine.bluez.isDiscovering(); }));
    machine.central->cancelPeripheralConnection(machine.peripheral);
    EXPECT_EQ(machine.peripheral->state(), PeripheralState::disconnected);
    EXPECT_TRUE(Machine::eventually([&] { return !machine.bluez.isDiscovering(); }));
    machine.bluez.addDevice(glasses());
    EXPECT_THAT(machine.application->events(), ElementsAre("state 5"));
}

TEST(BlueZConnection, canBeCancelledWhileTheDaemonConnects) {
    Machine machine;
    auto device = glasses();
    device.isBonded = device.holdsConnect = true;
    machine.bluez.addDevice(device);
    ASSERT_TRUE(machine.application->await("state 5"));
    machine.peripheral = machine.known();
    machine.central->connect(machine.peripheral);
    EXPECT_TRUE(Machine::eventually([&] { return machine.bluez.calls("Connect") == 1; }));
    machine.central->cancelPeripheralConnection(machine.peripheral);
    EXPECT_TRUE(Machine::eventually([&] { return machine.bluez.calls("Disconnect") == 1; }));
    machine.bluez.change(glassesAddress, [](auto& changed) { changed.holdsConnect = false; });
    machine.connect();
}

TEST(BlueZConnection, takesNoAnswerToAnAttemptThatWasCancelledForItsOwn) {
    Machine machine;
    auto device = glasses();
    device.holdsConnect = device.holdsCancelled = true;
    machine.bluez.addDevice(device);
    ASSERT_TRUE(machine.application->await("state 5"));
    machine.central->scanForPeripherals(glassesService());
    ASSERT_TRUE(machine.application->await("found"));
    machine.central->stopScan();
    machine.peripheral = machine.known();
    machine.central->connect(machine.peripheral);
    ASSERT_TRUE(Machine::eventually([&] { return machine.bluez.calls("Connect") == 1; }));
    machine.central->cancelPeripheralConnection(machine.peripheral);
    ASSERT_TRUE(Machine::eventually([&] { return machine.bluez.calls("Disconnect") == 1; }));
    // When discovery has come and gone, the daemon's answer has arrived too.
    machine.central->scanForPeripherals(glassesService());
    ASSERT_TRUE(machine.application->await("found", 2));
    machine.central->stopScan();
    machine.central->connect(machine.peripheral);
    ASSERT_TRUE(Machine::eventually([&] { return machine.bluez.calls("Connect") == 2; }));
    machine.bluez.failHeldConnect();
    machine.bluez.failHeldConnect();
    EXPECT_TRUE(Machine::eventually([&] { return machine.bluez.calls("Connect") == 3; })) << "after its own failure";
    EXPECT_EQ(machine.attemptFailures().size(), 1u);
}

TEST(BlueZConnection, doesNotLookForDevicesWhileItIsMade) {
    Machine machine;
    auto device = glasses();
    device.holdsConnect = true;
    machine.bluez.addDevice(device);
    ASSERT_TRUE(machine.application->await("state 5"));
    machine.central->scanForPeripherals(glassesService());
    ASSERT_TRUE(machine.application->await("found"));
    EXPECT_TRUE(machine.bluez.isDiscovering());
    machine.central->connect(machine.known());
    EXPECT_TRUE(Machine::eventually([&] { return machine.bluez.calls("Connect") == 1; }));
    EXPECT_FALSE(machine.bluez.isDiscovering()) << "it is stopped before the daemon is asked to connect";
    EXPECT_TRUE(Machine::eventually([&] { return machine.bluez.isDiscovering(); })) << "and goes on when it takes long";
    EXPECT_TRUE(machine.central->isScanning());
}

TEST(BlueZConnection, connectsAgainWhenAskedWhileItDisconnects) {
    Machine machine;
    machine.open();
    machine.application->forget();
    machine.central->cancelPeripheralConnection(machine.peripheral);
    machine.central->connect(machine.peripheral);
    EXPECT_TRUE(machine.application->await("connected"));
    EXPECT_THAT(machine.application->events(), ElementsAre("disconnected", "connected"));
    EXPECT_TRUE(machine.bluez.device(glassesAddress).isConnected);
}

/// BlueZ answers a call to disconnect before it announces that the connection is gone.
TEST(BlueZConnection, doesNotTakeOneThatHasEndedForOneThatIsThere) {
    Machine machine;
    machine.open();
    machine.bluez.change(glassesAddress, [](auto& device) { device.endsSilently = true; });
    machine.application->forget();
    machine.central->cancelPeripheralConnection(machine.peripheral);
    // When discovery has come and gone, the daemon's answer has arrived too.
    machine.central->scanForPeripherals(glassesService());
    EXPECT_TRUE(Machine::eventually([&] { return machine.bluez.isDiscovering(); }));
    machine.central->stopScan();
    EXPECT_TRUE(Machine::eventually([&] { return !machine.bluez.isDiscovering(); }));
    EXPECT_EQ(machine.bluez.calls("Disconnect"), 1);
    machine.connect();
    EXPECT_EQ(machine.bluez.calls("Connect"), 2);
    EXPECT_TRUE(machine.bluez.device(glassesAddress).isConnected);
}

TEST(BlueZConnection, endsWithAnErrorWhenTheDeviceGoes) {
    Machine machine;
    machine.open();
    machine.bluez.dropConnection(glassesAddress);
    EXPECT_TRUE(machine.application->await("disconnected with error 7"));
    EXPECT_EQ(machine.peripheral->state(), PeripheralState::disconnected);
}

TEST(BlueZConnection, endsWhenTheDaemonForgetsTheDevice) {
    Machine machine;
    machine.open();
    machine.bluez.leaveRange(glassesAddress);
    EXPECT_TRUE(machine.application->await("disconnected with error 7"));
    EXPECT_EQ(machine.application->count("disconnected with error 7"), 1);
}

TEST(BlueZConnection, isMadeWithADeviceThatTheDaemonForgotWhileItConnectedIt) {
    Machine machine;
    auto device = glasses();
    device.holdsConnect = true;
    machine.bluez.addDevice(device);
    ASSERT_TRUE(machine.application->await("state 5"));
    machine.peripheral = machine.known();
    machine.central->connect(machine.peripheral);
    ASSERT_TRUE(Machine::eventually([&] { return machine.bluez.calls("Connect") == 1; }));
    machine.bluez.leaveRange(glassesAddress);
    machine.bluez.change(glassesAddress, [](auto& changed) { changed.holdsConnect = false; });
    EXPECT_TRUE(Machine::eventually([&] { return !machine.attemptFailures().empty(); }));
    machine.bluez.enterRange(glassesAddress);
    EXPECT_TRUE(machine.application->await("connected"));
    EXPECT_EQ(machine.bluez.calls("Connect"), 2);
}

TEST(BlueZConnection, tellsWhenRegisteredGlassesReturn) {
    Machine machine;
    machine.open();
    machine.bluez.leaveRange(glassesAddress);
    ASSERT_TRUE(machine.application->await("disconnected with error 7"));
    machine.application->forget();
    machine.central->registerForConnectionEvents({machine.peripheral->identifier()});
    EXPECT_TRUE(Machine::eventually([&] { return machine.bluez.isDiscovering(); }));
    EXPECT_THAT(machine.application->events(), IsEmpty());
    machine.bluez.enterRange(glassesAddress);
    EXPECT_TRUE(machine.application->await("peer connected"));
    EXPECT_TRUE(Machine::eventually([&] { return !machine.bluez.isDiscovering(); })) << "nobody waits any more";
    machine.connect();
    machine.bluez.leaveRange(glassesAddress);
    EXPECT_TRUE(machine.application->await("peer disconnected"));
}

TEST(BlueZConnection, tellsWhenRegisteredGlassesReturnThatTheDaemonHasForgotten) {
    Machine machine;
    machine.bluez.addDevice(glasses());
    ASSERT_TRUE(machine.application->await("state 5"));
    machine.peripheral = machine.known();
    machine.central->registerForConnectionEvents({machine.peripheral->identifier()});
    ASSERT_TRUE(machine.application->await("peer connected"));
    machine.bluez.leaveRange(glassesAddress);
    EXPECT_TRUE(machine.application->await("peer disconnected"));
    EXPECT_TRUE(Machine::eventually([&] { return machine.bluez.isDiscovering(); }));
    machine.bluez.enterRange(glassesAddress);
    EXPECT_TRUE(machine.application->await("peer connected", 2));
}

TEST(BlueZConnection, looksNoLongerForTheReturnOfGlassesThatAreNoLongerWanted) {
    Machine machine;
    ASSERT_TRUE(machine.application->await("state 5"));
    machine.peripheral = machine.known();
    machine.central->registerForConnectionEvents({machine.peripheral->identifier()});
    ASSERT_TRUE(Machine::eventually([&] { return machine.bluez.isDiscovering(); }));
    machine.central->cancelPeripheralConnection(machine.peripheral);
    EXPECT_TRUE(Machine::eventually([&] { return !machine.bluez.isDiscovering(); }));
    machine.bluez.addDevice(glasses());
    machine.bluez.connectByAnother(glassesAddress);
    EXPECT_TRUE(Machine::eventually(
        [&] { return machine.central->retrieveConnectedPeripherals(glassesService()[0]).size() == 1; }));
    EXPECT_EQ(machine.application->count("peer connected"), 0);
}

TEST(BlueZConnection, looksNoLongerForThemOnceBluetoothIsOnAgain) {
    Machine machine;
    ASSERT_TRUE(machine.application->await("state 5"));
    machine.peripheral = machine.known();
    machine.central->registerForConnectionEvents({machine.peripheral->identifier()});
    ASSERT_TRUE(Machine::eventually([&] { return machine.bluez.isDiscovering(); }));
    machine.bluez.setPowered("hci0", false);
    ASSERT_TRUE(machine.application->await("state 4"));
    machine.central->cancelPeripheralConnection(machine.peripheral);
    machine.bluez.setPowered("hci0", true);
    ASSERT_TRUE(machine.application->await("state 5", 2));
    machine.bluez.addDevice(bondedGlasses());
    machine.bluez.connectByAnother(glassesAddress);
    machine.connect();
    machine.discover();
    EXPECT_EQ(machine.application->count("peer connected"), 0);
}

TEST(BlueZConnection, looksForTheReturnOfThoseThatWereRegisteredLast) {
    Machine machine;
    ASSERT_TRUE(machine.application->await("state 5"));
    const auto first = machine.known();
    const auto second = machine.known("00:AA:01:01:00:02");
    machine.central->registerForConnectionEvents({first->identifier()});
    machine.central->registerForConnectionEvents({second->identifier()});
    machine.bluez.addDevice(glasses());
    machine.bluez.addDevice(glasses("00:AA:01:01:00:02"));
    EXPECT_TRUE(machine.application->await("peer connected"));
    EXPECT_TRUE(Machine::eventually([&] { return !machine.bluez.isDiscovering(); }));
    EXPECT_EQ(machine.application->count("peer connected"), 1);
}

TEST(BlueZConnection, endsWithItsCentral) {
    Machine machine;
    machine.open();
    machine.quit();
    EXPECT_TRUE(Machine::eventually([&] { return !machine.bluez.device(glassesAddress).isConnected; }));
}

TEST(BlueZConnection, comesBackAgainAndAgainWithoutLeavingAnythingBehind) {
    Machine machine;
    machine.open();
    const auto files = entriesOf("/proc/self/fd");
    const auto threads = entriesOf("/proc/self/task");
    for (int round = 0; round < 100; ++round) {
        const int before = machine.application->count("disconnected with error 7");
        machine.bluez.dropConnection(glassesAddress);
        ASSERT_TRUE(machine.application->await("disconnected with error 7", before + 1)) << "round " << round;
        machine.connect();
        machine.discover();
    }
    EXPECT_TRUE(Machine::eventually([&] { return entriesOf("/proc/self/fd") <= files; }));
    EXPECT_EQ(entriesOf("/proc/self/task"), threads);
}

TEST(BlueZConnection, leavesNothingBehindWhenTheProviderEnds) {
    Machine machine;
    machine.open();
    machine.quit();
    const auto files = entriesOf("/proc/self/fd");
    const auto threads = entriesOf("/proc/self/task");
    for (int round = 0; round < 3; ++round) {
        machine.application->forget();
        machine.launch();
        machine.connect();
        machine.discover();
        machine.quit();
        EXPECT_TRUE(Machine::eventually([&] { return !machine.bluez.device(glassesAddress).isConnected; }));
    }
    EXPECT_TRUE(Machine::eventually([&] { return entriesOf("/proc/self/fd") <= files; }));
    EXPECT_TRUE(Machine::eventually([&] { return entriesOf("/proc/self/task") <= threads; }));
}

TEST(BlueZPairing, isAcceptedForDevicesOfTheApplicationOnly) {
    Machine machine;
    machine.open();
    auto other = glasses("00:AA:01:01:00:02");
    other.isBonded = true;
    machine.bluez.addDevice(other);
    EXPECT_EQ(machine.bluez.calls("RegisterAgent"), 1);
    EXPECT_TRUE(machine.bluez.askAgent(glassesAddress));
    EXPECT_FALSE(machine.bluez.askAgent(other.address));
}

} // namespace
} // namespace tarnel
