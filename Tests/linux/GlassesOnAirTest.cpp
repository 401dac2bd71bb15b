#include "FakeBlueZ.hpp"
#include "PrivateBus.hpp"

#include <TarnelGlassesAir/GlassesOnAir.hpp>
#include <TarnelGlassesAir/OnAirLink.hpp>
#include <TarnelSDK/schedulers/SimulatedScheduler.hpp>
#include <TarnelSDK/schedulers/ThreadScheduler.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace tarnel {
namespace {

using bluez::ConnectedCentral;
using bluez::PeripheralManagerState;
using glasses::AdvertisingMode;
using glasses::GlassesOnAir;
using glasses::GlassesOptions;
using glasses::OnAirLink;
using glasses::SimulatedGlasses;
using test::batteryLevel;
using test::batteryService;
using test::dataService;
using test::inCharacteristic;
using test::outCharacteristic;
using test::phoneAddress;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr const char* updateService = "0000fe59-0000-1000-8000-00805f9b34fb";
constexpr const char* batteryPowerState = "00002a1a-0000-1000-8000-00805f9b34fb";
constexpr const char* deviceInformation = "0000180a-0000-1000-8000-00805f9b34fb";
constexpr const char* serialNumber = "00002a25-0000-1000-8000-00805f9b34fb";
constexpr const char* softwareRevision = "00002a28-0000-1000-8000-00805f9b34fb";

/// One chunk that is a whole message: {"tap": 1} and the like are sent so; a command with a text here.
Bytes chunkOf(const std::string& key) {
    Bytes chunk{0x00, 0x81, static_cast<std::uint8_t>(0xa0 + key.size())};
    chunk.insert(chunk.end(), key.begin(), key.end());
    chunk.push_back(0xc0);
    return chunk;
}

class Record final : public glasses::OnAirObserver {
public:
    void stateChanged(const PeripheralManagerState& state) override {
        note(state.isAdvertising ? "advertising" : "state");
    }
    void connected(const ConnectedCentral& central) override { note("connected " + central.address); }
    void bonded(const ConnectedCentral&) override { note("bonded"); }
    void disconnected() override { note("disconnected"); }
    void subscriptionChanged(const UUID&, bool isSubscribed) override {
        note(isSubscribed ? "subscribed" : "unsubscribed");
    }
    void bondLost() override { note("bond lost"); }

    bool await(const std::string& event, int times = 1) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(30),
                                 [&] { return std::count(events_.begin(), events_.end(), event) >= times; });
    }

private:
    void note(const std::string& event) {
        {
            const std::lock_guard lock(mutex_);
            events_.push_back(event);
        }
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> events_;
};

/// Glasses on the air of a daemon that is played.
class Air {
public:
    explicit Air(const GlassesOptions& options = {}, bool readsNotifications = false) : bluez(bus.address()) {
        bluez.addAdapter("hci0");
        bluez.start();
        radio = glasses::Radio::make(scheduler, [] { return std::chrono::steady_clock::now().time_since_epoch(); });
        pair = SimulatedGlasses::make(radio, options);
        onAir = GlassesOnAir::make(radio, pair, {.busAddress = bus.address(), .readsNotifications = readsNotifications},
                                   record);
        EXPECT_TRUE(record->await("advertising"));
    }
    ~Air() {
        onAir->end();
        scheduler.shutDown();
    }
    Air(const Air&) = delete;
    Air& operator=(const Air&) = delete;

    void connect(bool isBonded = false, std::vector<test::FakeService> gatt = {}) {
        test::FakeDevice phone{.address = phoneAddress,
                               .name = "Phone",
                               .isAdvertising = false,
                               .isBonded = isBonded,
                               .gatt = std::move(gatt)};
        bluez.addDevice(phone);
        bluez.connectByAnother(phoneAddress);
        ASSERT_TRUE(record->await("connected " + std::string(phoneAddress)));
    }
    void subscribe(const char* characteristic = inCharacteristic) {
        bluez.centralSubscribes(characteristic);
        ASSERT_TRUE(eventually([&] { return pair->isSubscribed(UUID::bluetooth(characteristic)); }));
    }
    test::FakeAnswer read(const char* characteristic) { return bluez.centralReads(phoneAddress, characteristic); }
    test::FakeAnswer write(const Bytes& value, std::uint16_t mtu = 517) {
        return bluez.centralWrites(phoneAddress, outCharacteristic, value, {{"mtu", mtu}});
    }
    bool isAdvertised(const std::string& service) {
        return eventually([&] {
            const auto advertisement = bluez.advertisement();
            return advertisement && advertisement->services == std::vector<std::string>{service};
        });
    }
    bool isSilent() {
        return eventually([&] { return !bluez.advertisement(); });
    }
    bool isDropped() {
        return eventually([&] { return !bluez.device(phoneAddress).isConnected; });
    }

