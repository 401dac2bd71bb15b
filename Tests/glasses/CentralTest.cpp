#include "Phone.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarnel::glasses {
namespace {

using namespace std::chrono_literals;
using namespace test;
using platform::CentralState;
using platform::PeripheralState;
using testing::ElementsAre;
using testing::IsEmpty;

const std::vector<UUID>& glassesAndUpdates() {
    static const std::vector<UUID> services = {gatt::dataService(), gatt::updateService()};
    return services;
}

TEST(Central, isUnknownUntilItsFirstCallback) {
    SimulatedWorld world;
    const auto application = std::make_shared<Application>();
    application->queue = world.scheduler().makeSerialQueue("application");
    const auto central = world.bluetooth().makeCentral(application, application->queue, {});
    EXPECT_EQ(central->state(), CentralState::unknown);
    world.run();
    EXPECT_EQ(central->state(), CentralState::poweredOn);
    EXPECT_THAT(application->events, ElementsAre("state 5"));
}

TEST(Central, reportsEveryStateOfItsHost) {
    Phone phone;
    for (const auto state : {CentralState::poweredOff, CentralState::unauthorized, CentralState::resetting,
                             CentralState::unsupported, CentralState::poweredOn}) {
        phone.world.bluetooth().setState(state);
        phone.world.run();
        EXPECT_EQ(phone.central->state(), state);
    }
    EXPECT_THAT(phone.application->events,
                ElementsAre("state 5", "state 4", "state 3", "state 1", "state 2", "state 5"));
}

TEST(Central, doesNothingWhileItIsOff) {
    Phone phone;
    const auto peripheral = phone.find();
    phone.world.bluetooth().setState(CentralState::poweredOff);
    phone.world.run();
    phone.application->events.clear();
    phone.central->scanForPeripherals(glassesAndUpdates());
    phone.central->connect(peripheral);
    EXPECT_FALSE(phone.central->isScanning());
    EXPECT_EQ(peripheral->state(), PeripheralState::disconnected);
    EXPECT_THAT(phone.central->retrievePeripherals({peripheral->identifier()}), IsEmpty());
    phone.settle();
    EXPECT_THAT(phone.application->events, IsEmpty());
}

TEST(Central, losesConnectionsRequestsAndScansWithThePower) {
    Phone phone;
    phone.open();
    phone.central->scanForPeripherals(glassesAndUpdates());
    phone.world.bluetooth().setState(CentralState::poweredOff);
    phone.world.run();
    EXPECT_FALSE(phone.central->isScanning());
    EXPECT_EQ(phone.peripheral->state(), PeripheralState::disconnected);
    EXPECT_FALSE(phone.glasses->isConnected());
    EXPECT_THAT(phone.application->events, ElementsAre("state 4"));
    phone.world.bluetooth().setState(CentralState::poweredOn);
    phone.settle();
    EXPECT_THAT(phone.application->events, ElementsAre("state 4", "state 5"));
}

TEST(Central, reportsGlassesThatAdvertiseOneOfTheServicesOnceAScan) {
    Phone phone;
    phone.central->scanForPeripherals(glassesAndUpdates());
    EXPECT_TRUE(phone.central->isScanning());
    phone.settle();
    EXPECT_EQ(phone.application->count("discovered"), 1);
    const auto& data = phone.application->advertisement;
    EXPECT_EQ(data.isConnectable, true);
    EXPECT_EQ(data.serviceUUIDs, std::vector<UUID>{gatt::dataService()});
    EXPECT_EQ(data.manufacturerData->back(), 2);
    EXPECT_EQ(data.localName, "Brenlo Glasses");
    EXPECT_EQ(phone.application->discovered->name(), "Brenlo Glasses");

    phone.central->scanForPeripherals({UUID::bluetooth("1234")});
    phone.settle();
    EXPECT_EQ(phone.application->count("discovered"), 1);

    phone.central->scanForPeripherals(glassesAndUpdates());
    phone.settle();
    EXPECT_EQ(phone.application->count("discovered"), 2);
}

TEST(Central, reportsAgainWhatAdvertisesSomethingElse) {
    Phone phone;
    phone.central->scanForPeripherals(glassesAndUpdates());
    phone.settle();
    phone.glasses->setAdvertisingMode(AdvertisingMode::otherManufacturerData);
    phone.settle();
    EXPECT_EQ(phone.application->advertisement.manufacturerData->back(), 1);
    phone.glasses->setAdvertisingMode(AdvertisingMode::noManufacturerData);
    phone.settle();
    EXPECT_EQ(phone.application->advertisement.manufacturerData, std::nullopt);
    phone.glasses->setAdvertisement(platform::AdvertisementData{
        .isConnectable = false, .serviceUUIDs = glassesAndUpdates(), .manufacturerData = Bytes{}, .localName = {}});
    phone.settle();
    EXPECT_EQ(phone.application->advertisement.manufacturerData, Bytes());
    EXPECT_EQ(phone.application->count("discovered"), 4);
}

TEST(Central, reportsNothingAfterTheScanWasStopped) {
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        Phone phone({}, {.seed = seed});
        phone.central->scanForPeripherals(glassesAndUpdates());
        bool wasReported = false;
        // At the moment at which the glasses are heard.
        phone.application->queue->asyncAfter(100ms, [&] {
            wasReported = phone.application->has("discovered");
            phone.central->stopScan();
        });
        phone.settle();
        EXPECT_FALSE(phone.central->isScanning());
        EXPECT_EQ(phone.application->has("discovered"), wasReported) << "seed " << seed;
    }
}

