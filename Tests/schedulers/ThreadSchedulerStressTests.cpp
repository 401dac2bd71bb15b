#include <TarnelSDK/schedulers/ThreadScheduler.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <random>
#include <thread>
#include <vector>

namespace tarnel {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t callers = 4;
constexpr int rounds = 2000;

/// Starts the callers' threads together, and ends with them.
template <typename Work>
void onManyThreads(Work work) {
    std::latch start(callers);
    std::vector<std::thread> threads;
    for (std::size_t caller = 0; caller < callers; ++caller) {
        threads.emplace_back([&, caller] {
            start.arrive_and_wait();
            work(caller);
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

TEST(ThreadSchedulerStress, BarriersAndReadsNeverOverlap) {
    ThreadScheduler scheduler(3);
    const auto queue = scheduler.makeConcurrentQueue("guarded");
    std::atomic<int> readers = 0;
    std::atomic<int> writers = 0;
    std::int64_t value = 0; // unguarded: the queue is its guard
    const auto read = [&] {
        ++readers;
        EXPECT_EQ(writers, 0);
        EXPECT_GE(value, 0);
        --readers;
    };
    const auto write = [&] {
        EXPECT_EQ(++writers, 1);
        EXPECT_EQ(readers, 0);
        ++value;
        --writers;
    };
    std::atomic<int> writes = 0;
    onManyThreads([&](std::size_t caller) {
        std::mt19937 random(static_cast<unsigned>(caller));
        for (int i = 0; i < rounds; ++i) {
            switch (random() % 4) {
            case 0:
                queue->async(read);
                break;
            case 1:
                queue->sync(read);
                break;
            case 2:
                ++writes;
                queue->asyncBarrier(write);
                break;
            default:
                ++writes;
                queue->syncBarrier(write);
                break;
            }
        }
    });
    queue->syncBarrier([&] { EXPECT_EQ(value, writes); });
}

TEST(ThreadSchedulerStress, EachCallersBlocksKeepTheirOrderOnASerialQueue) {
    ThreadScheduler scheduler(3);
    const auto queue = scheduler.makeSerialQueue("serial");
    std::vector<int> last(callers, -1); // unguarded: the queue is its guard
    onManyThreads([&](std::size_t caller) {
        for (int i = 0; i < rounds; ++i) {
            const auto block = [&last, caller, i] {
                EXPECT_EQ(last[caller], i - 1);
                last[caller] = i;
            };
            i % 5 == 0 ? queue->sync(block) : queue->async(block);
        }
    });
    queue->sync([&] { EXPECT_EQ(last, std::vector<int>(callers, rounds - 1)); });
}

TEST(ThreadSchedulerStress, WaitsDownwardsThroughManyQueuesAllEnd) {
    ThreadScheduler scheduler(2);
    std::vector<std::shared_ptr<platform::Queue>> queues;
    std::vector<int> counts(8, 0); // unguarded: each is its queue's
    for (std::size_t i = 0; i < counts.size(); ++i) {
        const auto label = "queue " + std::to_string(i);
        queues.push_back(i % 2 == 0 ? scheduler.makeSerialQueue(label) : scheduler.makeConcurrentQueue(label));
    }
    // A block of one queue waits for later ones only, so there is no circle.
    const std::function<void(std::size_t)> visit = [&](std::size_t i) {
        ++counts[i];
        if (i + 1 < queues.size()) {
            queues[i + 1]->syncBarrier([&, i] { visit(i + 1); });
        }
    };
    onManyThreads([&](std::size_t caller) {
        for (int i = 0; i < rounds / 8; ++i) {
            const std::size_t first = (caller + static_cast<std::size_t>(i)) % queues.size();
            queues[first]->asyncBarrier([&, first] { visit(first); });
        }
    });
    int reached = 0;
    for (std::size_t i = 0; i < queues.size(); ++i) {
        queues[i]->syncBarrier([&] { reached = counts[i]; });
    }
    EXPECT_EQ(reached, rounds / 8 * static_cast<int>(callers));
}

TEST(ThreadSchedulerStress, TheMainQueueServesManyThreads) {
    ThreadScheduler scheduler(2);
    const auto main = scheduler.mainQueue();
    const auto thread = std::this_thread::get_id();
    int ran = 0; // unguarded: the main thread's
    std::thread client([&] {
        onManyThreads([&](std::size_t) {
            for (int i = 0; i < rounds; ++i) {
                const auto block = [&] {
                    EXPECT_EQ(std::this_thread::get_id(), thread);
                    ++ran;
                };
                i % 10 == 0 ? main->sync(block) : main->async(block);
            }
        });
        main->async([&] { scheduler.quitMain(); });
    });
    scheduler.runMain();
    client.join();
    EXPECT_EQ(ran, rounds * static_cast<int>(callers));
}

TEST(ThreadSchedulerStress, AHostThatDrainsWhenWokenMissesNothing) {
    ThreadScheduler scheduler(2);
    const auto main = scheduler.mainQueue();
    std::atomic<unsigned> wakes = 0;
    scheduler.setMainWake([&] {
        ++wakes;
        wakes.notify_one();
    });
    int ran = 0;
    std::thread client([&] {
        onManyThreads([&](std::size_t) {
            for (int i = 0; i < rounds; ++i) {
                main->async([&] { ++ran; });
            }
        });
    });
    unsigned seen = 0;
    while (ran < rounds * static_cast<int>(callers)) {
        wakes.wait(seen);
        seen = wakes;
        scheduler.drainMain();
    }
    client.join();
}

TEST(ThreadSchedulerStress, ShuttingDownAmidTrafficLeavesNothingBehind) {
    for (int i = 0; i < 50; ++i) {
        const auto captured = std::make_shared<int>(0);
        {
            ThreadScheduler scheduler(2);
            const auto serial = scheduler.makeSerialQueue("serial");
            const auto concurrent = scheduler.makeConcurrentQueue("concurrent");
            const auto main = scheduler.mainQueue();
            std::latch busy(callers + 1);
            std::thread client([&] {
                onManyThreads([&](std::size_t) {
                    busy.count_down();
                    for (int k = 0; k < 100; ++k) {
                        serial->async([captured, main, concurrent] {
                            concurrent->sync([captured] {});
                            main->async([captured] {});
                        });
                        concurrent->asyncBarrier([captured] {});
                        serial->asyncAfter(std::chrono::microseconds(k), [captured] {});
                        concurrent->sync([captured] {});
                        scheduler.makeSerialQueue("short-lived")->async([captured] {});
                    }
                });
            });
            busy.arrive_and_wait();
            scheduler.shutDown();
            client.join();
        }
        ASSERT_EQ(captured.use_count(), 1);
    }
}

} // namespace
} // namespace tarnel
