#include "Machine.hpp"

#include <TarnelSDK/ancs/NotificationProvider.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <string>

namespace tarnel {
namespace {

using ancs::EventID;
using test::glasses;
using test::glassesAddress;
using test::Machine;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* notificationService = "7905f431-b5ce-4e99-a40f-4b1e122d00d0";
constexpr const char* notificationSource = "9fbf120d-6301-42d9-8c58-25e699a21dbd";
constexpr const char* controlPoint = "69d1d8f3-45e1-49a8-9821-9bbdfdaad9d9";
constexpr const char* dataSource = "22eac6e9-24d6-4bb5-be44-b36ace7c7bfb";
constexpr const char* otherAddress = "00:AA:01:01:00:02";

/// A machine that shares its notifications.
class Sharing : public Machine {
public:
    Sharing() { provider->shareNotifications(notifications); }
    ~Sharing() { quit(); }

    void subscribe(bool isOn = true) { bluez.centralSubscribes(notificationSource, isOn); }
    bool isOffered() {
        const auto services = bluez.publishedServices();
        return std::find(services.begin(), services.end(), notificationService) != services.end();
    }
    /// The values of a characteristic, once there are this many.
    std::vector<Bytes> notified(const std::string& uuid, std::size_t count) {
        eventually([&] { return bluez.notified(uuid).size() >= count; });
        return bluez.notified(uuid);
    }
    bool awaitAuthorization(bool isAuthorized) {
        return eventually([&] { return peripheral->ancsAuthorized() == isAuthorized; });
    }

