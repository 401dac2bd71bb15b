#include "Phone.hpp"

#include <TarnelGlasses/StatusBar.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarnel::glasses {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// A phone in a connection, on which an application shows notifications.
class SharedNotifications : public ::testing::TestWithParam<std::size_t> {
protected:
    SharedNotifications() : phone({}, {.link = {.mtu = GetParam()}}) { phone.open(); }

    void authorize(bool isAuthorized = true) {
        phone.world.bluetooth().setAncsAuthorized(phone.glasses->identifier(), isAuthorized);
        phone.settle();
    }
    void send(const std::string& identifier, const std::string& message = "Message") {
        phone.world.userNotifications().add(
            {.identifier = identifier, .content = {.title = identifier, .body = message, .categoryIdentifier = ""}},
            nullptr);
        phone.settle();
    }
    std::vector<std::string> titles() const {
        std::vector<std::string> found;
        for (const auto& notification : phone.glasses->notifications()) {
            found.push_back(notification.title);
        }
        return found;
    }
    std::vector<std::string> onTheHost() {
        std::vector<std::string> found;
        for (const auto& shown : phone.world.userNotifications().shown()) {
            found.push_back(shown.request.identifier);
        }
        return found;
    }

    test::Phone phone;
};

INSTANTIATE_TEST_SUITE_P(OnConnectionsOfEveryKind, SharedNotifications, ::testing::Values(23, 64, 498));

TEST_P(SharedNotifications, areReadByGlassesThatTheUserAllowsTo) {
    send("before");
    EXPECT_THAT(titles(), IsEmpty()) << "the user has not allowed it yet";
    authorize();
    EXPECT_TRUE(phone.application->has("authorized"));
    const std::string message(600, 'x');
    send("after", message);
    EXPECT_THAT(titles(), ElementsAre("before", "after"));
    const auto notifications = phone.glasses->notifications();
    EXPECT_EQ(notifications.at(1).application, "org.example.application");
    EXPECT_EQ(notifications.at(1).message, message);
    EXPECT_TRUE(notifications.at(1).canBeOpened && notifications.at(1).canBeCleared);
    EXPECT_EQ(phone.glasses->notificationErrorCount(), 0U);
}

TEST_P(SharedNotifications, areForgottenByGlassesThatTheUserAllowsNoLonger) {
    authorize();
    send("a");
    authorize(false);
    EXPECT_THAT(titles(), IsEmpty());
    send("b");
    EXPECT_THAT(titles(), IsEmpty());
    authorize();
    EXPECT_THAT(titles(), ElementsAre("a", "b"));
}

TEST_P(SharedNotifications, comeBackWithTheConnection) {
    authorize();
    send("a");
    phone.glasses->dropConnection();
    phone.settle();
    EXPECT_THAT(titles(), IsEmpty());
    send("b");
    phone.central->connect(phone.peripheral);
    phone.settle();
    EXPECT_THAT(titles(), ElementsAre("a", "b"));
}

TEST_P(SharedNotifications, goWhenTheyAreAnsweredOnTheHost) {
    authorize();
    send("a");
    send("b");
    phone.world.userNotifications().dismiss("a");
    phone.settle();
    EXPECT_THAT(titles(), ElementsAre("b"));
}

TEST_P(SharedNotifications, areAnsweredByTheWearer) {
    authorize();
    send("a");
    send("b");
    send("c");
    const auto notifications = phone.glasses->notifications();
    phone.glasses->openNotification(notifications.at(0).uid);
    phone.glasses->clearNotification(notifications.at(2).uid);
    phone.settle();
    EXPECT_THAT(titles(), ElementsAre("b"));
    EXPECT_THAT(onTheHost(), ElementsAre("b"));
}

TEST_P(SharedNotifications, tellWhoObservesTheGlasses) {
    int changes = 0;
    phone.glasses->setNotificationObserver([&] { ++changes; });
    authorize();
    send("a");
    EXPECT_EQ(changes, 1);
}

TEST_P(SharedNotifications, comeLateThroughAStalledAir) {
    authorize();
    phone.glasses->stall(2s);
    send("a");
    EXPECT_THAT(titles(), ElementsAre("a"));
}

TEST_P(SharedNotifications, areCountedInTheStatusBar) {
    phone.writeWithoutResponse(test::chunk(0, test::control("app", 1)));
    phone.settle();
    const auto without = phone.glasses->frame();
    authorize();
    send("a");
    const auto one = phone.glasses->frame();
    EXPECT_NE(one, without);
    send("b");
    EXPECT_NE(phone.glasses->frame(), one);
    phone.world.userNotifications().dismiss("a");
    phone.world.userNotifications().dismiss("b");
    phone.settle();
    EXPECT_EQ(phone.glasses->frame(), without);
}

} // namespace
} // namespace tarnel::glasses
