#include <TarnelSDK/schedulers/ThreadScheduler.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <latch>
#include <mutex>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

TEST(ThreadScheduler, ASerialQueueRunsItsBlocksOneAtATimeInTheOrderOfTheirSubmission) {
    std::vector<int> ran;
    std::vector<int> expected(1000);
    ThreadScheduler scheduler(4);
    const auto queue = scheduler.makeSerialQueue("serial");
    std::iota(expected.begin(), expected.end(), 0);
    for (const int i : expected) {
        queue->async([&ran, i] { ran.push_back(i); });
    }
    queue->sync([] {});
    EXPECT_EQ(ran, expected);
}

TEST(ThreadScheduler, AConcurrentQueueRunsBlocksAtTheSameTime) {
    std::latch together(3);
    std::latch done(3);
    ThreadScheduler scheduler(3);
    const auto queue = scheduler.makeConcurrentQueue("concurrent");
    for (int i = 0; i < 3; ++i) {
        queue->async([&] {
            together.arrive_and_wait();
            done.count_down();
        });
    }
    done.wait();
}

TEST(ThreadScheduler, ABarrierWaitsForTheBlocksBeforeItAndHoldsUpThoseBehind) {
    std::latch mayEnd(1);
    std::atomic<int> before = 0;
    std::atomic<bool> barrierRan = false;
    std::atomic<int> behind = 0;
    std::latch done(2);
    ThreadScheduler scheduler(3);
    const auto queue = scheduler.makeConcurrentQueue("concurrent");
    for (int i = 0; i < 2; ++i) {
        queue->async([&] {
            mayEnd.wait();
            ++before;
        });
    }
    queue->asyncBarrier([&] {
        EXPECT_EQ(before, 2);
        EXPECT_EQ(behind, 0);
        barrierRan = true;
    });
    for (int i = 0; i < 2; ++i) {
        queue->async([&] {
            EXPECT_TRUE(barrierRan);
            ++behind;
            done.count_down();
        });
    }
    EXPECT_FALSE(barrierRan);
    mayEnd.count_down();
    done.wait();
    EXPECT_EQ(behind, 2);
}

TEST(ThreadScheduler, SyncRunsItsBlockOnTheCallersThreadBehindThoseSubmittedBefore) {
    std::vector<std::string> ran;
    ThreadScheduler scheduler(2);
    const auto queue = scheduler.makeSerialQueue("serial");
    queue->async([&] { ran.push_back("first"); });
    queue->async([&] { ran.push_back("second"); });
    std::thread::id thread;
    queue->sync([&] {
        ran.push_back("sync");
        thread = std::this_thread::get_id();
        EXPECT_TRUE(queue->isCurrent());
    });
    EXPECT_THAT(ran, ElementsAre("first", "second", "sync"));
    EXPECT_EQ(thread, std::this_thread::get_id());
    EXPECT_FALSE(queue->isCurrent());
}

TEST(ThreadScheduler, ASynchronousReadSeesTheBarrierSubmittedBefore) {
    int value = 0;
    ThreadScheduler scheduler(1);
    const auto queue = scheduler.makeConcurrentQueue("concurrent");
    for (int i = 1; i <= 100; ++i) {
        queue->asyncBarrier([&value, i] { value = i; });
        int seen = 0;
        queue->sync([&] { seen = value; });
        ASSERT_EQ(seen, i);
    }
}

TEST(ThreadScheduler, ASynchronousReadDoesNotWaitForReadsUnderWay) {
    std::latch mayEnd(1);
    std::latch ended(1);
    ThreadScheduler scheduler(1);
    const auto queue = scheduler.makeConcurrentQueue("concurrent");
    queue->async([&] {
        mayEnd.wait();
        ended.count_down();
    });
    queue->async([&] { mayEnd.wait(); });
    queue->sync([&] { mayEnd.count_down(); });
    ended.wait();
}

TEST(ThreadScheduler, SyncBarrierWaitsForReadsUnderWay) {
    std::latch started(2);
    std::atomic<int> running = 0;
    ThreadScheduler scheduler(2);
    const auto queue = scheduler.makeConcurrentQueue("concurrent");
    for (int i = 0; i < 2; ++i) {
        queue->async([&] {
            ++running;
            started.arrive_and_wait();
            --running;
        });
    }
    queue->syncBarrier([&] { EXPECT_EQ(running, 0); });
}

