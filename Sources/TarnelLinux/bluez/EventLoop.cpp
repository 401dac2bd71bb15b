#include <TarnelLinux/bluez/EventLoop.hpp>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace tarnel::bluez {

using Clock = std::chrono::steady_clock;

struct EventLoop::State {
    State();
    ~State() { ::close(wake); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    void run();
    void runPosted();
    void runDue();
    void dispatch();
    void wait();
    int milliseconds(int least) const;
    void post(Task task);
    void signal() const {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(wake, &one, sizeof one);
    }
    std::vector<Task> takePosted();
    std::vector<std::shared_ptr<const void>> takeKept();
    bool hasEnded() {
        const std::lock_guard lock(mutex);
        return hasEndedNow;
    }

    const int wake;
    std::mutex mutex;
    std::vector<Task> posted;
    bool isEnding = false;                         ///< takes no more tasks
    bool hasEndedNow = false;                      ///< runs no more tasks
    bool isOver = false;                           ///< the thread has done all it does
    std::vector<std::shared_ptr<const void>> kept; ///< until then
    std::condition_variable over;
    std::thread thread; ///< until somebody sees to its end
    std::thread::id id;

    // Of the loop's thread.
    std::map<std::pair<Clock::time_point, Timer>, Task> timers;
    Timer lastTimer = 0;
    std::map<int, std::pair<short, std::shared_ptr<std::function<void(short)>>>> watched;
    std::shared_ptr<const Source> source; ///< may be replaced while it runs
};

EventLoop::State::State() : wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (wake < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

void EventLoop::State::run() {
    while (!hasEnded()) {
        runPosted();
        runDue();
        dispatch();
        if (!hasEnded()) {
            wait();
        }
    }
    // What the tasks hold may end here, and post in turn.
    timers.clear();
    watched.clear();
    source.reset();
    while (!takePosted().empty()) {
    }
    while (!takeKept().empty()) {
    }
    {
        const std::lock_guard lock(mutex);
        isOver = true;
    }
    over.notify_all();
}

std::vector<std::shared_ptr<const void>> EventLoop::State::takeKept() {
    const std::lock_guard lock(mutex);
    return std::exchange(kept, {});
}

std::vector<EventLoop::Task> EventLoop::State::takePosted() {
    const std::lock_guard lock(mutex);
    return std::exchange(posted, {});
}

void EventLoop::State::runPosted() {
    auto tasks = takePosted();
    for (auto& task : tasks) {
        if (hasEnded()) {
            return;
        }
        std::exchange(task, nullptr)();
    }
}

void EventLoop::State::runDue() {
    while (!timers.empty() && timers.begin()->first.first <= Clock::now() && !hasEnded()) {
        const auto task = std::move(timers.extract(timers.begin()).mapped());
        task();
    }
}

void EventLoop::State::dispatch() {
    const auto current = source;
    if (current && !hasEnded()) {
        current->dispatch();
    }
}

int EventLoop::State::milliseconds(int least) const {
    if (timers.empty()) {
        return least;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(timers.begin()->first.first - Clock::now()).count();
    const int own = static_cast<int>(std::clamp<std::int64_t>(left, 0, 60'000));
    return least < 0 ? own : std::min(least, own);
}

void EventLoop::State::wait() {
    const Source::Poll poll = source ? source->prepare() : Source::Poll{};
    std::vector<pollfd> descriptors{{wake, POLLIN, 0}, {poll.descriptor, poll.events, 0}};
    descriptors.reserve(2 + watched.size());
    for (const auto& [descriptor, entry] : watched) {
        descriptors.push_back({descriptor, entry.first, 0});
    }
    {
        const std::lock_guard lock(mutex);
        if (!posted.empty() || hasEndedNow) {
            return;
        }
    }
    if (::poll(descriptors.data(), descriptors.size(), milliseconds(poll.milliseconds)) <= 0) {
        return;
    }
    if (descriptors[0].revents != 0) {
        std::uint64_t count = 0;
        [[maybe_unused]] const auto read = ::read(wake, &count, sizeof count);
    }
    for (std::size_t i = 2; i < descriptors.size() && !hasEnded(); ++i) {
        const auto found = watched.find(descriptors[i].fd);
        if (descriptors[i].revents != 0 && found != watched.end()) {
            const auto ready = found->second.second;
            (*ready)(descriptors[i].revents);
        }
    }
}

EventLoop::EventLoop() : state_(std::make_shared<State>()) {
    const std::lock_guard lock(state_->mutex);
    state_->thread = std::thread([state = state_] { state->run(); });
    state_->id = state_->thread.get_id();
}

EventLoop::~EventLoop() {
    end();
}

bool EventLoop::hasEnded() const {
    return state_->hasEnded();
}

void EventLoop::end(std::shared_ptr<const void> kept) {
    const auto held = state_;
    State& state = *held;
    std::unique_lock lock(state.mutex);
    const bool isOwnThread = state.id == std::this_thread::get_id();
    const auto stop = [&state] {
        const std::lock_guard locked(state.mutex);
        state.hasEndedNow = true;
    };
    if (isOwnThread) {
        state.hasEndedNow = true;
        if (kept) {
            state.kept.push_back(std::move(kept));
        }
    } else if (!state.isEnding) {
        state.posted.push_back(stop);
    }
    state.isEnding = true;
    state.signal();
    // Only one may join or detach it.
    std::thread thread = std::exchange(state.thread, {});
    if (isOwnThread) {
        if (thread.joinable()) {
            thread.detach();
        }
        return;
    }
    state.over.wait(lock, [&state] { return state.isOver; });
    lock.unlock();
    if (thread.joinable()) {
        thread.join();
    }
}

void EventLoop::State::post(Task task) {
    bool isFirst = false;
    {
        const std::lock_guard lock(mutex);
        // What the last tasks post is not run, but goes only after those before it.
        if (isOver || (isEnding && std::this_thread::get_id() != id)) {
            return;
        }
        isFirst = posted.empty();
        posted.push_back(std::move(task));
    }
    // The others are taken along with it.
    if (isFirst) {
        signal();
    }
}

void EventLoop::post(Task task) {
    state_->post(std::move(task));
}

std::function<void(EventLoop::Task)> EventLoop::poster() const {
    return [state = state_](Task task) { state->post(std::move(task)); };
}

EventLoop::Timer EventLoop::after(Duration delay, Task task) {
    const Timer timer = ++state_->lastTimer;
    state_->timers.emplace(std::pair(Clock::now() + delay, timer), std::move(task));
    return timer;
}

void EventLoop::cancel(Timer timer) {
    std::erase_if(state_->timers, [&](const auto& entry) { return entry.first.second == timer; });
}

void EventLoop::watch(int descriptor, short events, std::function<void(short)> ready) {
    state_->watched[descriptor] = {events, std::make_shared<std::function<void(short)>>(std::move(ready))};
}

void EventLoop::unwatch(int descriptor) {
    state_->watched.erase(descriptor);
}

void EventLoop::setSource(Source source) {
    state_->source = source.prepare ? std::make_shared<const Source>(std::move(source)) : nullptr;
}

} // namespace tarnel::bluez
