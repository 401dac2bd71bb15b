#pragma once

#include <TarnelSDK/platform/Queue.hpp>
#include <TarnelSDK/schedulers/ThreadScheduler.hpp>

#include <functional>
#include <memory>

namespace tarnel::command {

/// Runs the blocks of a main queue in real time. While it lives, SIGINT and SIGTERM do not end the program: what waits
/// here then throws `Interrupted`. A second one ends it as usual. One at a time, on the main thread, `wake` excepted.
class MainLoop {
public:
    MainLoop();
    ~MainLoop();
    MainLoop(const MainLoop&) = delete;
    MainLoop& operator=(const MainLoop&) = delete;

    /// The main queue to run; it outlives its use here.
    void attach(ThreadScheduler& scheduler);
    void detach();

    /// Has a condition that is waited for looked at again. Any thread, also when the loop is gone.
    std::function<void()> wake() const;

    /// Runs what is there, without waiting.
    void run();
    /// Until the condition holds; false when it does not within the time.
    bool runUntil(const std::function<bool()>& condition, platform::Duration limit);
    /// Until there is something to read.
    void runUntilReadable(int descriptor);

private:
    class Wake;
    class Signals;

    /// Waits for `wake`, a signal, the descriptor or the end of the time; whether the descriptor is readable.
    bool wait(int descriptor, int milliseconds);

    std::shared_ptr<Wake> wake_;
    std::unique_ptr<Signals> signals_;
    ThreadScheduler* scheduler_ = nullptr;
};

} // namespace tarnel::command
