#include "support/FakeBluetooth.hpp"
#include "support/TestPlatform.hpp"

#include <TarnelSDK/bluetooth/BluetoothManager.hpp>
#include <TarnelSDK/foundation/Log.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <any>
#include <chrono>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using platform::CentralState;
using platform::PeripheralState;
using test::FakePeripheral;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// Plays the manager.
class FakeOwner : public BluetoothOwner {
public:
    std::vector<std::shared_ptr<Tarnel>> getAllDevices() const override { return devices; }
    std::shared_ptr<Tarnel> currentDevice() const override { return current; }
    void unlink() override { ++unlinks; }
    void setScanning(bool value) override { isScanning = value; }
    void setBluetoothEnabled(bool value) override { isEnabled = value; }

    std::vector<std::shared_ptr<Tarnel>> devices;
    std::shared_ptr<Tarnel> current;
    int unlinks = 0;
    bool isScanning = false;
    bool isEnabled = false;
};

class BluetoothManagerTest : public ::testing::Test {
protected:
    BluetoothManagerTest() {
        platform::Provided<BluetoothOwner>::provide(owner);
        fake->setState(CentralState::poweredOn);
        platform.run();
    }

    std::shared_ptr<FakePeripheral> makePeripheral(PeripheralState state = PeripheralState::disconnected) {
        auto peripheral = std::make_shared<FakePeripheral>(UUID::random());
        peripheral->currentState = state;
        return peripheral;
    }

    std::shared_ptr<Tarnel> makeDevice(const std::shared_ptr<FakePeripheral>& peripheral) {
        auto device = Tarnel::make(peripheral);
        owner->devices.push_back(device);
        return device;
    }

    static platform::AdvertisementData advertisement(std::optional<Bytes> manufacturerData,
                                                     std::vector<UUID> services = {Bluetooth::GATT_SERVICE_UUID}) {
        platform::AdvertisementData data;
        data.isConnectable = true;
        data.serviceUUIDs = std::move(services);
        data.manufacturerData = std::move(manufacturerData);
        return data;
    }

    void scan() {
        bluetooth.scan([this](const auto& peripheral) { found.push_back(peripheral); });
    }

    void discover(const platform::AdvertisementData& data, std::shared_ptr<FakePeripheral> peripheral = nullptr) {
        fake->discover(peripheral ? peripheral : makePeripheral(), data);
        platform.run();
    }

    void observe(const std::string& name) {
        observations.push_back(platform.notificationCenter().observe(
            name, [this](const auto& notification) { notifications.push_back(notification); }));
    }

    const std::shared_ptr<test::FakeBluetooth> fake = std::make_shared<test::FakeBluetooth>();
    test::TestPlatform platform{{.bluetooth = fake}};
    const std::shared_ptr<FakeOwner> owner = std::make_shared<FakeOwner>();
    Bluetooth& bluetooth = Bluetooth::shared();
    test::FakeCentral& central = *fake->central;
    std::vector<platform::PeripheralPointer> found;
    std::vector<platform::Notification> notifications;
    std::vector<platform::Observation> observations;
};

TEST_F(BluetoothManagerTest, MakesTheCentralWithItsQueueAndOffersToSwitchBluetoothOn) {
    EXPECT_TRUE(fake->showedPowerAlert);
    EXPECT_EQ(fake->queue, bluetooth.queue());
    EXPECT_EQ(bluetooth.queue()->label(), "com.brenlo.bluetooth");
    EXPECT_EQ(bluetooth.state(), CentralState::poweredOn);
}

TEST_F(BluetoothManagerTest, KnowsTheIdentifiersOfTheGlasses) {
    EXPECT_EQ(Bluetooth::GATT_SERVICE_UUID.string(), "39191400-BFC2-4BEE-A81A-28C23B6AC84A");
    EXPECT_EQ(Bluetooth::GATT_OUT_CHARACTERISTIC_UUID.string(), "39191401-BFC2-4BEE-A81A-28C23B6AC84A");
    EXPECT_EQ(Bluetooth::GATT_IN_CHARACTERISTIC_UUID.string(), "39191402-BFC2-4BEE-A81A-28C23B6AC84A");
    EXPECT_EQ(Bluetooth::DFU_SERVICE_UUID.string(), "0000FE59-0000-1000-8000-00805F9B34FB");
    EXPECT_EQ(Bluetooth::DEVICE_INFORMATION_SERVICE.string(), "0000180A-0000-1000-8000-00805F9B34FB");
}

