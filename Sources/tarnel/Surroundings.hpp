#pragma once

#include "SurroundingsOptions.hpp"

#include <TarnelSDK/device/Tarnel.hpp>
#include <TarnelSDK/platform/Queue.hpp>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace tarnel::command {

class Simulation;

/// Values that crossed the air.
struct Traffic {
    std::size_t writes = 0;
    std::size_t writtenBytes = 0;
    std::size_t received = 0; ///< values from the glasses
    std::size_t receivedBytes = 0;
    std::size_t losses = 0;    ///< connections that ended
    platform::Duration last{}; ///< when the last value of all crossed
};

/// Where the glasses of a command are: the platform that the SDK runs on, and how time passes. While it lives, its
/// platform is installed and its manager has been started. On the main thread only; the main queue's blocks run in
/// those operations that let time pass. They throw `Failure`, and `Interrupted` when the user ends the program.
class Surroundings {
public:
    /// Simulated glasses, or those on the air. Throws `Failure` when there can be none such.
    static std::unique_ptr<Surroundings> make(const SurroundingsOptions& options);

    Surroundings() = default;
    virtual ~Surroundings() = default;
    Surroundings(const Surroundings&) = delete;
    Surroundings& operator=(const Surroundings&) = delete;

    /// Null on the air.
    virtual Simulation* simulation() { return nullptr; }

    /// The linked glasses; empty when there are none.
    std::shared_ptr<Tarnel> device() const;

    /// The time since this was made.
    virtual platform::Duration now() = 0;
    virtual Traffic traffic() = 0;

    /// Throws `Failure` when the trace could not be written.
    virtual void requireTrace() = 0;

    /// Lets happen what is due, without waiting.
    virtual void run() = 0;
    virtual void advance(platform::Duration duration) = 0;
    /// Returns when there is something to read from the descriptor, or its end.
    virtual void awaitInput(int descriptor) = 0;

    /// Returns when the linked glasses can be used. Simulated ones are linked first.
    virtual void connect() = 0;

    /// Lets time pass until nothing is queued and the air is quiet. A connection that is under way or coming back is
    /// waited for, within limits. `progressed` is called now and then.
    virtual void waitUntilIdle(const std::function<void()>& progressed = {}) = 0;

    /// Returns when the glasses have taken all that has been sent.
    virtual void awaitReceipt() = 0;

    /// Leaves what the glasses show for as long as the user wants. `restore` is called when they are back after they
    /// were away; it may throw `Failure` when they go again.
    virtual void linger(const std::function<void()>& restore) = 0;

    /// An application's request is under way whose end `waitUntilIdle` waits for, as for a connection.
    void setIsLinking(bool isLinking) { isLinking_ = isLinking; }

    /// Ends the application and starts its manager again with the stored settings. REQUIRES: no object of the SDK is
    /// held.
    virtual void relaunch() = 0;

protected:
    /// Whether a connection is asked for, or coming back.
    bool isConnectionExpected() const;

private:
    bool isLinking_ = false;
};

} // namespace tarnel::command
