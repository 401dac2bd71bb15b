#include "DeviceFixture.hpp"

namespace tarnel {
namespace {

using test::valuesOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

class SessionTest : public test::DeviceFixture {
protected:
    static platform::BluetoothError attributeError(int code) {
        return {platform::BluetoothError::Domain::attribute, code, "attribute error"};
    }

    void discover(const UUID& serviceUUID, const std::vector<platform::CharacteristicPointer>& characteristics) {
        report([=, this](auto& delegate) {
            delegate.didDiscoverCharacteristics(peripheral, service(serviceUUID), characteristics, {});
        });
    }
};

TEST_F(SessionTest, DiscoversTheCharacteristicsOfTheServicesThatItKnows) {
    report([this](auto& delegate) {
        delegate.didDiscoverServices(peripheral,
                                     {service(GATTIdentifiers::GATT_SERVICE_UUID), service(UUID::bluetooth("1234")),
                                      service(GATTIdentifiers::BATTERY_SERVICE_UUID),
                                      service(GATTIdentifiers::DEVICE_INFORMATION_SERVICE)},
                                     {});
    });
    EXPECT_THAT(peripheral->characteristicDiscoveries,
                ElementsAre(GATTIdentifiers::GATT_SERVICE_UUID, GATTIdentifiers::BATTERY_SERVICE_UUID,
                            GATTIdentifiers::DEVICE_INFORMATION_SERVICE));
}

TEST_F(SessionTest, LogsFailedDiscoveriesAndDoesNothingElse) {
    observeLog();
    report([](auto& delegate) { delegate.didDiscoverServices({}, {}, attributeError(14)); });
    report([this](auto& delegate) {
        delegate.didDiscoverCharacteristics(peripheral, service(GATTIdentifiers::GATT_SERVICE_UUID), {in, out},
                                            attributeError(14));
    });
    EXPECT_THAT(logLines, Contains("DidDiscoverServices ERROR: attribute error"));
    EXPECT_FALSE(device->isAuthenticated());
    EXPECT_EQ(hosts->links, 0);
}

TEST_F(SessionTest, StartsWithTheFirstProtocolWhereWritesNeedAResponse) {
    peripheral->maximumWithResponse = 100;
    discoverDataService(false);
    EXPECT_EQ(device->protocolVersion(), 1);
    EXPECT_EQ(device->maxPayloadSize(), 100);
    confirmSubscription();
    ASSERT_THAT(peripheral->writes, SizeIs(1)) << "the next chunk waits for the confirmation";
    EXPECT_EQ(peripheral->writes[0].type, platform::WriteType::withResponse);
    confirmWrite();
    EXPECT_THAT(peripheral->writes, SizeIs(2));
    confirmWrites();
    EXPECT_THAT(valuesOf(messages(), "set_time"), SizeIs(1));
    EXPECT_THAT(valuesOf(messages(), "req"), SizeIs(1));
    EXPECT_THAT(peripheral->subscriptions, ElementsAre(GATTIdentifiers::GATT_IN_CHARACTERISTIC_UUID));
}

TEST_F(SessionTest, StartsWithTheSecondProtocolWhereWritesNeedNone) {
    discoverDataService(true);
    EXPECT_EQ(device->protocolVersion(), 2);
    EXPECT_EQ(device->maxPayloadSize(), 495);
    EXPECT_THAT(peripheral->subscriptions, ElementsAre(GATTIdentifiers::GATT_IN_CHARACTERISTIC_UUID));
    confirmSubscription();
    ASSERT_THAT(peripheral->writes, SizeIs(2));
    EXPECT_EQ(peripheral->writes[0].type, platform::WriteType::withoutResponse);
    EXPECT_EQ(peripheral->writes[0].characteristic, GATTIdentifiers::GATT_OUT_CHARACTERISTIC_UUID);
    const auto sent = messages();
    EXPECT_TRUE(sent[0]["set_time"]);
    EXPECT_TRUE(sent[1]["req"]);
}

TEST_F(SessionTest, LinksAuthenticatesAndTakesTheDefaultLayout) {
    discoverDataService(true);
    EXPECT_EQ(hosts->links, 1);
    EXPECT_FALSE(device->isAuthenticated()) << "what the glasses answer would not be heard yet";
    confirmSubscription();
    EXPECT_TRUE(device->isAuthenticated());
    EXPECT_TRUE(device->isPaired());
    EXPECT_TRUE(device->isConnected.value());
    EXPECT_EQ(device->layout(), Layout::default_);
    EXPECT_FALSE(device->hasControl());
}

TEST_F(SessionTest, StartsOnceASubscriptionAndAlsoWhenItIsRefused) {
    discoverDataService(true);
    report([this](auto& delegate) { delegate.didUpdateNotificationState(peripheral, in, attributeError(6)); });
    EXPECT_TRUE(device->isAuthenticated());
    confirmSubscription();
    EXPECT_THAT(valuesOf(messages(), "req"), SizeIs(1));
}

TEST_F(SessionTest, OpensNothingOnAnAnswerThatComesAfterTheDisconnection) {
    discoverDataService(true);
    device->disconnect();
    confirmSubscription();
    EXPECT_FALSE(device->isAuthenticated());
}

TEST_F(SessionTest, NeedsTheInCharacteristic) {
    discover(GATTIdentifiers::GATT_SERVICE_UUID, {out});
    EXPECT_FALSE(device->isAuthenticated());
    EXPECT_EQ(hosts->links, 0);
}

TEST_F(SessionTest, TakesNoOutCharacteristicForTheFirstProtocol) {
    peripheral->currentState = platform::PeripheralState::connected;
    discover(GATTIdentifiers::GATT_SERVICE_UUID, {in});
    confirmSubscription();
    EXPECT_EQ(device->protocolVersion(), 1);
    EXPECT_TRUE(device->isAuthenticated());
    EXPECT_THAT(peripheral->writes, IsEmpty());
}

TEST_F(SessionTest, KeepsWritesWithinWhatEveryLinkCarriesAndNoAttributeExceeds) {
    peripheral->maximumWithoutResponse = 3;
    discoverDataService(true);
    EXPECT_EQ(device->maxPayloadSize(), 20);
    peripheral->maximumWithoutResponse = 100'000;
    discoverDataService(true);
    EXPECT_EQ(device->maxPayloadSize(), 512);
}

TEST_F(SessionTest, ReadsAndWatchesTheBatteryAndReadsTheDeviceInformation) {
    const auto level = characteristicOf(GATTIdentifiers::BATTERY_LEVEL_CHARACTERISTIC_UUID);
    level->canNotify = true;
    discover(GATTIdentifiers::BATTERY_SERVICE_UUID,
             {level, characteristicOf(GATTIdentifiers::BATTERY_POWER_STATE_CHARACTERISTIC_UUID)});
    discover(GATTIdentifiers::DEVICE_INFORMATION_SERVICE,
             {characteristicOf(GATTIdentifiers::DIS_SOFTWARE_REVISION), characteristicOf(UUID::bluetooth("2A29")),
              characteristicOf(GATTIdentifiers::DIS_SERIAL_NUMBER)});
    EXPECT_THAT(peripheral->reads,
                ElementsAre(GATTIdentifiers::BATTERY_LEVEL_CHARACTERISTIC_UUID,
                            GATTIdentifiers::BATTERY_POWER_STATE_CHARACTERISTIC_UUID,
                            GATTIdentifiers::DIS_SOFTWARE_REVISION, GATTIdentifiers::DIS_SERIAL_NUMBER));
    EXPECT_THAT(peripheral->subscriptions, ElementsAre(GATTIdentifiers::BATTERY_LEVEL_CHARACTERISTIC_UUID));
}

TEST_F(SessionTest, ReportsTheBatteryAndWhetherItCharges) {
    updateValue(GATTIdentifiers::BATTERY_LEVEL_CHARACTERISTIC_UUID, {80});
    EXPECT_EQ(device->batteryLevel.value(), 80);
    updateValue(GATTIdentifiers::BATTERY_POWER_STATE_CHARACTERISTIC_UUID, {79, 0x02});
    EXPECT_EQ(device->batteryLevel.value(), 79);
    EXPECT_TRUE(device->batteryChargeStatus.value());
    updateValue(GATTIdentifiers::BATTERY_POWER_STATE_CHARACTERISTIC_UUID, {78, 0xFD});
    EXPECT_FALSE(device->batteryChargeStatus.value());
}

TEST_F(SessionTest, TakesWhatThereIsOfAShortPowerState) {
    updateValue(GATTIdentifiers::BATTERY_POWER_STATE_CHARACTERISTIC_UUID, {79, 0x02});
    updateValue(GATTIdentifiers::BATTERY_POWER_STATE_CHARACTERISTIC_UUID, {50});
    EXPECT_EQ(device->batteryLevel.value(), 50);
    EXPECT_TRUE(device->batteryChargeStatus.value());
    updateValue(GATTIdentifiers::BATTERY_POWER_STATE_CHARACTERISTIC_UUID, {});
    updateValue(GATTIdentifiers::BATTERY_LEVEL_CHARACTERISTIC_UUID, {});
    EXPECT_EQ(device->batteryLevel.value(), 50);
}

TEST_F(SessionTest, TakesOnlyKnownRevisions) {
    updateValue(GATTIdentifiers::DIS_SOFTWARE_REVISION, {'3'});
    EXPECT_EQ(device->revision(), Revision::v3);
    updateValue(GATTIdentifiers::DIS_SOFTWARE_REVISION, {'9'});
    updateValue(GATTIdentifiers::DIS_SOFTWARE_REVISION, {0xFF, 0xFE});
    EXPECT_EQ(device->revision(), Revision::v3);
    updateValue(GATTIdentifiers::DIS_SOFTWARE_REVISION, {'2'});
    EXPECT_EQ(device->revision(), Revision::v2);
}

TEST_F(SessionTest, StoresSerialNumbersOfThirteenCharactersThatBeginWithZ) {
    const auto update = [this](const std::string& text) {
        updateValue(GATTIdentifiers::DIS_SERIAL_NUMBER, Bytes(text.begin(), text.end()));
    };
    update("Z12345678901");
    update("Z1234567890123");
    update("A123456789012");
    EXPECT_TRUE(platform.userDefaults->object("serialNumber").isNull());
    update("Z123456789012");
    EXPECT_EQ(platform.userDefaults->object("serialNumber"), Value("Z123456789012"));
}

TEST_F(SessionTest, IgnoresAnEmptyNotification) {
    startSession();
    observeLog();
    updateValue(GATTIdentifiers::GATT_IN_CHARACTERISTIC_UUID, {});
    EXPECT_THAT(logLines, Not(Contains("Reading Data from device")));
}

TEST_F(SessionTest, CompletesAMessageByAHeaderAlone) {
    startSession();
    observe("led");
    Bytes chunk = pack(MessagePackValue::map({{"led", 1}}));
    chunk.insert(chunk.begin(), 0x83);
    updateValue(GATTIdentifiers::GATT_IN_CHARACTERISTIC_UUID, chunk);
    EXPECT_THAT(notifications, IsEmpty());
    updateValue(GATTIdentifiers::GATT_IN_CHARACTERISTIC_UUID, {0x03});
    EXPECT_THAT(notifications, SizeIs(1));
}

TEST_F(SessionTest, KeepsChunksOfInterleavedMessagesApart) {
    startSession();
    const Bytes led = pack(MessagePackValue::map({{"led", 1}}));
    const Bytes other = pack(MessagePackValue::map({{"other", 2}}));
    const auto chunk = [](std::uint8_t header, const Bytes& message, std::size_t from, std::size_t to) {
        Bytes value{header};
        value.insert(value.end(), message.begin() + static_cast<std::ptrdiff_t>(from),
                     message.begin() + static_cast<std::ptrdiff_t>(to));
        return value;
    };
    const UUID& uuid = GATTIdentifiers::GATT_IN_CHARACTERISTIC_UUID;
    updateValue(uuid, chunk(0x83, led, 0, 3));
    updateValue(uuid, chunk(0x85, other, 0, 2));
    updateValue(uuid, chunk(0x03, led, 3, led.size()));
    updateValue(uuid, chunk(0x05, other, 2, other.size()));
    EXPECT_EQ(device->data().at("led"), Value(1));
    EXPECT_EQ(device->data().at("other"), Value(2));
}

TEST_F(SessionTest, AcknowledgesWhatItHasRead) {
    startSession();
    observeLog();
    recieve(MessagePackValue::map({{"led", 1}}));
    EXPECT_THAT(logLines, Contains("Reading Data from device"));
    EXPECT_THAT(logLines, Contains("> MessageID: 0"));
    EXPECT_THAT(logLines, Contains("> HasMore: false"));
    EXPECT_THAT(logLines, Contains("> MessageSize: 6"));
    EXPECT_THAT(logLines, Contains("sending Read ack"));
}

TEST_F(SessionTest, TellsAMissingBondFromOneThatNoLongerHolds) {
    updateValue(GATTIdentifiers::BATTERY_LEVEL_CHARACTERISTIC_UUID, {},
                attributeError(platform::insufficientAuthentication));
    EXPECT_EQ(device->state(), DeviceState::notBonded);
    startSession();
    updateValue(GATTIdentifiers::BATTERY_LEVEL_CHARACTERISTIC_UUID, {},
                attributeError(platform::insufficientAuthentication));
    EXPECT_EQ(device->state(), DeviceState::authenticationFailed);
}

TEST_F(SessionTest, DiscoversAgainWhenTheServicesChange) {
    observeLog();
    report([this](auto& delegate) {
        delegate.didModifyServices(peripheral, {service(GATTIdentifiers::BATTERY_SERVICE_UUID)});
    });
    EXPECT_EQ(peripheral->serviceDiscoveries, 1);
    EXPECT_THAT(logLines, Contains("invalidated Services: " + GATTIdentifiers::BATTERY_SERVICE_UUID.string()));
}

TEST_F(SessionTest, EndsWhenItsServiceChangesAndStartsOnTheNewOne) {
    startSession(1);
    device->screenOff();
    platform.run();
    ASSERT_THAT(peripheral->writes, SizeIs(1));
    report([this](auto& delegate) {
        delegate.didModifyServices(peripheral, {service(GATTIdentifiers::GATT_SERVICE_UUID)});
    });
    EXPECT_FALSE(device->isAuthenticated()) << "the write is never confirmed";
    startSession(1);
    device->screenOff();
    platform.run();
    EXPECT_THAT(peripheral->writes, SizeIs(1));
}

TEST_F(SessionTest, ForgetsCharacteristicsThatTheServiceNoLongerHas) {
    startSession(2);
    discover(GATTIdentifiers::GATT_SERVICE_UUID, {in});
    EXPECT_EQ(device->protocolVersion(), 1);
}

TEST_F(SessionTest, OpensNothingOnALinkThatIsGone) {
    peripheral->currentState = platform::PeripheralState::disconnected;
    discover(GATTIdentifiers::GATT_SERVICE_UUID, {in, out});
    EXPECT_EQ(hosts->links, 0);
    discoverDataService(true);
    peripheral->currentState = platform::PeripheralState::disconnected;
    confirmSubscription();
    EXPECT_FALSE(device->isAuthenticated());
}

TEST_F(SessionTest, OpensNothingWithoutTheBondThatTheGlassesAskFor) {
    discoverDataService(true);
    report([this](auto& delegate) {
        delegate.didUpdateNotificationState(peripheral, in, attributeError(platform::insufficientAuthentication));
    });
    EXPECT_FALSE(device->isAuthenticated());
    EXPECT_EQ(device->state(), DeviceState::notBonded);
}

TEST_F(SessionTest, TakesNoNameThatIsNoText) {
    peripheral->advertisedName = "Gr\xC3";
    report([this](auto& delegate) { delegate.didUpdateName(peripheral); });
    EXPECT_EQ(device->peripheralName(), std::nullopt);
    EXPECT_EQ(device->getName(), "Brenlo Glasses");
    EXPECT_TRUE(Tarnel::make(unpackFirst(pack(device->encode()))));
}

TEST_F(SessionTest, RemembersTheNameThatThePeripheralTakes) {
    peripheral->advertisedName = "Renamed";
    report([this](auto& delegate) { delegate.didUpdateName(peripheral); });
    EXPECT_EQ(device->peripheralName(), "Renamed");
}

TEST_F(SessionTest, LogsWhetherASubscriptionWasTaken) {
    observeLog();
    report([this](auto& delegate) { delegate.didUpdateNotificationState(peripheral, in, {}); });
    report([this](auto& delegate) { delegate.didUpdateNotificationState(peripheral, in, attributeError(3)); });
    EXPECT_THAT(logLines, ElementsAre("Notified: " + in->uuid.string(), "Notified Error: attribute error"));
}

TEST_F(SessionTest, CallsNothingOfADeviceThatIsGone) {
    const auto delegate = peripheral->delegate.lock();
    ASSERT_TRUE(delegate);
    device.reset();
    delegate->didUpdateValue(peripheral, in, Bytes{0}, {});
    delegate->didWriteValue(peripheral, out, {});
    delegate->isReadyToSendWriteWithoutResponse(peripheral);
    delegate->didUpdateName(peripheral);
    delegate->didDiscoverCharacteristics(peripheral, service(GATTIdentifiers::GATT_SERVICE_UUID), {in, out}, {});
    platform.run();
    EXPECT_EQ(hosts->links, 0);
}

} // namespace
} // namespace tarnel
