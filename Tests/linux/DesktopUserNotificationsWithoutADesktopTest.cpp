#include "FakeDesktop.hpp"
#include "NotifyingApplication.hpp"
#include "PrivateBus.hpp"

#include <gmock/gmock.h>

#include <chrono>
#include <optional>
#include <string>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using test::NotifyingApplication;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Optional;
using ::testing::SizeIs;
using ::testing::StartsWith;

TEST(DesktopUserNotificationsWithoutADesktop, TellThatNoServiceRuns) {
    const test::PrivateBus bus;
    NotifyingApplication application({.busAddress = bus.address()});
    application.add("a");
    application.add("b");
    EXPECT_THAT(application.completions(2),
                ElementsAre(Optional(StartsWith("The notification cannot be shown: no notification service runs on "
                                                "this desktop (")),
                            Optional(HasSubstr("org.freedesktop.Notifications"))));
}

TEST(DesktopUserNotificationsWithoutADesktop, TellThatNoSessionBusRuns) {
    NotifyingApplication application({.busAddress = "unix:path=/nonexistent/bus"});
    application.add("a");
    EXPECT_THAT(application.completions(1),
                ElementsAre(Optional(std::string("The notification cannot be shown: no session bus runs."))));
}

TEST(DesktopUserNotificationsWithoutADesktop, DoNotWaitForABusThatIsSilent) {
    const auto start = std::chrono::steady_clock::now();
    {
        const test::SilentBus bus;
        NotifyingApplication application({.busAddress = bus.address(), .patience = 50ms});
        application.add("a");
        application.completions(1);
        application.add("b");
        EXPECT_THAT(application.completions(2),
                    Each(Optional(std::string("The notification cannot be shown: the session bus does not answer."))));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 20s);
}

TEST(DesktopUserNotificationsWithoutADesktop, TellThatAServiceDoesNotStart) {
    const test::PrivateBus bus;
    bus.addService("org.freedesktop.Notifications", "/bin/false");
    NotifyingApplication application({.busAddress = bus.address()});
    application.add("a");
    EXPECT_THAT(application.completions(1), ElementsAre(Optional(HasSubstr("no notification service runs"))));
}

TEST(DesktopUserNotificationsWithoutADesktop, GiveUpWaitingForAServiceThatDoesNotAnswer) {
    for (const std::string method : {"GetCapabilities", "Notify"}) {
        const test::PrivateBus bus;
        test::FakeDesktop desktop(bus.address());
        desktop.hold(method);
        desktop.start();
        NotifyingApplication application({.busAddress = bus.address(), .patience = 50ms});
        application.add("a");
        EXPECT_THAT(application.completions(1), ElementsAre(Optional(HasSubstr("does not answer")))) << method;
    }
}

TEST(DesktopUserNotificationsOfAnApplicationWithoutAName, SayWhatSendsThem) {
    const test::PrivateBus bus;
    test::FakeDesktop desktop(bus.address());
    desktop.start();
    NotifyingApplication application({.busAddress = bus.address()});
    application.add("a");
    application.completions(1);
    application.application->setBundleIdentifier(std::nullopt);
    application.add("b");
    application.completions(2);
    const auto notifications = desktop.notifications();
    ASSERT_THAT(notifications, SizeIs(2));
    EXPECT_EQ(notifications[0].applicationName, "org.example.reader");
    EXPECT_EQ(notifications[1].applicationName, "TarnelSDK");
    EXPECT_EQ(notifications[1].hint<std::string>("desktop-entry"), std::nullopt);
}

} // namespace
} // namespace tarnel