TEST_F(BluetoothManagerTest, IsReadyExactlyWhilePoweredOn) {
    EXPECT_TRUE(bluetooth.isReady.value());
    EXPECT_TRUE(owner->isEnabled);
    for (const auto state : {CentralState::unknown, CentralState::resetting, CentralState::unsupported,
                             CentralState::unauthorized, CentralState::poweredOff}) {
        fake->setState(CentralState::poweredOn);
        fake->setState(state);
        platform.run();
        EXPECT_FALSE(bluetooth.isReady.value());
        EXPECT_FALSE(owner->isEnabled);
    }
    observe(Bluetooth::bluetoothPoweredOn);
    fake->setState(CentralState::poweredOn);
    platform.run();
    EXPECT_TRUE(bluetooth.isReady.value());
    EXPECT_THAT(notifications, SizeIs(1));
}

TEST_F(BluetoothManagerTest, EndsTheSessionOfTheCurrentDeviceWhenPoweredOffAndOnlyThen) {
    owner->current = makeDevice(makePeripheral());
    owner->current->setIsAuthenticated(true);
    for (const auto state :
         {CentralState::unknown, CentralState::resetting, CentralState::unsupported, CentralState::unauthorized}) {
        fake->setState(state);
        platform.run();
        EXPECT_TRUE(owner->current->isAuthenticated());
    }
    fake->setState(CentralState::poweredOff);
    platform.run();
    EXPECT_FALSE(owner->current->isAuthenticated());
}

TEST_F(BluetoothManagerTest, KeepsTheCallbackOfAScanWithoutPowerAndStartsNothing) {
    const auto known = makePeripheral();
    scan();
    discover(advertisement(std::nullopt), known);
    EXPECT_THAT(found, SizeIs(1));
    fake->setState(CentralState::poweredOff);
    platform.run();
    const auto scans = central.scans.size();
    scan();
    EXPECT_THAT(central.scans, SizeIs(scans));
    EXPECT_THAT(bluetooth.scannedPeripherals(), IsEmpty());
    discover(advertisement(std::nullopt));
    EXPECT_THAT(found, SizeIs(2));
}

TEST_F(BluetoothManagerTest, ScansForGlassesAndForGlassesInUpdateMode) {
    scan();
    EXPECT_THAT(central.scans, ElementsAre(ElementsAre(Bluetooth::GATT_SERVICE_UUID, Bluetooth::DFU_SERVICE_UUID)));
    EXPECT_TRUE(owner->isScanning);
    EXPECT_EQ(central.scanStops, 0);
    scan();
    EXPECT_EQ(central.scanStops, 1) << "the running scan is stopped first";
    EXPECT_THAT(central.scans, SizeIs(2));
    bluetooth.stopScan();
    EXPECT_FALSE(central.scanning);
    EXPECT_FALSE(owner->isScanning);
}

TEST_F(BluetoothManagerTest, ReportsGlassesThatTheSystemHoldsConnectedOnce) {
    const auto held = makePeripheral(PeripheralState::connected);
    const auto update = makePeripheral(PeripheralState::connected);
    central.heldConnected = {{Bluetooth::GATT_SERVICE_UUID, held}, {Bluetooth::DFU_SERVICE_UUID, update}};
    observe(Bluetooth::scannedPeripheralChange);
    scan();
    EXPECT_THAT(found, ElementsAre(held));
    EXPECT_THAT(bluetooth.scannedPeripherals(), ElementsAre(held, update));
    ASSERT_THAT(notifications, SizeIs(1));
    EXPECT_EQ(std::any_cast<platform::PeripheralPointer>(notifications[0].userInfo.at("peripheral")), update);
    discover(advertisement(std::nullopt), held);
    EXPECT_THAT(found, SizeIs(1));
}