    static bool eventually(const std::function<bool()>& condition) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }

    test::PrivateBus bus;
    test::FakeBlueZ bluez;
    ThreadScheduler scheduler;
    std::shared_ptr<Record> record = std::make_shared<Record>();
    std::shared_ptr<glasses::Radio> radio;
    std::shared_ptr<SimulatedGlasses> pair;
    std::shared_ptr<GlassesOnAir> onAir;
};

TEST(GlassesOnAir, advertiseAndOfferWhatTheGlassesDo) {
    Air air({.name = "Brenlo Glasses"});
    EXPECT_TRUE(air.isAdvertised(dataService));
    const auto advertisement = air.bluez.advertisement();
    EXPECT_EQ(advertisement->name, "Brenlo Glasses");
    EXPECT_EQ(advertisement->manufacturer, (std::map<std::uint16_t, Bytes>{{0xffff, {2}}}));
    EXPECT_THAT(air.bluez.publishedServices(), UnorderedElementsAre(dataService, batteryService, deviceInformation));
    EXPECT_THAT(air.bluez.publishedFlags(outCharacteristic),
                UnorderedElementsAre("read", "write", "write-without-response"));
    EXPECT_TRUE(air.eventually([&] { return air.bluez.alias() == "Brenlo Glasses"; }));
}

TEST(GlassesOnAir, takeWritesWithResponseOnlyWithProtocol1) {
    Air air({.protocolVersion = 1});
    EXPECT_THAT(air.bluez.publishedFlags(outCharacteristic), UnorderedElementsAre("read", "write"));
    air.connect();
    EXPECT_EQ(air.write(chunkOf("set_time")).error, std::nullopt);
    EXPECT_EQ(air.pair->receivedCount(), 1U);
    EXPECT_EQ(air.pair->counters().writes, 1U);
    air.pair->refuseWrite();
    EXPECT_EQ(air.write(chunkOf("set_time")).error, "org.tarnel.Error.Refused");
    EXPECT_EQ(air.pair->receivedCount(), 1U);
}

TEST(GlassesOnAir, doNotAdvertiseWhileAHostIsConnected) {
    Air air;
    air.connect();
    EXPECT_TRUE(air.pair->isConnected());
    EXPECT_TRUE(air.isSilent());
    air.bluez.dropConnection(phoneAddress);
    EXPECT_TRUE(air.record->await("disconnected"));
    EXPECT_TRUE(air.isAdvertised(dataService));
    EXPECT_FALSE(air.pair->isConnected());
    EXPECT_EQ(air.pair->counters().connections, 1U);
}

TEST(GlassesOnAir, answerReads) {
    Air air({.revision = "7", .serialNumber = "Z123456789012", .batteryLevel = 33, .isCharging = true});
    air.connect();
    EXPECT_EQ(air.read(batteryLevel).value, Bytes{33});
    EXPECT_EQ(air.read(batteryPowerState).value, (Bytes{33, 2}));
    EXPECT_EQ(air.read(softwareRevision).value, Bytes{'7'});
    EXPECT_EQ(air.read(serialNumber).value.size(), 13U);
}

TEST(GlassesOnAir, takeMessagesAndAnswerThem) {
    Air air;
    air.connect();
    air.subscribe();
    air.write(chunkOf("no_such"));
    ASSERT_TRUE(air.eventually([&] { return !air.bluez.notified(inCharacteristic).empty(); }));
    EXPECT_EQ(air.pair->receivedCount(), 1U);
    EXPECT_EQ(air.pair->errorCount(), 1U);
    const auto answer = air.bluez.notified(inCharacteristic).front();
    EXPECT_NE(std::string(answer.begin(), answer.end()).find("cmp_err"), std::string::npos);
}

