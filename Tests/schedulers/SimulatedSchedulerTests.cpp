#include <TarnelSDK/schedulers/SimulatedScheduler.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

using QueuePointer = std::shared_ptr<platform::Queue>;
using Names = std::vector<std::string>;

constexpr std::uint64_t seeds = 200;

/// A scheduler with two serial queues and a concurrent one, and a note of what ran.
struct Simulation {
    explicit Simulation(std::uint64_t seed) : scheduler(seed) {}

    platform::Block note(std::string name) {
        return [this, name = std::move(name)] { ran.push_back(name); };
    }

    SimulatedScheduler scheduler;
    QueuePointer a = scheduler.makeSerialQueue("A");
    QueuePointer b = scheduler.makeSerialQueue("B");
    QueuePointer concurrent = scheduler.makeConcurrentQueue("C");
    Names ran;
};

template <typename Body>
void forEachSeed(Body body) {
    for (std::uint64_t seed = 0; seed < seeds && !::testing::Test::HasFatalFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Simulation simulation(seed);
        body(simulation);
    }
}

TEST(SimulatedScheduler, NothingRunsUntilItIsMoved) {
    Simulation s(1);
    s.a->async(s.note("a"));
    s.scheduler.mainQueue()->async(s.note("main"));
    EXPECT_THAT(s.ran, IsEmpty());
    s.scheduler.run();
    EXPECT_THAT(s.ran, UnorderedElementsAre("a", "main"));
    EXPECT_EQ(s.scheduler.now(), 0ns);
    EXPECT_EQ(s.scheduler.seed(), 1U);
}

TEST(SimulatedScheduler, RunRunsWhatBlocksSubmitAsWell) {
    forEachSeed([](Simulation& s) {
        s.a->async([&] { s.b->async([&] { s.a->async(s.note("third")); }); });
        s.scheduler.run();
        EXPECT_THAT(s.ran, ElementsAre("third"));
    });
}

TEST(SimulatedScheduler, ASerialQueueKeepsTheOrderOfSubmission) {
    forEachSeed([](Simulation& s) {
        Names expected;
        for (int i = 0; i < 10; ++i) {
            const auto name = std::to_string(i);
            expected.push_back(name);
            i % 3 == 0 ? s.a->asyncBarrier(s.note(name)) : s.a->async(s.note(name));
            s.b->async([] {});
        }
        s.scheduler.run();
        EXPECT_EQ(s.ran, expected);
    });
}

TEST(SimulatedScheduler, TheSameSeedGivesTheSameRunAndSeedsGiveEveryLegalOrder) {
    std::map<std::string, int> orders;
    const auto orderOf = [](std::uint64_t seed) {
        Simulation s(seed);
        s.a->async(s.note("a1 "));
        s.a->async(s.note("a2 "));
        s.b->async(s.note("b1 "));
        s.b->async(s.note("b2 "));
        s.scheduler.run();
        std::string order;
        for (const auto& name : s.ran) {
            order += name;
        }
        return order;
    };
    for (std::uint64_t seed = 0; seed < seeds; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const auto order = orderOf(seed);
        EXPECT_EQ(order, orderOf(seed));
        ++orders[order];
    }
    EXPECT_EQ(orders.size(), 6U) << "two queues of two blocks interleave in six ways";
}

TEST(SimulatedScheduler, EachQueueIsChosenAboutAsOftenAsAnother) {
    std::map<std::string, int> first;
    for (std::uint64_t seed = 0; seed < 3000; ++seed) {
        Simulation s(seed);
        // The number of a queue's blocks gives it no weight.
        for (int i = 0; i < 10; ++i) {
            s.a->async(s.note("a"));
        }
        s.b->async(s.note("b"));
        s.concurrent->async(s.note("c"));
        s.scheduler.run();
        ++first[s.ran.front()];
    }
    for (const auto& [name, count] : first) {
        EXPECT_NEAR(count, 1000, 130) << name;
    }
}

TEST(SimulatedScheduler, BlocksOfAConcurrentQueueStartInAnyOrder) {
    std::set<Names> orders;
    for (std::uint64_t seed = 0; seed < seeds; ++seed) {
        Simulation s(seed);
        for (const auto* name : {"1", "2", "3"}) {
            s.concurrent->async(s.note(name));
        }
        s.scheduler.run();
        orders.insert(s.ran);
    }
    EXPECT_EQ(orders.size(), 6U);
}

