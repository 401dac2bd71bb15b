#pragma once

#include <TarnelSDK/platform/Queue.hpp>

#include <cstdint>
#include <functional>
#include <memory>

namespace tarnel {

/// A scheduler of one thread and virtual time. Nothing runs by itself: the owner moves it. A seed chooses among the
/// queues whose next block may run, and among the blocks that a concurrent queue may run at once, so the same seed
/// gives the same run, and another seed another legal order.
///
/// A block runs whole before another one starts, except for what it waits for: `sync` runs the blocks of its queue that
/// stand in its way and then its own, within the call. A queue that waits for itself through another one stops the
/// program and names the circle.
///
/// All operations, also those of its queues, are called on the thread that made it; those that move it, outside every
/// block. Its queues may outlive it, and then behave as after `shutDown`.
class SimulatedScheduler : public platform::Scheduler {
public:
    /// Blocks that go on submitting each other without time passing stop the program after `mostBlocksAtOneTime`.
    explicit SimulatedScheduler(std::uint64_t seed, std::uint64_t mostBlocksAtOneTime = 100'000'000);
    ~SimulatedScheduler() override;
    SimulatedScheduler(const SimulatedScheduler&) = delete;
    SimulatedScheduler& operator=(const SimulatedScheduler&) = delete;

    std::shared_ptr<platform::Queue> mainQueue() override;
    std::shared_ptr<platform::Queue> makeSerialQueue(std::string label) override;
    std::shared_ptr<platform::Queue> makeConcurrentQueue(std::string label) override;
    void shutDown() override;

    std::uint64_t seed() const;

    /// Virtual time since the scheduler was made.
    platform::Duration now() const;

    /// Runs every block that may run now, those that these submit included, without moving time.
    void run();

    /// Runs what is due and moves time, timer by timer, until `duration` has passed; what is due at its very end runs
    /// as well.
    void advance(platform::Duration duration);

    /// Runs, and moves time where nothing else is left, until the condition holds or `limit` has passed; gives whether
    /// it holds. The condition is asked between blocks. Time stands where the condition came to hold, else at the
    /// limit.
    bool runUntil(const std::function<bool()>& condition, platform::Duration limit);

private:
    struct State;
    class SimulatedQueue;
    std::shared_ptr<State> state_;
    std::shared_ptr<SimulatedQueue> mainQueue_;
};

} // namespace tarnel