TEST(GlassesOnAir, keepTheOrderOfWhatIsWritten) {
    Air air;
    air.connect();
    std::vector<std::uint8_t> arrived;
    std::mutex mutex;
    air.pair->setTrace([&](const glasses::GattTraceEvent& event) {
        const std::lock_guard lock(mutex);
        arrived.push_back(event.value.back());
    });
    std::vector<std::uint8_t> sent;
    for (std::uint8_t i = 0; i < 250; ++i) {
        Bytes chunk(495, i);
        chunk.front() = 0x80;
        air.write(chunk);
        sent.push_back(i);
    }
    EXPECT_TRUE(air.eventually([&] {
        const std::lock_guard lock(mutex);
        return arrived.size() == sent.size();
    }));
    EXPECT_EQ(arrived, sent);
    air.pair->setTrace({});
}

TEST(GlassesOnAir, cutWhatTheySendToTheConnectionsMTU) {
    Air air;
    air.connect();
    air.subscribe();
    const Bytes message(100, 0x01);
    const auto longest = [&] {
        std::size_t length = 0;
        for (const auto& value : air.bluez.notified(inCharacteristic)) {
            length = std::max(length, value.size());
        }
        return length;
    };
    air.pair->send(message);
    ASSERT_TRUE(air.eventually([&] { return air.bluez.notified(inCharacteristic).size() == 6; }));
    EXPECT_EQ(longest(), 20U);
    air.write(chunkOf("x"), 64);
    ASSERT_TRUE(air.eventually([&] { return air.pair->receivedCount() == 1; }));
    air.pair->send(message);
    EXPECT_TRUE(air.eventually([&] { return longest() == 61; }));
}

TEST(GlassesOnAir, notifyBatteryChanges) {
    Air air;
    air.connect();
    air.subscribe(batteryLevel);
    air.pair->setBattery(12, true);
    EXPECT_TRUE(air.eventually([&] { return air.bluez.notified(batteryLevel) == std::vector<Bytes>{{12}}; }));
    EXPECT_THAT(air.bluez.notified(batteryPowerState), IsEmpty());
}

TEST(GlassesOnAir, forgetSubscriptionsWithTheConnectionUnlessBonded) {
    Air air;
    air.connect();
    air.subscribe();
    air.bluez.dropConnection(phoneAddress);
    ASSERT_TRUE(air.record->await("disconnected"));
    ASSERT_TRUE(air.isAdvertised(dataService));
    air.bluez.connectByAnother(phoneAddress);
    ASSERT_TRUE(air.record->await("connected " + std::string(phoneAddress), 2));
    air.read(batteryLevel);
    EXPECT_FALSE(air.pair->isSubscribed(UUID::bluetooth(inCharacteristic)));
}

TEST(GlassesOnAir, areSubscribedToByABondedHostThatReturns) {
    Air air;
    air.connect(true);
    air.subscribe();
    air.bluez.dropConnection(phoneAddress);
    ASSERT_TRUE(air.record->await("disconnected"));
    ASSERT_TRUE(air.isAdvertised(dataService));
    air.bluez.connectByAnother(phoneAddress);
    EXPECT_TRUE(air.record->await("subscribed", 2));
    EXPECT_TRUE(air.pair->isSubscribed(UUID::bluetooth(inCharacteristic)));
}

TEST(GlassesOnAir, takeOneHostAtATime) {
    Air air;
    test::FakeDevice second{.address = "00:AA:01:00:00:78", .isAdvertising = false};
    air.bluez.addDevice(second);
    air.connect();
    air.bluez.connectByAnother(second.address);
    // It shows itself by what it asks, and is sent away.
    EXPECT_NE(air.bluez.centralReads(second.address, batteryLevel).error, std::nullopt);
    EXPECT_TRUE(air.eventually([&] { return !air.bluez.device(second.address).isConnected; }));
    EXPECT_TRUE(air.bluez.device(phoneAddress).isConnected);
    EXPECT_EQ(air.read(batteryLevel).value, Bytes{80});
}

TEST(GlassesOnAir, dropAConnectionAndAdvertiseAgain) {
    Air air;
    air.connect();
    air.pair->dropConnection();
    EXPECT_TRUE(air.isDropped());
    EXPECT_TRUE(air.isAdvertised(dataService));
    EXPECT_EQ(air.bluez.calls("Disconnect"), 1);
}