TEST_F(BluetoothManagerTest, KnowsGlassesInNormalModeByTheEndOfTheirManufacturerData) {
    scan();
    discover(advertisement(std::nullopt));
    EXPECT_THAT(found, SizeIs(1));
    discover(advertisement(Bytes{1, 2}));
    EXPECT_THAT(found, SizeIs(2));
    discover(advertisement(Bytes{2, 1}));
    discover(advertisement(Bytes{}));
    EXPECT_THAT(found, SizeIs(2));
    EXPECT_THAT(bluetooth.scannedPeripherals(), SizeIs(2));
}

TEST_F(BluetoothManagerTest, IgnoresAdvertisementsThatLackWhatItNeeds) {
    scan();
    auto data = advertisement(std::nullopt);
    data.isConnectable = false;
    discover(data);
    data.isConnectable = std::nullopt;
    discover(data);
    data = advertisement(std::nullopt);
    data.serviceUUIDs = std::nullopt;
    discover(data);
    discover(advertisement(std::nullopt, {UUID::bluetooth("1234")}));
    EXPECT_THAT(found, IsEmpty());
    EXPECT_THAT(bluetooth.scannedPeripherals(), IsEmpty());
}

TEST_F(BluetoothManagerTest, ReportsAPeripheralOnceAScan) {
    const auto peripheral = makePeripheral();
    scan();
    discover(advertisement(std::nullopt), peripheral);
    discover(advertisement(std::nullopt), peripheral);
    EXPECT_THAT(found, SizeIs(1));
    scan();
    discover(advertisement(std::nullopt), peripheral);
    EXPECT_THAT(found, SizeIs(2));
}

TEST_F(BluetoothManagerTest, TellsGlassesFromGlassesInUpdateMode) {
    observe(Bluetooth::scannedPeripheralChange);
    scan();
    const std::vector<UUID> both{Bluetooth::GATT_SERVICE_UUID, Bluetooth::DFU_SERVICE_UUID};
    discover(advertisement(Bytes{9, 2}, both));
    EXPECT_THAT(found, SizeIs(1));
    EXPECT_THAT(notifications, IsEmpty());
    discover(advertisement(Bytes{9, 1}, both));
    const auto update = makePeripheral();
    discover(advertisement(std::nullopt, {Bluetooth::DFU_SERVICE_UUID}), update);
    discover(advertisement(std::nullopt, {Bluetooth::DFU_SERVICE_UUID}), update);
    EXPECT_THAT(found, SizeIs(1));
    EXPECT_THAT(notifications, SizeIs(2));
}

TEST_F(BluetoothManagerTest, ConnectsADeviceThatTheSystemHoldsConnected) {
    const auto peripheral = makePeripheral(PeripheralState::connected);
    const auto device = makeDevice(peripheral);
    central.heldConnected = {{Bluetooth::GATT_SERVICE_UUID, makePeripheral(PeripheralState::connected)},
                             {Bluetooth::GATT_SERVICE_UUID, peripheral}};
    central.known = {peripheral};
    bluetooth.connect(device);
    EXPECT_THAT(central.connects, IsEmpty());
    EXPECT_EQ(peripheral->serviceDiscoveries, 1);
    EXPECT_EQ(device->state(), DeviceState::connected);
}

TEST_F(BluetoothManagerTest, ConnectsADeviceThatTheSystemKnows) {
    const auto peripheral = makePeripheral();
    const auto device = makeDevice(peripheral);
    bluetooth.connect(device);
    EXPECT_THAT(central.connects, IsEmpty()) << "nobody knows it";
    central.known = {makePeripheral(), peripheral};
    bluetooth.connect(device);
    EXPECT_THAT(central.connects, ElementsAre(peripheral));
    device->setPeripheralID(std::nullopt);
    bluetooth.connect(device);
    EXPECT_THAT(central.connects, SizeIs(1));
    fake->setState(CentralState::poweredOff);
    platform.run();
    device->setPeripheralID(peripheral->identifier());
    bluetooth.connect(device);
    EXPECT_THAT(central.connects, SizeIs(1));
}

TEST_F(BluetoothManagerTest, RequestsAConnectionOnlyInTheStatesThatNeedOne) {
    const auto connect = [this](PeripheralState state, bool force) {
        central.connects.clear();
        bluetooth.connectToPeripheral(makePeripheral(state), force);
        return central.connects.size();
    };
    EXPECT_EQ(connect(PeripheralState::disconnected, false), 1u);
    EXPECT_EQ(connect(PeripheralState::connecting, false), 1u);
    EXPECT_EQ(connect(PeripheralState::connected, false), 0u);
    EXPECT_EQ(connect(PeripheralState::disconnecting, false), 0u);
    EXPECT_EQ(connect(PeripheralState::connected, true), 1u);
    EXPECT_EQ(connect(PeripheralState::disconnecting, true), 1u);
}

