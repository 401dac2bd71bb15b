#include <TarnelSDK/platform/Precondition.hpp>
#include <TarnelSDK/schedulers/ThreadQueue.hpp>

#include <utility>

namespace tarnel {

using platform::Block;
using platform::Duration;

namespace {

/// A block under way on this thread, its destruction included; the ones below it wait for it.
struct Frame {
    const ThreadQueue* queue;
    bool barrier;
    const Frame* below;
};
thread_local const Frame* innermost = nullptr;

} // namespace

/// From the start of a block, which `start` has noted, until the queue moves on.
class ThreadQueue::Turn {
public:
    /// `waiter`: the caller whose block it is and who waits on another thread; else null.
    Turn(ThreadQueue& queue, bool barrier, Waiter* waiter = nullptr)
        : queue_(queue), waiter_(waiter), frame_{&queue, barrier, innermost} {
        innermost = &frame_;
    }
    ~Turn() {
        innermost = frame_.below;
        bool isDue = false;
        {
            const std::lock_guard lock(queue_.mutex_);
            if (waiter_ != nullptr) {
                waiter_->isDone = true;
            }
            queue_.finish(frame_.barrier);
            isDue = queue_.announce();
        }
        if (isDue) {
            queue_.host_.blockIsDue(queue_.shared_from_this());
        }
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    ThreadQueue& queue_;
    Waiter* const waiter_;
    const Frame frame_;
};

void ThreadQueue::submit(Block block, bool barrier) {
    precondition(block != nullptr, "a block that is submitted is not empty");
    bool isDue = false;
    {
        const std::lock_guard lock(mutex_);
        if (!isClosed_) {
            pending_.push_back({std::move(block), nullptr, nullptr, barrier});
            pendingBarriers_ += barrier ? 1 : 0;
            isDue = announce();
        }
    }
    if (isDue) {
        host_.blockIsDue(shared_from_this());
    }
}

void ThreadQueue::asyncAfter(Duration delay, Block block) {
    precondition(block != nullptr, "a block that is submitted is not empty");
    host_.after(delay,
                [self = shared_from_this(), block = std::move(block)]() mutable { self->async(std::move(block)); });
}

bool ThreadQueue::isCurrent() const {
    return innermost != nullptr && innermost->queue == this;
}

bool ThreadQueue::isInBlock() {
    return innermost != nullptr;
}

void ThreadQueue::wait(const Block& block, bool barrier) {
    precondition(block != nullptr, "a block that is submitted is not empty");
    if (isCurrent()) {
        precondition(isSerial_ || !barrier || innermost->barrier,
                     "a block that is no barrier does not wait for a barrier of its own queue");
        return block();
    }
    const auto self = shared_from_this();
    Waiter waiter;
    {
        std::unique_lock lock(mutex_);
        if (mayStartAtOnce(barrier)) {
            start(barrier);
        } else {
            requireNoCircle();
            pending_.push_back({nullptr, &block, &waiter, barrier});
            pendingBarriers_ += barrier ? 1 : 0;
            waitForTurn(lock, waiter);
        }
    }
    if (!waiter.isDone) {
        const Turn turn(*this, barrier);
        block();
    }
}

/// Returns with the lock held when the waiter's block may start or, on the only thread that runs this queue, has run.
void ThreadQueue::waitForTurn(std::unique_lock<std::mutex>& lock, Waiter& waiter) {
    bool isDue = announce();
    while (!waiter.mayStart && !waiter.isDone) {
        // What may start now was submitted before this waiter and holds it up: else the waiter would have been
        // admitted.
        auto next = runsOn(waiter.thread) ? takeNext() : std::nullopt;
        if (!next && !isDue) {
            changed_.wait(lock);
            continue;
        }
        isDue = announce() || isDue;
        lock.unlock();
        if (std::exchange(isDue, false)) {
            host_.blockIsDue(shared_from_this());
        }
        if (next) {
            run(std::move(*next));
        }
        lock.lock();
    }
}

void ThreadQueue::runPosted() {
    std::optional<Entry> next;
    bool isDue = false;
    {
        const std::lock_guard lock(mutex_);
        isAnnounced_ = false;
        next = takeNext();
        isDue = announce();
    }
    if (isDue) {
        host_.blockIsDue(shared_from_this());
    }
    if (next) {
        run(std::move(*next));
    }
}

bool ThreadQueue::runNext() {
    std::optional<Entry> next;
    {
        const std::lock_guard lock(mutex_);
        next = takeNext();
    }
    if (next) {
        run(std::move(*next));
        return true;
    }
    return false;
}

void ThreadQueue::endDrain() {
    bool isDue = false;
    {
        const std::lock_guard lock(mutex_);
        isAnnounced_ = false;
        isDue = announce();
    }
    if (isDue) {
        host_.blockIsDue(shared_from_this());
    }
}

std::size_t ThreadQueue::pendingCount() const {
    const std::lock_guard lock(mutex_);
    return pending_.size();
}

void ThreadQueue::run(Entry entry) {
    const Turn turn(*this, entry.barrier, entry.waiter);
    const Block block = std::move(entry.block);
    entry.waiter != nullptr ? (*entry.waitersBlock)() : block();
}

std::vector<Block> ThreadQueue::close() {
    std::vector<Block> dropped;
    const std::lock_guard lock(mutex_);
    isClosed_ = true;
    for (auto entry = pending_.begin(); entry != pending_.end();) {
        const auto next = std::next(entry);
        if (entry->waiter == nullptr) {
            pendingBarriers_ -= entry->barrier ? 1 : 0;
            dropped.push_back(std::move(entry->block));
            pending_.erase(entry);
        }
        entry = next;
    }
    admitWaiters();
    changed_.notify_all();
    return dropped;
}

void ThreadQueue::waitUntilIdle() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return running_ == 0; });
}

