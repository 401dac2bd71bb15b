#include "FakeDesktop.hpp"
#include "NotifyingApplication.hpp"
#include "PrivateBus.hpp"
#include "Token.hpp"

#include <TarnelLinux/LinuxPlatform.hpp>
#include <TarnelLinux/desktop/NotificationDaemon.hpp>
#include <TarnelSDK/platform/Platform.hpp>

#include <gmock/gmock.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using platform::NotificationAction;
using platform::PresentationOptions;
using test::noError;
using test::NotifyingApplication;
using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr std::uint32_t expired = 1;
constexpr std::uint32_t dismissed = 2;
constexpr std::uint32_t withdrawn = 3;
constexpr std::uint8_t lowUrgency = 0;
constexpr std::uint8_t normalUrgency = 1;

/// What happens, in its order. Any thread.
class Record {
public:
    void add(const std::string& news) {
        {
            const std::lock_guard lock(mutex_);
            news_.push_back(news);
        }
        changed_.notify_all();
    }
    /// Waits for this many, half a minute at most.
    std::vector<std::string> await(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, 30s, [&] { return news_.size() >= count; });
        return news_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> news_;
};

/// Keeps a record of what the user sees. Any thread.
class Audience final : public NotificationAudience {
public:
    void shown(const platform::UserNotificationRequest& request, bool isQuiet) override {
        record_.add((isQuiet ? "quiet " : "shown ") + request.identifier);
    }
    void gone(const std::string& identifier) override { record_.add("gone " + identifier); }

    std::vector<std::string> news(std::size_t count) { return record_.await(count); }

private:
    Record record_;
};

class DesktopUserNotificationsTest : public ::testing::Test {
protected:
    void SetUp() override { desktop.start(); }

    /// Shows one and waits until the application knows.
    test::FakeNotification shown(const std::string& title, const std::string& body = "Body") {
        const auto before = desktop.notifications().size();
        application.add(title, title, body, Value::Dictionary{{"number", static_cast<std::int64_t>(before)}});
        EXPECT_THAT(application.completions(before + 1).back(), noError);
        return desktop.notifications().back();
    }

    NotifyingApplication::Response response(NotificationAction action, const std::string& name, std::int64_t number) {
        return {action, name, Value::Dictionary{{"number", number}}};
    }

    test::PrivateBus bus;
    test::FakeDesktop desktop{bus.address()};
    NotifyingApplication application{{.applicationName = "Reader", .busAddress = bus.address()}};
};

TEST_F(DesktopUserNotificationsTest, AreShownWithTheirTextsAndWhoSendsThem) {
    const auto notification = shown("Grüße", "aus Köln");
    EXPECT_EQ(notification.applicationName, "Reader");
    EXPECT_EQ(notification.summary, "Grüße");
    EXPECT_EQ(notification.body, "aus Köln");
    EXPECT_EQ(notification.replaces, 0U);
    EXPECT_EQ(notification.timeout, -1);
    EXPECT_EQ(notification.hint<std::string>("desktop-entry"), "org.example.reader");
    EXPECT_EQ(notification.hint<std::string>("category"), "x-org.example.reader");
    EXPECT_EQ(notification.hint<std::uint8_t>("urgency"), normalUrgency);
    EXPECT_EQ(notification.hint<bool>("suppress-sound"), std::nullopt);
    EXPECT_EQ(notification.hint<bool>("transient"), std::nullopt);
    EXPECT_THAT(notification.actions, ElementsAre("default", "Open"));
}

TEST_F(DesktopUserNotificationsTest, EscapeTheirBodyWhereItIsReadAsMarkup) {
    const auto notification = shown("1 < 2 & 3", "<b>1 < 2 & 3</b>");
    EXPECT_EQ(notification.summary, "1 < 2 & 3");
    EXPECT_EQ(notification.body, "&lt;b&gt;1 &lt; 2 &amp; 3&lt;/b&gt;");
}

TEST_F(DesktopUserNotificationsTest, SendNeitherMarkupNorActionsWhereTheDesktopHasNone) {
    desktop.setCapabilities({"body"});
    const auto notification = shown("a", "1 < 2 & 3");
    EXPECT_EQ(notification.body, "1 < 2 & 3");
    EXPECT_THAT(notification.actions, IsEmpty());
}

