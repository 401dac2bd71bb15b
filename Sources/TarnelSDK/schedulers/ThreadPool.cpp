#define ASIO_STANDALONE
#define ASIO_NO_DEPRECATED

#include <TarnelSDK/platform/Precondition.hpp>
#include <TarnelSDK/schedulers/ThreadPool.hpp>

#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <asio/thread_pool.hpp>

#include <algorithm>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace tarnel {

using platform::Block;
using platform::Duration;
using Time = std::chrono::steady_clock::time_point;

struct ThreadPool::Threads {
    explicit Threads(std::size_t count) : workers(count) {}

    void fire();
    void arm();

    std::mutex mutex;
    bool isJoined = false;
    std::multimap<Time, Block> delayed;

    asio::thread_pool workers;
    asio::thread_pool timerThread{1};
    asio::steady_timer timer{timerThread}; ///< touched on the timer thread alone
};

/// Runs what is due. On the timer thread.
void ThreadPool::Threads::fire() {
    std::vector<Block> due;
    {
        const std::lock_guard lock(mutex);
        const auto end = delayed.upper_bound(std::chrono::steady_clock::now());
        for (auto entry = delayed.begin(); entry != end; entry = delayed.erase(entry)) {
            due.push_back(std::move(entry->second));
        }
    }
    for (const auto& task : due) {
        task();
    }
    arm();
}

/// Sets the timer to the earliest delayed task. On the timer thread.
void ThreadPool::Threads::arm() {
    Time earliest;
    {
        const std::lock_guard lock(mutex);
        if (delayed.empty()) {
            timer.cancel();
            return;
        }
        earliest = delayed.begin()->first;
    }
    timer.expires_at(earliest);
    timer.async_wait([this](const std::error_code& error) {
        if (!error) {
            fire();
        }
    });
}

ThreadPool::ThreadPool(std::size_t threads) {
    precondition(threads > 0, "a pool has threads");
    threads_ = std::make_unique<Threads>(threads);
}

ThreadPool::~ThreadPool() {
    join();
}

void ThreadPool::post(Block task) {
    const std::lock_guard lock(threads_->mutex);
    if (!threads_->isJoined) {
        asio::post(threads_->workers, std::move(task));
    }
}

void ThreadPool::postAfter(Duration delay, Block task) {
    const Time now = std::chrono::steady_clock::now();
    const Time time = delay > Time::max() - now ? Time::max() : now + std::max(delay, Duration::zero());
    const std::lock_guard lock(threads_->mutex);
    if (threads_->isJoined) {
        return;
    }
    const auto entry = threads_->delayed.emplace(time, std::move(task));
    if (entry == threads_->delayed.begin()) {
        asio::post(threads_->timerThread, [threads = threads_.get()] { threads->arm(); });
    }
}

void ThreadPool::join() {
    std::multimap<Time, Block> dropped;
    {
        const std::lock_guard lock(threads_->mutex);
        if (std::exchange(threads_->isJoined, true)) {
            return;
        }
        dropped.swap(threads_->delayed);
        asio::post(threads_->timerThread, [threads = threads_.get()] { threads->arm(); });
    }
    dropped.clear();
    threads_->timerThread.join();
    threads_->workers.join();
}

} // namespace tarnel
