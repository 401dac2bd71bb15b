#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace tarnel::platform {

using Block = std::function<void()>;
using Duration = std::chrono::nanoseconds;

/// A dispatch queue. Blocks start in the order in which they were submitted. A serial queue runs one at a time; a
/// concurrent queue runs several at once, except that a barrier block waits for those before it and holds up those
/// behind it. On a serial queue every block is a barrier.
///
/// Any operation may be called on any thread. Blocks that were not started when the scheduler shuts down are dropped.
class Queue {
public:
    virtual ~Queue() = default;

    virtual const std::string& label() const = 0;

    virtual void async(Block block) = 0;
    virtual void asyncBarrier(Block block) = 0;

    /// Submits the block after `delay`.
    virtual void asyncAfter(Duration delay, Block block) = 0;

    /// Runs the block in its turn and returns when it has run; at once in a block of this queue, which for a barrier
    /// must be one too. Waiting in a circle (a block of A waits for B, whose block waits for A) is a programming error.
    virtual void sync(const Block& block) = 0;
    virtual void syncBarrier(const Block& block) = 0;

    /// Whether the caller runs in a block of this queue.
    virtual bool isCurrent() const = 0;
};

/// Makes queues. The main queue is serial; its blocks run where the host application drains it.
class Scheduler {
public:
    virtual ~Scheduler() = default;

    virtual std::shared_ptr<Queue> mainQueue() = 0;
    virtual std::shared_ptr<Queue> makeSerialQueue(std::string label) = 0;
    virtual std::shared_ptr<Queue> makeConcurrentQueue(std::string label) = 0;

    /// Drops what has not started, waits for what has, and from then on starts nothing: `async` drops its block,
    /// `sync` runs it on the caller's thread. Called once, at tear-down, outside every queue.
    virtual void shutDown() = 0;
};

} // namespace tarnel::platform
