#include "TestPictures.hpp"

#include <TarnelGlasses/SimulatedWorld.hpp>
#include <TarnelSDK/manager/TarnelManager.hpp>
#include <TarnelSDK/messagepack/Pack.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <random>
#include <string>

/// The whole SDK on simulated glasses: what an application does, and what comes of it on the display.
namespace tarnel {
namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::Key;
using ::testing::SizeIs;

/// An application and one pair of glasses.
class Desk {
public:
    explicit Desk(std::uint64_t seed = 1, const glasses::GlassesOptions& options = {},
                  const glasses::LinkModel& link = {})
        : trace_(__FILE__, __LINE__, "seed " + std::to_string(seed)), world({.seed = seed, .link = link}),
          pair(world.addGlasses(options)) {}

    static TarnelManager& manager() { return TarnelManager::shared(); }
    static std::shared_ptr<Tarnel> device() { return manager().currentDevice(); }

    /// Finds the glasses, links them and waits until they can be drawn on.
    bool link() {
        if (!world.runUntil([] { return manager().isReady.value(); })) {
            return false;
        }
        manager().startScan([](const auto& peripheral) { manager().link(peripheral, nullptr); });
        return waitForConnection();
    }

    bool waitForConnection() {
        return world.runUntil([] {
            const auto current = device();
            return current && current->isConnected.value();
        });
    }

    void takeDisplay() { device()->setLayout(Layout::canvas, 180, false); }

    /// Waits until everything queued has arrived.
    bool settle() {
        const bool sent = world.runUntil([] { return !device()->hasDataInOutgoingQueue(); });
        world.advance(1s);
        return sent;
    }

private:
    const ::testing::ScopedTrace trace_;

public:
    glasses::SimulatedWorld world;
    const std::shared_ptr<glasses::SimulatedGlasses> pair;
};

TEST(FirstLight, CarriesAPictureToTheDisplayPixelByPixelOnBothProtocols) {
    for (const int protocol : {1, 2}) {
        for (const std::size_t mtu : {23u, 185u, 498u}) {
            Desk desk(static_cast<std::uint64_t>(protocol) + mtu, {.protocolVersion = protocol}, {.mtu = mtu});
            ASSERT_TRUE(desk.link());
            EXPECT_EQ(desk.device()->protocolVersion(), protocol);
            EXPECT_EQ(desk.device()->maxPayloadSize(), static_cast<int>(mtu - 3));
            desk.takeDisplay();
            const Image picture = test::randomPicture(static_cast<std::uint32_t>(mtu));
            desk.device()->canvas.drawBackground(picture, 0, 0, false);
            ASSERT_TRUE(desk.settle());
            EXPECT_TRUE(desk.pair->frame().isDark()) << "nothing is shown before it is committed";
            desk.device()->canvas.commit();
            ASSERT_TRUE(desk.settle());
            EXPECT_EQ(desk.pair->frame().levels(), test::levels(picture));
            EXPECT_EQ(test::levels(desk.device()->canvas.mirror()), desk.pair->frame().levels());
            EXPECT_EQ(desk.pair->errorCount(), 0u);
        }
    }
}

TEST(FirstLight, ShowsTheSameWhicheverWayTheQueuesInterleave) {
    const Image picture = test::randomPicture(5);
    for (std::uint64_t seed = 1; seed <= 25; ++seed) {
        Desk desk(seed);
        ASSERT_TRUE(desk.link());
        desk.takeDisplay();
        desk.device()->canvas.drawBackground(picture, 0, 0, true);
        ASSERT_TRUE(desk.settle());
        EXPECT_EQ(desk.pair->frame().levels(), test::levels(picture));
    }
}

TEST(FirstLight, TellsTheGlassesTheTimeAndLearnsTheirSettings) {
    Desk desk;
    ASSERT_TRUE(desk.link());
    ASSERT_TRUE(desk.settle());
    EXPECT_EQ(desk.pair->time().value_or("").substr(0, 11), "20260101T12");
    EXPECT_EQ(desk.device()->getIntProperty(Property::brightness), 50);
    EXPECT_EQ(desk.device()->getIntProperty(Property::version), 123);
    EXPECT_EQ(desk.device()->getName(), "Brenlo Glasses");
    EXPECT_EQ(desk.device()->batteryLevel.value(), 80);
    EXPECT_EQ(desk.device()->revision(), Revision::v2);
    EXPECT_EQ(desk.world.userDefaults().object("serialNumber"), Value("Z123456789012"));
    desk.pair->setBattery(20, true);
    desk.world.advance(1s);
    EXPECT_EQ(desk.device()->batteryLevel.value(), 20);
    EXPECT_TRUE(desk.device()->batteryChargeStatus.value());
    desk.device()->setIntProperty(Property::brightness, 99);
    ASSERT_TRUE(desk.settle());
    EXPECT_EQ(desk.pair->property("led"), Value(99));
}

TEST(FirstLight, HearsTapsWhileItHasControlAndLosesItToOthers) {
    for (const int protocol : {1, 2}) {
        Desk desk(1, {.protocolVersion = protocol});
        ASSERT_TRUE(desk.link());
        int taps = 0;
        const auto observation = platform::Platform::current().notificationCenter().observe(
            "tap", [&](const auto&) { ++taps; }, desk.device());
        desk.pair->tap(1);
        desk.world.advance(1s);
        EXPECT_EQ(taps, 0);
        desk.takeDisplay();
        ASSERT_TRUE(desk.settle());
        EXPECT_EQ(desk.pair->controlOwner(), "org.example.application");
        desk.pair->tap(1);
        desk.world.advance(1s);
        EXPECT_EQ(taps, 1);
        desk.pair->takeControl("other.app");
        desk.world.advance(1s);
        EXPECT_FALSE(desk.device()->hasControl());
        EXPECT_TRUE(desk.device()->isConnected.value());
    }
}

TEST(FirstLight, ComesBackByItselfAfterADropInMidPictureAndARedrawIsWhole) {
    const Image picture = test::randomPicture(8);
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        for (const int protocol : {1, 2}) {
            Desk desk(seed, {.protocolVersion = protocol});
            ASSERT_TRUE(desk.link());
            desk.takeDisplay();
            desk.device()->canvas.drawBackground(picture, 0, 0, true);
            desk.world.advance(100ms + seed * 7ms);
            EXPECT_TRUE(desk.device()->hasDataInOutgoingQueue());
            desk.pair->dropConnection();
            ASSERT_TRUE(desk.world.runUntil([&] { return !desk.device()->isConnected.value(); }));
            EXPECT_FALSE(desk.device()->hasDataInOutgoingQueue());
            EXPECT_EQ(desk.device()->state(), DeviceState::notConnected);
            ASSERT_TRUE(desk.waitForConnection());
            EXPECT_EQ(desk.device()->state(), DeviceState::connected);
            EXPECT_FALSE(desk.device()->hasControl());
            desk.takeDisplay();
            desk.device()->canvas.drawBackground(picture, 0, 0, false);
            desk.device()->canvas.commit();
            ASSERT_TRUE(desk.settle());
            EXPECT_EQ(desk.pair->frame().levels(), test::levels(picture));
            EXPECT_EQ(desk.pair->errorCount(), 0u);
        }
    }
}