TEST(ThreadScheduler, SyncFromABlockOfTheSameQueueRunsAtOnce) {
    std::vector<std::string> ran;
    ThreadScheduler scheduler(1);
    const auto queue = scheduler.makeSerialQueue("serial");
    queue->sync([&] {
        queue->async([&] { ran.push_back("behind"); });
        queue->sync([&] { ran.push_back("inner"); });
        queue->syncBarrier([&] { ran.push_back("inner barrier"); });
        ran.push_back("outer");
    });
    queue->sync([] {});
    EXPECT_THAT(ran, ElementsAre("inner", "inner barrier", "outer", "behind"));
}

TEST(ThreadScheduler, APoolOfOneThreadThatWaitsRunsThePendingBlocksItself) {
    ThreadScheduler scheduler(1);
    const auto a = scheduler.makeSerialQueue("A");
    const auto b = scheduler.makeSerialQueue("B");
    std::promise<std::vector<int>> result;
    a->async([&] {
        std::vector<int> ran;
        for (int i = 0; i < 3; ++i) {
            b->async([&ran, i] { ran.push_back(i); });
        }
        b->sync([&] { ran.push_back(3); });
        result.set_value(ran);
    });
    EXPECT_THAT(result.get_future().get(), ElementsAre(0, 1, 2, 3));
}

TEST(ThreadScheduler, ManyQueuesThatWaitForEachOtherInAChainDoNotStarveAPoolOfTwo) {
    constexpr int depth = 40;
    std::atomic<int> reads = 0;
    ThreadScheduler scheduler(2);
    std::vector<std::shared_ptr<platform::Queue>> queues;
    for (int i = 0; i < depth; ++i) {
        queues.push_back(scheduler.makeSerialQueue("queue " + std::to_string(i)));
    }
    std::latch done(depth - 1);
    for (std::size_t i = 0; i + 1 < queues.size(); ++i) {
        queues[i]->async([&, i] {
            queues[i + 1]->sync([&] { ++reads; });
            done.count_down();
        });
    }
    done.wait();
    EXPECT_EQ(reads, depth - 1);
}

TEST(ThreadScheduler, AQueueThatWaitsForItselfThroughAnotherStopsTheProgram) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            ThreadScheduler scheduler(1);
            const auto a = scheduler.makeSerialQueue("A");
            const auto b = scheduler.makeSerialQueue("B");
            a->sync([&] { b->sync([&] { a->sync([] {}); }); });
        },
        "circle: A -> B -> A");
}

TEST(ThreadScheduler, ABlockThatIsNoBarrierMayNotWaitForABarrierOfItsOwnQueue) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            ThreadScheduler scheduler(1);
            const auto queue = scheduler.makeConcurrentQueue("concurrent");
            queue->sync([&] { queue->syncBarrier([] {}); });
        },
        "barrier of its own queue");
}

TEST(ThreadScheduler, AnEmptyBlockStopsTheProgram) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ThreadScheduler scheduler(1);
    EXPECT_DEATH(scheduler.mainQueue()->async(nullptr), "not empty");
    EXPECT_DEATH(scheduler.mainQueue()->asyncAfter(1s, nullptr), "not empty");
    EXPECT_DEATH(scheduler.mainQueue()->sync(nullptr), "not empty");
}

TEST(ThreadScheduler, APoolWithoutThreadsStopsTheProgram) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(ThreadScheduler(0), "threads");
}

TEST(ThreadScheduler, ADelayedBlockRunsOnItsQueue) {
    std::promise<bool> isCurrent;
    ThreadScheduler scheduler(1);
    const auto queue = scheduler.makeSerialQueue("serial");
    queue->asyncAfter(1ms, [&] { isCurrent.set_value(queue->isCurrent()); });
    EXPECT_TRUE(isCurrent.get_future().get());
}

