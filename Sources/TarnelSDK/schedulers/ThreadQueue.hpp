#pragma once

#include <TarnelSDK/platform/Queue.hpp>

#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tarnel {

/// A queue of a `ThreadScheduler`: keeps the order of its blocks, and says which may start. Threads that have nothing
/// else to do run them through `runPosted` or, for the main queue, `runNext`; a thread that waits in `sync` runs those
/// blocks that stand in its way and that nobody has started yet, so waiting never costs the pool its last thread.
///
/// Blocks are called and destroyed within their turn and outside every lock.
class ThreadQueue final : public platform::Queue, public std::enable_shared_from_this<ThreadQueue> {
public:
    enum class Kind { serial, concurrent };

    /// What the queue asks of its scheduler. Called on any thread, outside every lock.
    struct Host {
        /// A block may start: call `runPosted`, or drain.
        std::function<void(std::shared_ptr<ThreadQueue>)> blockIsDue;
        std::function<void(platform::Duration, platform::Block)> after;
        /// Set for a queue whose blocks run on this thread only.
        std::optional<std::thread::id> onlyThread;
    };

    ThreadQueue(std::string label, Kind kind, Host host)
        : label_(std::move(label)), isSerial_(kind == Kind::serial), host_(std::move(host)) {}

    const std::string& label() const override { return label_; }
    void async(platform::Block block) override { submit(std::move(block), isSerial_); }
    void asyncBarrier(platform::Block block) override { submit(std::move(block), true); }
    void asyncAfter(platform::Duration delay, platform::Block block) override;
    void sync(const platform::Block& block) override { wait(block, isSerial_); }
    void syncBarrier(const platform::Block& block) override { wait(block, true); }
    bool isCurrent() const override;

    /// Answers one `blockIsDue`: runs the next block unless another thread was faster.
    void runPosted();

    /// Runs the next block if it may start; false when there is none. Leaves `blockIsDue` unanswered.
    bool runNext();
    /// Answers `blockIsDue` after a number of `runNext`; what is left is announced anew.
    void endDrain();
    std::size_t pendingCount() const;

    /// Gives back what has not started; from then on `async` drops its block and `sync` runs on its caller's thread, in
    /// turn.
    [[nodiscard]] std::vector<platform::Block> close();
    void waitUntilIdle();

    /// Whether the calling thread runs in a block of any queue.
    static bool isInBlock();

private:
    /// A caller that waits in `sync`. Lives on its stack; guarded by the queue's mutex.
    struct Waiter {
        std::thread::id thread = std::this_thread::get_id();
        bool mayStart = false;
        bool isDone = false;
    };
    struct Entry {
        platform::Block block;               ///< empty for a waiter's
        const platform::Block* waitersBlock; ///< null for an asynchronous one
        Waiter* waiter;
        bool barrier;
    };
    class Turn;

    void submit(platform::Block block, bool barrier);
    void wait(const platform::Block& block, bool barrier);
    void waitForTurn(std::unique_lock<std::mutex>& lock, Waiter& waiter);
    void run(Entry entry);

    // With the mutex held:
    bool runsOn(std::thread::id thread) const { return isClosed_ || !host_.onlyThread || thread == *host_.onlyThread; }
    bool mayStartAtOnce(bool barrier) const;
    bool nextMayStart() const;
    std::optional<Entry> takeNext();
    void start(bool barrier);
    void finish(bool barrier);
    void admitWaiters();
    [[nodiscard]] bool announce();

    void requireNoCircle() const;

    const std::string label_;
    const bool isSerial_;
    const Host host_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::list<Entry> pending_;
    std::size_t pendingBarriers_ = 0;
    std::size_t running_ = 0;
    bool barrierRuns_ = false;
    bool isAnnounced_ = false;
    bool isClosed_ = false;
};

} // namespace tarnel
