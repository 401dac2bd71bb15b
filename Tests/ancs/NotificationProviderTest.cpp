#include <TarnelSDK/ancs/NotificationProvider.hpp>
#include <TarnelSDK/ancs/OwnNotifications.hpp>
#include <TarnelSDK/schedulers/MemoryUserNotifications.hpp>
#include <TarnelSDK/schedulers/SettableApplication.hpp>
#include <TarnelSDK/schedulers/SimulatedClock.hpp>
#include <TarnelSDK/schedulers/SimulatedScheduler.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace tarnel::ancs {
namespace {

using platform::NotificationAction;
using platform::PresentationOptions;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr std::size_t smallestValue = 20;
constexpr std::size_t largeValue = 512;

struct Recorder final : NotificationProvider::Listener {
    void happened(const Event& event) override { events.push_back(event); }
    std::vector<Event> events;
};

class NotificationProviderTest : public ::testing::Test {
protected:
    NotificationProviderTest() { provider->addListener(recorder); }

    void add(const std::string& key, Notification notification = {}) {
        provider->add(key, std::move(notification));
        scheduler.run();
    }

    /// The response to a command, its parts put together; nothing when it is refused.
    std::optional<std::string> ask(const Bytes& command) {
        const auto answer = provider->write(command, largeValue);
        if (answer.error) {
            return std::nullopt;
        }
        std::string response;
        for (const auto& part : answer.data) {
            response.append(part.begin(), part.end());
        }
        return response;
    }
    /// One attribute of the first notification, without what is before it in the response.
    std::optional<std::string> attribute(std::uint8_t id) {
        constexpr std::size_t header = 8;
        Bytes command{0, 1, 0, 0, 0, id};
        if (id >= 1 && id <= 3) {
            command.insert(command.end(), {0xFF, 0xFF});
        }
        const auto response = ask(command);
        return response ? std::optional(response->substr(header)) : std::nullopt;
    }