TEST(ThreadScheduler, DelayedBlocksRunInTheOrderOfTheirTimes) {
    std::vector<int> ran;
    std::latch done(4);
    ThreadScheduler scheduler(2);
    const auto queue = scheduler.makeSerialQueue("serial");
    const auto note = [&](int number) {
        return [&, number] {
            ran.push_back(number);
            done.count_down();
        };
    };
    queue->asyncAfter(30ms, note(4));
    queue->asyncAfter(20ms, note(3));
    queue->asyncAfter(-1s, note(1));
    queue->asyncAfter(0s, note(2));
    done.wait();
    EXPECT_THAT(ran, ElementsAre(1, 2, 3, 4));
}

TEST(ThreadScheduler, ADelayBeyondTheEndOfTimeIsHeldUntilShutDown) {
    std::promise<void> soon;
    ThreadScheduler scheduler(1);
    const auto queue = scheduler.makeSerialQueue("serial");
    const auto captured = std::make_shared<int>(0);
    queue->asyncAfter(platform::Duration::max(), [captured] { ADD_FAILURE() << "the end of time came"; });
    queue->asyncAfter(1ms, [&] { soon.set_value(); });
    soon.get_future().wait();
    EXPECT_EQ(captured.use_count(), 2);
    scheduler.shutDown();
    EXPECT_EQ(captured.use_count(), 1);
}

TEST(ThreadScheduler, BlocksAreDestroyedWithinTheirTurn) {
    std::promise<bool> isCurrent;
    std::latch submitted(1);
    ThreadScheduler scheduler(2);
    const auto queue = scheduler.makeSerialQueue("serial");
    std::shared_ptr<void> captured(nullptr, [&](void*) {
        queue->async([] {});
        isCurrent.set_value(queue->isCurrent());
    });
    queue->async([&submitted, held = std::move(captured)] { submitted.wait(); });
    submitted.count_down();
    EXPECT_TRUE(isCurrent.get_future().get());
}

TEST(ThreadScheduler, ABlockWhoseQueueIsHeldByNobodyStillRuns) {
    std::promise<void> ran;
    std::promise<void> ranLater;
    ThreadScheduler scheduler(1);
    scheduler.makeSerialQueue("forgotten")->async([&] { ran.set_value(); });
    ran.get_future().wait();
    scheduler.makeSerialQueue("forgotten")->asyncAfter(1ms, [&] { ranLater.set_value(); });
    ranLater.get_future().wait();
}

TEST(ThreadSchedulerMain, RunMainRunsTheMainQueueOnItsThreadUntilQuit) {
    int ran = 0;
    ThreadScheduler scheduler(2);
    const auto main = scheduler.mainQueue();
    const auto thread = std::this_thread::get_id();
    const auto queue = scheduler.makeSerialQueue("serial");
    for (int i = 0; i < 100; ++i) {
        queue->async([&] {
            main->async([&] {
                EXPECT_EQ(std::this_thread::get_id(), thread);
                EXPECT_TRUE(main->isCurrent());
                if (++ran == 100) {
                    scheduler.quitMain();
                }
            });
        });
    }
    scheduler.runMain();
    EXPECT_EQ(ran, 100);
}

TEST(ThreadSchedulerMain, QuitMainLeavesTheRestForTheNextRun) {
    std::vector<int> ran;
    ThreadScheduler scheduler(1);
    scheduler.mainQueue()->async([&] {
        ran.push_back(1);
        scheduler.quitMain();
    });
    scheduler.mainQueue()->async([&] {
        ran.push_back(2);
        scheduler.quitMain();
    });
    scheduler.runMain();
    EXPECT_THAT(ran, ElementsAre(1));
    scheduler.runMain();
    EXPECT_THAT(ran, ElementsAre(1, 2));
}

TEST(ThreadSchedulerMain, AQuitBeforeTheRunEndsIt) {
    ThreadScheduler scheduler(1);
    scheduler.mainQueue()->async([] { ADD_FAILURE() << "ran after the quit"; });
    scheduler.quitMain();
    scheduler.runMain();
}

