#include <TarnelSDK/platform/NotificationCenter.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <thread>
#include <vector>

namespace tarnel::platform {
namespace {

TEST(NotificationCenterThreads, ManyThreadsRegisterPostAndEndAtOnce) {
    NotificationCenter center;
    constexpr int threads = 4;
    constexpr int rounds = 500;
    std::atomic<int> calls = 0;
    const auto permanent = center.observe("event", [&](const Notification&) { ++calls; });
    std::latch start(threads);
    std::vector<std::thread> running;
    for (int i = 0; i < threads; ++i) {
        running.emplace_back([&] {
            start.arrive_and_wait();
            for (int round = 0; round < rounds; ++round) {
                std::atomic<int> own = 0;
                {
                    const auto observation = center.observe("other event", [&](const Notification&) {});
                    center.post({"event", nullptr, {}});
                }
                const auto mine = std::make_shared<int>(round);
                const auto observation = center.observe(
                    "mine", [&](const Notification&) { ++own; }, mine);
                center.post({"mine", mine, {}});
                EXPECT_EQ(own, 1);
            }
        });
    }
    for (auto& thread : running) {
        thread.join();
    }
    EXPECT_EQ(calls, threads * rounds);
}

} // namespace
} // namespace tarnel::platform
