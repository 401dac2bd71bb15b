#include "FakeDesktop.hpp"
#include "NotifyingApplication.hpp"
#include "OtherProgram.hpp"
#include "PrivateBus.hpp"
#include "Token.hpp"

#include <TarnelLinux/LinuxApplication.hpp>
#include <TarnelLinux/LinuxPlatform.hpp>
#include <TarnelLinux/OtherNotifications.hpp>
#include <TarnelLinux/SystemClock.hpp>
#include <TarnelLinux/desktop/NotificationMonitor.hpp>
#include <TarnelLinux/desktop/Text.hpp>
#include <TarnelSDK/ancs/Protocol.hpp>
#include <TarnelSDK/platform/Platform.hpp>

#include <gmock/gmock.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using test::OtherProgram;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr auto expiredByItself = static_cast<std::uint32_t>(desktop::NotificationDaemon::ClosedReason::expired);
constexpr auto dismissedByHand = static_cast<std::uint32_t>(desktop::NotificationDaemon::ClosedReason::dismissed);

/// What glasses have read of a notification.
struct Read {
    std::string application;
    std::string title;
    std::string message;
    ancs::Category category = ancs::Category::other;
    std::uint8_t flags = 0;
};

/// Glasses that read all there is, without any radio.
std::vector<Read> readAll(ancs::NotificationProvider& provider) {
    constexpr std::size_t valueLength = 512;
    std::vector<Read> all;
    provider.queue().sync([&] {
        for (const auto& event : provider.existing()) {
            Bytes command{0};
            for (int shift = 0; shift < 32; shift += 8) {
                command.push_back(static_cast<std::uint8_t>(event.uid >> shift));
            }
            command.insert(command.end(), {0, 1, 0xff, 0xff, 3, 0xff, 0xff});
            Bytes response;
            for (const auto& value : provider.write(command, valueLength).data) {
                response.insert(response.end(), value.begin(), value.end());
            }
            std::size_t at = 5;
            const auto text = [&] {
                const std::size_t length = response.at(at + 1) | static_cast<std::size_t>(response.at(at + 2)) << 8;
                const auto begin = response.begin() + static_cast<std::ptrdiff_t>(at + 3);
                at += 3 + length;
                return std::string(begin, begin + static_cast<std::ptrdiff_t>(length));
            };
            Read read;
            read.category = event.category;
            read.flags = event.flags;
            read.application = text();
            read.title = text();
            read.message = text();
            all.push_back(read);
        }
    });
    return all;
}

std::vector<std::string> titles(ancs::NotificationProvider& provider) {
    std::vector<std::string> all;
    for (const auto& read : readAll(provider)) {
        all.push_back(read.title);
    }
    return all;
}

bool eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + 30s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

/// Why sharing ended. Any thread.
class End {
public:
    std::function<void(const std::string&)> teller() {
        return [this](const std::string& why) {
            {
                const std::lock_guard lock(mutex_);
                told_.push_back(why);
            }
            changed_.notify_all();
        };
    }
    std::string await() {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, 30s, [&] { return !told_.empty(); });
        return told_.empty() ? "(nothing)" : told_.front();
    }
    std::size_t count() {
        const std::lock_guard lock(mutex_);
        return told_.size();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> told_;
};

class OtherNotificationsTest : public ::testing::Test {
protected:
    OtherNotificationsTest() {
        desktop.start();
        others = std::make_unique<OtherNotifications>(
            provider, std::make_shared<SystemClock>(),
            OtherNotificationsOptions{.busAddress = bus.address(), .ended = end.teller()});
        awaitWatch();
    }
    ~OtherNotificationsTest() override {
        others.reset();
        scheduler.shutDown();
    }

    /// Shows something until it is noticed, and takes it away.
    void awaitWatch() {
        const std::uint32_t id = program.notify({.summary = "probe"});
        ASSERT_TRUE(eventually([&] {
            program.notify({.replaces = id, .summary = "probe"});
            return !titles(*provider).empty();
        }));
        desktop.close(id, dismissedByHand);
        ASSERT_TRUE(areShared({}));
    }
    bool areShared(const std::vector<std::string>& expected) {
        const bool are = eventually([&] { return titles(*provider) == expected; });
        EXPECT_THAT(titles(*provider), ::testing::ElementsAreArray(expected));
        return are;
    }