TEST(SimulatedScheduler, ABarrierWaitsForThoseBeforeItAndHoldsUpThoseBehind) {
    forEachSeed([](Simulation& s) {
        s.concurrent->async(s.note("before 1"));
        s.concurrent->async(s.note("before 2"));
        s.concurrent->asyncBarrier(s.note("barrier 1"));
        s.concurrent->asyncBarrier(s.note("barrier 2"));
        s.concurrent->async(s.note("behind 1"));
        s.concurrent->async(s.note("behind 2"));
        s.scheduler.run();
        ASSERT_EQ(s.ran.size(), 6U);
        EXPECT_THAT(Names(s.ran.begin(), s.ran.begin() + 2), UnorderedElementsAre("before 1", "before 2"));
        EXPECT_THAT(Names(s.ran.begin() + 2, s.ran.begin() + 4), ElementsAre("barrier 1", "barrier 2"));
        EXPECT_THAT(Names(s.ran.begin() + 4, s.ran.end()), UnorderedElementsAre("behind 1", "behind 2"));
    });
}

TEST(SimulatedScheduler, SyncFromOutsideRunsTheEarlierBlocksOfItsQueueAndNoOther) {
    forEachSeed([](Simulation& s) {
        s.a->async(s.note("a1"));
        s.b->async(s.note("b"));
        s.a->async([&] {
            s.ran.push_back("a2");
            s.a->async(s.note("a3"));
        });
        s.a->sync([&] {
            EXPECT_TRUE(s.a->isCurrent());
            s.ran.push_back("sync");
        });
        EXPECT_THAT(s.ran, ElementsAre("a1", "a2", "sync"));
        EXPECT_FALSE(s.a->isCurrent());
        s.scheduler.run();
        EXPECT_THAT(s.ran, UnorderedElementsAre("a1", "a2", "sync", "a3", "b"));
    });
}

TEST(SimulatedScheduler, SyncFromABlockOfAnotherQueueRunsInline) {
    forEachSeed([](Simulation& s) {
        s.a->async([&] {
            s.b->async(s.note("b1"));
            s.b->sync([&] {
                EXPECT_TRUE(s.b->isCurrent());
                EXPECT_FALSE(s.a->isCurrent());
                s.ran.push_back("sync");
            });
            EXPECT_TRUE(s.a->isCurrent());
            s.ran.push_back("a");
        });
        s.scheduler.run();
        EXPECT_THAT(s.ran, ElementsAre("b1", "sync", "a"));
    });
}

TEST(SimulatedScheduler, SyncFromABlockOfTheSameQueueRunsAtOnce) {
    forEachSeed([](Simulation& s) {
        for (const auto& queue : {s.a, s.concurrent, s.scheduler.mainQueue()}) {
            s.ran.clear();
            queue->asyncBarrier([&] {
                queue->sync(s.note("inner"));
                queue->syncBarrier(s.note("inner barrier"));
                s.ran.push_back("outer");
            });
            queue->async(s.note("next"));
            s.scheduler.run();
            EXPECT_THAT(s.ran, ElementsAre("inner", "inner barrier", "outer", "next"));
        }
    });
}

TEST(SimulatedScheduler, ASynchronousReadWaitsForBarriersButNotForOtherReads) {
    bool readWaited = false;
    bool readWentAhead = false;
    forEachSeed([&](Simulation& s) {
        s.concurrent->async(s.note("read 1"));
        s.concurrent->asyncBarrier(s.note("write"));
        s.concurrent->async(s.note("read 2"));
        s.concurrent->sync(s.note("sync"));
        const auto at = [&](const char* name) { return std::find(s.ran.begin(), s.ran.end(), name) - s.ran.begin(); };
        ASSERT_LT(at("read 1"), at("write"));
        ASSERT_LT(at("write"), at("sync"));
        (at("read 2") < at("sync") ? readWaited : readWentAhead) = true;
    });
    EXPECT_TRUE(readWaited);
    EXPECT_TRUE(readWentAhead);
}

