#include "MainLoop.hpp"

#include "Failure.hpp"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>

namespace tarnel::command {

class MainLoop::Wake {
public:
    Wake() : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (descriptor_ < 0) {
            throw Failure(std::string("cannot wait for events: ") + std::strerror(errno));
        }
    }
    ~Wake() { ::close(descriptor_); }
    Wake(const Wake&) = delete;
    Wake& operator=(const Wake&) = delete;

    int descriptor() const { return descriptor_; }

    // A counter that cannot be added to is awake already.
    void set() const {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(descriptor_, &one, sizeof one);
    }
    void clear() const {
        std::uint64_t count = 0;
        [[maybe_unused]] const auto read = ::read(descriptor_, &count, sizeof count);
    }

private:
    int descriptor_;
};

namespace {

volatile std::sig_atomic_t lastSignal = 0;
volatile std::sig_atomic_t wakeDescriptor = -1;

extern "C" void noteSignal(int signal) {
    const int error = errno;
    lastSignal = signal;
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wakeDescriptor, &one, sizeof one);
    errno = error;
}

constexpr std::array<int, 2> watchedSignals{SIGINT, SIGTERM};

} // namespace

class MainLoop::Signals {
public:
    explicit Signals(int descriptor) {
        lastSignal = 0;
        wakeDescriptor = descriptor;
        struct sigaction action {};
        action.sa_handler = noteSignal;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        ::sigemptyset(&action.sa_mask);
        for (std::size_t i = 0; i < watchedSignals.size(); ++i) {
            ::sigaction(watchedSignals[i], nullptr, &earlier_[i]);
            if (earlier_[i].sa_handler != SIG_IGN) {
                ::sigaction(watchedSignals[i], &action, nullptr);
            }
        }
    }
    ~Signals() {
        for (std::size_t i = 0; i < watchedSignals.size(); ++i) {
            ::sigaction(watchedSignals[i], &earlier_[i], nullptr);
        }
        wakeDescriptor = -1;
    }
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

    static void throwIfAny() {
        if (const int signal = lastSignal; signal != 0) {
            throw Interrupted{signal};
        }
    }

private:
    std::array<struct sigaction, watchedSignals.size()> earlier_{};
};

MainLoop::MainLoop() : wake_(std::make_shared<Wake>()), signals_(std::make_unique<Signals>(wake_->descriptor())) {}

MainLoop::~MainLoop() = default;

void MainLoop::attach(ThreadScheduler& scheduler) {
    scheduler_ = &scheduler;
    scheduler.setMainWake(wake());
}

void MainLoop::detach() {
    scheduler_->setMainWake(nullptr);
    scheduler_ = nullptr;
}

std::function<void()> MainLoop::wake() const {
    return [wake = wake_] { wake->set(); };
}

void MainLoop::run() {
    Signals::throwIfAny();
    scheduler_->drainMain();
}

bool MainLoop::wait(int descriptor, int milliseconds) {
    std::array<pollfd, 2> entries{{{wake_->descriptor(), POLLIN, 0}, {descriptor, POLLIN, 0}}};
    ::poll(entries.data(), entries.size(), milliseconds);
    wake_->clear();
    return entries[1].revents != 0;
}

bool MainLoop::runUntil(const std::function<bool()>& condition, platform::Duration limit) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    while (true) {
        run();
        if (condition()) {
            return true;
        }
        const auto left = limit - (Clock::now() - start);
        if (left <= left.zero()) {
            return false;
        }
        constexpr std::chrono::milliseconds longestWait = std::chrono::hours(1);
        const auto wanted = std::chrono::ceil<std::chrono::milliseconds>(left);
        wait(-1, static_cast<int>(std::min(wanted, longestWait).count()));
    }
}

void MainLoop::runUntilReadable(int descriptor) {
    do {
        run();
    } while (!wait(descriptor, -1));
    run();
}

} // namespace tarnel::command