    ThreadScheduler scheduler;
    std::shared_ptr<ancs::NotificationProvider> provider =
        ancs::NotificationProvider::make(scheduler.makeSerialQueue("notifications"));
    test::PrivateBus bus;
    test::FakeDesktop desktop{bus.address()};
    OtherProgram program{bus.address()};
    End end;
    std::unique_ptr<OtherNotifications> others;
};

TEST_F(OtherNotificationsTest, AreSharedWithApplicationTitleAndText) {
    program.notify({.application = "Mail",
                    .summary = "Anna",
                    .body = "See <b>you</b> at &lt;eight&gt;.\nBye",
                    .hints = {{"desktop-entry", sdbus::Variant(std::string("org.example.mail"))},
                              {"category", sdbus::Variant(std::string("email.arrived"))},
                              {"urgency", sdbus::Variant(std::uint8_t{2})},
                              {"image-data", sdbus::Variant(std::vector<std::uint8_t>(100'000, 7))}}});
    program.notify({.application = "Chat", .summary = "Ben", .hints = {{"urgency", sdbus::Variant(std::uint8_t{0})}}});
    program.notify({.summary = "Nobody"});
    ASSERT_TRUE(areShared({"Anna", "Ben", "Nobody"}));
    const auto read = readAll(*provider);
    EXPECT_EQ(read[0].application, "org.example.mail");
    EXPECT_EQ(read[0].message, "See you at <eight>.\nBye");
    EXPECT_EQ(read[0].category, ancs::Category::email);
    EXPECT_TRUE((read[0].flags & ancs::important) != 0);
    EXPECT_TRUE((read[0].flags & ancs::silent) == 0);
    EXPECT_EQ(read[1].application, "Chat");
    EXPECT_EQ(read[1].category, ancs::Category::other);
    EXPECT_TRUE((read[1].flags & ancs::silent) != 0);
    EXPECT_EQ(read[2].application, "unknown");
    EXPECT_EQ(end.count(), 0U);
}

TEST_F(OtherNotificationsTest, AreOfTheCategoriesThatGlassesKnow) {
    const std::vector<std::pair<std::string, ancs::Category>> known{{"email", ancs::Category::email},
                                                                    {"email.bounced", ancs::Category::email},
                                                                    {"im.received", ancs::Category::social},
                                                                    {"call.incoming", ancs::Category::incomingCall},
                                                                    {"call.unanswered", ancs::Category::missedCall},
                                                                    {"emails", ancs::Category::other},
                                                                    {"device.added", ancs::Category::other}};
    std::vector<std::string> names;
    for (const auto& [name, category] : known) {
        program.notify({.summary = name, .hints = {{"category", sdbus::Variant(name)}}});
        names.push_back(name);
    }
    ASSERT_TRUE(areShared(names));
    const auto read = readAll(*provider);
    for (std::size_t at = 0; at < known.size(); ++at) {
        EXPECT_EQ(read[at].category, known[at].second) << known[at].first;
    }
}

TEST_F(OtherNotificationsTest, ChangeAndLeaveWithTheDesktops) {
    const auto first = program.notify({.summary = "first"});
    const auto second = program.notify({.summary = "second"});
    const auto third = program.notify({.summary = "third"});
    ASSERT_TRUE(areShared({"first", "second", "third"}));
    program.notify({.replaces = second, .summary = "changed"});
    ASSERT_TRUE(areShared({"first", "changed", "third"}));
    desktop.close(first, dismissedByHand);
    ASSERT_TRUE(areShared({"changed", "third"}));
    program.close(third);
    ASSERT_TRUE(areShared({"changed"}));
    desktop.crash();
    ASSERT_TRUE(areShared({}));
    desktop.start();
    program.notify({.summary = "again"});
    ASSERT_TRUE(areShared({"again"}));
}

TEST_F(OtherNotificationsTest, StayWhenTheirTimeHasRunOutUnlessTheyAreTransient) {
    const auto kept = program.notify({.summary = "kept"});
    const auto passing = program.notify({.summary = "passing", .hints = {{"transient", sdbus::Variant(true)}}});
    ASSERT_TRUE(areShared({"kept", "passing"}));
    desktop.close(kept, expiredByItself);
    desktop.close(passing, expiredByItself);
    EXPECT_TRUE(areShared({"kept"}));
    desktop.close(kept, dismissedByHand);
    EXPECT_TRUE(areShared({}));
}

TEST_F(OtherNotificationsTest, OnesThatTheDesktopRefusesAreNotShared) {
    desktop.refuse("no");
    EXPECT_THROW(program.notify({.summary = "refused"}), sdbus::Error);
    desktop.crash();
    test::FakeDesktop another(bus.address());
    another.start();
    program.notify({.summary = "taken"});
    EXPECT_TRUE(areShared({"taken"}));
}

TEST_F(OtherNotificationsTest, OfThoseThatTheDesktopLeavesUnansweredTheOldestAreForgotten) {
    constexpr std::size_t most = desktop::NotificationMonitor::mostUnderWay;
    constexpr std::size_t many = most + 36;
    const int before = desktop.calls("Notify");
    desktop.hold("Notify");
    for (std::size_t i = 0; i < many; ++i) {
        program.notifyWithoutWaiting({.summary = std::to_string(i)});
    }
    ASSERT_TRUE(eventually([&] { return desktop.calls("Notify") == before + static_cast<int>(many); }));
    EXPECT_THAT(titles(*provider), IsEmpty());
    desktop.takeHeld();
    ASSERT_TRUE(eventually([&] { return titles(*provider).size() >= most; }));
    EXPECT_THAT(titles(*provider),
                AllOf(SizeIs(most), Contains(std::to_string(many - most)), Contains(std::to_string(many - 1))));
}

TEST_F(OtherNotificationsTest, TheApplicationsOwnAreLeftOut) {
    test::NotifyingApplication own(
        {.busAddress = bus.address(), .connected = [this](const std::string& name) { others->leaveOut(name); }});
    own.add("mine", "mine");
    EXPECT_THAT(own.completions(1), ElementsAre(test::noError));
    program.notify({.summary = "theirs"});
    EXPECT_TRUE(areShared({"theirs"}));
}

TEST_F(OtherNotificationsTest, MessagesOfAnotherShapeTellNothing) {
    desktop.sendNonsense("NotificationClosed");
    EXPECT_THROW(program.call("Notify", [](sdbus::MethodCall& call) { call << std::string("nonsense"); }),
                 sdbus::Error);
    EXPECT_THROW(program.call("Notify", [](sdbus::MethodCall&) {}), sdbus::Error);
    EXPECT_THROW(program.call("CloseNotification", [](sdbus::MethodCall& call) { call << std::string("1"); }),
                 sdbus::Error);
    // Hints of other types than theirs.
    program.notify({.summary = "odd",
                    .hints = {{"desktop-entry", sdbus::Variant(std::uint32_t{1})},
                              {"category", sdbus::Variant(std::vector<std::string>{"a", "b"})},
                              {"urgency", sdbus::Variant(std::string("critical"))},
                              {"transient", sdbus::Variant(std::int32_t{1})},
                              {"", sdbus::Variant(std::map<std::string, sdbus::Variant>{
                                       {"deep", sdbus::Variant(sdbus::Variant(std::uint8_t{1}))}})}}});
    program.notify({.summary = "most urgent", .hints = {{"urgency", sdbus::Variant(std::uint8_t{255})}}});
    ASSERT_TRUE(areShared({"odd", "most urgent"}));
    EXPECT_TRUE((readAll(*provider)[0].flags & (ancs::important | ancs::silent)) == 0);
    EXPECT_TRUE((readAll(*provider)[1].flags & ancs::important) != 0);
    EXPECT_EQ(end.count(), 0U);
}

TEST_F(OtherNotificationsTest, AnswersOfAnotherShapeTellNothing) {
    desktop.crash();
    {
        test::OddDaemon odd(bus.address());
        EXPECT_EQ(program.call("Notify",
                               [](sdbus::MethodCall& call) {
                                   call << std::string("a") << std::uint32_t{0} << std::string() << std::string("lost")
                                        << std::string() << std::vector<std::string>{}
                                        << std::map<std::string, sdbus::Variant>{} << std::int32_t{-1};
                               }),
                  "odd");
    }
    desktop.start();
    program.notify({.summary = "found"});
    EXPECT_TRUE(areShared({"found"}));
}

TEST_F(OtherNotificationsTest, LongTextsAreCut) {
    const std::string body(10 * desktop::longestText, 'x');
    program.notify({.application = body, .summary = body, .body = body});
    ASSERT_TRUE(eventually([&] { return !titles(*provider).empty(); }));
    const auto read = readAll(*provider).at(0);
    EXPECT_EQ(read.title, std::string(ancs::NotificationProvider::longestName, 'x'));
    EXPECT_EQ(read.message, std::string(ancs::NotificationProvider::longestText, 'x'));
}

TEST_F(OtherNotificationsTest, ManyAreSharedUpToTheNewest) {
    constexpr std::size_t many = OtherNotifications::mostKept + 50;
    for (std::size_t i = 0; i < many; ++i) {
        program.notify({.summary = std::to_string(i)});
    }
    ASSERT_TRUE(eventually([&] {
        const auto all = titles(*provider);
        return all.size() == ancs::NotificationProvider::mostKept && all.back() == std::to_string(many - 1);
    }));
    desktop.crash();
    EXPECT_TRUE(areShared({}));
}

TEST_F(OtherNotificationsTest, WhoIsNotTheDesktopCannotSpeakForIt) {
    const auto id = program.notify({.summary = "real"});
    ASSERT_TRUE(areShared({"real"}));
    program.emitClosed(id, dismissedByHand);
    EXPECT_EQ(program.notifySelf({.summary = "false"}), 77U);
    program.notify({.summary = "last"});
    EXPECT_TRUE(areShared({"real", "last"}));
}

TEST_F(OtherNotificationsTest, EndWithTheBus) {
    program.notify({.summary = "lost"});
    ASSERT_TRUE(areShared({"lost"}));
    bus.stop();
    EXPECT_THAT(end.await(), StartsWith("The notifications of other programs are not shared any more: the session bus "
                                        "is gone ("));
    EXPECT_TRUE(areShared({}));
    EXPECT_EQ(end.count(), 1U);
}

TEST_F(OtherNotificationsTest, MayEndAtAnyMoment) {
    for (int i = 0; i < 20; ++i) {
        OtherNotifications brief(provider, std::make_shared<SystemClock>(), {.busAddress = bus.address()});
        program.notifyWithoutWaiting({.summary = "passing"});
        std::this_thread::sleep_for(std::chrono::microseconds(100 * i));
    }
    others.reset();
    program.notify({.summary = "unseen"});
    EXPECT_THAT(titles(*provider), ::testing::Not(Contains("unseen")));
}

/// What sharing has at hand when it is let go of in the middle of telling its end; true when that is all there until
/// then, and goes later. `begun` is called once it is under way.
bool mayEndWithin(const std::string& address, const std::shared_ptr<ancs::NotificationProvider>& provider,
                  const std::function<void()>& begun) {
    test::Token token;
    std::promise<std::unique_ptr<OtherNotifications>> made;
    const auto held = std::make_shared<std::future<std::unique_ptr<OtherNotifications>>>(made.get_future());
    const auto isThere = std::make_shared<std::promise<bool>>();
    auto whole = isThere->get_future();
    made.set_value(std::make_unique<OtherNotifications>(
        provider, std::make_shared<SystemClock>(),
        OtherNotificationsOptions{
            .busAddress = address,
            .ended = [held, isThere, watch = token.watch(), token = token.take()](const std::string&) {
                const auto told = isThere;
                const auto seen = watch;
                held->get().reset();
                told->set_value(!seen.expired());
            }}));
    begun();
    return whole.wait_for(30s) == std::future_status::ready && whole.get() && token.awaitEnd();
}

TEST_F(OtherNotificationsTest, MayEndWhenTheyAreToldToHaveEnded) {
    others.reset();
    EXPECT_TRUE(mayEndWithin("unix:path=/nonexistent/bus", provider, [] {}));
    const test::PrivateBus refusing(false, false);
    EXPECT_TRUE(mayEndWithin(refusing.address(), provider, [] {}));
    EXPECT_TRUE(mayEndWithin(bus.address(), provider, [this] {
        awaitWatch();
        program.notify({.summary = "lost"});
        ASSERT_TRUE(areShared({"lost"}));
        bus.stop();
    }));
}

/// Sharing on a bus, and why it ended.
std::string endOn(const std::string& address, std::chrono::milliseconds patience = 25s) {
    ThreadScheduler scheduler;
    std::string why;
    {
        End end;
        const OtherNotifications others(ancs::NotificationProvider::make(scheduler.makeSerialQueue("notifications")),
                                        std::make_shared<SystemClock>(),
                                        {.busAddress = address, .patience = patience, .ended = end.teller()});
        why = end.await();
    }
    scheduler.shutDown();
    return why;
}

TEST(OtherNotificationsWithoutABus, SayThatItRefuses) {
    const test::PrivateBus bus(false, false);
    EXPECT_THAT(endOn(bus.address()),
                AllOf(StartsWith("The notifications of other programs are not shared: the session bus refuses to be "
                                 "watched ("),
                      HasSubstr("BecomeMonitor")));
}

TEST(OtherNotificationsWithoutABus, SayThatNoneRuns) {
    EXPECT_THAT(endOn("unix:path=/nonexistent/bus"),
                StartsWith("The notifications of other programs are not shared: no session bus runs ("));
    EXPECT_THAT(endOn("nonsense"), HasSubstr("no session bus runs ("));
}

/// An environment variable, set for a while.
class Variable {
public:
    Variable(const char* name, const std::string& value) : name_(name) { ::setenv(name, value.c_str(), 1); }
    ~Variable() { ::unsetenv(name_); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    const char* const name_;
};

TEST(OtherNotificationsWithoutABus, PrintWhyWhenNobodyIsToBeTold) {
    const Variable session("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    ::testing::internal::CaptureStdout();
    {
        // Its end runs what was begun.
        const LinuxPlatform platform({.identifier = "org.example.reader", .sharesOtherNotifications = true});
    }
    EXPECT_THAT(::testing::internal::GetCapturedStdout(),
                StartsWith("The notifications of other programs are not shared: no session bus runs ("));
}

/// The application of the platform shows a notification.
void showOwn(LinuxPlatform& platform) {
    platform.application().setState(platform::ApplicationState::background);
    platform::Platform::current().services().userNotifications->add(
        {.identifier = "a", .content = {.title = "mine", .body = "", .categoryIdentifier = ""}}, nullptr);
}

/// A desktop, another program that notifies, and the bus that platforms are made on.
class OtherNotificationsOfAPlatform : public testing::Test {
protected:
    OtherNotificationsOfAPlatform() { desktop.start(); }

    const test::PrivateBus bus;
    const Variable session{"DBUS_SESSION_BUS_ADDRESS", bus.address()};
    const Variable system{"DBUS_SYSTEM_BUS_ADDRESS", bus.address()};
    test::FakeDesktop desktop{bus.address()};
    OtherProgram program{bus.address()};
};

TEST_F(OtherNotificationsOfAPlatform, AreSharedBesideTheOwnOnesOnRequest) {
    LinuxPlatform platform(
        {.identifier = "org.example.reader", .sharesNotifications = true, .sharesOtherNotifications = true});
    auto& provider = *platform.notificationProvider();
    std::uint32_t theirs = program.notify({.summary = "theirs"});
    ASSERT_TRUE(eventually([&] {
        theirs = program.notify({.replaces = theirs, .summary = "theirs"});
        return titles(provider) == std::vector<std::string>{"theirs"};
    }));
    showOwn(platform);
    ASSERT_TRUE(eventually([&] {
        platform.scheduler().drainMain();
        return titles(provider).size() >= 2;
    }));
    program.notify({.summary = "last"});
    ASSERT_TRUE(eventually([&] { return titles(provider).size() >= 3; }));
    EXPECT_THAT(titles(provider), ElementsAre("theirs", "mine", "last"));
}

TEST_F(OtherNotificationsOfAPlatform, AreNotSharedUnlessAskedFor) {
    LinuxPlatform platform({.identifier = "org.example.reader", .sharesNotifications = true});
    auto& provider = *platform.notificationProvider();
    program.notify({.summary = "theirs"});
    showOwn(platform);
    program.notify({.summary = "theirs"});
    ASSERT_TRUE(eventually([&] {
        platform.scheduler().drainMain();
        return !titles(provider).empty();
    }));
    program.notify({.summary = "theirs"});
    EXPECT_THAT(titles(provider), ElementsAre("mine"));
}

} // namespace
} // namespace tarnel