TEST_F(DesktopUserNotificationsTest, AskOnceWhatTheDesktopCanDo) {
    shown("a");
    shown("b");
    EXPECT_EQ(desktop.calls("GetCapabilities"), 1);
}

TEST_F(DesktopUserNotificationsTest, WithBytesThatAreNoTextAreShownAllTheSame) {
    const auto notification = shown(std::string("a\0b\xFF", 4), "line\nline\x1B[1m");
    EXPECT_EQ(notification.summary, "a b\xEF\xBF\xBD");
    EXPECT_EQ(notification.body, "line\nline [1m");
}

TEST_F(DesktopUserNotificationsTest, AreCutBetweenTwoCharactersWhenTheyAreVeryLong) {
    std::string body;
    while (body.size() <= DesktopUserNotifications::longestText) {
        body += "€";
    }
    const auto notification = shown("a", body);
    EXPECT_EQ(notification.body, body.substr(0, DesktopUserNotifications::longestText / 3 * 3));
}

TEST_F(DesktopUserNotificationsTest, ReportAClickAsTheDefaultActionOnce) {
    const auto notification = shown("a");
    desktop.invoke(notification.id, "default");
    desktop.close(notification.id, dismissed); // as desktops do after an action
    const auto other = shown("b");
    desktop.close(other.id, dismissed);
    EXPECT_THAT(application.responses(2), ElementsAre(response(NotificationAction::default_, "a", 0),
                                                      response(NotificationAction::dismiss, "b", 1)));
}

TEST_F(DesktopUserNotificationsTest, ReportAnyFurtherActionAsAnother) {
    desktop.invoke(shown("a").id, "reply");
    EXPECT_THAT(application.responses(1), ElementsAre(response(NotificationAction::other, "a", 0)));
}

TEST_F(DesktopUserNotificationsTest, ThatTheDesktopWithdrawsAreForgotten) {
    const auto withdrawnOne = shown("a");
    desktop.close(withdrawnOne.id, withdrawn);
    desktop.invoke(withdrawnOne.id, "default");
    desktop.close(shown("b").id, dismissed);
    EXPECT_THAT(application.responses(1), ElementsAre(response(NotificationAction::dismiss, "b", 1)));
}

TEST_F(DesktopUserNotificationsTest, ThatExpireMayStillBeAnsweredFromTheList) {
    const auto notification = shown("a");
    desktop.close(notification.id, expired);
    desktop.invoke(notification.id, "default");
    EXPECT_THAT(application.responses(1), ElementsAre(response(NotificationAction::default_, "a", 0)));
}

TEST_F(DesktopUserNotificationsTest, OfOthersAndSignalsOfAnotherShapeAreIgnored) {
    const auto notification = shown("a");
    desktop.invoke(notification.id + 1, "default");
    desktop.close(0, dismissed);
    desktop.sendNonsense("ActionInvoked");
    desktop.sendNonsense("NotificationClosed");
    desktop.close(notification.id, dismissed);
    EXPECT_THAT(application.responses(1), ElementsAre(response(NotificationAction::dismiss, "a", 0)));
}

TEST_F(DesktopUserNotificationsTest, TakeThePlaceOfEarlierOnesWithTheirIdentifier) {
    const auto first = shown("a");
    const auto second = shown("a", "Again");
    EXPECT_EQ(second.replaces, first.id);
    desktop.invoke(second.id, "default");
    EXPECT_THAT(application.responses(1), ElementsAre(response(NotificationAction::default_, "a", 1)));
}

TEST_F(DesktopUserNotificationsTest, ThatAreReplacedBeforeTheyAreShownComeToNothing) {
    application.notifications->add({.identifier = "a", .content = {}, .delay = 1h}, nullptr);
    shown("a");
    EXPECT_THAT(desktop.notifications(), SizeIs(1));
}

TEST_F(DesktopUserNotificationsTest, ComeAfterTheirDelay) {
    const auto start = std::chrono::steady_clock::now();
    application.notifications->add({.identifier = "late", .content = {}, .delay = 50ms}, nullptr);
    ASSERT_TRUE(desktop.await(1));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
}

