#include "support/FakeBluetooth.hpp"
#include "support/TestPlatform.hpp"

#include <TarnelSDK/manager/TarnelManager.hpp>
#include <TarnelSDK/messagepack/Pack.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using platform::CentralState;
using test::FakePeripheral;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// One run of an application: platform, fake Bluetooth, manager.
struct ApplicationRun {
    explicit ApplicationRun(const Value::Dictionary& stored = {}, std::uint64_t seed = 1)
        : platform({.seed = seed, .bluetooth = fake}) {
        for (const auto& [key, value] : stored) {
            platform.userDefaults->set(key, value);
        }
    }

    void powerOn() {
        fake->setState(CentralState::poweredOn);
        platform.run();
    }

    std::shared_ptr<FakePeripheral> makePeripheral() { return std::make_shared<FakePeripheral>(UUID::random()); }

    std::shared_ptr<Tarnel> link(const std::shared_ptr<FakePeripheral>& peripheral) {
        std::shared_ptr<Tarnel> linked;
        manager().link(peripheral, [&](const auto& device) { linked = device; });
        fake->completeConnection(peripheral);
        platform.run();
        return linked;
    }

    static TarnelManager& manager() { return TarnelManager::shared(); }

    const std::shared_ptr<test::FakeBluetooth> fake = std::make_shared<test::FakeBluetooth>();
    test::TestPlatform platform;
};

TEST(TarnelManager, ReportsWhyItCannotScan) {
    ApplicationRun run;
    int found = 0;
    const auto count = [&](const auto&) { ++found; };
    EXPECT_EQ(run.manager().startScan(count), BluetoothScanResult::BLUETOOTH_PERMISSION_NEEDED);
    EXPECT_FALSE(run.manager().isScanning.value());
    run.manager().isBluetoothEnabled.setValue(true);
    EXPECT_EQ(run.manager().startScan(count), BluetoothScanResult::DISABLED);
    EXPECT_FALSE(run.manager().isScanning.value());
    EXPECT_THAT(run.fake->central->scans, IsEmpty());
    run.powerOn();
    EXPECT_EQ(run.manager().startScan(count), BluetoothScanResult::SUCCESS);
    EXPECT_TRUE(run.manager().isScanning.value());
    EXPECT_THAT(run.fake->central->scans, SizeIs(1));
    platform::AdvertisementData data;
    data.isConnectable = true;
    data.serviceUUIDs = {{Bluetooth::GATT_SERVICE_UUID}};
    run.fake->discover(run.makePeripheral(), data);
    run.platform.run();
    EXPECT_EQ(found, 1);
    run.manager().stopScan();
    EXPECT_FALSE(run.manager().isScanning.value());
    EXPECT_FALSE(run.fake->central->scanning);
}

TEST(TarnelManager, AScanEndsWithBluetoothAndIsBegunAgainByTheApplication) {
    ApplicationRun run;
    auto& manager = run.manager();
    const auto ignore = [](const auto&) {};
    for (const auto state : {platform::CentralState::poweredOff, platform::CentralState::unauthorized}) {
        run.powerOn();
        ASSERT_EQ(manager.startScan(ignore), BluetoothScanResult::SUCCESS);
        run.fake->setState(state);
        run.platform.run();
        EXPECT_FALSE(manager.isScanning.value());
        run.powerOn();
        EXPECT_FALSE(manager.isScanning.value());
    }
    EXPECT_EQ(manager.startScan(ignore), BluetoothScanResult::SUCCESS);
    EXPECT_TRUE(manager.isScanning.value());
    EXPECT_THAT(run.fake->central->scans, SizeIs(3));
}

TEST(TarnelManager, MirrorsTheStateOfTheCentral) {
    ApplicationRun run;
    run.manager();
    run.powerOn();
    EXPECT_TRUE(run.manager().isReady.value());
    EXPECT_TRUE(run.manager().isBluetoothEnabled.value());
    run.fake->setState(CentralState::poweredOff);
    run.platform.run();
    EXPECT_FALSE(run.manager().isReady.value());
    EXPECT_FALSE(run.manager().isBluetoothEnabled.value());
}