    std::shared_ptr<ancs::NotificationProvider> notifications =
        ancs::NotificationProvider::make(scheduler.makeSerialQueue("notifications"));
};

Bytes added(std::uint8_t uid, std::uint8_t count, std::uint8_t flags = 0) {
    return ancs::encode({.id = EventID::added, .flags = flags, .categoryCount = count, .uid = uid});
}

TEST(BlueZNotifications, areOfferedWhileGlassesAreConnectedOrAreToBe) {
    Sharing machine;
    machine.bluez.addDevice(glasses());
    EXPECT_TRUE(machine.eventually([&] { return machine.central->state() == platform::CentralState::poweredOn; }));
    EXPECT_FALSE(machine.isOffered());
    machine.connect();
    EXPECT_TRUE(machine.eventually([&] { return machine.isOffered(); }));
    machine.central->cancelPeripheralConnection(machine.peripheral);
    EXPECT_TRUE(machine.eventually([&] { return !machine.isOffered(); }));
}

TEST(BlueZNotifications, areOfferedOverAnEncryptedLinkAlone) {
    Sharing machine;
    machine.open();
    ASSERT_TRUE(machine.eventually([&] { return machine.isOffered(); }));
    EXPECT_THAT(machine.bluez.publishedFlags(notificationSource), ElementsAre("encrypt-notify"));
    EXPECT_THAT(machine.bluez.publishedFlags(controlPoint), ElementsAre("encrypt-write"));
    EXPECT_THAT(machine.bluez.publishedFlags(dataSource), ElementsAre("encrypt-notify"));
}

TEST(BlueZNotifications, areToldToGlassesThatSubscribe) {
    Sharing machine;
    machine.notifications->add("a", {.title = "before"});
    machine.open();
    ASSERT_TRUE(machine.eventually([&] { return machine.isOffered(); }));
    machine.subscribe();
    EXPECT_THAT(machine.notified(notificationSource, 1), ElementsAre(added(1, 1, ancs::preExisting)));
    machine.notifications->add("b", {.title = "after"});
    machine.notifications->remove("a");
    EXPECT_THAT(machine.notified(notificationSource, 3),
                ElementsAre(added(1, 1, ancs::preExisting), added(2, 2),
                            ancs::encode({.id = EventID::removed, .categoryCount = 1, .uid = 1})));
}

TEST(BlueZNotifications, thatAreReadAuthorizeTheGlasses) {
    Sharing machine;
    machine.open();
    EXPECT_FALSE(machine.peripheral->ancsAuthorized());
    ASSERT_TRUE(machine.eventually([&] { return machine.isOffered(); }));
    machine.subscribe();
    EXPECT_TRUE(machine.application->await("authorized"));
    machine.subscribe(false);
    EXPECT_TRUE(machine.application->await("not authorized"));
    machine.subscribe();
    EXPECT_TRUE(machine.application->await("authorized", 2));
    machine.bluez.dropConnection(glassesAddress);
    EXPECT_TRUE(machine.awaitAuthorization(false));
}

TEST(BlueZNotifications, giveTheirTextsInPartsThatTheConnectionCarries) {
    Sharing machine;
    machine.open();
    ASSERT_TRUE(machine.eventually([&] { return machine.isOffered(); }));
    machine.notifications->add("a", {.title = "Grüße aus Köln am Rhein"});
    machine.subscribe();
    machine.bluez.centralSubscribes(dataSource);
    ASSERT_TRUE(machine.application->await("authorized"));
    const Bytes command{0, 1, 0, 0, 0, 1, 0xFF, 0};
    EXPECT_EQ(machine.bluez.centralWrites(glassesAddress, controlPoint, command, {{"mtu", std::uint16_t{23}}}).error,
              std::nullopt);
    const auto parts = machine.notified(dataSource, 2);
    ASSERT_EQ(parts.size(), 2U);
    EXPECT_EQ(parts[0].size(), 20U);
    std::string text(parts[0].begin() + 8, parts[0].end());
    text.append(parts[1].begin(), parts[1].end());
    EXPECT_EQ(text, "Grüße aus Köln am Rhein");
}

TEST(BlueZNotifications, areAnsweredOnTheGlasses) {
    Sharing machine;
    machine.open();
    ASSERT_TRUE(machine.eventually([&] { return machine.isOffered(); }));
    std::promise<ancs::Action> performed;
    machine.notifications->add(
        "a", {.negativeLabel = "Clear", .perform = [&](ancs::Action action) { performed.set_value(action); }});
    EXPECT_EQ(machine.bluez.centralWrites(glassesAddress, controlPoint, {2, 1, 0, 0, 0, 1}).error, std::nullopt);
    EXPECT_EQ(performed.get_future().get(), ancs::Action::negative);
}

TEST(BlueZNotifications, refuseWhatIsNoCommand) {
    Sharing machine;
    machine.open();
    ASSERT_TRUE(machine.eventually([&] { return machine.isOffered(); }));
    for (const auto& command : {Bytes{}, Bytes{9}, Bytes{0, 1, 0, 0, 0, 1}, Bytes(512, 0xFF)}) {
        EXPECT_NE(machine.bluez.centralWrites(glassesAddress, controlPoint, command).error, std::nullopt);
    }
    EXPECT_NE(machine.bluez.centralReads(glassesAddress, controlPoint).error, std::nullopt);
    EXPECT_THAT(machine.bluez.notified(dataSource), IsEmpty());
}

TEST(BlueZNotifications, areReadByWhoeverAsksWhenSeveralAreConnected) {
    Sharing machine;
    machine.open();
    auto other = glasses(otherAddress);
    machine.bluez.addDevice(other);
    const auto first = machine.peripheral;
    const auto second = machine.known(otherAddress);
    ASSERT_NE(second, nullptr);
    machine.central->connect(second);
    ASSERT_TRUE(machine.application->await("connected", 2));
    machine.subscribe();
    machine.bluez.centralWrites(otherAddress, controlPoint, {2, 1, 0, 0, 0, 1});
    EXPECT_TRUE(machine.eventually([&] { return second->ancsAuthorized(); }));
    EXPECT_FALSE(first->ancsAuthorized());
}

TEST(BlueZNotifications, areOfferedAgainByADaemonThatWasRestarted) {
    Sharing machine;
    machine.open();
    ASSERT_TRUE(machine.eventually([&] { return machine.isOffered(); }));
    machine.bluez.crash();
    ASSERT_TRUE(machine.eventually([&] { return machine.central->state() == platform::CentralState::poweredOff; }));
    machine.bluez.start();
    machine.connect();
    EXPECT_TRUE(machine.eventually([&] { return machine.isOffered(); }));
    machine.subscribe();
    ASSERT_TRUE(machine.application->await("authorized"));
    machine.notifications->add("a", {});
    EXPECT_THAT(machine.notified(notificationSource, 1), Contains(added(1, 1)));
}

/// The daemon keeps it to itself which devices have subscribed.
TEST(BlueZNotifications, areToldOnceMoreWhenOtherGlassesConnect) {
    Sharing machine;
    machine.notifications->add("a", {.title = "before"});
    machine.open();
    ASSERT_TRUE(machine.eventually([&] { return machine.isOffered(); }));
    machine.subscribe();
    ASSERT_EQ(machine.notified(notificationSource, 1).size(), 1U);
    machine.bluez.addDevice(glasses(otherAddress));
    machine.peripheral = machine.known(otherAddress);
    machine.peripheral->setDelegate(machine.application);
    machine.central->connect(machine.peripheral);
    ASSERT_TRUE(machine.application->await("connected", 2));
    machine.discover();
    machine.notifications->add("b", {.title = "after"});
    EXPECT_THAT(machine.notified(notificationSource, 3),
                ElementsAre(added(1, 1, ancs::preExisting), added(1, 1, ancs::preExisting), added(2, 2)));
}

TEST(BlueZNotifications, endWithTheProgramAtAnyMoment) {
    for (int round = 0; round < 5; ++round) {
        Sharing machine;
        machine.open();
        machine.subscribe();
        for (int number = 0; number < 20; ++number) {
            machine.notifications->add(std::to_string(number), {});
        }
        machine.quit();
        machine.notifications->add("late", {});
    }
    SUCCEED();
}

} // namespace
} // namespace tarnel