TEST_F(DesktopUserNotificationsTest, AreListedQuietlyWhenTheDelegateSaysSo) {
    application.comeToFront(PresentationOptions::list);
    const auto notification = shown("a");
    EXPECT_EQ(notification.hint<std::uint8_t>("urgency"), lowUrgency);
    EXPECT_EQ(notification.hint<bool>("suppress-sound"), true);
    EXPECT_EQ(notification.hint<bool>("transient"), std::nullopt);
    EXPECT_THAT(desktop.notifications(), SizeIs(1)) << "the delegate's second answer counts for nothing";
}

TEST_F(DesktopUserNotificationsTest, AreShownAsABannerThatNoListKeepsWhenTheDelegateSaysSo) {
    application.comeToFront(PresentationOptions::banner | PresentationOptions::sound);
    const auto notification = shown("a");
    EXPECT_EQ(notification.hint<std::uint8_t>("urgency"), normalUrgency);
    EXPECT_EQ(notification.hint<bool>("suppress-sound"), std::nullopt);
    EXPECT_EQ(notification.hint<bool>("transient"), true);
}

TEST_F(DesktopUserNotificationsTest, AreNotShownWithNeitherBannerNorList) {
    application.comeToFront(PresentationOptions::badge | PresentationOptions::sound);
    application.add("a");
    EXPECT_THAT(application.completions(1), ElementsAre(noError));
    EXPECT_EQ(desktop.calls("Notify"), 0);
}

TEST_F(DesktopUserNotificationsTest, AreShownInFullWithoutADelegate) {
    application.comeToFront(PresentationOptions::none);
    application.notifications->setDelegate({});
    EXPECT_EQ(shown("a").hint<std::uint8_t>("urgency"), normalUrgency);
}

TEST_F(DesktopUserNotificationsTest, GoOnWithADaemonThatWasRestarted) {
    const auto audience = std::make_shared<Audience>();
    application.notifications->setAudience(audience);
    const auto lost = shown("a");
    desktop.crash();
    EXPECT_THAT(audience->news(2), ElementsAre("shown a", "gone a"));
    desktop.setCapabilities({"body"});
    desktop.setNextId(lost.id);
    desktop.start();
    EXPECT_TRUE(shown("b").actions.empty()) << "the new daemon is asked what it can do";
    EXPECT_EQ(desktop.notifications().back().id, lost.id);
    desktop.invoke(lost.id, "default");
    EXPECT_THAT(application.responses(1), ElementsAre(response(NotificationAction::default_, "b", 1)))
        << "the number of what is lost means another one now";
}

TEST_F(DesktopUserNotificationsTest, AndTheirResponsesComeOnlyFromTheDaemonThatShowedThem) {
    const auto lost = shown("a");
    desktop.crash();
    desktop.setNextId(lost.id + 1);
    desktop.start();
    desktop.invoke(lost.id, "default");
    desktop.invoke(shown("b").id, "default");
    EXPECT_THAT(application.responses(1), ElementsAre(response(NotificationAction::default_, "b", 1)));
}

TEST_F(DesktopUserNotificationsTest, GoOnOverABusThatWasRestarted) {
    shown("a");
    desktop.crash();
    bus.stop();
    application.add("lost");
    EXPECT_THAT(application.completions(2).back(),
                Optional(std::string("The notification cannot be shown: no session bus runs.")));
    bus.start();
    desktop.start();
    application.add("b");
    EXPECT_THAT(application.completions(3).back(), noError);
    EXPECT_EQ(desktop.notifications().back().summary, "Title");
}

/// Has everything shown, and keeps a record of what is on its way to the desktop.
class Presenter final : public platform::UserNotificationDelegate {
public:
    void willPresent(const platform::UserNotificationRequest& request,
                     const std::function<void(PresentationOptions)>& completionHandler) override {
        completionHandler(PresentationOptions::banner | PresentationOptions::list);
        presented.add(request.identifier);
    }
    void didReceive(const platform::NotificationResponse&, const std::function<void()>&) override {}

    Record presented;
};

