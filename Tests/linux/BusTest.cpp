#include "Machine.hpp"

#include <TarnelLinux/bluez/Directory.hpp>
#include <TarnelLinux/bluez/EventLoop.hpp>
#include <TarnelLinux/bluez/PeripheralManager.hpp>
#include <TarnelLinux/bluez/WeakMap.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <thread>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using bluez::Directory;
using bluez::EventLoop;
using bluez::WeakMap;
using test::glasses;
using test::glassesAddress;
using test::Machine;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Clock = std::chrono::steady_clock;

/// A Bluetooth whose bus is there and says nothing.
class SilentMachine {
public:
    SilentMachine() { central = provider->makeCentral(application, queue, {}); }
    ~SilentMachine() {
        central = nullptr;
        provider = nullptr;
        scheduler.shutDown();
    }

    test::SilentBus bus;
    ThreadScheduler scheduler;
    std::shared_ptr<platform::Queue> queue = scheduler.makeSerialQueue("central");
    std::shared_ptr<test::Application> application = std::make_shared<test::Application>(queue);
    std::unique_ptr<BlueZBluetooth> provider =
        std::make_unique<BlueZBluetooth>(BlueZOptions{.busAddress = bus.address()});
    std::shared_ptr<platform::BluetoothCentral> central;
};

TEST(BlueZBus, holdsNobodyUpWhileItIsSilent) {
    const auto start = Clock::now();
    {
        SilentMachine machine;
        std::this_thread::sleep_for(100ms); // it is being connected to
    }
    EXPECT_LT(Clock::now() - start, 5s);
}

TEST(BlueZBus, isToldOfWhenItIsSilent) {
    SilentMachine machine;
    EXPECT_TRUE(machine.application->await("state 0"));
    EXPECT_EQ(machine.central->state(), platform::CentralState::unknown);
}

TEST(BlueZBus, isWaitedForWhenItWasSilentAtFirst) {
    test::PrivateBus bus;
    bus.pause();
    test::FakeBlueZ bluez(bus.address());
    bluez.addAdapter("hci0");
    ThreadScheduler scheduler;
    const auto queue = scheduler.makeSerialQueue("central");
    const auto application = std::make_shared<test::Application>(queue);
    auto provider = std::make_unique<BlueZBluetooth>(BlueZOptions{.busAddress = bus.address()});
    auto central = provider->makeCentral(application, queue, {});
    EXPECT_TRUE(application->await("state 0"));
    bus.goOn();
    bluez.start();
    EXPECT_TRUE(application->await("state 5"));
    central = nullptr;
    provider = nullptr;
    scheduler.shutDown();
}

TEST(BlueZDaemon, isAskedAgainForItsObjects) {
    Machine machine({.hasDaemon = false});
    machine.bluez.addDevice(glasses());
    machine.bluez.withholdObjects();
    machine.bluez.start();
    ASSERT_TRUE(machine.application->await("state 4"));
    machine.bluez.tellObjects();
    EXPECT_TRUE(machine.application->await("state 5"));
    machine.connect();
}

long sockets() {
    long count = 0;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        count += std::filesystem::read_symlink(entry.path(), error).string().starts_with("socket:") ? 1 : 0;
    }
    return count;
}

TEST(BlueZProvider, leavesNothingOnTheBusToCentralsThatAreLeft) {
    Machine machine;
    ASSERT_TRUE(machine.application->await("state 5"));
    const auto before = sockets();
    machine.central->scanForPeripherals({});
    ASSERT_TRUE(Machine::eventually([&] { return machine.bluez.isDiscovering(); }));
    machine.provider = nullptr;
    EXPECT_TRUE(Machine::eventually([&] { return !machine.bluez.isDiscovering(); }));
    EXPECT_TRUE(Machine::eventually([&] { return sockets() < before; }));
    machine.central->stopScan();
    machine.central->scanForPeripherals({});
    machine.central->connect(machine.known());
}

