#include <TarnelSDK/platform/Precondition.hpp>
#include <TarnelSDK/schedulers/ThreadPool.hpp>
#include <TarnelSDK/schedulers/ThreadQueue.hpp>
#include <TarnelSDK/schedulers/ThreadScheduler.hpp>

#include <condition_variable>
#include <mutex>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace tarnel {
namespace {

using Wake = std::function<void()>;

/// Where the main queue's blocks wait for the host.
class MainLoop {
public:
    void blockIsDue() {
        std::shared_ptr<const Wake> wake;
        {
            const std::lock_guard lock(mutex_);
            isDue_ = true;
            wake = wake_;
        }
        changed_.notify_all();
        if (wake) {
            (*wake)();
        }
    }

    void setWake(Wake wake) {
        auto next = wake ? std::make_shared<const Wake>(std::move(wake)) : nullptr;
        const auto current = next;
        bool isDue = false;
        {
            const std::lock_guard lock(mutex_);
            wake_.swap(next);
            isDue = isDue_;
        }
        if (isDue && current) {
            (*current)();
        }
    }

    void beginDrain() {
        const std::lock_guard lock(mutex_);
        isDue_ = false;
    }

    /// Waits until something is due; false when the loop shall end instead.
    bool wait() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return isDue_ || quits_ || isClosed_; });
        return !quits_ && !isClosed_;
    }

    bool mayGoOn() const {
        const std::lock_guard lock(mutex_);
        return !quits_ && !isClosed_;
    }

    void takeQuit() {
        const std::lock_guard lock(mutex_);
        quits_ = false;
    }

    void quit() { end(quits_); }
    void close() { end(isClosed_); }

private:
    void end(bool& flag) {
        {
            const std::lock_guard lock(mutex_);
            flag = true;
        }
        changed_.notify_all();
    }

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::shared_ptr<const Wake> wake_;
    bool isDue_ = false;
    bool quits_ = false;
    bool isClosed_ = false;
};

} // namespace

struct ThreadScheduler::State {
    explicit State(std::size_t threads)
        : pool(std::make_shared<ThreadPool>(threads)),
          mainQueue(std::make_shared<ThreadQueue>("main", ThreadQueue::Kind::serial,
                                                  ThreadQueue::Host{
                                                      [loop = mainLoop](const auto&) { loop->blockIsDue(); },
                                                      delays(),
                                                      mainThread,
                                                  })) {
        queues.push_back(mainQueue);
    }

    std::function<void(platform::Duration, platform::Block)> delays() const {
        return [pool = pool](platform::Duration delay, platform::Block block) {
            pool->postAfter(delay, std::move(block));
        };
    }

    std::shared_ptr<ThreadQueue> makeQueue(std::string label, ThreadQueue::Kind kind) {
        auto run = [pool = pool](std::shared_ptr<ThreadQueue> queue) {
            pool->post([queue = std::move(queue)] { queue->runPosted(); });
        };
        auto queue = std::make_shared<ThreadQueue>(std::move(label), kind,
                                                   ThreadQueue::Host{std::move(run), delays(), std::nullopt});
        const std::lock_guard lock(mutex);
        if (isShutDown) {
            std::ignore = queue->close();
        }
        std::erase_if(queues, [](const auto& entry) { return entry.expired(); });
        queues.push_back(queue);
        return queue;
    }

    void requireMainThread() const {
        precondition(std::this_thread::get_id() == mainThread, "the main queue is drained on the main thread");
    }

    const std::thread::id mainThread = std::this_thread::get_id();
    const std::shared_ptr<MainLoop> mainLoop = std::make_shared<MainLoop>();
    const std::shared_ptr<ThreadPool> pool;
    const std::shared_ptr<ThreadQueue> mainQueue;

    std::mutex mutex;
    bool isShutDown = false;
    std::vector<std::weak_ptr<ThreadQueue>> queues;
};

ThreadScheduler::ThreadScheduler(std::size_t threads) : state_(std::make_unique<State>(threads)) {}

ThreadScheduler::~ThreadScheduler() {
    shutDown();
}

std::shared_ptr<platform::Queue> ThreadScheduler::mainQueue() {
    return state_->mainQueue;
}

std::shared_ptr<platform::Queue> ThreadScheduler::makeSerialQueue(std::string label) {
    return state_->makeQueue(std::move(label), ThreadQueue::Kind::serial);
}

std::shared_ptr<platform::Queue> ThreadScheduler::makeConcurrentQueue(std::string label) {
    return state_->makeQueue(std::move(label), ThreadQueue::Kind::concurrent);
}

void ThreadScheduler::shutDown() {
    precondition(!ThreadQueue::isInBlock(), "a scheduler is shut down outside its queues");
    std::vector<std::weak_ptr<ThreadQueue>> queues;
    {
        const std::lock_guard lock(state_->mutex);
        if (std::exchange(state_->isShutDown, true)) {
            return;
        }
        queues.swap(state_->queues);
    }
    std::vector<std::vector<platform::Block>> dropped;
    for (const auto& entry : queues) {
        if (const auto queue = entry.lock()) {
            dropped.push_back(queue->close());
        }
    }
    // What blocks hold may use the queues while it is destroyed, and running blocks may wait for it to be.
    dropped.clear();
    state_->mainLoop->close();
    state_->pool->join();
    for (const auto& entry : queues) {
        if (const auto queue = entry.lock()) {
            queue->waitUntilIdle();
        }
    }
}

void ThreadScheduler::runMain() {
    state_->requireMainThread();
    precondition(!ThreadQueue::isInBlock(), "the main queue's loop is run outside its blocks");
    while (state_->mainLoop->wait()) {
        state_->mainLoop->beginDrain();
        while (state_->mainLoop->mayGoOn() && state_->mainQueue->runNext()) {
        }
        state_->mainQueue->endDrain();
    }
    state_->mainLoop->takeQuit();
}

void ThreadScheduler::quitMain() {
    state_->mainLoop->quit();
}

void ThreadScheduler::drainMain() {
    state_->requireMainThread();
    state_->mainLoop->beginDrain();
    for (auto left = state_->mainQueue->pendingCount(); left > 0 && state_->mainQueue->runNext(); --left) {
    }
    state_->mainQueue->endDrain();
}

void ThreadScheduler::setMainWake(std::function<void()> wake) {
    state_->mainLoop->setWake(std::move(wake));
}

} // namespace tarnel