TEST_F(DesktopUserNotificationsTest, ThatWaitWhenTheBusEndsFailOnceAndInOrder) {
    const auto presenter = std::make_shared<Presenter>();
    const auto record = std::make_shared<Record>();
    std::size_t added = 0;
    const auto add = [&](const std::string& body) {
        application.notifications->add(
            {.identifier = "progress", .content = {.title = "Download", .body = body, .categoryIdentifier = ""}},
            [record, body](const std::optional<std::string>& error) {
                record->add(body + (error ? " fails" : " is shown"));
            });
        presenter->presented.await(++added);
    };
    application.comeToFront(PresentationOptions::none);
    application.notifications->setDelegate(presenter);
    desktop.hold("GetCapabilities");
    add("1");
    add("2");
    add("3");
    add("4");
    while (desktop.calls("GetCapabilities") == 0) {
        std::this_thread::yield();
    }
    bus.stop();
    EXPECT_THAT(record->await(4), ElementsAre("1 fails", "2 fails", "3 fails", "4 fails"));
    desktop.crash();
    bus.start();
    test::FakeDesktop next(bus.address());
    next.start();
    add("5");
    EXPECT_THAT(record->await(5), ElementsAre("1 fails", "2 fails", "3 fails", "4 fails", "5 is shown"));
    EXPECT_THAT(next.notifications(), SizeIs(1));
}

/// Hears nothing of what becomes of notifications that are shown.
class NoListener final : public desktop::NotificationDaemon::Listener {
public:
    void invoked(std::uint32_t, const std::string&) override {}
    void closed(std::uint32_t, desktop::NotificationDaemon::ClosedReason) override {}
    void gone() override {}
};

TEST_F(DesktopUserNotificationsTest, ThatFollowOnesWhichABusTakesWithItFailAsTheseDo) {
    for (const std::string method : {"GetCapabilities", "Notify"}) {
        test::PrivateBus brief;
        test::FakeDesktop slow(brief.address());
        slow.hold(method);
        slow.start();
        const auto record = std::make_shared<Record>();
        bluez::EventLoop loop;
        NoListener listener;
        desktop::NotificationDaemon daemon(loop, {.busAddress = brief.address(), .patience = 30s}, listener);
        int left = 4; // of the loop's thread
        std::function<void()> sendNext = [&] {
            if (left-- > 0) {
                daemon.notify({}, [&, record](const desktop::NotificationDaemon::Result& result) {
                    sendNext();
                    record->add(result.error.value_or("shown"));
                });
            }
        };
        loop.post(sendNext);
        while (slow.calls(method) == 0) {
            std::this_thread::yield();
        }
        brief.stop();
        EXPECT_THAT(record->await(4), AllOf(SizeIs(4), Each(HasSubstr("does not answer")))) << method;
        loop.end();
    }
}

TEST_F(DesktopUserNotificationsTest, ThatAreRefusedTellWhy) {
    desktop.refuse("too many");
    application.add("a");
    EXPECT_THAT(application.completions(1).back(),
                Optional(AllOf(StartsWith("The notification cannot be shown: the notification service refuses it"),
                               HasSubstr("too many"))));
}

TEST_F(DesktopUserNotificationsTest, ThatADyingDaemonLeavesOpenTellThatItDoesNotAnswer) {
    desktop.hold("Notify");
    application.add("a");
    while (desktop.calls("Notify") == 0) {
        std::this_thread::yield();
    }
    desktop.crash();
    EXPECT_THAT(application.completions(1).back(), Optional(HasSubstr("does not answer")));
}

TEST_F(DesktopUserNotificationsTest, ReplaceOneThatTheDesktopHasNotTakenYet) {
    desktop.hold("Notify");
    application.add("a", "First");
    while (desktop.calls("Notify") == 0) {
        std::this_thread::yield();
    }
    application.add("a", "Second");
    application.add("b", "Other");
    while (desktop.calls("Notify") == 1) {
        std::this_thread::yield();
    }
    desktop.takeHeld();
    EXPECT_THAT(application.completions(3), Each(noError));
    std::map<std::string, std::pair<std::uint32_t, std::uint32_t>> numbers;
    for (const auto& notification : desktop.notifications()) {
        numbers[notification.summary] = {notification.id, notification.replaces};
    }
    ASSERT_THAT(numbers, SizeIs(3));
    EXPECT_EQ(numbers["First"].second, 0U);
    EXPECT_EQ(numbers["Second"].second, numbers["First"].first);
    EXPECT_EQ(numbers["Other"].second, 0U);
}