TEST(EventLoop, endsForAllWhoEndItAtOnce) {
    for (int round = 0; round < 50; ++round) {
        EventLoop loop;
        std::atomic<bool> hasRun = false;
        loop.post([&] { hasRun = true; });
        std::vector<std::future<bool>> ends;
        for (int i = 0; i < 4; ++i) {
            ends.push_back(std::async(std::launch::async, [&] {
                loop.end();
                return hasRun.load();
            }));
        }
        for (auto& end : ends) {
            EXPECT_TRUE(end.get()) << "what was posted has run before anybody returns";
        }
    }
}

TEST(EventLoop, endsOnItsOwnThreadWhileOthersWaitForItsEnd) {
    for (int round = 0; round < 50; ++round) {
        EventLoop loop;
        std::promise<void> begun;
        loop.post([&] {
            begun.set_value();
            loop.end();
        });
        begun.get_future().wait();
        auto other = std::async(std::launch::async, [&] { loop.end(); });
        loop.end();
        EXPECT_EQ(other.wait_for(30s), std::future_status::ready);
    }
}

TEST(EventLoop, takesNothingOnceItHasEnded) {
    std::function<void(EventLoop::Task)> post;
    const auto held = std::make_shared<int>();
    {
        EventLoop loop;
        post = loop.poster();
        std::promise<void> ran;
        post([&] { ran.set_value(); });
        EXPECT_EQ(ran.get_future().wait_for(30s), std::future_status::ready);
    }
    post([held] { FAIL() << "the loop is gone"; });
    EXPECT_EQ(held.use_count(), 1);
}

TEST(Directory, forgetsTheOldestOfTheDevicesThatHaveGone) {
    Directory directory;
    for (std::size_t i = 0; i < 3 * Directory::mostGone; ++i) {
        const std::string address = std::to_string(i);
        directory.set(address, {.name = "Glasses " + address, .services = {}, .isConnected = false});
        directory.lose(address);
        directory.lose(address);
    }
    const std::string last = std::to_string(3 * Directory::mostGone - 1);
    EXPECT_EQ(directory.name(last), "Glasses " + last);
    EXPECT_EQ(directory.name("0"), std::nullopt);
    EXPECT_EQ(directory.size(), Directory::mostGone);
}

TEST(Directory, keepsEveryDeviceThatTheDaemonKnows) {
    Directory directory;
    const UUID service;
    directory.set("first", {.name = "First", .services = {service}, .isConnected = true});
    directory.setReadsNotifications("first", true);
    for (std::size_t i = 0; i < 2 * Directory::mostGone; ++i) {
        directory.set(std::to_string(i), {});
    }
    EXPECT_EQ(directory.connected(service), std::vector<std::string>{"first"});
    directory.lose("first");
    EXPECT_THAT(directory.connected(service), IsEmpty());
    EXPECT_FALSE(directory.readsNotifications("first"));
    directory.loseAll();
    EXPECT_EQ(directory.size(), Directory::mostGone);
    directory.set("0", {.name = "Back", .services = {}, .isConnected = false});
    for (std::size_t i = 0; i < 2 * Directory::mostGone; ++i) {
        directory.set("other " + std::to_string(i), {});
        directory.lose("other " + std::to_string(i));
    }
    EXPECT_EQ(directory.name("0"), "Back");
}

TEST(WeakMap, keepsNoMoreThanIsHeld) {
    WeakMap<int> map;
    std::vector<std::shared_ptr<int>> held;
    for (int i = 0; i < 10'000; ++i) {
        const auto object = std::make_shared<int>(i);
        map.set(std::to_string(i), object);
        if (i % 100 == 0) {
            held.push_back(object);
        }
    }
    EXPECT_EQ(map.find("100"), held[1]);
    EXPECT_EQ(map.find("101"), nullptr);
    EXPECT_EQ(map.find("none"), nullptr);
    EXPECT_THAT(map.all(), SizeIs(held.size()));
    EXPECT_LE(map.size(), 2 * held.size() + WeakMap<int>::least);
}

} // namespace
} // namespace tarnel
