#include "DeviceFixture.hpp"

#include <TarnelSDK/device/NotificationNames.hpp>

#include <chrono>
#include <optional>
#include <utility>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using platform::NotificationAction;
using platform::PresentationOptions;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class NotificationsTest : public test::DeviceFixture {
protected:
    NotificationsTest() { observe(NotificationName::version); }

    /// The device is the linked one, in a session.
    void connect() {
        startSession();
        platform.run();
        hosts->current = device;
        notifications.clear();
    }

    /// Sends a notification, lets it be shown and answers it.
    void respond(const std::optional<Value::Dictionary>& userInfo, NotificationAction action) {
        device->_sendNotification("Update", "New firmware", userInfo);
        platform.advance(300ms);
        const auto shown = platform.userNotifications->shown();
        ASSERT_THAT(shown, SizeIs(1));
        const auto& identifier = shown[0].request.identifier;
        switch (action) {
        case NotificationAction::default_:
            platform.userNotifications->tap(identifier);
            break;
        case NotificationAction::dismiss:
            platform.userNotifications->dismiss(identifier);
            break;
        case NotificationAction::other:
            platform.userNotifications->choose(identifier);
            break;
        }
        platform.run();
    }

    std::size_t acknowledged() const { return platform.userNotifications->acknowledged(); }

    std::vector<Value> versions() const {
        std::vector<Value> values;
        for (const auto& notification : notifications) {
            values.push_back(std::any_cast<Value>(notification.userInfo.at("app_ver")));
        }
        return values;
    }

    const Value::Dictionary update{{"isSoftwareUpdate", true}};
};

TEST_F(NotificationsTest, ScheduleTheirContentThreeTenthsOfASecondAhead) {
    device->sendNotification("Grüße", "aus Köln");
    const auto pending = platform.userNotifications->pending();
    ASSERT_THAT(pending, SizeIs(1));
    const platform::UserNotificationContent expected{
        .title = "Grüße", .body = "aus Köln", .categoryIdentifier = test::TestPlatform::bundleIdentifier};
    EXPECT_EQ(pending[0].content, expected);
    EXPECT_EQ(pending[0].delay, 300ms);
    EXPECT_TRUE(UUID::parse(pending[0].identifier)) << pending[0].identifier;
    platform.advance(299ms);
    EXPECT_THAT(platform.userNotifications->shown(), IsEmpty());
    platform.advance(1ms);
    EXPECT_THAT(platform.userNotifications->shown(), SizeIs(1));
}

TEST_F(NotificationsTest, CarryTheirUserInfoAndAFreshIdentifierEach) {
    device->_sendNotification("a", "b", update);
    device->_sendNotification("a", "b", Value::Dictionary());
    const auto pending = platform.userNotifications->pending();
    ASSERT_THAT(pending, SizeIs(2));
    EXPECT_EQ(pending[0].content.userInfo, update);
    EXPECT_EQ(pending[1].content.userInfo, Value::Dictionary());
    EXPECT_NE(pending[0].identifier, pending[1].identifier);
}

TEST_F(NotificationsTest, AreLoggedAndSendNothingToTheGlasses) {
    connect();
    observeLog();
    device->sendNotification("a", "b");
    EXPECT_THAT(logLines, ElementsAre("scheduling notification"));
    platform.advance(1s);
    EXPECT_THAT(chunks(), IsEmpty());
}

TEST_F(NotificationsTest, AreListedQuietlyWhileTheApplicationIsInFront) {
    device->sendNotification("a", "b");
    platform.advance(300ms);
    const auto shown = platform.userNotifications->shown();
    ASSERT_THAT(shown, SizeIs(1));
    EXPECT_EQ(shown[0].options, PresentationOptions::list);
    EXPECT_EQ(static_cast<int>(PresentationOptions::list), 8);
}

TEST_F(NotificationsTest, AreShownInFullWhileTheApplicationIsInTheBackground) {
    platform.application->setState(platform::ApplicationState::background);
    device->sendNotification("a", "b");
    platform.advance(300ms);
    const auto shown = platform.userNotifications->shown();
    ASSERT_THAT(shown, SizeIs(1));
    EXPECT_EQ(shown[0].options, std::nullopt);
}

TEST_F(NotificationsTest, ThatCannotBeScheduledPrintTheErrorAndNothingElseHappens) {
    platform.userNotifications->setError("the user does not want them");
    ::testing::internal::CaptureStdout();
    device->sendNotification("a", "b");
    platform.advance(1s);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "the user does not want them\n");
    EXPECT_THAT(platform.userNotifications->shown(), IsEmpty());
}