TEST_F(DesktopUserNotificationsTest, AreRememberedInABoundedNumber) {
    constexpr auto most = DesktopUserNotifications::mostKept;
    for (std::size_t number = 0; number <= most; ++number) {
        application.add(std::to_string(number), std::to_string(number));
    }
    EXPECT_THAT(application.completions(most + 1), Each(noError));
    const auto notifications = desktop.notifications();
    desktop.invoke(notifications[0].id, "default");
    desktop.invoke(notifications[1].id, "default");
    const auto responses = application.responses(1);
    ASSERT_THAT(responses, SizeIs(1));
    EXPECT_EQ(responses[0].identifier, notifications[1].summary);
}

TEST_F(DesktopUserNotificationsTest, HaveAnAudienceThatKnowsWhatIsOnTheDesktop) {
    const auto audience = std::make_shared<Audience>();
    application.notifications->setAudience(audience);
    desktop.close(shown("a").id, dismissed);
    application.comeToFront(PresentationOptions::list);
    shown("b");
    shown("c");
    desktop.close(shown("c").id, expired);
    desktop.crash();
    EXPECT_THAT(audience->news(7),
                ElementsAre("shown a", "gone a", "quiet b", "quiet c", "quiet c", "gone b", "gone c"));
}

TEST_F(DesktopUserNotificationsTest, ThatAreAnsweredElsewhereLeaveTheDesktop) {
    const auto audience = std::make_shared<Audience>();
    application.notifications->respond("a", NotificationAction::dismiss);
    application.notifications->setAudience(audience);
    const auto first = shown("a");
    const auto second = shown("b");
    application.notifications->respond("b", NotificationAction::default_);
    application.notifications->respond("a", NotificationAction::dismiss);
    application.notifications->respond("a", NotificationAction::dismiss);
    EXPECT_THAT(application.responses(2), ElementsAre(response(NotificationAction::default_, "b", 1),
                                                      response(NotificationAction::dismiss, "a", 0)));
    EXPECT_THAT(desktop.closed(2), ElementsAre(second.id, first.id));
    EXPECT_THAT(audience->news(4), ElementsAre("shown a", "shown b", "gone b", "gone a"));
}

TEST_F(DesktopUserNotificationsTest, MayEndAtAnyMoment) {
    desktop.hold("Notify");
    for (int number = 0; number < 5; ++number) {
        application.add(std::to_string(number));
    }
    application.notifications->add({.identifier = "late", .content = {}, .delay = 1ms}, nullptr);
    application.notifications = nullptr;
    SUCCEED();
}

/// Notifications whose last owner is called on the desktop's thread, and lets go of them there.
class EndingWithin {
public:
    EndingWithin(NotifyingApplication& application, const std::string& busAddress, bool whenConnected = false)
        : queue_(application.queue),
          held_(std::make_shared<std::shared_ptr<DesktopUserNotifications>>(
              DesktopUserNotifications::make(application.queue, application.application,
                                             {.busAddress = busAddress,
                                              .connected =
                                                  [this, whenConnected, token = token_.take()](const std::string&) {
                                                      if (whenConnected) {
                                                          mayEnd.get_future().wait();
                                                          end();
                                                      }
                                                  }}))),
          notifications_(**held_) {
        notifications_.setDelegate(presenter_);
        application.application->setState(platform::ApplicationState::active);
    }

    void setAudience(const std::weak_ptr<NotificationAudience>& audience) { notifications_.setAudience(audience); }
    /// They end when they know what has become of one. It may be called while they are there.
    void add(const std::string& name) {
        notifications_.add({.identifier = name, .content = {.title = name, .body = "", .categoryIdentifier = ""}},
                           [this, name](const std::optional<std::string>& error) {
                               told.add(name + (error ? " fails" : " is shown"));
                               end();
                           });
        presenter_->presented.await(++added_);
        queue_->sync([] {}); // holds them while it hands over
    }
    void end() {
        const auto watch = token_.watch();
        held_->reset();
        told.add(watch.expired() ? "gone at once" : "there until all is done");
    }
    bool awaitEnd() const { return token_.awaitEnd(); }