bool ThreadQueue::mayStartAtOnce(bool barrier) const {
    if (!runsOn(std::this_thread::get_id())) {
        return false;
    }
    return barrier ? running_ == 0 && pending_.empty() : !barrierRuns_ && pendingBarriers_ == 0;
}

bool ThreadQueue::nextMayStart() const {
    return !pending_.empty() && !barrierRuns_ && (!pending_.front().barrier || running_ == 0);
}

std::optional<ThreadQueue::Entry> ThreadQueue::takeNext() {
    if (!nextMayStart()) {
        return std::nullopt;
    }
    std::optional<Entry> next = std::move(pending_.front());
    pending_.pop_front();
    pendingBarriers_ -= next->barrier ? 1 : 0;
    start(next->barrier);
    return next;
}

void ThreadQueue::start(bool barrier) {
    ++running_;
    barrierRuns_ = barrier;
}

void ThreadQueue::finish(bool barrier) {
    --running_;
    if (barrier) {
        barrierRuns_ = false;
    }
    // Waiters that are no barriers were admitted when the last barrier ended; only one at the head can be left.
    if (barrier || (running_ == 0 && !pending_.empty() && pending_.front().barrier)) {
        admitWaiters();
    }
    changed_.notify_all();
}

/// Lets the waiters go whose turn has come: those up to the next barrier, or else the barrier at the head.
void ThreadQueue::admitWaiters() {
    auto entry = pending_.begin();
    while (entry != pending_.end() && !barrierRuns_) {
        if (entry->barrier && (entry != pending_.begin() || running_ > 0)) {
            return;
        }
        if (entry->waiter != nullptr && runsOn(entry->waiter->thread)) {
            entry->waiter->mayStart = true;
            pendingBarriers_ -= entry->barrier ? 1 : 0;
            start(entry->barrier);
            entry = pending_.erase(entry);
        } else if (entry->barrier) {
            return;
        } else {
            ++entry;
        }
    }
}

/// Whether `blockIsDue` is to be called once the mutex is released.
bool ThreadQueue::announce() {
    if (!nextMayStart()) {
        return false;
    }
    changed_.notify_all();
    return !std::exchange(isAnnounced_, true);
}

void ThreadQueue::requireNoCircle() const {
    std::string circle = label_;
    for (const Frame* frame = innermost; frame != nullptr; frame = frame->below) {
        circle = frame->queue->label() + " -> " + circle;
        if (frame->queue == this) {
            preconditionFailure("queues do not wait for each other in a circle: " + circle);
        }
    }
}

} // namespace tarnel
