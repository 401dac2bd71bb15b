#pragma once

#include <TarnelSDK/platform/Queue.hpp>

#include <cstddef>
#include <memory>

namespace tarnel {

/// The threads of a `ThreadScheduler`: some for blocks, and one that only hands delayed tasks on. All operations but
/// `join` may be called on any thread and return at once; no task ever runs inside a call.
class ThreadPool {
public:
    /// REQUIRES: threads > 0.
    explicit ThreadPool(std::size_t threads);
    ~ThreadPool();
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    /// Runs the task on one of the threads. Dropped after `join`.
    void post(platform::Block task);

    /// Runs the task after `delay` on the timer thread, one at a time, in the order of their times and, at equal times,
    /// of the calls. The task must be short. Dropped after `join`.
    void postAfter(platform::Duration delay, platform::Block task);

    /// Takes no more tasks, waits until those posted have run, and destroys the delayed ones on the calling thread.
    /// REQUIRES: called on none of the pool's threads.
    void join();

private:
    struct Threads;
    std::unique_ptr<Threads> threads_;
};

} // namespace tarnel