TEST(Central, keepsOneObjectADevice) {
    Phone phone;
    const auto found = phone.find();
    EXPECT_EQ(phone.central->retrievePeripherals({found->identifier()}), std::vector{found});
    phone.application->discovered = nullptr;
    EXPECT_EQ(phone.find(), found);
}

TEST(Central, retrievesOnlyWhatTheHostKnows) {
    Phone phone;
    EXPECT_THAT(phone.central->retrievePeripherals({phone.glasses->identifier()}), IsEmpty());
    phone.find();
    EXPECT_EQ(phone.central->retrievePeripherals({phone.glasses->identifier(), UUID()}).size(), 1U);
    phone.world.bluetooth().forgetDevice(phone.glasses->identifier());
    EXPECT_THAT(phone.central->retrievePeripherals({phone.glasses->identifier()}), IsEmpty());
}

TEST(Central, keepsARequestPendingUntilTheGlassesAppear) {
    Phone phone;
    const auto peripheral = phone.find();
    phone.glasses->leaveRange();
    phone.world.run();
    phone.central->connect(peripheral);
    EXPECT_EQ(peripheral->state(), PeripheralState::connecting);
    phone.world.advance(24h);
    EXPECT_FALSE(phone.application->has("connected"));
    phone.glasses->enterRange();
    phone.await("connected", 1s);
    EXPECT_EQ(peripheral->state(), PeripheralState::connected);
}

TEST(Central, forgetsARequestThatIsCancelled) {
    Phone phone;
    const auto peripheral = phone.find();
    phone.central->connect(peripheral);
    phone.central->cancelPeripheralConnection(peripheral);
    EXPECT_EQ(peripheral->state(), PeripheralState::disconnected);
    phone.application->events.clear();
    phone.settle();
    EXPECT_THAT(phone.application->events, IsEmpty());
    EXPECT_FALSE(phone.glasses->isConnected());
}

TEST(Central, endsAConnectionWithoutAnError) {
    Phone phone;
    phone.open();
    phone.central->cancelPeripheralConnection(phone.peripheral);
    EXPECT_EQ(phone.peripheral->state(), PeripheralState::disconnecting);
    phone.world.run();
    EXPECT_EQ(phone.peripheral->state(), PeripheralState::disconnected);
    EXPECT_THAT(phone.application->events, ElementsAre("disconnected"));
    EXPECT_FALSE(phone.glasses->isConnected());
    phone.central->cancelPeripheralConnection(phone.peripheral);
    phone.settle();
    EXPECT_EQ(phone.application->events.size(), 1U);
}

TEST(Central, connectsAgainWhenAskedWhileItDisconnects) {
    Phone phone;
    phone.open();
    phone.central->cancelPeripheralConnection(phone.peripheral);
    phone.central->connect(phone.peripheral);
    phone.settle();
    EXPECT_THAT(phone.application->events, ElementsAre("disconnected", "connected"));
    EXPECT_EQ(phone.peripheral->state(), PeripheralState::connected);
}