TEST(FirstLight, SurvivesEveryFaultAndDrawsAgain) {
    using Fault = std::pair<const char*, void (*)(glasses::SimulatedGlasses&)>;
    const std::vector<Fault> faults{
        {"reset", [](auto& pair) { pair.reset(); }},
        {"leaveRange", [](auto& pair) { pair.leaveRange(); }},
        {"stall", [](auto& pair) { pair.stall(1s); }},
        {"truncateChunk", [](auto& pair) { pair.truncateChunk(); }},
        {"refuseWrite", [](auto& pair) { pair.refuseWrite(); }},
        {"changeServices", [](auto& pair) { pair.changeServices(); }},
    };
    for (const auto& [name, fault] : faults) {
        SCOPED_TRACE(name);
        Desk desk(3);
        ASSERT_TRUE(desk.link());
        desk.takeDisplay();
        desk.device()->canvas.drawBackground(test::randomPicture(1), 0, 0, true);
        desk.world.advance(80ms);
        fault(*desk.pair);
        desk.world.advance(10s);
        desk.pair->enterRange();
        desk.world.advance(10s);
        ASSERT_TRUE(desk.waitForConnection());
        desk.takeDisplay();
        const Image picture = test::randomPicture(2);
        desk.device()->canvas.drawBackground(picture, 0, 0, false);
        desk.device()->canvas.commit();
        ASSERT_TRUE(desk.settle());
        EXPECT_EQ(desk.pair->frame().levels(), test::levels(picture));
    }
}

TEST(FirstLight, RestoresTheLinkFromStoredSettingsWhenTheApplicationStartsAgain) {
    Desk desk;
    ASSERT_TRUE(desk.link());
    const auto uuid = desk.device()->uuidString();
    for (int launch = 0; launch < 3; ++launch) {
        desk.world.relaunch();
        ASSERT_TRUE(desk.waitForConnection());
        EXPECT_EQ(desk.device()->uuidString(), uuid);
        EXPECT_TRUE(desk.manager().isLinked.value());
    }
    desk.manager().unlink();
    desk.world.advance(1s);
    EXPECT_FALSE(desk.pair->isConnected());
    desk.world.relaunch();
    desk.manager();
    desk.world.advance(10s);
    EXPECT_EQ(desk.device(), nullptr);
}