TEST(GlassesOnAir, askForABondWhenTheyNeedOneAndTakeOverTheDaemons) {
    Air air({.requiresPairing = true});
    EXPECT_THAT(air.bluez.publishedFlags(outCharacteristic),
                UnorderedElementsAre("encrypt-read", "encrypt-write", "write-without-response"));
    EXPECT_THAT(air.bluez.publishedFlags(batteryLevel), UnorderedElementsAre("read", "notify"));
    air.connect();
    EXPECT_FALSE(air.pair->isBonded());
    // The daemon has encrypted the link when it lets this through.
    air.write(chunkOf("set_time"));
    EXPECT_TRUE(air.record->await("bonded"));
    EXPECT_TRUE(air.eventually([&] { return air.pair->receivedCount() == 1; }));
    EXPECT_TRUE(air.pair->isBonded());
}

TEST(GlassesOnAir, loseTheBondWithTheDaemons) {
    Air air({.requiresPairing = true});
    air.connect(true);
    ASSERT_TRUE(air.record->await("bonded"));
    air.pair->loseBond();
    EXPECT_TRUE(air.record->await("bond lost"));
    EXPECT_TRUE(air.eventually([&] { return !air.bluez.device(phoneAddress).isBonded; }));
    EXPECT_TRUE(air.isDropped());
    EXPECT_EQ(air.bluez.calls("RemoveDevice"), 1);
    EXPECT_TRUE(air.isAdvertised(dataService));
}

TEST(GlassesOnAir, loseTheBondWhileNobodyIsConnected) {
    Air air({.requiresPairing = true});
    air.connect(true);
    ASSERT_TRUE(air.record->await("bonded"));
    air.bluez.dropConnection(phoneAddress);
    ASSERT_TRUE(air.record->await("disconnected"));
    air.pair->loseBond();
    EXPECT_TRUE(air.eventually([&] { return !air.bluez.device(phoneAddress).isBonded; }));
}

TEST(GlassesOnAir, areOfferedAsAnUpdateInUpdateMode) {
    Air air({.restartTime = std::chrono::milliseconds(1)});
    air.connect();
    air.pair->setAdvertisingMode(AdvertisingMode::update);
    EXPECT_TRUE(air.isDropped());
    EXPECT_TRUE(air.isAdvertised(updateService));
    EXPECT_TRUE(air.eventually([&] {
        auto services = air.bluez.publishedServices();
        std::sort(services.begin(), services.end());
        return services == std::vector<std::string>{deviceInformation, updateService};
    }));
    air.pair->setAdvertisingMode(AdvertisingMode::normal);
    EXPECT_TRUE(air.isAdvertised(dataService));
}

TEST(GlassesOnAir, changeTheirName) {
    Air air;
    air.pair->setName("Other");
    EXPECT_TRUE(air.eventually([&] {
        const auto advertisement = air.bluez.advertisement();
        return advertisement && advertisement->name == "Other" && air.bluez.alias() == "Other";
    }));
}

TEST(GlassesOnAir, sayThatTheirServicesChanged) {
    Air air;
    air.connect();
    air.pair->changeServices();
    EXPECT_TRUE(air.eventually([&] { return air.bluez.calls("RegisterApplication") == 2; }));
    EXPECT_TRUE(air.eventually([&] { return air.bluez.publishedServices().size() == 3; }));
    EXPECT_EQ(air.read(batteryLevel).value, Bytes{80});
}

TEST(GlassesOnAir, leaveTheRangeAndReturn) {
    Air air;
    air.connect();
    air.pair->leaveRange();
    EXPECT_TRUE(air.isDropped());
    ASSERT_TRUE(air.record->await("disconnected"));
    EXPECT_FALSE(air.bluez.advertisement());
    air.pair->enterRange();
    EXPECT_TRUE(air.isAdvertised(dataService));
}