TEST(Central, confirmsAConnectionThatStands) {
    Phone phone;
    phone.open();
    phone.central->connect(phone.peripheral);
    phone.world.run();
    EXPECT_THAT(phone.application->events, ElementsAre("connected"));
    EXPECT_TRUE(phone.peripheral->canSendWriteWithoutResponse());
    EXPECT_EQ(phone.glasses->counters().connections, 1U);
}

TEST(Central, sharesAConnectionWithAnotherApplication) {
    Phone phone;
    const auto identifier = phone.glasses->identifier();
    phone.world.bluetooth().holdByAnotherApplication(identifier);
    EXPECT_TRUE(phone.world.runUntil([&] { return phone.glasses->isConnected(); }));
    EXPECT_THAT(phone.central->retrieveConnectedPeripherals(gatt::updateService()), IsEmpty());
    const auto held = phone.central->retrieveConnectedPeripherals(gatt::dataService());
    ASSERT_EQ(held.size(), 1U);
    EXPECT_EQ(held[0]->identifier(), identifier);
    EXPECT_EQ(held[0]->state(), PeripheralState::disconnected);

    phone.central->connect(held[0]);
    phone.world.run();
    EXPECT_TRUE(phone.application->has("connected"));
    phone.central->cancelPeripheralConnection(held[0]);
    phone.world.run();
    EXPECT_TRUE(phone.application->has("disconnected"));
    EXPECT_TRUE(phone.glasses->isConnected());
    phone.world.bluetooth().releaseByAnotherApplication(identifier);
    phone.world.run();
    EXPECT_FALSE(phone.glasses->isConnected());
    EXPECT_THAT(phone.central->retrieveConnectedPeripherals(gatt::dataService()), IsEmpty());
}

TEST(Central, tellsWhenRegisteredGlassesComeAndGo) {
    Phone phone;
    phone.glasses->leaveRange();
    phone.central->registerForConnectionEvents({phone.glasses->identifier()});
    phone.settle();
    phone.application->events.clear();
    phone.glasses->enterRange();
    phone.settle();
    EXPECT_THAT(phone.application->events, ElementsAre("peer connected"));
    EXPECT_EQ(phone.application->seen->identifier(), phone.glasses->identifier());
    phone.glasses->leaveRange();
    phone.settle();
    EXPECT_THAT(phone.application->events, ElementsAre("peer connected", "peer disconnected"));
}

TEST(Central, tellsAtOnceOfRegisteredGlassesWithinReach) {
    Phone phone;
    phone.central->registerForConnectionEvents({phone.glasses->identifier(), UUID()});
    phone.settle();
    EXPECT_EQ(phone.application->count("peer connected"), 1);
}

TEST(Central, tellsNothingOfGlassesThatAreNoLongerRegistered) {
    Phone phone;
    phone.open();
    phone.glasses->leaveRange();
    phone.await("disconnected with error 6");
    phone.central->registerForConnectionEvents({phone.glasses->identifier()});
    phone.central->cancelPeripheralConnection(phone.peripheral);
    phone.settle();
    phone.glasses->enterRange();
    phone.settle();
    phone.glasses->leaveRange();
    phone.settle();
    phone.central->registerForConnectionEvents({phone.glasses->identifier()});
    phone.central->registerForConnectionEvents({UUID()});
    phone.settle();
    phone.glasses->enterRange();
    phone.settle();
    EXPECT_EQ(phone.application->count("peer connected"), 0);
}

TEST(Central, reconnectsThroughAConnectionEvent) {
    Phone phone;
    phone.open();
    phone.glasses->dropConnection();
    phone.await("disconnected with error 7");
    phone.world.advance(2s);
    phone.central->registerForConnectionEvents({phone.peripheral->identifier()});
    phone.await("peer connected", 1s);
    phone.central->connect(phone.peripheral);
    phone.await("connected", 1s);
}

TEST(Central, tellsOfAChangedAuthorization) {
    Phone phone;
    phone.open();
    for (const bool authorized : {true, true, false}) {
        phone.world.bluetooth().setAncsAuthorized(phone.glasses->identifier(), authorized);
        phone.world.run();
    }
    EXPECT_THAT(phone.application->events, ElementsAre("authorized", "not authorized"));
}

