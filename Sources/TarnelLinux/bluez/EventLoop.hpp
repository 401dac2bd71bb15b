#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

namespace tarnel::bluez {

/// A thread that runs tasks one at a time: those posted, those whose time has come, and those of file descriptors that
/// are ready. Ends with the object.
class EventLoop {
public:
    using Task = std::function<void()>;
    using Duration = std::chrono::steady_clock::duration;
    using Timer = std::uint64_t; ///< 0 is none

    /// A source that is polled along with the rest, such as a bus connection.
    struct Source {
        struct Poll {
            int descriptor = -1;
            short events = 0;
            int milliseconds = -1; ///< until it wants attention in any case; -1 for never
        };
        std::function<Poll()> prepare;
        std::function<void()> dispatch; ///< called before every wait
    };

    EventLoop();
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /// Any thread.
    void post(Task task);
    /// Does the same, and nothing once the loop has ended or is gone. Any thread.
    std::function<void(Task)> poster() const;
    /// Runs what has been posted so far, drops all else, and returns when the thread has ended; called on that thread,
    /// at once, and then it ends after the task under way. Any thread, once or more, from several at a time.
    /// `kept` is what the task under way may use when that is the one to end it: it is let go once the thread has done
    /// all it does.
    void end(std::shared_ptr<const void> kept = nullptr);
    /// Whether no more tasks are run. Any thread.
    bool hasEnded() const;

    // On the loop's thread only.

    Timer after(Duration delay, Task task);
    void cancel(Timer timer);
    /// Calls `ready` whenever one of the events (of poll(2)), an error or a hang-up is there, until `unwatch`.
    void watch(int descriptor, short events, std::function<void(short)> ready);
    void unwatch(int descriptor);
    /// None when its functions are empty.
    void setSource(Source source);

private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace tarnel::bluez