TEST(TarnelManager, LinksTheDeviceOfACompletedConnectionAndStoresIt) {
    ApplicationRun run;
    run.manager();
    run.powerOn();
    int changes = 0;
    const auto observation =
        run.platform.notificationCenter().observe(TarnelManager::currentDeviceChange, [&](const auto&) { ++changes; });
    const auto peripheral = run.makePeripheral();
    const auto device = run.link(peripheral);
    ASSERT_TRUE(device);
    EXPECT_EQ(run.manager().currentDevice(), device);
    EXPECT_THAT(run.manager().getAllDevices(), ElementsAre(device));
    EXPECT_TRUE(run.manager().isLinked.value());
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(run.platform.userDefaults->object("currentDeviceUUID"), Value(device->uuidString()));
    EXPECT_TRUE(run.platform.userDefaults->object("devices").bytes());
}

TEST(TarnelManager, ReplacesTheFirstPairOfGlassesByASecond) {
    ApplicationRun run;
    run.manager();
    run.powerOn();
    const auto first = run.link(run.makePeripheral());
    const auto second = run.link(run.makePeripheral());
    EXPECT_NE(first, second);
    EXPECT_THAT(run.manager().devices(), ElementsAre(second));
    EXPECT_EQ(run.manager().currentDevice(), second);
    const Value::Dictionary stored = run.platform.userDefaults->values();
    EXPECT_EQ(stored.at("currentDeviceUUID"), Value(second->uuidString()));
}

TEST(TarnelManager, IgnoresADeviceWithoutAPeripheralIdentifier) {
    ApplicationRun run;
    run.manager();
    const auto device = Tarnel::make(run.makePeripheral());
    device->setPeripheralID(std::nullopt);
    run.manager().linkDevice(device);
    run.platform.run();
    EXPECT_EQ(run.manager().currentDevice(), nullptr);
    EXPECT_FALSE(run.manager().isLinked.value());
    EXPECT_THAT(run.platform.userDefaults->values(), IsEmpty());
}

TEST(TarnelManager, RestoresTheLinkAfterARestartAndConnectsOnceBluetoothIsOn) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        Value::Dictionary stored;
        UUID identifier;
        std::string uuid;
        {
            ApplicationRun run(Value::Dictionary(), seed);
            run.manager();
            run.powerOn();
            const auto peripheral = run.makePeripheral();
            identifier = peripheral->identifier();
            uuid = run.link(peripheral)->uuidString();
            stored = run.platform.userDefaults->values();
        }
        ApplicationRun run(stored, seed);
        const auto peripheral = std::make_shared<FakePeripheral>(identifier);
        run.fake->central->known = {peripheral};
        run.manager();
        run.platform.run();
        ASSERT_TRUE(run.manager().currentDevice());
        EXPECT_EQ(run.manager().currentDevice()->uuidString(), uuid);
        EXPECT_TRUE(run.manager().isLinked.value());
        EXPECT_THAT(run.fake->central->connects, IsEmpty());
        run.powerOn();
        EXPECT_THAT(run.fake->central->connects, ElementsAre(peripheral));
        run.fake->completeConnection(peripheral);
        run.platform.run();
        EXPECT_EQ(run.manager().currentDevice()->state(), DeviceState::connected);
        EXPECT_EQ(peripheral->serviceDiscoveries, 1);
    }
}

TEST(TarnelManager, StartsUnlinkedWhereWhatIsStoredCannotBeRead) {
    const std::string uuid = "00112233-4455-6677-8899-AABBCCDDEEFF";
    const auto good = MessagePackValue::map({{"uuid", uuid}});
    const auto bad = MessagePackValue::map({{"uuid", "nonsense"}});
    const std::vector<Value> archives{
        Value("text"),
        Value(Bytes{}),
        Value(Bytes{0xC1}),
        Value(pack(5)),
        Value(pack(MessagePackValue::array({good, bad}))),
    };
    for (const auto& archive : archives) {
        ApplicationRun run({{"devices", archive}, {"currentDeviceUUID", uuid}});
        run.manager();
        run.platform.run();
        EXPECT_THAT(run.manager().devices(), IsEmpty()) << archive.description();
        EXPECT_EQ(run.manager().currentDevice(), nullptr);
    }
    ApplicationRun run({{"devices", Value(pack(MessagePackValue::array({good})))}, {"currentDeviceUUID", "another"}});
    run.manager();
    run.platform.run();
    EXPECT_THAT(run.manager().devices(), SizeIs(1));
    EXPECT_EQ(run.manager().currentDevice(), nullptr);
}

