#pragma once

#include <TarnelSDK/platform/Queue.hpp>

#include <cstddef>
#include <functional>
#include <memory>

namespace tarnel {

/// A scheduler on a pool of threads with real time. The main queue is drained by its host: either `runMain` on the main
/// thread, or `drainMain` called by an event loop that `setMainWake` tells when there is something to do.
///
/// A thread that waits in `sync` runs those earlier blocks of the queue that nobody has started yet. The main queue's
/// blocks run on the main thread only, also those of `sync` from another thread, which waits for the host. Its queues
/// may outlive it, and then behave as after `shutDown`.
class ThreadScheduler : public platform::Scheduler {
public:
    /// REQUIRES: threads > 0. Made, shut down and destroyed on the main thread.
    explicit ThreadScheduler(std::size_t threads = 2);
    ~ThreadScheduler() override;
    ThreadScheduler(const ThreadScheduler&) = delete;
    ThreadScheduler& operator=(const ThreadScheduler&) = delete;

    std::shared_ptr<platform::Queue> mainQueue() override;
    std::shared_ptr<platform::Queue> makeSerialQueue(std::string label) override;
    std::shared_ptr<platform::Queue> makeConcurrentQueue(std::string label) override;
    void shutDown() override;

    /// Runs main-queue blocks until `quitMain`, waiting in between; returns at once after `shutDown`, or when
    /// `quitMain` was called since the last time. Main thread only, outside every block.
    void runMain();
    /// Ends `runMain` after the block that runs. Any thread.
    void quitMain();

    /// Runs the main-queue blocks that are there now, without waiting. Main thread only; does nothing inside a block of
    /// the main queue.
    void drainMain();
    /// `wake` is called, on any thread and outside every lock, when the main queue goes from drained to not empty, once
    /// until the next drain; at once if it is not empty now. A call under way on another thread may still end after
    /// `wake` was replaced.
    void setMainWake(std::function<void()> wake);

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace tarnel