TEST(ThreadSchedulerMain, DrainMainRunsWhatIsThereAndNoMore) {
    std::vector<int> ran;
    ThreadScheduler scheduler(1);
    const auto main = scheduler.mainQueue();
    main->async([&] {
        ran.push_back(1);
        main->async([&] { ran.push_back(3); });
        scheduler.drainMain();
    });
    main->async([&] { ran.push_back(2); });
    scheduler.drainMain();
    EXPECT_THAT(ran, ElementsAre(1, 2));
    scheduler.drainMain();
    EXPECT_THAT(ran, ElementsAre(1, 2, 3));
    scheduler.drainMain();
    EXPECT_THAT(ran, ElementsAre(1, 2, 3));
}

TEST(ThreadSchedulerMain, TheHostIsWokenOnceUntilItDrains) {
    int wakes = 0;
    ThreadScheduler scheduler(1);
    const auto main = scheduler.mainQueue();
    scheduler.setMainWake([&] { ++wakes; });
    EXPECT_EQ(wakes, 0);
    main->async([] {});
    main->async([] {});
    EXPECT_EQ(wakes, 1);
    scheduler.drainMain();
    EXPECT_EQ(wakes, 1);
    main->async([&] { main->async([] {}); });
    EXPECT_EQ(wakes, 2);
    scheduler.drainMain();
    EXPECT_EQ(wakes, 3) << "a block that came during the drain is announced";
    scheduler.drainMain();
    EXPECT_EQ(wakes, 3);
}

TEST(ThreadSchedulerMain, AHostThatComesLateIsWokenAtOnce) {
    int wakes = 0;
    ThreadScheduler scheduler(1);
    scheduler.mainQueue()->async([] {});
    scheduler.setMainWake([&] { ++wakes; });
    EXPECT_EQ(wakes, 1);
    scheduler.setMainWake(nullptr);
    scheduler.mainQueue()->async([] {});
    EXPECT_EQ(wakes, 1);
}

TEST(ThreadSchedulerMain, TheWakeMayUseTheScheduler) {
    int ran = 0;
    ThreadScheduler scheduler(1);
    const auto main = scheduler.mainQueue();
    scheduler.setMainWake([&] {
        scheduler.setMainWake(nullptr);
        main->async([&] { ++ran; });
        scheduler.drainMain();
    });
    main->async([&] { ++ran; });
    EXPECT_EQ(ran, 2);
}

TEST(ThreadSchedulerMain, SyncToTheMainQueueFromAnotherThreadRunsOnTheMainThread) {
    std::vector<std::string> ran;
    std::atomic<bool> returned = false;
    ThreadScheduler scheduler(1);
    const auto main = scheduler.mainQueue();
    const auto thread = std::this_thread::get_id();
    main->async([&] { ran.push_back("before"); });
    scheduler.makeSerialQueue("serial")->async([&] {
        main->sync([&] {
            EXPECT_EQ(std::this_thread::get_id(), thread);
            EXPECT_FALSE(returned);
            ran.push_back("sync");
        });
        returned = true;
        main->async([&] { scheduler.quitMain(); });
    });
    scheduler.runMain();
    EXPECT_TRUE(returned);
    EXPECT_THAT(ran, ElementsAre("before", "sync"));
}

TEST(ThreadSchedulerMain, SyncToTheMainQueueFromTheMainThreadRunsTheEarlierBlocksFirst) {
    std::vector<int> ran;
    ThreadScheduler scheduler(1);
    scheduler.mainQueue()->async([&] { ran.push_back(1); });
    scheduler.mainQueue()->sync([&] { ran.push_back(2); });
    EXPECT_THAT(ran, ElementsAre(1, 2));
}

TEST(ThreadSchedulerMain, ADelayedMainBlockWakesTheHost) {
    ThreadScheduler scheduler(1);
    scheduler.mainQueue()->asyncAfter(1ms, [&] { scheduler.quitMain(); });
    scheduler.runMain();
}

TEST(ThreadSchedulerMain, ADelayedMainBlockRunsWhileThePoolIsBusy) {
    std::latch mayEnd(1);
    ThreadScheduler scheduler(1);
    scheduler.makeSerialQueue("busy")->async([&] { mayEnd.wait(); });
    scheduler.mainQueue()->asyncAfter(1ms, [&] { scheduler.quitMain(); });
    scheduler.runMain();
    mayEnd.count_down();
}