TEST(TarnelManager, ErasesEveryUserDefaultOfTheApplicationWhenItUnlinks) {
    ApplicationRun run(Value::Dictionary{{"of the application", "precious"}});
    run.manager();
    run.powerOn();
    const auto peripheral = run.makePeripheral();
    run.link(peripheral);
    run.manager().unlink();
    EXPECT_THAT(run.platform.userDefaults->values(), IsEmpty());
    run.platform.run();
    EXPECT_EQ(run.platform.userDefaults->object("currentDeviceUUID"), Value());
    EXPECT_EQ(run.manager().currentDevice(), nullptr);
    EXPECT_THAT(run.manager().devices(), IsEmpty());
    EXPECT_FALSE(run.manager().isLinked.value());
    EXPECT_THAT(run.fake->central->cancels, ElementsAre(peripheral));
}

TEST(TarnelManager, RemovesItsOwnKeysWhereTheApplicationHasNoIdentifier) {
    ApplicationRun run({{"serialNumber", "Z"}, {"macAddress", "00"}, {"other", 1}});
    run.manager();
    run.powerOn();
    run.link(run.makePeripheral());
    run.platform.application->setBundleIdentifier(std::nullopt);
    run.manager().unlink();
    const auto stored = run.platform.userDefaults->values();
    EXPECT_EQ(stored.count("serialNumber") + stored.count("macAddress") + stored.count("devices") +
                  stored.count("currentDeviceUUID"),
              0u);
    EXPECT_EQ(stored.count("other"), 1u);
}

TEST(TarnelManager, KeepsTheCurrentDeviceWhenAnotherIsUnlinkedButEmptiesTheRest) {
    ApplicationRun run;
    run.manager();
    run.powerOn();
    const auto current = run.link(run.makePeripheral());
    const auto other = Tarnel::make(run.makePeripheral());
    run.manager().unlinkDevice(other);
    run.platform.run();
    EXPECT_EQ(run.manager().currentDevice(), current);
    EXPECT_THAT(run.manager().devices(), IsEmpty());
    EXPECT_FALSE(run.manager().isLinked.value());
    EXPECT_TRUE(run.platform.userDefaults->object("devices").isNull());
}

TEST(TarnelManager, KeepsTheStoredIdentityWhenNoDeviceIsCurrentAnyMore) {
    ApplicationRun run;
    run.manager();
    run.powerOn();
    const auto device = run.link(run.makePeripheral());
    run.manager().setCurrentDevice(nullptr);
    run.platform.run();
    EXPECT_EQ(run.manager().currentDevice(), nullptr);
    EXPECT_FALSE(run.manager().isLinked.value());
    EXPECT_EQ(run.platform.userDefaults->object("currentDeviceUUID"), Value(device->uuidString()));
}

TEST(TarnelManager, DoesNotReconnectAnUnlinkedDevice) {
    ApplicationRun run;
    run.manager();
    run.powerOn();
    const auto peripheral = run.makePeripheral();
    const auto device = run.link(peripheral);
    device->unlinkDevice();
    run.fake->drop(peripheral);
    run.platform.advance(1min);
    EXPECT_THAT(run.fake->central->registrations, IsEmpty());
    EXPECT_FALSE(device->shouldAutoReconnect());
}

TEST(TarnelManager, DoesNotCallBackForAPeripheralThatIsConnectedAlready) {
    ApplicationRun run;
    run.manager();
    run.powerOn();
    const auto peripheral = run.makePeripheral();
    peripheral->currentState = platform::PeripheralState::connected;
    int calls = 0;
    run.manager().link(peripheral, [&](const auto&) { ++calls; });
    run.platform.run();
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(peripheral->serviceDiscoveries, 1);
}

TEST(TarnelManager, RestartsTheConnectionAndTakesTheCentralsReportsAgain) {
    ApplicationRun run;
    run.manager();
    run.powerOn();
    const auto peripheral = run.makePeripheral();
    run.link(peripheral);
    run.fake->central->known = {peripheral};
    peripheral->currentState = platform::PeripheralState::disconnected;
    run.manager().setBluetoothManger();
    EXPECT_EQ(run.fake->central->delegateSettings, 1);
    EXPECT_THAT(run.fake->central->cancels, SizeIs(1));
    EXPECT_THAT(run.fake->central->connects, SizeIs(2)) << "the link's and the restart's";
    EXPECT_EQ(run.manager().getBluetoothManager(), run.fake->central);
}

TEST(TarnelManager, LeavesNothingBehindWhenThePlatformIsTornDown) {
    std::weak_ptr<Tarnel> device;
    {
        ApplicationRun run;
        run.manager();
        run.powerOn();
        device = run.link(run.makePeripheral());
        EXPECT_FALSE(device.expired());
    }
    EXPECT_TRUE(device.expired());
}

} // namespace
} // namespace tarnel
