#include <TarnelLinux/LinuxApplication.hpp>
#include <TarnelLinux/LinuxPlatform.hpp>
#include <TarnelLinux/SystemClock.hpp>
#include <TarnelLinux/SystemRandom.hpp>
#include <TarnelSDK/platform/Platform.hpp>

#include <gtest/gtest.h>
#include <support/Command.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iterator>

namespace tarnel {
namespace {

using namespace std::chrono_literals;

class NoBluetooth final : public platform::BluetoothProvider {
public:
    std::shared_ptr<platform::BluetoothCentral> makeCentral(std::weak_ptr<platform::BluetoothCentralDelegate>,
                                                            std::shared_ptr<platform::Queue>,
                                                            platform::CentralOptions) override {
        return nullptr;
    }
};

/// Sets a variable of this process for as long as it lives.
class Variable {
public:
    Variable(const char* name, const std::string& value) : name_(name) {
        if (const char* old = std::getenv(name)) {
            old_ = old;
        }
        ::setenv(name, value.c_str(), 1);
    }
    ~Variable() {
        if (old_) {
            ::setenv(name_, old_->c_str(), 1);
        } else {
            ::unsetenv(name_);
        }
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    const char* name_;
    std::optional<std::string> old_;
};

long openFiles() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST(SystemClock, tellsTheTimeOfDayInTheUsersZone) {
    const Variable zone("TZ", "XXX-5:45");
    ::tzset();
    const platform::TimePoint time(1'700'000'000s + 123ns);
    const auto local = SystemClock().localTime(time);
    EXPECT_EQ(local.year, 2023);
    EXPECT_EQ(local.month, 11);
    EXPECT_EQ(local.day, 15);
    EXPECT_EQ(local.hour, 3);
    EXPECT_EQ(local.minute, 58);
    EXPECT_EQ(local.second, 20);
    EXPECT_EQ(local.nanosecond, 123);
}

TEST(SystemClock, countsDownToTheEpochAndBeyond) {
    const Variable zone("TZ", "UTC0");
    ::tzset();
    const auto local = SystemClock().localTime(platform::TimePoint(-1ns));
    EXPECT_EQ(local.year, 1969);
    EXPECT_EQ(local.second, 59);
    EXPECT_EQ(local.nanosecond, 999'999'999);
}

TEST(SystemClock, goesWithTheMachine) {
    const auto before = std::chrono::system_clock::now();
    const auto now = SystemClock().now();
    EXPECT_LE(before, now);
    EXPECT_LE(now, std::chrono::system_clock::now());
}

TEST(SystemRandom, fillsTheWholeSpan) {
    SystemRandom random;
    std::array<std::uint8_t, 4096> bytes{};
    ASSERT_TRUE(random.fill(bytes));
    EXPECT_GT(std::count_if(bytes.end() - 64, bytes.end(), [](auto byte) { return byte != 0; }), 32);
    std::array<std::uint8_t, 4096> others{};
    ASSERT_TRUE(random.fill(others));
    EXPECT_NE(bytes, others);
    EXPECT_TRUE(random.fill({}));
}

TEST(LinuxPlatform, keepsSettingsFromOneRunToTheNext) {
    const test::TemporaryFolder folder;
    const Variable configuration("XDG_CONFIG_HOME", folder.path().string());
    for (int run = 0; run < 3; ++run) {
        const LinuxPlatform linuxPlatform(
            {.identifier = "org.example.reader", .bluetooth = std::make_shared<NoBluetooth>()});
        const auto& services = platform::Platform::current().services();
        EXPECT_EQ(services.application->bundleIdentifier(), "org.example.reader");
        EXPECT_EQ(services.userDefaults->object("runs").integer().value_or(0), run);
        services.userDefaults->set("runs", run + 1);
    }
}

TEST(LinuxPlatform, showsNotificationsOnTheDesktopOrSaysWhyNot) {
    const test::TemporaryFolder folder;
    const Variable configuration("XDG_CONFIG_HOME", folder.path().string());
    const Variable bus("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + folder / "nothing");
    LinuxPlatform linuxPlatform({.identifier = "org.example.reader", .bluetooth = std::make_shared<NoBluetooth>()});
    std::optional<std::string> result;
    platform::Platform::current().services().userNotifications->add(
        {.identifier = "a", .content = {}}, [&](const std::optional<std::string>& error) {
            linuxPlatform.scheduler().mainQueue()->async([&, error] {
                result = error;
                linuxPlatform.scheduler().quitMain();
            });
        });
    linuxPlatform.scheduler().runMain();
    EXPECT_EQ(result, "The notification cannot be shown: no session bus runs.");
}

/// Counts how often the application of a platform posts this, which it does while it is at the front.
class ApplicationPosts {
public:
    explicit ApplicationPosts(const char* name)
        : observation_(platform::Platform::current().notificationCenter().observe(name, [this](auto&) {
              EXPECT_EQ(application().state(), platform::ApplicationState::active);
              ++count_;
          })) {}

    LinuxApplication& application() { return platform_.application(); }
    int count() const { return count_; }

private:
    const test::TemporaryFolder folder_;
    const Variable configuration_{"XDG_CONFIG_HOME", folder_.path().string()};
    LinuxPlatform platform_{{.identifier = "org.example.reader", .bluetooth = std::make_shared<NoBluetooth>()}};
    int count_ = 0;
    const platform::Observation observation_;
};

TEST(LinuxPlatform, tellsOnceThatTheApplicationIsAboutToLeaveTheFront) {
    ApplicationPosts posts(platform::Application::willResignActive);
    auto& application = posts.application();
    application.setState(platform::ApplicationState::inactive);
    application.setState(platform::ApplicationState::background);
    EXPECT_EQ(posts.count(), 1);
    application.setState(platform::ApplicationState::active);
    EXPECT_EQ(posts.count(), 1);
    application.setState(platform::ApplicationState::background);
    EXPECT_EQ(posts.count(), 2);
}

TEST(LinuxPlatform, tellsThatTheApplicationHasComeToTheFront) {
    ApplicationPosts posts(platform::Application::didBecomeActive);
    auto& application = posts.application();
    application.setState(platform::ApplicationState::active);
    EXPECT_EQ(posts.count(), 0) << "it has been there all the time";
    application.setState(platform::ApplicationState::background);
    application.setState(platform::ApplicationState::inactive);
    EXPECT_EQ(posts.count(), 0);
    application.setState(platform::ApplicationState::active);
    application.setState(platform::ApplicationState::active);
    EXPECT_EQ(posts.count(), 1);
}

TEST(LinuxPlatform, hasNotificationsToShareWithABluetoothOfOnesOwn) {
    const test::TemporaryFolder folder;
    const Variable configuration("XDG_CONFIG_HOME", folder.path().string());
    const LinuxPlatform linuxPlatform(
        {.identifier = "org.example.reader", .bluetooth = std::make_shared<NoBluetooth>()});
    const auto& provider = linuxPlatform.notificationProvider();
    std::size_t shared = 0;
    provider->add("a", {.title = "of another application"});
    provider->queue().sync([&] { shared = provider->existing().size(); });
    EXPECT_EQ(shared, 1U);
}

TEST(LinuxPlatform, leavesNoFileOpen) {
    const test::TemporaryFolder folder;
    const Variable configuration("XDG_CONFIG_HOME", folder.path().string());
    const auto run = [] {
        const LinuxPlatform linuxPlatform(
            {.identifier = "org.example.reader", .bluetooth = std::make_shared<NoBluetooth>()});
        platform::Platform::current().services().userDefaults->set("a", 1);
        platform::Platform::current().services().userDefaults->synchronize();
        EXPECT_EQ(platform::Platform::current().services().userDefaults->object("a"), Value(1));
    };
    run();
    const auto before = openFiles();
    run();
    EXPECT_EQ(openFiles(), before);
}

} // namespace
} // namespace tarnel