TEST(FirstLight, UnlinksAndTellsTheUserWhenTheGlassesHaveForgottenTheHost) {
    Desk desk(1, {.requiresPairing = true});
    ASSERT_TRUE(desk.link());
    int told = 0;
    const auto observation = platform::Platform::current().notificationCenter().observe(
        Bluetooth::peerRemovedPairingInfo, [&](const auto&) { ++told; });
    desk.pair->loseBond();
    desk.world.advance(30s);
    EXPECT_EQ(told, 1);
    EXPECT_EQ(desk.device(), nullptr);
    EXPECT_FALSE(desk.manager().isLinked.value());
}

TEST(FirstLight, GoesOnWhenBluetoothIsSwitchedOffAndOn) {
    Desk desk;
    ASSERT_TRUE(desk.link());
    desk.world.bluetooth().setState(platform::CentralState::poweredOff);
    desk.world.advance(5s);
    EXPECT_FALSE(desk.manager().isReady.value());
    EXPECT_FALSE(desk.device()->isConnected.value());
    desk.world.bluetooth().setState(platform::CentralState::poweredOn);
    ASSERT_TRUE(desk.waitForConnection());
}

TEST(FirstLight, KeepsUnlinkedGlassesAwayAndListsThoseInUpdateModeApart) {
    Desk desk(1, {.advertisingMode = glasses::AdvertisingMode::update});
    ASSERT_TRUE(desk.world.runUntil([&] { return desk.manager().isReady.value(); }));
    int found = 0;
    int updates = 0;
    const auto observation = platform::Platform::current().notificationCenter().observe(
        Bluetooth::scannedPeripheralChange, [&](const auto&) { ++updates; });
    desk.manager().startScan([&](const auto&) { ++found; });
    desk.world.advance(5s);
    EXPECT_EQ(found, 0);
    EXPECT_EQ(updates, 1);
    desk.pair->setAdvertisingMode(glasses::AdvertisingMode::otherManufacturerData);
    desk.world.advance(5s);
    EXPECT_EQ(found, 0);
}

TEST(FirstLight, ReportsWhatTheFirmwareRefuses) {
    Desk desk;
    ASSERT_TRUE(desk.link());
    desk.takeDisplay();
    desk.device()->sendData(pack(MessagePackValue::map({{"nonsense", 1}})));
    ASSERT_TRUE(desk.settle());
    ASSERT_TRUE(desk.device()->firmwareError.value());
    EXPECT_EQ(desk.device()->firmwareError.value()->code, FirmwareError::Code::CODE_UNKNOWN_COMMAND);
    desk.device()->sendData(Bytes(10'001, 0xC0));
    ASSERT_TRUE(desk.settle());
    EXPECT_EQ(desk.pair->errorCount(), 2u);
    desk.device()->sendData(pack(MessagePackValue::map({{"set_time", 5}})));
    ASSERT_TRUE(desk.settle());
    EXPECT_EQ(desk.device()->firmwareError.value()->code, FirmwareError::Code::CODE_FAILED_COMMAND);
}

TEST(FirstLight, TakesAnythingFromTheAir) {
    Desk desk;
    ASSERT_TRUE(desk.link());
    std::mt19937 random(11);
    for (int i = 0; i < 5'000; ++i) {
        Bytes value(random() % 60);
        for (auto& byte : value) {
            byte = static_cast<std::uint8_t>(random());
        }
        desk.pair->notifyValue(std::move(value));
        if (i % 50 == 0) {
            desk.world.advance(100ms);
        }
    }
    desk.world.advance(10s);
    desk.pair->send(pack(MessagePackValue::map({{"still", "alive"}})));
    desk.world.advance(10s);
    ASSERT_TRUE(desk.device());
    EXPECT_TRUE(desk.device()->isConnected.value());
}

TEST(FirstLight, KeepsCommandsOfManyKindsWholeAndInTheirOwnOrder) {
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        Desk desk(seed);
        ASSERT_TRUE(desk.link());
        desk.takeDisplay();
        for (int i = 0; i < 40; ++i) {
            desk.device()->setIntProperty(Property::brightness, i);
            desk.device()->canvas.drawBackground(test::randomPicture(static_cast<std::uint32_t>(i), 30, 30), i, i,
                                                 false);
            desk.world.advance(std::chrono::milliseconds(seed * static_cast<std::uint64_t>(i) % 11));
        }
        desk.device()->canvas.commit();
        ASSERT_TRUE(desk.settle());
        EXPECT_EQ(desk.pair->property("led"), Value(39));
        EXPECT_EQ(test::levels(desk.device()->canvas.mirror()), desk.pair->frame().levels());
        EXPECT_EQ(desk.pair->errorCount(), 0u);
    }
}

} // namespace
} // namespace tarnel
