#include <TarnelGlasses/ApplicationScheduler.hpp>

#include <cstdint>
#include <map>
#include <utility>

namespace tarnel::glasses {

using platform::Block;
using platform::Duration;
using platform::Queue;

/// The blocks that have not started.
class ApplicationScheduler::Blocks : public std::enable_shared_from_this<Blocks> {
public:
    bool isShutDown() const { return isShutDown_; }

    void shutDown() {
        isShutDown_ = true;
        // What a block holds may submit more when it goes; it is dropped as well.
        const auto dropped = std::exchange(waiting_, {});
    }

    /// A stand-in for the block, which runs it unless it was dropped. REQUIRES: not shut down.
    Block keep(Block block) {
        const auto number = next_++;
        waiting_.emplace(number, std::move(block));
        return [weak = weak_from_this(), number] {
            const auto self = weak.lock();
            auto node = self ? self->waiting_.extract(number) : decltype(waiting_)::node_type();
            if (node) {
                node.mapped()();
            }
        };
    }

private:
    bool isShutDown_ = false;
    std::uint64_t next_ = 0;
    std::map<std::uint64_t, Block> waiting_;
};

class ApplicationScheduler::ApplicationQueue : public Queue {
public:
    ApplicationQueue(std::shared_ptr<Queue> queue, std::shared_ptr<Blocks> blocks)
        : queue_(std::move(queue)), blocks_(std::move(blocks)) {}

    const std::string& label() const override { return queue_->label(); }
    bool isCurrent() const override { return queue_->isCurrent(); }

    void async(Block block) override {
        if (!blocks_->isShutDown()) {
            queue_->async(blocks_->keep(std::move(block)));
        }
    }
    void asyncBarrier(Block block) override {
        if (!blocks_->isShutDown()) {
            queue_->asyncBarrier(blocks_->keep(std::move(block)));
        }
    }
    void asyncAfter(Duration delay, Block block) override {
        if (!blocks_->isShutDown()) {
            queue_->asyncAfter(delay, blocks_->keep(std::move(block)));
        }
    }
    void sync(const Block& block) override {
        if (blocks_->isShutDown()) {
            block();
        } else {
            queue_->sync(block);
        }
    }
    void syncBarrier(const Block& block) override {
        if (blocks_->isShutDown()) {
            block();
        } else {
            queue_->syncBarrier(block);
        }
    }

private:
    const std::shared_ptr<Queue> queue_;
    const std::shared_ptr<Blocks> blocks_;
};

ApplicationScheduler::ApplicationScheduler(std::shared_ptr<platform::Scheduler> scheduler)
    : scheduler_(std::move(scheduler)), blocks_(std::make_shared<Blocks>()),
      mainQueue_(std::make_shared<ApplicationQueue>(scheduler_->mainQueue(), blocks_)) {}

ApplicationScheduler::~ApplicationScheduler() = default;

std::shared_ptr<Queue> ApplicationScheduler::mainQueue() {
    return mainQueue_;
}

std::shared_ptr<Queue> ApplicationScheduler::makeSerialQueue(std::string label) {
    return std::make_shared<ApplicationQueue>(scheduler_->makeSerialQueue(std::move(label)), blocks_);
}

std::shared_ptr<Queue> ApplicationScheduler::makeConcurrentQueue(std::string label) {
    return std::make_shared<ApplicationQueue>(scheduler_->makeConcurrentQueue(std::move(label)), blocks_);
}

void ApplicationScheduler::shutDown() {
    blocks_->shutDown();
}

} // namespace tarnel::glasses