    SimulatedScheduler scheduler{1};
    std::shared_ptr<NotificationProvider> provider = NotificationProvider::make(scheduler.makeSerialQueue("radio"));
    std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
};

TEST_F(NotificationProviderTest, TellsWhatIsAddedModifiedAndRemoved) {
    add("a", {.positiveLabel = "Open"});
    add("b", {.category = Category::email, .isSilent = true, .isImportant = true});
    add("c");
    add("a", {.negativeLabel = "Clear"});
    provider->remove("c");
    provider->remove("unknown");
    scheduler.run();
    EXPECT_THAT(recorder->events, ElementsAre(Event{EventID::added, positiveAction, Category::other, 1, 1},
                                              Event{EventID::added, silent | important, Category::email, 1, 2},
                                              Event{EventID::added, 0, Category::other, 2, 3},
                                              Event{EventID::modified, negativeAction, Category::other, 2, 1},
                                              Event{EventID::removed, 0, Category::other, 1, 3}));
}

TEST_F(NotificationProviderTest, TellsANewSubscriberWhatWasThereBefore) {
    add("a");
    add("b");
    EXPECT_THAT(provider->existing(), ElementsAre(Event{EventID::added, preExisting, Category::other, 2, 1},
                                                  Event{EventID::added, preExisting, Category::other, 2, 2}));
}

TEST_F(NotificationProviderTest, GivesEveryAttribute) {
    add("a", {.appIdentifier = "org.example",
              .appName = "Example",
              .title = "Grüße",
              .subtitle = "aus",
              .message = "Köln",
              .date = platform::LocalTime{.year = 2026, .month = 1, .day = 2, .hour = 3, .minute = 4, .second = 5},
              .positiveLabel = "Open",
              .negativeLabel = "Clear"});
    EXPECT_EQ(attribute(0), "org.example");
    EXPECT_EQ(attribute(1), "Grüße");
    EXPECT_EQ(attribute(2), "aus");
    EXPECT_EQ(attribute(3), "Köln");
    EXPECT_EQ(attribute(4), "5");
    EXPECT_EQ(attribute(5), "20260102T030405");
    EXPECT_EQ(attribute(6), "Open");
    EXPECT_EQ(attribute(7), "Clear");
    EXPECT_EQ(ask({1, 'o', 'r', 'g', '.', 'e', 'x', 'a', 'm', 'p', 'l', 'e', 0, 0}),
              std::string("\1org.example\0\0\7\0Example", 23));
}

TEST_F(NotificationProviderTest, GivesAttributesThatAreMissingAsEmpty) {
    add("a");
    EXPECT_EQ(attribute(1), "");
    EXPECT_EQ(attribute(5), "");
}

TEST_F(NotificationProviderTest, CutsTextsToTheLengthThatIsAskedFor) {
    add("a", {.title = "aä€", .message = "long"});
    EXPECT_EQ(ask({0, 1, 0, 0, 0, 1, 5, 0, 3, 0, 0}), std::string("\0\1\0\0\0\1\3\0aä\3\0\0", 14));
}

TEST_F(NotificationProviderTest, CutsResponsesToWhatTheConnectionCarries) {
    add("a", {.title = "A title of some length"});
    const auto whole = ask({0, 1, 0, 0, 0, 1, 0xFF, 0});
    const auto answer = provider->write(Bytes{0, 1, 0, 0, 0, 1, 0xFF, 0}, smallestValue);
    ASSERT_THAT(answer.data, ElementsAre(SizeIs(smallestValue), SizeIs(10)));
    std::string joined(answer.data[0].begin(), answer.data[0].end());
    joined.append(answer.data[1].begin(), answer.data[1].end());
    EXPECT_EQ(joined, whole);
}

TEST_F(NotificationProviderTest, RefusesWhatIsOfNoNotificationOrApplication) {
    add("a", {.appIdentifier = "org", .positiveLabel = "Open"});
    const auto error = [&](const Bytes& command) { return provider->write(command, largeValue).error; };
    EXPECT_EQ(error({0, 2, 0, 0, 0, 1, 1, 0}), ErrorCode::invalidParameter);
    EXPECT_EQ(error({1, 'o', 0, 0}), ErrorCode::invalidParameter);
    EXPECT_EQ(error({2, 2, 0, 0, 0, 0}), ErrorCode::invalidParameter);
    EXPECT_EQ(error({2, 1, 0, 0, 0, 1}), ErrorCode::actionFailed) << "it has no negative action";
    EXPECT_EQ(error({2, 1, 0, 0, 0, 0}), ErrorCode::actionFailed) << "nobody performs it";
    EXPECT_EQ(error({9}), ErrorCode::unknownCommand);
}

TEST_F(NotificationProviderTest, HasActionsPerformedByWhoeverAddedTheNotification) {
    std::vector<Action> actions;
    add("a", {.positiveLabel = "Open", .negativeLabel = "Clear", .perform = [&](Action action) {
                  actions.push_back(action);
                  provider->remove("a");
              }});
    EXPECT_EQ(ask({2, 1, 0, 0, 0, 1}), "");
    EXPECT_EQ(ask({2, 1, 0, 0, 0, 0}), "");
    EXPECT_THAT(actions, ElementsAre(Action::negative, Action::positive));
    scheduler.run();
    EXPECT_EQ(ask({2, 1, 0, 0, 0, 0}), std::nullopt);
}

TEST_F(NotificationProviderTest, KeepsTheNewestOfVeryMany) {
    for (std::size_t number = 0; number <= NotificationProvider::mostKept; ++number) {
        add(std::to_string(number));
    }
    EXPECT_THAT(provider->existing(), SizeIs(NotificationProvider::mostKept));
    EXPECT_EQ(provider->existing().front().uid, 2U);
    const auto end = recorder->events.size();
    EXPECT_EQ(recorder->events[end - 2], (Event{EventID::removed, 0, Category::other, 127, 1}));
}

TEST_F(NotificationProviderTest, KeepsABoundedPartOfVeryLongTexts) {
    const std::string endless(100'000, 'x');
    add("a", {.appIdentifier = endless, .title = endless, .message = endless});
    EXPECT_THAT(*attribute(0), SizeIs(NotificationProvider::longestName));
    EXPECT_THAT(*attribute(1), SizeIs(NotificationProvider::longestName));
    EXPECT_THAT(*attribute(3), SizeIs(NotificationProvider::longestText));
}

TEST_F(NotificationProviderTest, EndsAnApplicationsIdentifierAtAZeroByte) {
    add("a", {.appIdentifier = std::string("org\0evil", 8)});
    EXPECT_EQ(attribute(0), "org");
}

TEST_F(NotificationProviderTest, GoesOnWithoutAListenerThatIsGone) {
    recorder.reset();
    add("a");
    EXPECT_THAT(provider->existing(), SizeIs(1));
}

class OwnNotificationsTest : public NotificationProviderTest {
protected:
    struct Delegate final : platform::UserNotificationDelegate {
        void willPresent(const platform::UserNotificationRequest&,
                         const std::function<void(PresentationOptions)>& completionHandler) override {
            completionHandler(options);
        }
        void didReceive(const platform::NotificationResponse& response,
                        const std::function<void()>& completionHandler) override {
            responses.emplace_back(response.action, response.request.identifier);
            completionHandler();
        }
        PresentationOptions options = PresentationOptions::list;
        std::vector<std::pair<NotificationAction, std::string>> responses;
    };

    OwnNotificationsTest() { notifications->setDelegate(delegate); }

    void send(const std::string& identifier) {
        notifications->add(
            {.identifier = identifier, .content = {.title = "T", .body = "B", .categoryIdentifier = "c"}}, nullptr);
        scheduler.run();
    }

    std::shared_ptr<SimulatedScheduler> time = std::make_shared<SimulatedScheduler>(1);
    std::shared_ptr<SettableApplication> application = std::make_shared<SettableApplication>("org.example");
    std::shared_ptr<MemoryUserNotifications> notifications =
        MemoryUserNotifications::make(scheduler.mainQueue(), application);
    std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();
    std::shared_ptr<OwnNotifications> shared =
        OwnNotifications::make(notifications, provider, application, std::make_shared<SimulatedClock>(time), "Example");
};

TEST_F(OwnNotificationsTest, AreSharedWithTheirTextsAndWhatTheyMayBeAnsweredWith) {
    send("a");
    EXPECT_THAT(recorder->events,
                ElementsAre(Event{EventID::added, silent | positiveAction | negativeAction, Category::other, 1, 1}));
    EXPECT_EQ(attribute(0), "org.example");
    EXPECT_EQ(attribute(1), "T");
    EXPECT_EQ(attribute(3), "B");
    EXPECT_EQ(attribute(5), "20260101T120000");
    EXPECT_EQ(ask({1, 'o', 'r', 'g', '.', 'e', 'x', 'a', 'm', 'p', 'l', 'e', 0, 0})->substr(16), "Example");
}

TEST_F(OwnNotificationsTest, AreNotSilentWhenTheyHaveABanner) {
    application->setState(platform::ApplicationState::background);
    send("a");
    EXPECT_EQ(recorder->events.at(0).flags, positiveAction | negativeAction);
}

TEST_F(OwnNotificationsTest, AreNotSharedWhenTheyAreNotShown) {
    delegate->options = PresentationOptions::sound;
    send("a");
    EXPECT_THAT(recorder->events, IsEmpty());
}

TEST_F(OwnNotificationsTest, AreModifiedWhenTheyAreReplaced) {
    send("a");
    send("a");
    ASSERT_THAT(recorder->events, SizeIs(2));
    EXPECT_EQ(recorder->events[1].id, EventID::modified);
}

TEST_F(OwnNotificationsTest, ThatAreAnsweredOnTheHostAreGone) {
    send("a");
    notifications->dismiss("a");
    scheduler.run();
    EXPECT_EQ(recorder->events.back().id, EventID::removed);
}

TEST_F(OwnNotificationsTest, ThatAreAnsweredOnTheGlassesTellTheDelegateAndAreGone) {
    send("a");
    send("b");
    EXPECT_EQ(ask({2, 1, 0, 0, 0, 0}), "");
    EXPECT_EQ(ask({2, 2, 0, 0, 0, 1}), "");
    scheduler.run();
    EXPECT_THAT(delegate->responses, ElementsAre(std::pair(NotificationAction::default_, std::string("a")),
                                                 std::pair(NotificationAction::dismiss, std::string("b"))));
    EXPECT_THAT(provider->existing(), IsEmpty());
    EXPECT_THAT(notifications->shown(), IsEmpty());
}

TEST_F(OwnNotificationsTest, OfWhichTheHostRemembersTooManyAreGoneToo) {
    for (std::size_t number = 0; number <= MemoryUserNotifications::mostKept; ++number) {
        send(std::to_string(number));
    }
    EXPECT_THAT(provider->existing(), SizeIs(NotificationProvider::mostKept));
}

TEST_F(OwnNotificationsTest, OfAnApplicationWithoutAnIdentifierAreOfTheirCategory) {
    application->setBundleIdentifier(std::nullopt);
    send("a");
    EXPECT_EQ(attribute(0), "c");
}

} // namespace
} // namespace tarnel::ancs