TEST(Central, lastsUntilItsApplicationLetsGo) {
    Phone phone;
    phone.open();
    phone.central = nullptr;
    phone.world.run();
    EXPECT_FALSE(phone.glasses->isConnected());
}

TEST(Central, holdsItsDelegateWeakly) {
    Phone phone;
    phone.application = nullptr;
    phone.central->scanForPeripherals(glassesAndUpdates());
    phone.settle();
    EXPECT_EQ(phone.central->retrievePeripherals({phone.glasses->identifier()}).size(), 1U);
}

TEST(Central, servesTwoApplications) {
    Phone phone;
    phone.open();
    const auto other = std::make_shared<Application>();
    other->queue = phone.world.scheduler().makeSerialQueue("other");
    const auto central = phone.world.bluetooth().makeCentral(other, other->queue, {});
    phone.world.run();
    const auto peripheral = central->retrieveConnectedPeripherals(gatt::dataService()).at(0);
    EXPECT_NE(peripheral, phone.peripheral);
    central->connect(phone.peripheral);
    phone.settle();
    EXPECT_FALSE(other->has("connected")) << "another central's object";
    peripheral->setDelegate(other);
    central->connect(peripheral);
    phone.world.run();
    EXPECT_TRUE(other->has("connected"));
    phone.glasses->tap(1);
    phone.settle();
    EXPECT_EQ(phone.application->values.size(), 1U);
    EXPECT_TRUE(other->values.empty());
    phone.central->cancelPeripheralConnection(phone.peripheral);
    phone.settle();
    EXPECT_TRUE(phone.glasses->isConnected());
}

TEST(Peripheral, discoversTheServicesOfTheGlasses) {
    Phone phone;
    phone.connect();
    std::vector<UUID> services;
    for (const auto& service : phone.application->services) {
        services.push_back(service->uuid);
    }
    EXPECT_THAT(services, ElementsAre(gatt::dataService(), gatt::batteryService(), gatt::deviceInformation()));
    EXPECT_EQ(phone.application->characteristics.size(), 6U);
    EXPECT_TRUE(phone.out->canWrite && phone.out->canRead && phone.out->canWriteWithoutResponse);
    EXPECT_TRUE(phone.in->canNotify);
    EXPECT_FALSE(phone.in->canRead);
    EXPECT_EQ(phone.in->service, gatt::dataService());
}

TEST(Peripheral, hasNoWritesWithoutResponseInTheFirstProtocol) {
    Phone phone({.protocolVersion = 1});
    phone.connect();
    EXPECT_TRUE(phone.out->canWrite);
    EXPECT_FALSE(phone.out->canWriteWithoutResponse);
    phone.writeWithoutResponse({0x00, 0x80});
    phone.settle();
    EXPECT_EQ(phone.glasses->receivedCount(), 0U);
    phone.write({0x00, 0x80});
    phone.await("written");
    EXPECT_EQ(phone.glasses->receivedCount(), 1U);
}

TEST(Peripheral, offersTheUpdateServiceInUpdateMode) {
    Phone phone({.advertisingMode = AdvertisingMode::update});
    phone.connect();
    EXPECT_EQ(phone.application->advertisement.serviceUUIDs, std::vector<UUID>{gatt::updateService()});
    EXPECT_EQ(phone.application->services.at(0)->uuid, gatt::updateService());
    EXPECT_EQ(phone.out, nullptr);
}

TEST(Peripheral, readsBatteryAndDeviceInformation) {
    Phone phone({.revision = "3", .serialNumber = "Z000000000001", .batteryLevel = 42, .isCharging = true});
    phone.connect();
    for (const auto& uuid :
         {gatt::batteryLevel(), gatt::batteryPowerState(), gatt::softwareRevision(), gatt::serialNumber()}) {
        phone.peripheral->readValue(phone.application->characteristic(uuid));
    }
    phone.settle();
    const std::string serial = "Z000000000001";
    EXPECT_THAT(phone.application->values,
                ElementsAre(Bytes{42}, Bytes{42, 2}, Bytes{'3'}, Bytes(serial.begin(), serial.end())));
}

