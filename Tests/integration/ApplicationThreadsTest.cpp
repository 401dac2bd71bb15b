#include "TestPictures.hpp"

#include <TarnelGlasses/Radio.hpp>
#include <TarnelGlasses/SimulatedBluetooth.hpp>
#include <TarnelGlasses/SimulatedGlasses.hpp>
#include <TarnelSDK/manager/TarnelManager.hpp>
#include <TarnelSDK/schedulers/MemoryUserDefaults.hpp>
#include <TarnelSDK/schedulers/SettableApplication.hpp>
#include <TarnelSDK/schedulers/SimulatedRandom.hpp>
#include <TarnelSDK/schedulers/ThreadScheduler.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

/// The whole SDK on threads, for the thread sanitizer. The radio is fast, so that little real time passes.
namespace tarnel {
namespace {

using namespace std::chrono_literals;

class SteadyClock : public platform::Clock {
public:
    platform::TimePoint now() const override {
        return platform::TimePoint(std::chrono::steady_clock::now().time_since_epoch());
    }
    platform::LocalTime localTime(platform::TimePoint) const override { return {}; }
};

glasses::LinkModel fastRadio() {
    return {.connectionInterval = 100us,
            .bufferDepth = 4,
            .advertisingInterval = 1ms,
            .connectionSetup = 200us,
            .pairing = 200us,
            .supervisionTimeout = 5ms};
}

class ApplicationThreadsTest : public ::testing::Test {
protected:
    ApplicationThreadsTest() {
        const auto radio = glasses::Radio::make(
            *scheduler_, [] { return platform::Duration(std::chrono::steady_clock::now().time_since_epoch()); },
            fastRadio());
        platform::Platform::install({scheduler_, std::make_shared<SteadyClock>(), std::make_shared<SimulatedRandom>(1),
                                     std::make_shared<SettableApplication>("org.example.threads"),
                                     std::make_shared<MemoryUserDefaults>("org.example.threads"),
                                     glasses::SimulatedBluetooth::make(radio)});
        pair_ = glasses::SimulatedGlasses::make(radio);
        radio_ = radio;
    }
    ~ApplicationThreadsTest() override {
        pair_.reset();
        platform::Platform::tearDown();
    }

    /// Drains the main queue until the condition holds, which is asked whenever a bindable or the frame has changed.
    void runUntil(std::function<bool()> condition) {
        condition_ = std::move(condition);
        scheduler_->mainQueue()->async([this] { check(); });
        scheduler_->runMain();
    }

    void link() {
        auto& manager = TarnelManager::shared();
        runUntil([&] { return manager.isReady.value(); });
        manager.startScan([&](const auto& peripheral) { manager.link(peripheral, nullptr); });
        runUntil([] { return isConnected(); });
    }

    static bool isConnected() {
        const auto device = TarnelManager::shared().currentDevice();
        return device && device->isConnected.value();
    }

    std::shared_ptr<ThreadScheduler> scheduler_ = std::make_shared<ThreadScheduler>(3);
    std::shared_ptr<glasses::Radio> radio_;
    std::shared_ptr<glasses::SimulatedGlasses> pair_;

private:
    void check() {
        if (condition_()) {
            scheduler_->quitMain();
            return;
        }
        scheduler_->mainQueue()->asyncAfter(1ms, [this] { check(); });
    }

    std::function<bool()> condition_;
};

TEST_F(ApplicationThreadsTest, CarriesAPictureAcrossThreads) {
    link();
    const auto device = TarnelManager::shared().currentDevice();
    device->setLayout(Layout::canvas, 180, false);
    const Image picture = test::randomPicture(3);
    device->canvas.drawBackground(picture, 0, 0, false);
    device->canvas.commit();
    const Bytes wanted = test::levels(picture);
    runUntil([&] { return pair_->frame().levels() == wanted; });
    EXPECT_EQ(pair_->errorCount(), 0u);
    EXPECT_EQ(pair_->counters().lostWrites, 0u);
}

TEST_F(ApplicationThreadsTest, LosesNoMessageHoweverOftenTheQueueRunsEmpty) {
    link();
    const auto device = TarnelManager::shared().currentDevice();
    runUntil([&] { return !device->hasDataInOutgoingQueue(); });
    constexpr std::size_t threadCount = 3;
    constexpr std::size_t messagesOfEach = 300;
    const auto before = pair_->receivedCount();
    std::vector<std::thread> threads;
    for (std::size_t n = 0; n < threadCount; ++n) {
        threads.emplace_back([&] {
            for (std::size_t i = 0; i < messagesOfEach; ++i) {
                device->setIntProperty(Property::brightness, static_cast<std::int64_t>(i % 100));
                if (i % 5 == 0) {
                    std::this_thread::sleep_for(100us);
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (int waits = 0; waits < 5000 && pair_->receivedCount() < before + threadCount * messagesOfEach; ++waits) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_GE(pair_->receivedCount(), before + threadCount * messagesOfEach);
    EXPECT_EQ(pair_->errorCount(), 0u);
    EXPECT_EQ(pair_->counters().lostWrites, 0u);
}

TEST_F(ApplicationThreadsTest, TakesCommandsFromManyThreadsWhileTheConnectionComesAndGoes) {
    link();
    const auto device = TarnelManager::shared().currentDevice();
    device->setLayout(Layout::canvas, 180, false);
    std::atomic<bool> isOver = false;
    std::vector<std::thread> threads;
    for (std::uint32_t n = 0; n < 3; ++n) {
        threads.emplace_back([&, n] {
            for (std::uint32_t i = 0; i < 40; ++i) {
                device->canvas.drawBackground(test::randomPicture(n * 100 + i, 64, 48), static_cast<int>(n) * 64, 0,
                                              i % 2 == 0);
                device->setIntProperty(Property::brightness, i);
                device->getName();
                device->hasDataInOutgoingQueue();
                TarnelManager::shared().currentDevice();
            }
        });
    }
    threads.emplace_back([&] {
        for (int i = 0; i < 5; ++i) {
            pair_->tap(i);
            pair_->setBattery(i, i % 2 == 0);
            pair_->takeControl("other.app");
        }
        pair_->dropConnection();
        isOver = true;
    });
    runUntil([&] { return isOver.load() && !pair_->isConnected(); });
    for (auto& thread : threads) {
        thread.join();
    }
    runUntil([] { return isConnected(); });
    device->setLayout(Layout::canvas, 180, false);
    const Image picture = test::randomPicture(9);
    device->canvas.drawBackground(picture, 0, 0, false);
    device->canvas.commit();
    const Bytes wanted = test::levels(picture);
    runUntil([&] { return pair_->frame().levels() == wanted; });
}

TEST_F(ApplicationThreadsTest, IsTornDownInTheMiddleOfEverything) {
    link();
    const auto device = TarnelManager::shared().currentDevice();
    device->setLayout(Layout::canvas, 180, false);
    for (std::uint32_t i = 0; i < 5; ++i) {
        device->canvas.drawBackground(test::randomPicture(i), 0, 0, true);
    }
    pair_->dropConnection();
}

} // namespace
} // namespace tarnel