TEST(NotificationsWithoutAService, PrintThatThereIsNone) {
    test::TestPlatform platform({.hasUserNotifications = false});
    const auto hosts = std::make_shared<test::FakeHosts>(platform.scheduler->makeSerialQueue("queue"));
    platform::Provided<DeviceCentral>::provide(hosts);
    const auto device = Tarnel::make(std::make_shared<test::FakePeripheral>(UUID::random()));
    ::testing::internal::CaptureStdout();
    device->sendNotification("a", "b");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "There is no service for user notifications.\n");
}

TEST_F(NotificationsTest, OfASoftwareUpdateAskForTheVersionWhenTappedOrDismissed) {
    connect();
    platform.userDefaults->set("app_ver", 77);
    respond(update, NotificationAction::default_);
    respond(update, NotificationAction::dismiss);
    EXPECT_THAT(versions(), ElementsAre(Value(77), Value(77)));
    for (const auto& notification : notifications) {
        EXPECT_EQ(notification.object, device);
        EXPECT_THAT(notification.userInfo, SizeIs(1));
    }
    EXPECT_EQ(acknowledged(), 2u);
}

TEST_F(NotificationsTest, OfASoftwareUpdateIgnoreEveryOtherChoice) {
    connect();
    respond(update, NotificationAction::other);
    EXPECT_THAT(notifications, IsEmpty());
    EXPECT_EQ(acknowledged(), 1u);
}

TEST_F(NotificationsTest, ScheduledWithoutUserInfoAndTappedAreIgnored) {
    connect();
    respond(std::nullopt, NotificationAction::default_);
    EXPECT_THAT(notifications, IsEmpty());
    EXPECT_EQ(acknowledged(), 1u);
}

TEST_F(NotificationsTest, WithAnIsSoftwareUpdateThatIsFalseOrNoBooleanAreIgnored) {
    connect();
    respond(Value::Dictionary{{"isSoftwareUpdate", false}}, NotificationAction::default_);
    respond(Value::Dictionary{{"isSoftwareUpdate", 1}}, NotificationAction::default_);
    respond(Value::Dictionary{{"isSoftwareUpdate", "true"}}, NotificationAction::default_);
    EXPECT_THAT(notifications, IsEmpty());
    EXPECT_EQ(acknowledged(), 3u);
}

TEST_F(NotificationsTest, OfASoftwareUpdateTappedWhileNoGlassesAreConnectedPostNothing) {
    respond(update, NotificationAction::default_);
    EXPECT_THAT(notifications, IsEmpty()) << "no device is current";
    hosts->current = device;
    respond(update, NotificationAction::default_);
    EXPECT_THAT(notifications, IsEmpty()) << "the current device is not connected";
    EXPECT_EQ(acknowledged(), 2u);
}

TEST_F(NotificationsTest, WithNoStoredVersionPostOne) {
    connect();
    platform.userDefaults->remove("app_ver");
    respond(update, NotificationAction::default_);
    platform.userDefaults->set("app_ver", "77");
    respond(update, NotificationAction::default_);
    EXPECT_THAT(versions(), ElementsAre(Value(1), Value(1)));
}

TEST_F(NotificationsTest, OfAnApplicationWithoutABundleIdentifierUseTheirOwnCategory) {
    connect();
    platform.application->setBundleIdentifier(std::nullopt);
    device->_sendNotification("a", "b", update);
    EXPECT_EQ(platform.userNotifications->pending()[0].content.categoryIdentifier, "com.brenlo.glasses");
    platform.advance(300ms);
    platform.userNotifications->tap(platform.userNotifications->shown()[0].request.identifier);
    platform.run();
    EXPECT_THAT(notifications, SizeIs(1));
}

TEST_F(NotificationsTest, OfAnotherCategoryAreAcknowledgedAndIgnored) {
    connect();
    device->_sendNotification("a", "b", update);
    platform.advance(300ms);
    platform.application->setBundleIdentifier("com.example.renamed");
    platform.userNotifications->tap(platform.userNotifications->shown()[0].request.identifier);
    platform.run();
    EXPECT_THAT(notifications, IsEmpty());
    EXPECT_EQ(acknowledged(), 1u);
}

TEST_F(NotificationsTest, AreAnsweredByTheDeviceBuiltLast) {
    connect();
    {
        const auto restored = Tarnel::make(device->encode());
        ASSERT_TRUE(restored);
        respond(update, NotificationAction::default_);
        EXPECT_THAT(notifications, SizeIs(1));
        EXPECT_EQ(notifications[0].object, device) << "the sender is the current device, whoever answers";
        EXPECT_EQ(acknowledged(), 1u);
    }
    respond(update, NotificationAction::default_);
    EXPECT_EQ(acknowledged(), 1u) << "the delegate is gone, and no other takes its place";
    EXPECT_EQ(Tarnel::make(MessagePackValue("no device")), nullptr);
    const auto last = Tarnel::make(peripheral);
    respond(update, NotificationAction::default_);
    EXPECT_EQ(acknowledged(), 2u);
}

} // namespace
} // namespace tarnel