TEST_F(BluetoothManagerTest, OnlyLogsForAPeripheralThatIsDisconnecting) {
    std::vector<std::string> lines;
    setLogEnabled(true);
    const auto observation = platform.notificationCenter().observe("log", [&](const auto& notification) {
        lines.push_back(std::any_cast<std::string>(notification.userInfo.at("msg")));
    });
    const auto peripheral = makePeripheral(PeripheralState::disconnecting);
    bluetooth.connectToPeripheral(peripheral, false);
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_THAT(lines[0], ::testing::HasSubstr("): disconnecting peripheral, should reconnect, once disconnected.. "
                                               "hold tight | BluetoothManager:"));
    EXPECT_THAT(lines[0], ::testing::EndsWith(" connectToPeripheral(peripheral:forceConnect:)"));
    EXPECT_EQ(peripheral->serviceDiscoveries, 0);
}

TEST_F(BluetoothManagerTest, BindsACompletedConnectionAndEndsTheScan) {
    const auto peripheral = makePeripheral();
    std::shared_ptr<Tarnel> connected;
    scan();
    discover(advertisement(std::nullopt), peripheral);
    bluetooth.connectToPeripheral(peripheral, [&](const auto& device) { connected = device; });
    ASSERT_EQ(connected, nullptr);
    ::testing::internal::CaptureStdout();
    fake->completeConnection(peripheral);
    platform.run();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), ">>>>>>CREATING NEW DEVICE>>>>THIS \n");
    ASSERT_TRUE(connected);
    EXPECT_EQ(connected->state(), DeviceState::connected);
    EXPECT_EQ(connected->peripheral(), peripheral);
    EXPECT_EQ(connected->peripheralID(), peripheral->identifier());
    EXPECT_EQ(peripheral->serviceDiscoveries, 1);
    EXPECT_THAT(bluetooth.scannedPeripherals(), IsEmpty());
    EXPECT_FALSE(central.scanning);
    EXPECT_FALSE(owner->isScanning);
    connected.reset();
    fake->completeConnection(peripheral);
    platform.run();
    EXPECT_EQ(connected, nullptr) << "the callback is called once";
}

TEST_F(BluetoothManagerTest, BindsAKnownDeviceInsteadOfMakingOne) {
    const auto peripheral = makePeripheral();
    const auto device = makeDevice(peripheral);
    device->setPeripheral(nullptr);
    fake->completeConnection(peripheral);
    platform.run();
    EXPECT_EQ(device->peripheral(), peripheral);
    EXPECT_EQ(device->state(), DeviceState::connected);
}

TEST_F(BluetoothManagerTest, KeepsADeviceThatNobodyHasLinkedYetUntilItIsDropped) {
    const auto peripheral = makePeripheral();
    fake->completeConnection(peripheral);
    platform.run();
    EXPECT_FALSE(peripheral->delegate.expired());
    fake->drop(peripheral);
    platform.run();
    EXPECT_TRUE(peripheral->delegate.expired());
}

TEST_F(BluetoothManagerTest, DoesNotCallTheNewCallbackForAPeripheralThatIsConnectedAlready) {
    const auto peripheral = makePeripheral(PeripheralState::connected);
    int older = 0;
    int newer = 0;
    bluetooth.connectToPeripheral(makePeripheral(), [&](const auto&) { ++older; });
    bluetooth.connectToPeripheral(peripheral, [&](const auto&) { ++newer; });
    EXPECT_EQ(older, 1);
    EXPECT_EQ(newer, 0);
    fake->completeConnection(makePeripheral());
    platform.run();
    EXPECT_EQ(newer, 1) << "it is called at the next completed connection";
}

