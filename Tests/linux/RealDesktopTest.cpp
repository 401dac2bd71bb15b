#include "NotifyingApplication.hpp"
#include "OtherProgram.hpp"
#include "PrivateBus.hpp"

#include <TarnelLinux/OtherNotifications.hpp>
#include <TarnelLinux/SystemClock.hpp>

#include <gmock/gmock.h>
#include <sdbus-c++/sdbus-c++.h>

#include <chrono>
#include <filesystem>
#include <thread>

namespace tarnel {
namespace {

using platform::NotificationAction;
using platform::PresentationOptions;
using test::noError;
using test::NotifyingApplication;
using ::testing::ElementsAre;

constexpr const char* displayServer = "/usr/bin/Xvfb";
constexpr const char* daemon = "/usr/bin/dunst";

/// A display and a notification daemon of the test's own. The bus starts the daemon when the first notification comes.
class Dunst {
public:
    Dunst()
        : display_({displayServer, "-displayfd", "1", "-screen", "0", "640x480x24", "-nolisten", "tcp", "-noreset"}) {
        test::writeText(folder_ / "dunstrc", "[global]\nmarkup = full\n[urgency_low]\ntimeout = 0\n[urgency_normal]\n"
                                             "timeout = 0\n");
        const auto number = display_.readLine().value_or("");
        bus.addService("org.freedesktop.Notifications", "/usr/bin/env DISPLAY=:" + number +
                                                            " HOME=" + folder_.path().string() + " " + daemon +
                                                            " -conf " + folder_ / "dunstrc");
    }

    /// What its own remote control does.
    void command(const std::string& method, std::optional<std::uint32_t> argument = std::nullopt) {
        auto connection = sdbus::createSessionBusConnectionWithAddress(bus.address());
        auto proxy = sdbus::createProxy(*connection, "org.freedesktop.Notifications", "/org/freedesktop/Notifications");
        auto call = proxy->createMethodCall("org.dunstproject.cmd0", method);
        if (argument) {
            call << *argument;
        }
        proxy->callMethod(call);
    }

    test::PrivateBus bus;

private:
    test::TemporaryFolder folder_;
    test::Process display_;
};

class RealDesktop : public ::testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(displayServer) || !std::filesystem::exists(daemon)) {
            GTEST_SKIP() << "needs " << displayServer << " and " << daemon;
        }
        dunst.emplace();
        application.emplace(
            DesktopNotificationOptions{.applicationName = "Reader", .busAddress = dunst->bus.address()});
    }

    void show(const std::string& name) {
        application->add(name, "Title <b>& more", "Body <b>& more", Value::Dictionary{{"isSoftwareUpdate", true}});
        EXPECT_THAT(application->completions(++shown).back(), noError);
    }
    static NotifyingApplication::Response response(NotificationAction action, const std::string& name) {
        return {action, name, Value::Dictionary{{"isSoftwareUpdate", true}}};
    }

    std::optional<Dunst> dunst;
    std::optional<NotifyingApplication> application;
    std::size_t shown = 0;
};

TEST_F(RealDesktop, reportsTheDefaultActionAndTheDismissal) {
    show("a");
    dunst->command("NotificationAction", 0);
    EXPECT_THAT(application->responses(1), ElementsAre(response(NotificationAction::default_, "a")));
    show("b");
    dunst->command("NotificationCloseLast");
    EXPECT_THAT(application->responses(2),
                ElementsAre(response(NotificationAction::default_, "a"), response(NotificationAction::dismiss, "b")));
}

TEST_F(RealDesktop, reportsTheActionOnANotificationThatWasListedQuietly) {
    application->comeToFront(PresentationOptions::list);
    show("a");
    dunst->command("NotificationAction", 0);
    EXPECT_THAT(application->responses(1), ElementsAre(response(NotificationAction::default_, "a")));
}

TEST_F(RealDesktop, letsTheNotificationsOfOtherProgramsBeShared) {
    ThreadScheduler scheduler;
    const auto provider = ancs::NotificationProvider::make(scheduler.makeSerialQueue("notifications"));
    const auto becomes = [&](std::size_t count, const std::function<void()>& meanwhile) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        std::size_t shared = count + 1;
        while (shared != count && std::chrono::steady_clock::now() < end) {
            meanwhile();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            provider->queue().sync([&] { shared = provider->existing().size(); });
        }
        return shared == count;
    };
    {
        OtherNotifications others(provider, std::make_shared<SystemClock>(), {.busAddress = dunst->bus.address()});
        test::OtherProgram program(dunst->bus.address());
        std::uint32_t id = 0;
        EXPECT_TRUE(becomes(1, [&] { id = program.notify({.replaces = id, .summary = "first"}); }));
        program.notify({.summary = "second"});
        EXPECT_TRUE(becomes(2, [] {}));
        program.close(id);
        EXPECT_TRUE(becomes(1, [] {}));
        dunst->command("NotificationCloseLast");
        EXPECT_TRUE(becomes(0, [] {}));
    }
    scheduler.shutDown();
}

} // namespace
} // namespace tarnel
