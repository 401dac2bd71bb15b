#include <TarnelSDK/platform/Platform.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <support/TestPlatform.hpp>

#include <optional>
#include <string>
#include <vector>

namespace tarnel::platform {
namespace {

using test::TestPlatform;
using ::testing::ElementsAre;

std::vector<std::string> events;

/// A shared object that notes its life.
template <int number>
struct Recorder {
    Recorder() { events.push_back("make " + std::to_string(number)); }
    ~Recorder() { events.push_back("destroy " + std::to_string(number)); }
    static std::shared_ptr<Recorder> make() { return std::make_shared<Recorder>(); }
};

/// One that needs another to be made, and uses it until its end.
struct Dependent {
    Dependent() : needed(Platform::current().shared<Recorder<1>>()) {}
    ~Dependent() {
        events.push_back("destroy dependent");
        EXPECT_EQ(Platform::current().shared<Recorder<1>>(), needed);
    }
    static std::shared_ptr<Dependent> make() { return std::make_shared<Dependent>(); }
    const std::shared_ptr<Recorder<1>> needed;
};

class PlatformTest : public ::testing::Test {
protected:
    void SetUp() override { events.clear(); }
};

TEST_F(PlatformTest, IsInstalledFromInstallToTearDown) {
    EXPECT_FALSE(Platform::isInstalled());
    {
        TestPlatform platform;
        EXPECT_TRUE(Platform::isInstalled());
        EXPECT_EQ(Platform::current().services().scheduler, platform.scheduler);
        EXPECT_EQ(Platform::current().services().clock, platform.clock);
        EXPECT_EQ(&Platform::current().notificationCenter(), &platform.notificationCenter());
    }
    EXPECT_FALSE(Platform::isInstalled());
}

TEST_F(PlatformTest, TearDownLetsGoOfTheServices) {
    std::weak_ptr<SimulatedRandom> random;
    {
        const TestPlatform platform;
        random = platform.random;
    }
    EXPECT_TRUE(random.expired());
}

TEST_F(PlatformTest, ASharedObjectIsMadeOnceWhenFirstAskedFor) {
    const TestPlatform platform;
    EXPECT_THAT(events, ElementsAre());
    const auto first = Platform::current().shared<Recorder<1>>();
    EXPECT_EQ(Platform::current().shared<Recorder<1>>(), first);
    EXPECT_THAT(events, ElementsAre("make 1"));
}

TEST_F(PlatformTest, SharedObjectsAreDestroyedLastMadeFirst) {
    {
        const TestPlatform platform;
        Platform::current().shared<Recorder<2>>();
        Platform::current().shared<Recorder<1>>();
        Platform::current().shared<Recorder<3>>();
        events.clear();
    }
    EXPECT_THAT(events, ElementsAre("destroy 3", "destroy 1", "destroy 2"));
}

TEST_F(PlatformTest, AnObjectThatNeedsAnotherIsDestroyedBeforeIt) {
    {
        const TestPlatform platform;
        Platform::current().shared<Dependent>();
    }
    EXPECT_THAT(events, ElementsAre("make 1", "destroy dependent", "destroy 1"));
}

TEST_F(PlatformTest, ANewPlatformStartsFromNothing) {
    std::optional<TestPlatform> platform(std::in_place);
    Platform::current().shared<Recorder<1>>();
    const auto observation =
        platform->notificationCenter().observe("event", [](const Notification&) { events.push_back("heard"); });
    const auto queue = platform->scheduler->makeSerialQueue("old");
    queue->async([] { events.push_back("ran"); });
    platform.reset();
    platform.emplace();
    events.clear();
    platform->notificationCenter().post({"event", nullptr, {}});
    platform->run();
    queue->async([] { events.push_back("ran"); });
    platform->run();
    Platform::current().shared<Recorder<1>>();
    EXPECT_THAT(events, ElementsAre("make 1"));
}

TEST_F(PlatformTest, TheSchedulerIsShutDownBeforeTheSharedObjectsAreDestroyed) {
    struct UsesQueue {
        ~UsesQueue() {
            queue->async([] { events.push_back("async ran"); });
            queue->sync([] { events.push_back("sync ran"); });
        }
        static std::shared_ptr<UsesQueue> make() { return std::make_shared<UsesQueue>(); }
        std::shared_ptr<Queue> queue = Platform::current().services().scheduler->makeSerialQueue("own");
    };
    {
        const TestPlatform platform;
        Platform::current().shared<UsesQueue>()->queue->async([] { events.push_back("pending ran"); });
    }
    EXPECT_THAT(events, ElementsAre("sync ran"));
}

TEST_F(PlatformTest, MistakesStopTheProgram) {
    EXPECT_DEATH(Platform::current(), "a platform is installed before the SDK is used");
    EXPECT_DEATH(Platform::tearDown(), "a platform is installed");
    EXPECT_DEATH(Platform::install({}), "a platform has all of its services");
    const TestPlatform platform;
    EXPECT_DEATH(TestPlatform(), "one platform is installed at a time");
}

TEST_F(PlatformTest, EveryServiceButTheUserNotificationsIsRequired) {
    Services services;
    {
        const TestPlatform platform;
        services = Platform::current().services();
    }
    const auto installWithout = [&](auto member) {
        auto incomplete = services;
        (incomplete.*member).reset();
        EXPECT_DEATH(Platform::install(incomplete), "a platform has all of its services");
    };
    installWithout(&Services::scheduler);
    installWithout(&Services::clock);
    installWithout(&Services::random);
    installWithout(&Services::application);
    installWithout(&Services::userDefaults);
    installWithout(&Services::bluetooth);
    services.userNotifications.reset();
    Platform::install(services);
    EXPECT_EQ(Platform::current().services().userNotifications, nullptr);
    Platform::tearDown();
}

struct Greeter {
    virtual ~Greeter() = default;
    virtual std::string greet() const = 0;
};
struct PoliteGreeter : Greeter {
    std::string greet() const override { return "good evening"; }
};

TEST_F(PlatformTest, WhatIsProvidedIsReachedWhileItsOwnerKeepsIt) {
    const TestPlatform platform;
    EXPECT_EQ(Provided<Greeter>::get(), nullptr);
    auto greeter = std::make_shared<PoliteGreeter>();
    Provided<Greeter>::provide(greeter);
    ASSERT_NE(Provided<Greeter>::get(), nullptr);
    EXPECT_EQ(Provided<Greeter>::get()->greet(), "good evening");
    greeter.reset();
    EXPECT_EQ(Provided<Greeter>::get(), nullptr);
}

TEST_F(PlatformTest, WhatIsProvidedGoesWithItsPlatform) {
    const auto greeter = std::make_shared<PoliteGreeter>();
    {
        const TestPlatform platform;
        Provided<Greeter>::provide(greeter);
    }
    const TestPlatform platform;
    EXPECT_EQ(Provided<Greeter>::get(), nullptr);
}

TEST(Precondition, SaysWhatMustHoldAndWhere) {
    precondition(true, "never printed");
    EXPECT_DEATH(precondition(false, "the sky is up"), "PlatformTests.cpp:[0-9]+: precondition failed: the sky is up");
}

} // namespace
} // namespace tarnel::platform
