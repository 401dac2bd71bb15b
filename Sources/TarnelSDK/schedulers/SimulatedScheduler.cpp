#include <TarnelSDK/platform/Precondition.hpp>
#include <TarnelSDK/schedulers/SimulatedScheduler.hpp>

#include <algorithm>
#include <deque>
#include <map>
#include <random>
#include <thread>
#include <utility>
#include <vector>

namespace tarnel {

using platform::Block;
using platform::Duration;

/// What the scheduler and its queues share. Holds a queue only while that has something to run.
struct SimulatedScheduler::State {
    struct Delayed {
        std::shared_ptr<SimulatedQueue> queue;
        Block block;
    };
    /// A block under way, its destruction included; the ones below it on the stack wait for it.
    struct Frame {
        const SimulatedQueue* queue;
        bool barrier;
    };
    class Turn {
    public:
        Turn(State& state, Frame frame) : state_(state) { state_.stack.push_back(frame); }
        ~Turn() { state_.stack.pop_back(); }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        State& state_;
    };

    const std::uint64_t seed;
    const std::uint64_t mostBlocksAtOneTime;
    const std::thread::id thread = std::this_thread::get_id();
    std::mt19937_64 random{seed};
    Duration now{0};
    std::uint64_t blocksAtThisTime = 0;
    bool isShutDown = false;
    std::vector<std::shared_ptr<SimulatedQueue>> ready;
    std::multimap<Duration, Delayed> delayed;
    std::vector<Frame> stack;

    State(std::uint64_t aSeed, std::uint64_t most) : seed(aSeed), mostBlocksAtOneTime(most) {}

    void requireThread() const {
        precondition(std::this_thread::get_id() == thread, "a simulated scheduler is used on the thread that made it");
    }

    void beginMoving() {
        requireThread();
        precondition(stack.empty(), "a simulated scheduler is moved outside its blocks");
        blocksAtThisTime = 0;
    }

    std::size_t choose(std::size_t count) {
        // Far fewer choices than 2^64: the bias of the remainder is beyond notice.
        return count == 1 ? 0 : static_cast<std::size_t>(random() % count);
    }

    /// The time after a delay, at most the end of time.
    Duration timeAfter(Duration delay) const { return delay > Duration::max() - now ? Duration::max() : now + delay; }