TEST_F(BluetoothManagerTest, ReportsTheAuthorisationToSeeNotifications) {
    observe("didUpdateANCSAuthorization");
    const auto peripheral = makePeripheral();
    fake->completeConnection(peripheral);
    platform.run();
    EXPECT_THAT(notifications, IsEmpty());
    peripheral->isANCSAuthorized = true;
    fake->completeConnection(peripheral);
    platform.run();
    peripheral->isANCSAuthorized = false;
    fake->report([&](auto& delegate) { delegate.didUpdateANCSAuthorization(central, peripheral); });
    platform.run();
    ASSERT_THAT(notifications, SizeIs(2));
    EXPECT_TRUE(std::any_cast<bool>(notifications[0].userInfo.at("ancsAuthorized")));
    EXPECT_FALSE(std::any_cast<bool>(notifications[1].userInfo.at("ancsAuthorized")));
}

TEST_F(BluetoothManagerTest, UnlinksTheCurrentDeviceWhenAnyPeripheralHasForgottenTheHost) {
    observe("PEER_REMOVED_PAIRING_INFO");
    owner->current = makeDevice(makePeripheral());
    fake->failConnection(makePeripheral(), platform::connectionTimedOut);
    platform.run();
    EXPECT_EQ(owner->unlinks, 0);
    fake->failConnection(makePeripheral(), platform::peerRemovedPairingInformation);
    platform.run();
    EXPECT_EQ(owner->unlinks, 1);
    EXPECT_THAT(notifications, SizeIs(1));
}

TEST_F(BluetoothManagerTest, TriesAFailedConnectionAgainOnlyWhileTheDeviceIsScanning) {
    const auto peripheral = makePeripheral();
    const auto device = makeDevice(peripheral);
    central.known = {peripheral};
    fake->failConnection(peripheral, platform::connectionFailed);
    platform.run();
    EXPECT_THAT(central.connects, IsEmpty());
    device->setState(DeviceState::scanning);
    fake->failConnection(peripheral, platform::connectionFailed);
    platform.run();
    EXPECT_THAT(central.connects, ElementsAre(peripheral));
}

TEST_F(BluetoothManagerTest, RegistersForTheReturnOfADroppedDeviceAfterTwoSecondsOnce) {
    const auto peripheral = makePeripheral();
    const auto device = makeDevice(peripheral);
    device->setIsAuthenticated(true);
    fake->drop(peripheral);
    platform.run();
    EXPECT_FALSE(device->isAuthenticated());
    platform.advance(1999ms);
    EXPECT_THAT(central.registrations, IsEmpty());
    platform.advance(1ms);
    EXPECT_THAT(central.registrations, ElementsAre(ElementsAre(peripheral->identifier())));
    platform.advance(1h);
    EXPECT_THAT(central.registrations, SizeIs(1));
    EXPECT_THAT(central.connects, IsEmpty());

    fake->connectionEvent(peripheral, platform::ConnectionEvent::peerDisconnected);
    platform.run();
    EXPECT_THAT(central.connects, IsEmpty());
    fake->connectionEvent(peripheral, platform::ConnectionEvent::peerConnected);
    platform.run();
    EXPECT_THAT(central.connects, ElementsAre(peripheral));
}

TEST_F(BluetoothManagerTest, LeavesGlassesAloneThatReturnAfterTheyWereUnlinked) {
    const auto peripheral = makePeripheral();
    const auto device = makeDevice(peripheral);
    device->setShouldAutoReconnect(false);
    fake->connectionEvent(peripheral, platform::ConnectionEvent::peerConnected);
    owner->devices.clear();
    fake->connectionEvent(peripheral, platform::ConnectionEvent::peerConnected);
    platform.run();
    EXPECT_THAT(central.connects, IsEmpty());
}

TEST_F(BluetoothManagerTest, EndsTheSessionOfADeviceThatIsNoLongerLinked) {
    const auto peripheral = makePeripheral();
    const auto device = makeDevice(peripheral);
    fake->completeConnection(peripheral);
    platform.run();
    device->setIsAuthenticated(true);
    owner->devices.clear();
    fake->drop(peripheral);
    platform.run();
    EXPECT_FALSE(device->isAuthenticated());
}