    Record told;
    std::promise<void> mayEnd; ///< when they are connected

private:
    const std::shared_ptr<platform::Queue> queue_;
    test::Token token_;
    const std::shared_ptr<Presenter> presenter_ = std::make_shared<Presenter>();
    const std::shared_ptr<std::shared_ptr<DesktopUserNotifications>> held_;
    DesktopUserNotifications& notifications_;
    std::size_t added_ = 0;
};

TEST_F(DesktopUserNotificationsTest, MayEndWithinTheCompletionOfOneThatIsShown) {
    desktop.hold("Notify");
    EndingWithin ending(application, bus.address());
    ending.add("a");
    ending.add("b");
    ending.add("a");
    while (desktop.calls("Notify") < 2) {
        std::this_thread::yield();
    }
    desktop.takeHeld();
    EXPECT_TRUE(ending.awaitEnd());
    EXPECT_THAT(ending.told.await(2), ElementsAre("a is shown", "there until all is done"));
}

TEST_F(DesktopUserNotificationsTest, MayEndWithinTheCompletionOfOneThatFailsWithTheBus) {
    for (const std::string method : {"GetCapabilities", "Notify"}) {
        test::PrivateBus brief;
        test::FakeDesktop slow(brief.address());
        slow.hold(method);
        slow.start();
        EndingWithin ending(application, brief.address());
        ending.add("a");
        ending.add("b");
        ending.add("a");
        while (slow.calls(method) < (method == "Notify" ? 2 : 1)) { // what cannot be sent fails before what is
            std::this_thread::yield();
        }
        brief.stop();
        EXPECT_TRUE(ending.awaitEnd());
        EXPECT_THAT(ending.told.await(2), ElementsAre("a fails", "there until all is done")) << method;
    }
}

TEST_F(DesktopUserNotificationsTest, MayEndWhenTheyAreConnected) {
    EndingWithin ending(application, bus.address(), true);
    ending.add("a");
    ending.mayEnd.set_value();
    EXPECT_TRUE(ending.awaitEnd());
    EXPECT_THAT(ending.told.await(1), ElementsAre("there until all is done"));
    EXPECT_EQ(desktop.calls("GetCapabilities"), 0);
}

TEST_F(DesktopUserNotificationsTest, MayEndWhenTheirAudienceIsTold) {
    class Ender final : public NotificationAudience {
    public:
        explicit Ender(EndingWithin& ending) : ending_(ending) {}
        void shown(const platform::UserNotificationRequest&, bool) override { ending_.end(); }
        void gone(const std::string& identifier) override { ending_.told.add(identifier + " is gone"); }

    private:
        EndingWithin& ending_;
    };
    desktop.hold("Notify");
    EndingWithin ending(application, bus.address());
    const auto ender = std::make_shared<Ender>(ending);
    ending.setAudience(ender);
    ending.add("a");
    ending.add("a");
    while (desktop.calls("Notify") == 0) {
        std::this_thread::yield();
    }
    desktop.takeHeld();
    EXPECT_TRUE(ending.awaitEnd());
    EXPECT_THAT(ending.told.await(1), ElementsAre("there until all is done"));
    EXPECT_EQ(desktop.calls("Notify"), 1) << "what follows is dropped";
}

TEST(DesktopUserNotificationsWithoutADesktop, MayEndWithinTheCompletionOfOneThatCannotBeShown) {
    const test::PrivateBus bus;
    for (const std::string& address : {bus.address(), std::string("unix:path=/nonexistent/bus")}) {
        NotifyingApplication application({.busAddress = bus.address()});
        EndingWithin ending(application, address);
        ending.add("a");
        EXPECT_TRUE(ending.awaitEnd());
        EXPECT_THAT(ending.told.await(2), ElementsAre("a fails", "there until all is done")) << address;
    }
}

} // namespace
} // namespace tarnel
