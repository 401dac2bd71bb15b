#include <TarnelSDK/schedulers/MemoryUserNotifications.hpp>
#include <TarnelSDK/schedulers/SettableApplication.hpp>
#include <TarnelSDK/schedulers/SimulatedScheduler.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using platform::NotificationAction;
using platform::PresentationOptions;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

struct RecordingDelegate : platform::UserNotificationDelegate {
    void willPresent(const platform::UserNotificationRequest&,
                     const std::function<void(PresentationOptions)>& completionHandler) override {
        present = completionHandler;
    }
    void didReceive(const platform::NotificationResponse& response,
                    const std::function<void()>& completionHandler) override {
        actions.push_back(response.action);
        acknowledge = completionHandler;
    }

    std::function<void(PresentationOptions)> present;
    std::function<void()> acknowledge;
    std::vector<NotificationAction> actions;
};

class MemoryUserNotificationsTest : public ::testing::Test {
protected:
    MemoryUserNotificationsTest() { notifications->setDelegate(delegate); }

    void add(const std::string& identifier, platform::Duration delay = {}) {
        notifications->add({.identifier = identifier, .content = {}, .delay = delay}, nullptr);
    }

    std::vector<std::string> shown() const {
        std::vector<std::string> identifiers;
        for (const auto& entry : notifications->shown()) {
            identifiers.push_back(entry.request.identifier);
        }
        return identifiers;
    }

    SimulatedScheduler scheduler{1};
    const std::shared_ptr<SettableApplication> application = std::make_shared<SettableApplication>("org.example");
    std::shared_ptr<MemoryUserNotifications> notifications =
        MemoryUserNotifications::make(scheduler.mainQueue(), application);
    std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
};

TEST_F(MemoryUserNotificationsTest, WaitForTheirDelayAndThenForTheDelegate) {
    add("a", 2s);
    scheduler.advance(1s);
    EXPECT_THAT(notifications->pending(), SizeIs(1));
    scheduler.advance(1s);
    EXPECT_THAT(notifications->pending(), IsEmpty());
    EXPECT_THAT(shown(), IsEmpty());
    ASSERT_TRUE(delegate->present);
    delegate->present(PresentationOptions::banner | PresentationOptions::sound);
    ASSERT_THAT(shown(), ElementsAre("a"));
    EXPECT_EQ(notifications->shown()[0].options, PresentationOptions::banner | PresentationOptions::sound);
}

TEST_F(MemoryUserNotificationsTest, AreShownWithoutADelegateOrApplicationInFront) {
    application->setState(platform::ApplicationState::inactive);
    add("a");
    scheduler.run();
    application->setState(platform::ApplicationState::active);
    delegate.reset();
    add("b");
    scheduler.run();
    EXPECT_THAT(shown(), ElementsAre("a", "b"));
    EXPECT_EQ(notifications->shown()[1].options, std::nullopt);
}

TEST_F(MemoryUserNotificationsTest, TellTheDelegateOnceWhatTheUserDid) {
    application->setState(platform::ApplicationState::background);
    add("a");
    add("b");
    add("c");
    scheduler.run();
    EXPECT_TRUE(notifications->tap("a"));
    EXPECT_FALSE(notifications->tap("a"));
    EXPECT_TRUE(notifications->dismiss("b"));
    EXPECT_TRUE(notifications->choose("c"));
    EXPECT_FALSE(notifications->dismiss("unknown"));
    EXPECT_THAT(delegate->actions, IsEmpty()) << "nothing is told inside the call";
    scheduler.run();
    EXPECT_THAT(delegate->actions,
                ElementsAre(NotificationAction::default_, NotificationAction::dismiss, NotificationAction::other));
    EXPECT_EQ(notifications->acknowledged(), 0u);
    delegate->acknowledge();
    EXPECT_EQ(notifications->acknowledged(), 1u);
}

TEST_F(MemoryUserNotificationsTest, ReplaceWhatHasTheSameIdentifier) {
    delegate.reset();
    add("a", 1s);
    add("a", 2s);
    scheduler.advance(1s);
    EXPECT_THAT(shown(), IsEmpty());
    scheduler.advance(1s);
    EXPECT_THAT(shown(), ElementsAre("a"));
    add("a");
    scheduler.run();
    EXPECT_THAT(shown(), ElementsAre("a"));
}

TEST_F(MemoryUserNotificationsTest, CompleteEveryRequestLaterAndRefuseWithAnError) {
    std::vector<std::optional<std::string>> results;
    const auto note = [&](const std::optional<std::string>& error) { results.push_back(error); };
    notifications->add({.identifier = "a", .content = {}}, note);
    EXPECT_THAT(results, IsEmpty());
    notifications->setError("no");
    notifications->add({.identifier = "b", .content = {}}, note);
    notifications->setError(std::nullopt);
    scheduler.run();
    EXPECT_THAT(results, ElementsAre(std::nullopt, "no"));
    delegate->present(PresentationOptions::none);
    EXPECT_THAT(shown(), ElementsAre("a"));
}

TEST_F(MemoryUserNotificationsTest, KeepABoundedNumber) {
    delegate.reset();
    for (std::size_t number = 0; number <= MemoryUserNotifications::mostKept; ++number) {
        add(std::to_string(number));
    }
    scheduler.run();
    EXPECT_THAT(shown(), SizeIs(MemoryUserNotifications::mostKept));
    EXPECT_EQ(shown().front(), "1");
}

TEST_F(MemoryUserNotificationsTest, MayEndBeforeTheirDelayOrTheirDelegate) {
    add("a", 1s);
    add("b");
    scheduler.run();
    notifications.reset();
    delegate->present(PresentationOptions::list);
    scheduler.advance(1s);
    SUCCEED();
}

} // namespace
} // namespace tarnel