TEST(SimulatedScheduler, ASynchronousBarrierRunsBehindEverythingSubmittedBefore) {
    forEachSeed([](Simulation& s) {
        s.concurrent->async(s.note("1"));
        s.concurrent->async(s.note("2"));
        s.concurrent->syncBarrier(s.note("barrier"));
        ASSERT_EQ(s.ran.size(), 3U);
        EXPECT_EQ(s.ran.back(), "barrier");
    });
}

TEST(SimulatedScheduler, DelayedBlocksRunInTheOrderOfTheirTimes) {
    forEachSeed([](Simulation& s) {
        std::vector<platform::Duration> times;
        const auto noteTime = [&] { times.push_back(s.scheduler.now()); };
        s.a->asyncAfter(3s, noteTime);
        s.b->asyncAfter(1s, noteTime);
        s.a->asyncAfter(2s, noteTime);
        s.scheduler.run();
        EXPECT_THAT(times, IsEmpty());
        s.scheduler.advance(10s);
        EXPECT_THAT(times, ElementsAre(1s, 2s, 3s));
        EXPECT_EQ(s.scheduler.now(), 10s);
    });
}

TEST(SimulatedScheduler, BlocksDelayedToTheSameTimeKeepTheOrderOfTheirQueue) {
    forEachSeed([](Simulation& s) {
        s.a->asyncAfter(2s, s.note("1"));
        s.scheduler.advance(1s);
        s.a->asyncAfter(1s, s.note("2"));
        s.a->asyncAfter(1s, s.note("3"));
        s.b->asyncAfter(1s, [] {});
        s.scheduler.advance(1s);
        EXPECT_THAT(s.ran, ElementsAre("1", "2", "3"));
    });
}

TEST(SimulatedScheduler, BlocksOfTwoQueuesDelayedToTheSameTimeRunInEitherOrder) {
    std::set<Names> orders;
    for (std::uint64_t seed = 0; seed < seeds; ++seed) {
        Simulation s(seed);
        s.a->asyncAfter(1s, s.note("a"));
        s.b->asyncAfter(1s, s.note("b"));
        s.scheduler.advance(1s);
        orders.insert(s.ran);
    }
    EXPECT_EQ(orders.size(), 2U);
}

TEST(SimulatedScheduler, AdvanceStopsRightAtItsEnd) {
    Simulation s(1);
    s.a->asyncAfter(1s, s.note("at the end"));
    s.a->asyncAfter(1s + 1ns, s.note("behind the end"));
    s.scheduler.advance(1s - 1ns);
    EXPECT_THAT(s.ran, IsEmpty());
    s.scheduler.advance(1ns);
    EXPECT_THAT(s.ran, ElementsAre("at the end"));
    s.scheduler.advance(1ns);
    EXPECT_THAT(s.ran, ElementsAre("at the end", "behind the end"));
}

TEST(SimulatedScheduler, ATimerThatSetsItselfAgainKeepsItsPeriod) {
    Simulation s(1);
    int ticks = 0;
    std::function<void()> tick = [&] {
        ++ticks;
        s.a->asyncAfter(1s, tick);
    };
    s.a->asyncAfter(1s, tick);
    s.scheduler.advance(1h);
    EXPECT_EQ(ticks, 3600);
}

TEST(SimulatedScheduler, ADelayThatIsNotPositiveIsNone) {
    Simulation s(1);
    s.a->asyncAfter(0s, s.note("zero"));
    s.a->asyncAfter(-5s, s.note("negative"));
    s.scheduler.run();
    EXPECT_THAT(s.ran, ElementsAre("zero", "negative"));
}

TEST(SimulatedScheduler, ADelayBeyondTheEndOfTimeRunsAtItsEnd) {
    Simulation s(1);
    s.scheduler.advance(1s);
    s.a->asyncAfter(platform::Duration::max(), s.note("late"));
    s.scheduler.advance(24h);
    EXPECT_THAT(s.ran, IsEmpty());
    s.scheduler.advance(platform::Duration::max());
    EXPECT_THAT(s.ran, ElementsAre("late"));
}