TEST_F(BluetoothManagerTest, MakesOneDeviceOfAPeripheralThatIsBoundTwice) {
    const auto peripheral = makePeripheral();
    std::vector<std::shared_ptr<Tarnel>> connected;
    for (int i = 0; i < 2; ++i) {
        bluetooth.connectToPeripheral(makePeripheral(), [&](const auto& device) { connected.push_back(device); });
        fake->completeConnection(peripheral);
        platform.run();
    }
    ASSERT_THAT(connected, SizeIs(2));
    EXPECT_EQ(connected[0], connected[1]);
}

TEST_F(BluetoothManagerTest, RegistersNothingForADeviceThatIsBackOrForgotten) {
    const auto peripheral = makePeripheral();
    const auto device = makeDevice(peripheral);
    fake->drop(peripheral);
    platform.advance(1s);
    peripheral->currentState = PeripheralState::connected;
    platform.advance(2s);
    EXPECT_THAT(central.registrations, IsEmpty());

    fake->drop(peripheral);
    platform.advance(1s);
    device->setPeripheralID(std::nullopt);
    platform.advance(2s);
    EXPECT_THAT(central.registrations, IsEmpty());
}

TEST_F(BluetoothManagerTest, RegistersNothingForADeviceThatIsUnlinkedBeforeItIsBack) {
    const auto peripheral = makePeripheral();
    const auto device = makeDevice(peripheral);
    fake->drop(peripheral);
    platform.advance(1s);
    owner->devices.clear();
    platform.advance(2s);
    EXPECT_THAT(central.registrations, IsEmpty());
}

TEST_F(BluetoothManagerTest, EndsTheScanWhenADeviceDropsThatIsNotToComeBack) {
    const auto peripheral = makePeripheral();
    const auto device = makeDevice(peripheral);
    device->setShouldAutoReconnect(false);
    scan();
    fake->drop(peripheral);
    platform.advance(10s);
    EXPECT_FALSE(central.scanning);
    EXPECT_FALSE(owner->isScanning);
    EXPECT_THAT(central.registrations, IsEmpty());
}

TEST_F(BluetoothManagerTest, IgnoresTheDropOfAPeripheralThatHasNoDevice) {
    scan();
    fake->drop(makePeripheral());
    platform.advance(10s);
    EXPECT_TRUE(central.scanning);
    EXPECT_THAT(central.registrations, IsEmpty());
}

TEST_F(BluetoothManagerTest, CancelsTheConnectionOfADevice) {
    const auto peripheral = makePeripheral();
    const auto device = makeDevice(peripheral);
    scan();
    bluetooth.disconnect(device);
    EXPECT_THAT(central.cancels, ElementsAre(peripheral));
    EXPECT_TRUE(central.scanning);
    device->setShouldAutoReconnect(false);
    bluetooth.disconnect(device);
    EXPECT_FALSE(central.scanning);
    device->setPeripheral(nullptr);
    bluetooth.disconnect(device);
    EXPECT_THAT(central.cancels, SizeIs(2));
    bluetooth.disconnect(peripheral);
    EXPECT_THAT(central.cancels, SizeIs(3));
}

TEST_F(BluetoothManagerTest, ConnectsEverythingThatTheSystemHoldsConnected) {
    const auto one = makePeripheral(PeripheralState::connected);
    const auto other = makePeripheral(PeripheralState::disconnected);
    central.heldConnected = {{Bluetooth::GATT_SERVICE_UUID, one}, {Bluetooth::GATT_SERVICE_UUID, other}};
    EXPECT_THAT(bluetooth.retrieveConnectedPeripherals().value(), ElementsAre(one, other));
    EXPECT_EQ(one->serviceDiscoveries, 1);
    EXPECT_THAT(central.connects, ElementsAre(other));
    fake->setState(CentralState::poweredOff);
    platform.run();
    EXPECT_EQ(bluetooth.retrieveConnectedPeripherals(), std::nullopt);
}

TEST(BluetoothWithoutACentral, DoesNothingAndDoesNotFail) {
    const test::TestPlatform platform;
    auto& bluetooth = Bluetooth::shared();
    EXPECT_EQ(bluetooth.state(), std::nullopt);
    bluetooth.scan([](const auto&) {});
    bluetooth.stopScan();
    bluetooth.connectToPeripheral(std::make_shared<FakePeripheral>(UUID()), false);
    EXPECT_EQ(bluetooth.retrieveConnectedPeripherals(), std::nullopt);
}

} // namespace
} // namespace tarnel