TEST(Peripheral, isNotifiedOfTheBatteryOnceItSubscribes) {
    Phone phone;
    phone.connect();
    phone.glasses->setBattery(10, true);
    phone.settle();
    EXPECT_TRUE(phone.application->values.empty());
    phone.peripheral->setNotifyValue(true, phone.application->characteristic(gatt::batteryPowerState()));
    phone.settle();
    phone.glasses->setBattery(11, true);
    phone.glasses->setBattery(12, false);
    phone.settle();
    EXPECT_THAT(phone.application->values, ElementsAre(Bytes{11, 2}, Bytes{12, 0}));
    phone.peripheral->setNotifyValue(false, phone.application->characteristic(gatt::batteryPowerState()));
    phone.settle();
    phone.glasses->setBattery(13, false);
    phone.settle();
    EXPECT_EQ(phone.application->values.size(), 2U);
}

TEST(Peripheral, isRefusedWhatACharacteristicDoesNotPermit) {
    Phone phone;
    phone.connect();
    phone.peripheral->readValue(phone.in);
    phone.peripheral->setNotifyValue(true, phone.out);
    phone.peripheral->writeValue(Bytes{1}, phone.in, platform::WriteType::withResponse);
    phone.settle();
    EXPECT_TRUE(phone.application->has("value with error 2"));
    EXPECT_TRUE(phone.application->has("subscribed with error 6"));
    EXPECT_TRUE(phone.application->has("written with error 3"));
}

TEST(Peripheral, writesNoLongerValuesThanTheConnectionTakes) {
    Phone phone({}, {.link = {.mtu = 100}});
    EXPECT_EQ(phone.find()->maximumWriteValueLength(platform::WriteType::withoutResponse), 20U);
    phone.connect();
    EXPECT_EQ(phone.peripheral->maximumWriteValueLength(platform::WriteType::withoutResponse), 97U);
    EXPECT_EQ(phone.peripheral->maximumWriteValueLength(platform::WriteType::withResponse), 97U);
    phone.write(Bytes(97, 0));
    phone.await("written");
    phone.write(Bytes(98, 0));
    phone.await("written with error 13");
    phone.writeWithoutResponse(Bytes(98, 0));
    phone.settle();
    EXPECT_EQ(phone.glasses->counters().writes, 1U);
    EXPECT_EQ(phone.glasses->counters().lostWrites, 1U);
}

TEST(Peripheral, answersAWriteAfterARoundTrip) {
    Phone phone;
    phone.open();
    const auto before = phone.world.scheduler().now();
    phone.write({0x00, 0x80});
    phone.write({0x00, 0x80});
    phone.await("written");
    EXPECT_GE(phone.world.scheduler().now() - before, 15ms);
    EXPECT_EQ(phone.glasses->counters().writes, 1U) << "one request at a time";
    phone.settle();
    EXPECT_EQ(phone.application->count("written"), 2);
}

TEST(Peripheral, buffersWritesWithoutResponseAndLosesThoseBeyond) {
    Phone phone({}, {.link = {.bufferDepth = 3}});
    phone.open();
    for (std::uint8_t i = 0; i < 5; ++i) {
        EXPECT_EQ(phone.peripheral->canSendWriteWithoutResponse(), i < 3);
        phone.writeWithoutResponse({0x80, i});
    }
    std::vector<Bytes> arrived;
    phone.glasses->setTrace([&](const GattTraceEvent& event) { arrived.push_back(event.value); });
    phone.await("ready");
    phone.settle();
    EXPECT_EQ(phone.application->count("ready"), 1);
    EXPECT_THAT(arrived, ElementsAre(Bytes{0x80, 0}, Bytes{0x80, 1}, Bytes{0x80, 2}));
    EXPECT_EQ(phone.glasses->counters().lostWrites, 2U);
    EXPECT_TRUE(phone.peripheral->canSendWriteWithoutResponse());
}

TEST(Peripheral, losesNothingWhenItWaitsForRoom) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        Phone phone({}, {.seed = seed});
        phone.open();
        std::vector<std::uint8_t> arrived;
        phone.glasses->setTrace([&](const GattTraceEvent& event) { arrived.push_back(event.value.at(1)); });
        for (std::uint8_t i = 0; i < 100; ++i) {
            EXPECT_TRUE(phone.world.runUntil([&] { return phone.peripheral->canSendWriteWithoutResponse(); }));
            phone.writeWithoutResponse({0x80, i});
        }
        phone.settle();
        ASSERT_EQ(arrived.size(), 100U) << "seed " << seed;
        EXPECT_TRUE(std::is_sorted(arrived.begin(), arrived.end())) << "seed " << seed;
    }
}