TEST(ThreadSchedulerMain, DrainingOnAnotherThreadStopsTheProgram) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            ThreadScheduler scheduler(1);
            std::thread([&] { scheduler.drainMain(); }).join();
        },
        "main thread");
}

TEST(ThreadSchedulerShutDown, WhatHasNotStartedIsDroppedAndWhatHasIsWaitedFor) {
    std::latch started(1);
    std::latch dropped(1);
    bool ended = false;
    ThreadScheduler scheduler(1);
    const auto queue = scheduler.makeSerialQueue("serial");
    const auto captured = std::make_shared<int>(0);
    queue->async([&] {
        started.count_down();
        dropped.wait();
        ended = true;
    });
    std::shared_ptr<void> releases(nullptr, [&](void*) { dropped.count_down(); });
    queue->async([captured, held = std::move(releases)] { ADD_FAILURE() << "started after shutDown"; });
    scheduler.mainQueue()->async([captured] { ADD_FAILURE() << "started after shutDown"; });
    queue->asyncAfter(1h, [captured] { ADD_FAILURE() << "started after shutDown"; });
    started.wait();
    scheduler.shutDown();
    EXPECT_TRUE(ended);
    EXPECT_EQ(captured.use_count(), 1);
}

TEST(ThreadSchedulerShutDown, AsyncDropsAndSyncRunsOnTheCaller) {
    auto scheduler = std::make_unique<ThreadScheduler>(1);
    const auto main = scheduler->mainQueue();
    const auto concurrent = scheduler->makeConcurrentQueue("concurrent");
    scheduler->shutDown();
    const auto late = scheduler->makeSerialQueue("late");
    for (const bool destroyed : {false, true}) {
        SCOPED_TRACE(destroyed ? "destroyed" : "shut down");
        for (const auto& queue : {main, concurrent, late}) {
            queue->async([] { ADD_FAILURE() << "started after shutDown"; });
            queue->asyncBarrier([] { ADD_FAILURE() << "started after shutDown"; });
            queue->asyncAfter(0s, [] { ADD_FAILURE() << "started after shutDown"; });
            int ran = 0;
            queue->sync([&] {
                EXPECT_TRUE(queue->isCurrent());
                queue->sync([&] { ++ran; });
            });
            std::thread([&] { queue->syncBarrier([&] { ++ran; }); }).join();
            EXPECT_EQ(ran, 2);
        }
        scheduler.reset();
    }
}

TEST(ThreadSchedulerShutDown, ABlockThatWaitsForTheMainQueueIsLetGo) {
    bool ran = false;
    std::promise<void> waits;
    ThreadScheduler scheduler(1);
    const auto main = scheduler.mainQueue();
    scheduler.setMainWake([&] { waits.set_value(); });
    scheduler.makeSerialQueue("serial")->async([&] { main->sync([&] { ran = true; }); });
    waits.get_future().wait();
    scheduler.shutDown();
    EXPECT_TRUE(ran);
}

TEST(ThreadSchedulerShutDown, RunMainReturnsAtOnce) {
    ThreadScheduler scheduler(1);
    scheduler.shutDown();
    scheduler.runMain();
}

TEST(ThreadSchedulerShutDown, DroppedObjectsMayUseTheQueuesWhileTheyAreDestroyed) {
    std::atomic<int> destroyed = 0;
    ThreadScheduler scheduler(1);
    const auto main = scheduler.mainQueue();
    const auto queue = scheduler.makeSerialQueue("serial");
    const auto use = [&](void*) {
        main->async([] {});
        queue->asyncAfter(1s, [] {});
        queue->sync([&] { ++destroyed; });
    };
    main->async([held = std::shared_ptr<void>(nullptr, use)] {});
    queue->asyncAfter(1h, [held = std::shared_ptr<void>(nullptr, use)] {});
    scheduler.shutDown();
    EXPECT_EQ(destroyed, 2);
}

TEST(ThreadSchedulerShutDown, InsideABlockItStopsTheProgram) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            ThreadScheduler scheduler(1);
            scheduler.mainQueue()->sync([&] { scheduler.shutDown(); });
        },
        "outside its queues");
}

} // namespace
} // namespace tarnel