    bool runOne();
    void moveTimeTo(Duration time);
    bool moveToNextTimer(Duration end);
};

class SimulatedScheduler::SimulatedQueue final : public platform::Queue,
                                                 public std::enable_shared_from_this<SimulatedQueue> {
public:
    SimulatedQueue(std::shared_ptr<State> state, std::string label, bool isSerial)
        : state_(std::move(state)), label_(std::move(label)), isSerial_(isSerial) {}

    const std::string& label() const override { return label_; }
    void async(Block block) override { submit(std::move(block), isSerial_); }
    void asyncBarrier(Block block) override { submit(std::move(block), true); }
    void asyncAfter(Duration delay, Block block) override;
    void sync(const Block& block) override { wait(block, isSerial_); }
    void syncBarrier(const Block& block) override { wait(block, true); }
    bool isCurrent() const override { return !state_->stack.empty() && state_->stack.back().queue == this; }

    /// Runs one of the blocks that may run now. REQUIRES: there is one.
    void runOne();

    void drop() { const auto dropped = std::exchange(groups_, {}); }

private:
    /// Blocks that may run at once: one barrier, or a run of blocks that are none.
    struct Group {
        bool barrier;
        std::vector<Block> blocks;
    };

    void submit(Block block, bool barrier);
    void wait(const Block& block, bool barrier);
    void requireNoCircle() const;

    const std::shared_ptr<State> state_;
    const std::string label_;
    const bool isSerial_;
    std::deque<Group> groups_;
};

void SimulatedScheduler::SimulatedQueue::submit(Block block, bool barrier) {
    state_->requireThread();
    precondition(block != nullptr, "a block that is submitted is not empty");
    if (state_->isShutDown) {
        return;
    }
    if (groups_.empty()) {
        state_->ready.push_back(shared_from_this());
    }
    if (barrier || groups_.empty() || groups_.back().barrier) {
        groups_.push_back({barrier, {}});
    }
    groups_.back().blocks.push_back(std::move(block));
}

void SimulatedScheduler::SimulatedQueue::asyncAfter(Duration delay, Block block) {
    if (delay <= Duration::zero() || state_->isShutDown) {
        return async(std::move(block));
    }
    state_->requireThread();
    precondition(block != nullptr, "a block that is submitted is not empty");
    state_->delayed.emplace(state_->timeAfter(delay), State::Delayed{shared_from_this(), std::move(block)});
}

void SimulatedScheduler::SimulatedQueue::wait(const Block& block, bool barrier) {
    state_->requireThread();
    precondition(block != nullptr, "a block that is submitted is not empty");
    if (isCurrent()) {
        precondition(isSerial_ || !barrier || state_->stack.back().barrier,
                     "a block that is no barrier does not wait for a barrier of its own queue");
        return block();
    }
    if (state_->isShutDown) {
        const State::Turn turn(*state_, {this, barrier});
        return block();
    }
    requireNoCircle();
    bool done = false;
    submit(
        [&] {
            block();
            done = true;
        },
        barrier);
    while (!done) {
        runOne();
    }
}

void SimulatedScheduler::SimulatedQueue::runOne() {
    const auto self = shared_from_this();
    auto& group = groups_.front();
    const State::Turn turn(*state_, {this, group.barrier});
    std::swap(group.blocks[state_->choose(group.blocks.size())], group.blocks.back());
    const Block block = std::move(group.blocks.back());
    group.blocks.pop_back();
    if (group.blocks.empty()) {
        groups_.pop_front();
    }
    if (groups_.empty()) {
        std::erase(state_->ready, self);
    }
    ++state_->blocksAtThisTime;
    precondition(state_->blocksAtThisTime <= state_->mostBlocksAtOneTime,
                 "blocks do not go on submitting each other without time passing (" + label_ + ")");
    block();
}

void SimulatedScheduler::SimulatedQueue::requireNoCircle() const {
    const auto& stack = state_->stack;
    const auto below = std::find_if(stack.begin(), stack.end(), [&](const auto& frame) { return frame.queue == this; });
    if (below == stack.end()) {
        return;
    }
    std::string circle;
    std::for_each(below, stack.end(), [&](const auto& frame) { circle += frame.queue->label_ + " -> "; });
    preconditionFailure("queues do not wait for each other in a circle: " + circle + label_);
}

bool SimulatedScheduler::State::runOne() {
    if (ready.empty()) {
        return false;
    }
    const auto queue = ready[choose(ready.size())];
    queue->runOne();
    return true;
}

void SimulatedScheduler::State::moveTimeTo(Duration time) {
    if (time > now) {
        now = time;
        blocksAtThisTime = 0;
    }
}

bool SimulatedScheduler::State::moveToNextTimer(Duration end) {
    if (delayed.empty() || delayed.begin()->first > end) {
        return false;
    }
    moveTimeTo(delayed.begin()->first);
    while (!delayed.empty() && delayed.begin()->first == now) {
        auto [queue, block] = std::move(delayed.extract(delayed.begin()).mapped());
        queue->async(std::move(block));
    }
    return true;
}

SimulatedScheduler::SimulatedScheduler(std::uint64_t seed, std::uint64_t mostBlocksAtOneTime)
    : state_(std::make_shared<State>(seed, mostBlocksAtOneTime)),
      mainQueue_(std::make_shared<SimulatedQueue>(state_, "main", true)) {}

SimulatedScheduler::~SimulatedScheduler() {
    if (!state_->isShutDown) {
        shutDown();
    }
}

std::shared_ptr<platform::Queue> SimulatedScheduler::mainQueue() {
    return mainQueue_;
}

std::shared_ptr<platform::Queue> SimulatedScheduler::makeSerialQueue(std::string label) {
    return std::make_shared<SimulatedQueue>(state_, std::move(label), true);
}

std::shared_ptr<platform::Queue> SimulatedScheduler::makeConcurrentQueue(std::string label) {
    return std::make_shared<SimulatedQueue>(state_, std::move(label), false);
}

void SimulatedScheduler::shutDown() {
    state_->beginMoving();
    state_->isShutDown = true;
    // What the dropped blocks hold may use the queues while it is destroyed, so the containers are emptied first.
    const auto delayed = std::exchange(state_->delayed, {});
    for (const auto& queue : std::exchange(state_->ready, {})) {
        queue->drop();
    }
}

std::uint64_t SimulatedScheduler::seed() const {
    return state_->seed;
}

Duration SimulatedScheduler::now() const {
    return state_->now;
}

void SimulatedScheduler::run() {
    state_->beginMoving();
    while (state_->runOne()) {
    }
}

void SimulatedScheduler::advance(Duration duration) {
    runUntil([] { return false; }, duration);
}

bool SimulatedScheduler::runUntil(const std::function<bool()>& condition, Duration limit) {
    state_->beginMoving();
    precondition(limit >= Duration::zero(), "time does not move backwards");
    const Duration end = state_->timeAfter(limit);
    for (;;) {
        if (condition()) {
            return true;
        }
        if (!state_->runOne() && !state_->moveToNextTimer(end)) {
            break;
        }
    }
    state_->moveTimeTo(end);
    return condition();
}

} // namespace tarnel
