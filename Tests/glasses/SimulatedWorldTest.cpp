#include "Phone.hpp"

#include <TarnelGlasses/ApplicationScheduler.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <sstream>

namespace tarnel::glasses {
namespace {

using namespace std::chrono_literals;
using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(SimulatedWorld, installsAPlatformForAsLongAsItExists) {
    {
        SimulatedWorld world({.seed = 7, .bundleIdentifier = "org.example.reader"});
        const auto& services = platform::Platform::current().services();
        EXPECT_EQ(services.application->bundleIdentifier(), "org.example.reader");
        EXPECT_EQ(services.bluetooth.get(), &world.bluetooth());
        EXPECT_EQ(world.scheduler().seed(), 7U);
        const auto before = services.clock->now();
        world.advance(3s);
        EXPECT_EQ(services.clock->now() - before, 3s);
    }
    EXPECT_FALSE(platform::Platform::isInstalled());
}

TEST(SimulatedWorld, givesEachPairAnIdentifierOfItsOwn) {
    SimulatedWorld world;
    const auto first = world.addGlasses();
    EXPECT_EQ(first->identifier(), GlassesOptions().identifier);
    auto bytes = first->identifier().bytes();
    bytes.back() = 3;
    const auto chosen = world.addGlasses({.identifier = UUID(bytes)});
    EXPECT_EQ(chosen->identifier(), UUID(bytes));
    std::set<UUID> identifiers{first->identifier(), chosen->identifier()};
    for (int pair = 0; pair < 260; ++pair) {
        EXPECT_TRUE(identifiers.insert(world.addGlasses({.name = "Other"})->identifier()).second);
    }
}

TEST(SimulatedWorld, relaunchesTheApplicationAndKeepsWhatIsOutsideOfIt) {
    Phone phone({.requiresPairing = true});
    phone.open();
    phone.world.userDefaults().set("key", "value");
    const auto before = phone.world.scheduler().now();
    const auto first = phone.application;
    phone.peripheral = nullptr;
    phone.application = nullptr;
    phone.central = nullptr;
    phone.world.relaunch();

    EXPECT_FALSE(phone.glasses->isConnected());
    EXPECT_GE(phone.world.scheduler().now(), before);
    EXPECT_EQ(platform::Platform::current().services().userDefaults->object("key"), Value("value"));
    phone.start();
    const auto known = phone.central->retrievePeripherals({phone.glasses->identifier()});
    ASSERT_EQ(known.size(), 1U);
    phone.peripheral = known[0];
    phone.peripheral->setDelegate(phone.application);
    phone.central->connect(phone.peripheral);
    phone.await("connected");
    phone.discover();
    phone.subscribe();
    EXPECT_TRUE(first->events.empty());
}

TEST(SimulatedWorld, dropsTheBlocksOfAnApplicationThatEnded) {
    SimulatedWorld world;
    const auto queue = platform::Platform::current().services().scheduler->makeSerialQueue("old");
    const auto held = std::make_shared<int>(0);
    queue->asyncAfter(1s, [held] { ++*held; });
    queue->async([held] { ++*held; });
    bool isOfTheRadio = false;
    world.radio().queue().asyncAfter(1s, [&] { isOfTheRadio = true; });
    world.relaunch();
    EXPECT_EQ(held.use_count(), 1) << "what was not started is let go of";
    queue->async([held] { ++*held; });
    world.advance(2s);
    EXPECT_EQ(*held, 0);
    EXPECT_TRUE(isOfTheRadio);
    queue->sync([&] { ++*held; });
    EXPECT_EQ(*held, 1);
}

TEST(ApplicationScheduler, runsItsQueuesLikeTheSchedulerBelow) {
    const auto below = std::make_shared<SimulatedScheduler>(1);
    ApplicationScheduler scheduler(below);
    const auto queue = scheduler.makeConcurrentQueue("queue");
    EXPECT_EQ(queue->label(), "queue");
    std::vector<int> order;
    queue->asyncAfter(1s, [&] { order.push_back(4); });
    queue->async([&] { order.push_back(1); });
    queue->asyncBarrier([&] {
        EXPECT_TRUE(queue->isCurrent());
        order.push_back(2);
    });
    queue->syncBarrier([&] { order.push_back(3); });
    below->advance(1s);
    EXPECT_THAT(order, ElementsAre(1, 2, 3, 4));
    EXPECT_FALSE(queue->isCurrent());
    EXPECT_EQ(scheduler.mainQueue(), scheduler.mainQueue());
}

/// A session with faults at random moments; gives all that crossed the air and all that the application was told.
std::string story(std::uint64_t seed) {
    Phone phone({}, {.seed = seed});
    std::mt19937_64 random(seed);
    std::ostringstream text;
    phone.open();
    phone.glasses->setTrace([&](const GattTraceEvent& event) {
        text << event.time.count() << ' ' << static_cast<int>(event.kind) << ' ' << event.value.size() << '\n';
    });
    for (int step = 0; step < 200; ++step) {
        switch (random() % 12) {
        case 0:
            phone.glasses->dropConnection();
            break;
        case 1:
            phone.glasses->leaveRange();
            break;
        case 2:
            phone.glasses->stall(300ms);
            break;
        case 3:
            phone.glasses->reset();
            break;
        case 4:
            phone.glasses->truncateChunk();
            break;
        case 5:
            phone.glasses->refuseWrite();
            break;
        case 6:
            phone.world.bluetooth().setState(platform::CentralState::poweredOff);
            phone.world.run();
            phone.world.bluetooth().setState(platform::CentralState::poweredOn);
            break;
        case 7:
            phone.central->cancelPeripheralConnection(phone.peripheral);
            break;
        default:
            phone.glasses->enterRange();
            phone.central->connect(phone.peripheral);
            phone.peripheral->discoverServices();
            for (const auto& service : phone.application->services) {
                phone.peripheral->discoverCharacteristics(service);
            }
            phone.peripheral->setNotifyValue(true, phone.application->characteristic(gatt::inCharacteristic()));
            phone.out = phone.application->characteristic(gatt::outCharacteristic());
            for (int i = 0; i < 10; ++i) {
                phone.writeWithoutResponse(chunk(1, message("led", i)));
                phone.write(chunk(2, message("req", list(list(1, "led")))));
            }
            phone.glasses->tap(step);
        }
        phone.world.advance(std::chrono::milliseconds(random() % 700));
    }
    // Whatever happened, a session can be had again.
    phone.glasses->enterRange();
    phone.glasses->resume();
    phone.settle();
    phone.application->events.clear();
    phone.central->connect(phone.peripheral);
    phone.await("connected");
    phone.discover();
    phone.subscribe();
    EXPECT_TRUE(phone.glasses->isConnected()) << "seed " << seed;
    for (const auto& event : phone.application->events) {
        text << event << '\n';
    }
    return text.str();
}

TEST(SimulatedWorld, playsTheSameStoryForTheSameSeed) {
    for (std::uint64_t seed = 1; seed <= 25; ++seed) {
        const auto told = story(seed);
        EXPECT_FALSE(told.empty());
        EXPECT_EQ(told, story(seed)) << "seed " << seed;
    }
}

} // namespace
} // namespace tarnel::glasses