TEST(Peripheral, carriesAFrameOfBandsAtThePaceOfTheRadio) {
    Phone phone;
    phone.open();
    const auto before = phone.world.scheduler().now();
    for (int sent = 0; sent < 76'800; sent += 494) {
        ASSERT_TRUE(phone.world.runUntil([&] { return phone.peripheral->canSendWriteWithoutResponse(); }));
        phone.writeWithoutResponse(Bytes(495, 0x80));
    }
    ASSERT_TRUE(phone.world.runUntil([&] { return phone.glasses->counters().writesWithoutResponse == 156; }));
    const auto seconds = std::chrono::duration<double>(phone.world.scheduler().now() - before).count();
    EXPECT_NEAR(156 * 495 / seconds / 1000, 177.8, 17.8);
}

TEST(Peripheral, ignoresCharacteristicsOfAnEarlierDiscovery) {
    Phone phone;
    phone.connect();
    const auto stale = phone.out;
    phone.discover();
    EXPECT_NE(phone.out, stale);
    phone.application->events.clear();
    phone.peripheral->writeValue(Bytes{0, 0x80}, stale, platform::WriteType::withResponse);
    phone.peripheral->readValue(stale);
    phone.peripheral->discoverCharacteristics(
        std::make_shared<platform::Service>(platform::Service{gatt::dataService()}));
    phone.peripheral->readValue(nullptr);
    phone.settle();
    EXPECT_THAT(phone.application->events, IsEmpty());
    EXPECT_EQ(phone.glasses->counters().writes, 0U);
}

TEST(Peripheral, isToldOfChangedServices) {
    Phone phone;
    phone.open();
    phone.glasses->changeServices();
    phone.settle();
    EXPECT_THAT(phone.application->events, ElementsAre("modified 3"));
    phone.write({0, 0x80});
    phone.settle();
    EXPECT_EQ(phone.glasses->counters().writes, 0U);
    phone.discover();
    phone.write({0, 0x80});
    phone.await("written");
}

TEST(Peripheral, isToldOfAChangedName) {
    Phone phone;
    phone.open();
    phone.glasses->setName("Mine");
    phone.settle();
    EXPECT_THAT(phone.application->events, ElementsAre("name Mine"));
    EXPECT_NE(phone.peripheral->description().find("Mine"), std::string::npos);
}

TEST(Peripheral, dropsOperationsWithoutAConnection) {
    Phone phone;
    phone.open();
    phone.central->cancelPeripheralConnection(phone.peripheral);
    phone.world.run();
    phone.application->events.clear();
    phone.peripheral->discoverServices();
    phone.peripheral->readValue(phone.out);
    phone.write({0, 0x80});
    phone.writeWithoutResponse({0, 0x80});
    EXPECT_FALSE(phone.peripheral->canSendWriteWithoutResponse());
    phone.settle();
    EXPECT_THAT(phone.application->events, IsEmpty());
}

TEST(Peripheral, pairsAtTheFirstAccessThatNeedsABond) {
    Phone phone({.requiresPairing = true});
    phone.connect();
    phone.writeWithoutResponse({0, 0x80});
    phone.settle();
    EXPECT_EQ(phone.glasses->receivedCount(), 0U);
    phone.subscribe();
    EXPECT_TRUE(phone.glasses->isBonded());
    EXPECT_TRUE(phone.world.bluetooth().isBonded(phone.glasses->identifier()));
    phone.write({0, 0x80});
    phone.await("written");
    EXPECT_EQ(phone.glasses->receivedCount(), 1U);
}

TEST(Peripheral, isRefusedWhenTheUserRefusesToPair) {
    Phone phone({.requiresPairing = true});
    phone.world.bluetooth().setAcceptsPairing(false);
    phone.connect();
    phone.peripheral->setNotifyValue(true, phone.in);
    phone.peripheral->readValue(phone.out);
    phone.await("subscribed with error 5");
    phone.await("value with error 5");
    EXPECT_FALSE(phone.glasses->isBonded());
}

} // namespace
} // namespace tarnel::glasses