TEST(GlassesOnAir, answerNothingWhileStalledAndAllAfterwards) {
    Air air;
    air.connect();
    air.subscribe();
    air.pair->stall();
    air.write(chunkOf("a"));
    auto reading = air.bluez.centralBeginsToRead(phoneAddress, batteryLevel);
    air.pair->tap(1);
    EXPECT_EQ(reading.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
    EXPECT_EQ(air.pair->receivedCount(), 0U);
    EXPECT_THAT(air.bluez.notified(inCharacteristic), IsEmpty());
    EXPECT_TRUE(air.bluez.device(phoneAddress).isConnected);
    air.pair->resume();
    EXPECT_EQ(reading.get().value, Bytes{80});
    EXPECT_EQ(air.pair->receivedCount(), 1U);
    EXPECT_TRUE(air.eventually([&] { return air.bluez.notified(inCharacteristic).size() == 2; }));
}

TEST(GlassesOnAir, loseWhatIsWrittenBeyondWhatTheyHoldBack) {
    Air air;
    air.connect();
    air.pair->stall();
    Bytes chunk(512, 0);
    chunk.front() = 0x80;
    const auto most = OnAirLink::mostBytes / (chunk.size() + 3) + 1;
    for (std::size_t i = 0; i < most + 5; ++i) {
        air.write(chunk);
    }
    EXPECT_TRUE(air.eventually([&] { return air.pair->counters().lostWrites >= 5; }));
    EXPECT_TRUE(air.bluez.device(phoneAddress).isConnected);
    air.pair->resume();
    EXPECT_TRUE(air.eventually([&] { return air.pair->counters().writesWithoutResponse >= most - 1; }));
}

TEST(GlassesOnAir, comeBackWithTheDaemon) {
    Air air;
    air.connect();
    air.bluez.crash();
    EXPECT_TRUE(air.record->await("disconnected"));
    EXPECT_FALSE(air.pair->isConnected());
    air.bluez.start();
    EXPECT_TRUE(air.isAdvertised(dataService));
    air.bluez.connectByAnother(phoneAddress);
    EXPECT_TRUE(air.record->await("connected " + std::string(phoneAddress), 2));
}

TEST(GlassesOnAir, restartAndAdvertiseAgain) {
    Air air({.restartTime = std::chrono::milliseconds(1)});
    air.connect();
    air.pair->reset();
    EXPECT_TRUE(air.isDropped());
    EXPECT_TRUE(air.isAdvertised(dataService));
}

// The link by itself, in virtual time.

TEST(OnAirLink, takesTheLengthOfValuesFromTheMTUWhichOnlyGrows) {
    SimulatedScheduler scheduler(1);
    const auto link = std::make_shared<OnAirLink>(scheduler.makeSerialQueue("radio"));
    EXPECT_EQ(link->maximumValueLength(), 20U);
    EXPECT_FALSE(link->setMTU(0));
    EXPECT_TRUE(link->setMTU(247));
    EXPECT_EQ(link->maximumValueLength(), 244U);
    EXPECT_FALSE(link->setMTU(247));
    EXPECT_FALSE(link->setMTU(23));
    EXPECT_EQ(link->maximumValueLength(), 244U);
    EXPECT_TRUE(link->setMTU(65535));
    EXPECT_EQ(link->maximumValueLength(), 512U);
}

TEST(OnAirLink, deliversInOneOrderAndNothingOnceClosed) {
    SimulatedScheduler scheduler(1);
    const auto link = std::make_shared<OnAirLink>(scheduler.makeSerialQueue("radio"));
    std::vector<int> arrived;
    link->sendToHost(5, [&] { arrived.push_back(1); });
    link->sendToGlasses(5, [&] { arrived.push_back(2); });
    EXPECT_THAT(arrived, IsEmpty());
    scheduler.run();
    EXPECT_THAT(arrived, ElementsAre(1, 2));
    link->setHalted(true);
    link->sendToHost(5, [&] { arrived.push_back(3); });
    scheduler.run();
    EXPECT_THAT(arrived, ElementsAre(1, 2));
    link->setHalted(false);
    scheduler.run();
    EXPECT_THAT(arrived, ElementsAre(1, 2, 3));
    link->sendToHost(5, [&] { arrived.push_back(4); });
    link->close();
    EXPECT_FALSE(link->sendToGlasses(5, [&] { arrived.push_back(5); }));
    scheduler.run();
    EXPECT_THAT(arrived, ElementsAre(1, 2, 3));
}

constexpr const char* notificationService = "7905f431-b5ce-4e99-a40f-4b1e122d00d0";
constexpr const char* notificationSource = "9fbf120d-6301-42d9-8c58-25e699a21dbd";
constexpr const char* controlPoint = "69d1d8f3-45e1-49a8-9821-9bbdfdaad9d9";
constexpr const char* hostData = "22eac6e9-24d6-4bb5-be44-b36ace7c7bfb";

std::vector<test::FakeService> notificationServices() {
    return {{notificationService,
             {{.uuid = notificationSource, .flags = {"notify"}},
              {.uuid = controlPoint, .flags = {"write"}},
              {.uuid = hostData, .flags = {"notify"}}}}};
}

TEST(GlassesOnAir, readTheNotificationsOfTheHost) {
    Air air({}, true);
    air.connect(true, notificationServices());
    ASSERT_TRUE(air.eventually([&] {
        return air.bluez.characteristic(phoneAddress, notificationSource).isNotifying &&
               air.bluez.characteristic(phoneAddress, hostData).isNotifying;
    }));
    air.bluez.notify(phoneAddress, notificationSource, {0, 24, 0, 1, 1, 0, 0, 0});
    ASSERT_TRUE(
        air.eventually([&] { return air.bluez.characteristic(phoneAddress, controlPoint).written.size() == 1; }));
    EXPECT_EQ(air.bluez.characteristic(phoneAddress, controlPoint).written.at(0),
              (Bytes{0, 1, 0, 0, 0, 0, 1, 128, 0, 3, 0, 4}));
    air.bluez.notify(phoneAddress, hostData, {0, 1, 0, 0, 0, 0, 1, 0, 'o', 1, 2, 0, 'H'});
    air.bluez.notify(phoneAddress, hostData, {'i', 3, 1, 0, '!'});
    ASSERT_TRUE(air.eventually([&] { return air.pair->notifications().size() == 1; }));
    EXPECT_EQ(air.pair->notifications().at(0).title, "Hi");
    EXPECT_EQ(air.pair->notifications().at(0).message, "!");
    air.pair->clearNotification(1);
    ASSERT_TRUE(
        air.eventually([&] { return air.bluez.characteristic(phoneAddress, controlPoint).written.size() == 2; }));
    EXPECT_EQ(air.bluez.characteristic(phoneAddress, controlPoint).written.at(1), (Bytes{2, 1, 0, 0, 0, 1}));
    air.bluez.dropConnection(phoneAddress);
    EXPECT_TRUE(air.eventually([&] { return air.pair->notifications().empty(); }));
    EXPECT_TRUE(air.record->await("disconnected"));
    EXPECT_TRUE(air.record->await("advertising", 2));
    EXPECT_FALSE(air.bluez.device(phoneAddress).isConnected) << "glasses do not call a host back";
}

TEST(GlassesOnAir, leaveAHostAloneThatRefusesItsNotificationsAgainAndAgain) {
    Air air({}, true);
    auto refusing = notificationServices();
    refusing[0].characteristics[0].refusal = bluez::Failure{"org.bluez.Error.NotPermitted", "Not paired"};
    air.connect(false, refusing);
    constexpr int most = glasses::HostNotificationsOnAir::mostAttempts;
    for (int round = 1; round <= most + 1; ++round) {
        EXPECT_TRUE(air.eventually([&] {
            return air.bluez.characteristic(phoneAddress, hostData).isNotifying || round > most;
        })) << round;
        air.bluez.dropConnection(phoneAddress);
        ASSERT_TRUE(air.record->await("disconnected", round));
        ASSERT_TRUE(air.record->await("advertising", round + 1));
        air.bluez.connectByAnother(phoneAddress);
        ASSERT_TRUE(air.record->await("connected " + std::string(phoneAddress), round + 1));
    }
    EXPECT_EQ(air.read(batteryLevel).error, std::nullopt);
    EXPECT_LE(air.bluez.calls("StartNotify"), 2 * most) << "the data source and the notification source";
}

TEST(GlassesOnAir, leaveAHostAloneThatSharesNoNotifications) {
    Air air({}, true);
    air.connect();
    EXPECT_EQ(air.read(batteryLevel).error, std::nullopt);
    EXPECT_TRUE(air.pair->isConnected());
    EXPECT_EQ(air.pair->notificationErrorCount(), 0U);
}

} // namespace
} // namespace tarnel