TEST(SimulatedScheduler, RunUntilStopsAsSoonAsTheConditionHolds) {
    Simulation s(1);
    s.a->asyncAfter(1s, s.note("1"));
    s.a->asyncAfter(2s, s.note("2"));
    s.a->asyncAfter(2s, s.note("3"));
    EXPECT_TRUE(s.scheduler.runUntil([&] { return s.ran.size() == 2; }, 10s));
    EXPECT_THAT(s.ran, ElementsAre("1", "2"));
    EXPECT_EQ(s.scheduler.now(), 2s);
    EXPECT_TRUE(s.scheduler.runUntil([] { return true; }, 10s));
    EXPECT_EQ(s.scheduler.now(), 2s);
    EXPECT_EQ(s.ran.size(), 2U);
}

TEST(SimulatedScheduler, RunUntilEndsAtItsLimitWhenNothingIsLeft) {
    Simulation s(1);
    s.a->asyncAfter(11s, s.note("behind the limit"));
    EXPECT_FALSE(s.scheduler.runUntil([] { return false; }, 10s));
    EXPECT_THAT(s.ran, IsEmpty());
    EXPECT_EQ(s.scheduler.now(), 10s);
    EXPECT_TRUE(s.scheduler.runUntil([&] { return s.scheduler.now() == 11s; }, 1s));
}

TEST(SimulatedScheduler, AnObjectHeldByABlockIsDestroyedWithinItsTurn) {
    Simulation s(1);
    bool destroyed = false;
    const std::weak_ptr<void> weak = [&] {
        const std::shared_ptr<void> object(nullptr, [&](void*) {
            destroyed = true;
            EXPECT_TRUE(s.a->isCurrent());
            s.a->async(s.note("from the destructor"));
        });
        s.a->async([object] {});
        return object;
    }();
    s.a->async([&] { EXPECT_TRUE(weak.expired()); });
    EXPECT_FALSE(destroyed);
    s.scheduler.run();
    EXPECT_TRUE(destroyed);
    EXPECT_THAT(s.ran, ElementsAre("from the destructor"));
}

TEST(SimulatedScheduler, ABlockThatHoldsItsOwnerWeaklyFindsItGone) {
    Simulation s(1);
    auto owner = std::make_shared<int>(1);
    bool found = true;
    s.a->asyncAfter(2s, [&found, weak = std::weak_ptr(owner)] { found = weak.lock() != nullptr; });
    owner.reset();
    s.scheduler.advance(2s);
    EXPECT_FALSE(found);
}

TEST(SimulatedScheduler, ABlockWhoseQueueIsHeldByNobodyStillRuns) {
    Simulation s(1);
    s.scheduler.makeSerialQueue("forgotten")->async(s.note("now"));
    s.scheduler.makeConcurrentQueue("forgotten")->asyncAfter(1s, s.note("later"));
    s.scheduler.advance(1s);
    EXPECT_THAT(s.ran, ElementsAre("now", "later"));
}

TEST(SimulatedSchedulerShutDown, DropsWhatHasNotStarted) {
    Simulation s(1);
    const auto captured = std::make_shared<int>(0);
    s.a->async([captured, &s] { s.ran.push_back("dropped"); });
    s.concurrent->asyncAfter(1s, [captured, &s] { s.ran.push_back("dropped"); });
    s.scheduler.shutDown();
    EXPECT_EQ(captured.use_count(), 1);
    s.scheduler.advance(1h);
    EXPECT_THAT(s.ran, IsEmpty());
}

TEST(SimulatedSchedulerShutDown, AsyncDropsAndSyncRunsOnTheCaller) {
    auto s = std::make_unique<Simulation>(1);
    const Names empty;
    const std::vector<QueuePointer> queues{s->a, s->concurrent, s->scheduler.mainQueue()};
    s->scheduler.shutDown();
    for (const bool destroyed : {false, true}) {
        SCOPED_TRACE(destroyed ? "destroyed" : "shut down");
        for (const auto& queue : queues) {
            const auto captured = std::make_shared<int>(0);
            queue->async([captured] { ADD_FAILURE() << "started after shutDown"; });
            queue->asyncBarrier([captured] { ADD_FAILURE() << "started after shutDown"; });
            queue->asyncAfter(1s, [captured] { ADD_FAILURE() << "started after shutDown"; });
            EXPECT_EQ(captured.use_count(), 1);
            int ran = 0;
            queue->syncBarrier([&] {
                EXPECT_TRUE(queue->isCurrent());
                queue->sync([&] { ++ran; });
            });
            EXPECT_EQ(ran, 1);
        }
        s.reset();
    }
}

