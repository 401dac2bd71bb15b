#pragma once

#include "SimulationOptions.hpp"
#include "TraceWriter.hpp"

#include <TarnelGlasses/SimulatedWorld.hpp>
#include <TarnelSDK/device/Tarnel.hpp>
#include <TarnelSDK/platform/Queue.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tarnel::command {

/// Values that crossed the air, in either direction.
struct Traffic {
    std::size_t writes = 0;
    std::size_t writtenBytes = 0;
    platform::Duration last{}; ///< when the last value of all crossed
};

/// One pair of simulated glasses and an application in virtual time, whose manager has been started. Everything runs on
/// the caller's thread, and only while this is told to let it run.
class Simulation {
public:
    /// Throws `Failure` when glasses that are not simulated are asked for, or the trace cannot be written.
    explicit Simulation(const SimulationOptions& options);
    ~Simulation();
    Simulation(const Simulation&) = delete;
    Simulation& operator=(const Simulation&) = delete;

    glasses::SimulatedWorld& world() { return *world_; }
    glasses::SimulatedGlasses& glasses() { return *glasses_; }
    platform::Duration now() { return world_->scheduler().now(); }
    const Traffic& traffic() const { return traffic_; }

    /// The linked glasses; empty when there are none.
    std::shared_ptr<Tarnel> device() const;

    /// Lets happen what is due, without time passing.
    void run() { world_->run(); }
    void advance(platform::Duration duration) { world_->advance(duration); }

    /// Throws `Failure` when the trace could not be written.
    void requireTrace() const;

    /// Scans, links the first glasses found, and returns when they can be used. Throws `Failure` when they cannot
    /// within 30 seconds.
    void link();

    /// Lets time pass until nothing is queued and the air is quiet. A connection that is under way or coming back is
    /// waited for, at most 30 seconds. `progressed` is called now and then. Throws `Failure` after 600 seconds in which
    /// nothing moved.
    void waitUntilIdle(const std::function<void()>& progressed = {});

    /// An application's request is under way whose end `waitUntilIdle` waits for, as for a connection.
    void setIsLinking(bool isLinking) { isLinking_ = isLinking; }

    /// The air stands still, as far as is known for so long.
    void setStalled(std::optional<platform::Duration> until) { stalledUntil_ = until; }

    /// Ends the application and starts its manager again with the stored settings. REQUIRES: no object of the SDK is
    /// held.
    void relaunch();

private:
    void observe(const glasses::GattTraceEvent& event);
    bool isConnectionExpected() const;
    bool isStalled() { return stalledUntil_ && now() < *stalledUntil_; }

    std::optional<TraceWriter> trace_;
    std::exception_ptr traceFailure_;
    Traffic traffic_;
    bool isLinking_ = false;
    std::optional<platform::Duration> stalledUntil_;
    std::unique_ptr<glasses::SimulatedWorld> world_;
    std::shared_ptr<glasses::SimulatedGlasses> glasses_;
};

} // namespace tarnel::command
