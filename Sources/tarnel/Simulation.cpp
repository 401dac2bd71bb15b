#include "Simulation.hpp"

#include "Failure.hpp"
#include "Resources.hpp"
#include "Text.hpp"

#include <TarnelSDK/manager/TarnelManager.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::command {
namespace {

using namespace std::chrono_literals;

constexpr auto connectionLimit = 30s;
constexpr auto standstillLimit = 600s;
constexpr platform::Duration step = 50ms;
constexpr platform::Duration quiet = 300ms;
/// Connection intervals without a value after which nothing is under way any more.
constexpr int quietIntervals = 20;

std::string standstillText(bool isStalled, std::size_t queued) {
    const std::string reason = isStalled ? "the air is stalled; \"glasses.resume\" ends that"
                                         : "the glasses are out of range or a write was refused; \"disconnect\" and "
                                           "\"connect\" start anew";
    return "nothing has moved for 600 seconds and " + grouped(queued) + " bytes are queued: " + reason;
}

} // namespace

Simulation::Simulation(const SurroundingsOptions& options) {
    if (options.trace) {
        trace_.emplace(*options.trace);
    }
    glasses::WorldOptions world;
    world.seed = options.simulation.seed;
    world.link = options.simulation.link;
    world.bundleIdentifier = "tarnel.command";
    world_ = std::make_unique<glasses::SimulatedWorld>(world);
    if (options.locale) {
        world_->application().setLocale(*options.locale);
    }
    world_->application().setResourceDirectory(installedResources());
    glasses_ = world_->addGlasses(options.simulation.glasses);
    glasses_->setTrace([this](const glasses::GattTraceEvent& event) { observe(event); });
    TarnelManager::shared();
}

Simulation::~Simulation() = default;

void Simulation::observe(const glasses::GattTraceEvent& event) {
    if (event.kind != glasses::GattTraceEvent::Kind::notify) {
        ++traffic_.writes;
        traffic_.writtenBytes += event.value.size();
    } else {
        ++traffic_.received;
        traffic_.receivedBytes += event.value.size();
    }
    traffic_.last = event.time;
    if (!trace_ || traceFailure_) {
        return;
    }
    try {
        trace_->write(event);
    } catch (const Failure&) {
        traceFailure_ = std::current_exception();
    }
}

void Simulation::requireTrace() {
    if (traceFailure_) {
        std::rethrow_exception(traceFailure_);
    }
}

void Simulation::connect() {
    auto& manager = TarnelManager::shared();
    // The central keeps the callback.
    const auto found = std::make_shared<platform::PeripheralPointer>();
    world_->runUntil([&] { return manager.isReady.value(); }, connectionLimit);
    manager.startScan([found](const platform::PeripheralPointer& peripheral) { *found = peripheral; });
    world_->runUntil([&] { return *found != nullptr; }, connectionLimit);
    if (!*found) {
        manager.stopScan();
        run();
        throw Failure("no glasses were found in 30 seconds; they must be in range, on, and not in update mode");
    }
    manager.link(std::exchange(*found, nullptr), nullptr);
    const bool isConnected = world_->runUntil(
        [&] {
            const auto linked = device();
            return linked && linked->isConnected.value();
        },
        connectionLimit);
    run();
    if (!isConnected) {
        throw Failure("the glasses were found, but could not be used within 30 seconds; restart them and try again");
    }
}

void Simulation::waitUntilIdle(const std::function<void()>& progressed) {
    const auto start = now();
    const auto& link = world_->options().link;
    const auto silence = std::max(quiet, link.connectionInterval * quietIntervals);
    while (true) {
        run();
        if (progressed) {
            progressed();
        }
        const auto linked = device();
        const bool isQueued = linked && linked->hasDataInOutgoingQueue();
        const auto standstill = now() - std::max(start, traffic_.last);
        const bool isAwaited = isConnectionExpected() && standstill < connectionLimit;
        if (!isQueued && !isStalled() && !isAwaited && standstill >= silence) {
            return;
        }
        if (standstill >= standstillLimit) {
            throw Failure(standstillText(isStalled(), linked ? linked->pendingByteCount() : 0));
        }
        advance(step);
    }
}

void Simulation::relaunch() {
    setIsLinking(false);
    world_->relaunch();
    TarnelManager::shared();
}

} // namespace tarnel::command