TEST(SimulatedSchedulerShutDown, DroppedObjectsMayUseTheQueuesWhileTheyAreDestroyed) {
    Simulation s(1);
    int destroyed = 0;
    const auto use = [&](void*) {
        s.a->async([] { ADD_FAILURE() << "started after shutDown"; });
        s.b->asyncAfter(1s, [] { ADD_FAILURE() << "started after shutDown"; });
        s.a->sync([&] { ++destroyed; });
    };
    s.a->async([held = std::shared_ptr<void>(nullptr, use)] {});
    s.b->async([held = std::shared_ptr<void>(nullptr, use)] {});
    s.b->asyncAfter(1s, [held = std::shared_ptr<void>(nullptr, use)] {});
    s.scheduler.shutDown();
    EXPECT_EQ(destroyed, 3);
}

class SimulatedSchedulerDeathTest : public ::testing::Test {
protected:
    Simulation s{1};
};

TEST_F(SimulatedSchedulerDeathTest, AQueueThatWaitsForItselfThroughOthersStopsTheProgramAndNamesThem) {
    const auto waitInACircle = [&] {
        s.a->async([&] { s.b->sync([&] { s.concurrent->sync([&] { s.a->sync([] {}); }); }); });
        s.scheduler.run();
    };
    EXPECT_DEATH(waitInACircle(), "circle: A -> B -> C -> A");
}

TEST_F(SimulatedSchedulerDeathTest, AnEarlierBlockThatClosesTheCircleStopsTheProgram) {
    const auto waitInACircle = [&] {
        s.a->async([&] {
            s.b->async([&] { s.a->sync([] {}); });
            s.b->sync([] {});
        });
        s.scheduler.run();
    };
    EXPECT_DEATH(waitInACircle(), "circle: A -> B -> A");
}

TEST_F(SimulatedSchedulerDeathTest, ABlockThatIsNoBarrierMayNotWaitForABarrierOfItsOwnQueue) {
    EXPECT_DEATH(s.concurrent->sync([&] { s.concurrent->syncBarrier([] {}); }), "barrier of its own queue");
}

TEST_F(SimulatedSchedulerDeathTest, BlocksThatSubmitEachOtherForEverStopTheProgram) {
    SimulatedScheduler scheduler(1, 1000);
    const auto queue = scheduler.makeSerialQueue("restless");
    std::function<void()> again = [&] { queue->async(again); };
    queue->async(again);
    EXPECT_DEATH(scheduler.run(), "without time passing \\(restless\\)");
    EXPECT_DEATH(scheduler.advance(1s), "without time passing");
}

TEST(SimulatedScheduler, ManyBlocksWithTimeBetweenThemAreNoLivelock) {
    SimulatedScheduler scheduler(1, 1000);
    const auto queue = scheduler.makeSerialQueue("periodic");
    int ran = 0;
    std::function<void()> again = [&] {
        ++ran;
        queue->asyncAfter(1ms, again);
    };
    queue->async(again);
    scheduler.advance(5s);
    EXPECT_EQ(ran, 5001);
}

TEST_F(SimulatedSchedulerDeathTest, MovingTimeInsideABlockStopsTheProgram) {
    EXPECT_DEATH(s.a->sync([&] { s.scheduler.run(); }), "outside its blocks");
    EXPECT_DEATH(s.a->sync([&] { s.scheduler.advance(1s); }), "outside its blocks");
    EXPECT_DEATH(s.a->sync([&] { s.scheduler.shutDown(); }), "outside its blocks");
}

TEST_F(SimulatedSchedulerDeathTest, TimeDoesNotMoveBackwards) {
    EXPECT_DEATH(s.scheduler.advance(-1ns), "backwards");
}

TEST_F(SimulatedSchedulerDeathTest, AnEmptyBlockStopsTheProgram) {
    EXPECT_DEATH(s.a->async(nullptr), "not empty");
    EXPECT_DEATH(s.a->asyncAfter(1s, nullptr), "not empty");
    EXPECT_DEATH(s.a->sync(nullptr), "not empty");
}

} // namespace
} // namespace tarnel
