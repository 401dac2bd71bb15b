#pragma once

#include <TarnelSDK/platform/Clock.hpp>
#include <TarnelSDK/schedulers/SimulatedScheduler.hpp>

#include <memory>

namespace tarnel {

/// The time of day of a simulation: a start date plus the virtual time of its scheduler. Local time is UTC. Called on
/// the scheduler's thread.
class SimulatedClock : public platform::Clock {
public:
    /// 2026-01-01 12:00:00 UTC.
    static const platform::TimePoint defaultStart;

    explicit SimulatedClock(std::shared_ptr<const SimulatedScheduler> scheduler,
                            platform::TimePoint start = defaultStart);

    platform::TimePoint now() const override;
    platform::LocalTime localTime(platform::TimePoint time) const override;

private:
    std::shared_ptr<const SimulatedScheduler> scheduler_;
    platform::TimePoint start_;
};

} // namespace tarnel
