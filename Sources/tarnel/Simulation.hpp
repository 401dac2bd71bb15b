#pragma once

#include "Surroundings.hpp"
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

/// One pair of simulated glasses and an application in virtual time. Everything runs on the caller's thread, and only
/// while this is told to let it run. A connection is waited for at most 30 seconds, the end of a stall 600.
class Simulation final : public Surroundings {
public:
    explicit Simulation(const SurroundingsOptions& options);
    ~Simulation() override;

    Simulation* simulation() override { return this; }
    glasses::SimulatedWorld& world() { return *world_; }
    glasses::SimulatedGlasses& glasses() { return *glasses_; }

    platform::Duration now() override { return world_->scheduler().now(); }
    Traffic traffic() override { return traffic_; }
    void requireTrace() override;
    void run() override { world_->run(); }
    void advance(platform::Duration duration) override { world_->advance(duration); }
    /// Reading waits, as no time passes.
    void awaitInput(int) override {}
    /// Scans and links the first glasses found.
    void connect() override;
    void waitUntilIdle(const std::function<void()>& progressed = {}) override;
    void awaitReceipt() override {}
    void linger(const std::function<void()>&) override {}
    void relaunch() override;

    /// The air stands still, as far as is known for so long.
    void setStalled(std::optional<platform::Duration> until) { stalledUntil_ = until; }

private:
    void observe(const glasses::GattTraceEvent& event);
    bool isStalled() { return stalledUntil_ && now() < *stalledUntil_; }

    std::optional<TraceWriter> trace_;
    std::exception_ptr traceFailure_;
    Traffic traffic_;
    std::optional<platform::Duration> stalledUntil_;
    std::unique_ptr<glasses::SimulatedWorld> world_;
    std::shared_ptr<glasses::SimulatedGlasses> glasses_;
};

} // namespace tarnel::command
