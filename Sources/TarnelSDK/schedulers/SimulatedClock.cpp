#include <TarnelSDK/platform/Precondition.hpp>
#include <TarnelSDK/schedulers/SimulatedClock.hpp>

#include <utility>

namespace tarnel {

using namespace std::chrono_literals;

constexpr platform::TimePoint SimulatedClock::defaultStart =
    std::chrono::sys_days(std::chrono::year(2026) / 1 / 1) + 12h;

SimulatedClock::SimulatedClock(std::shared_ptr<const SimulatedScheduler> scheduler, platform::TimePoint start)
    : scheduler_(std::move(scheduler)), start_(start) {
    precondition(scheduler_ != nullptr, "a simulated clock has a scheduler");
}

platform::TimePoint SimulatedClock::now() const {
    return start_ + scheduler_->now();
}

platform::LocalTime SimulatedClock::localTime(platform::TimePoint time) const {
    const auto midnight = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(midnight);
    const std::chrono::hh_mm_ss timeOfDay(time - midnight);
    return {.year = static_cast<int>(date.year()),
            .month = static_cast<int>(static_cast<unsigned>(date.month())),
            .day = static_cast<int>(static_cast<unsigned>(date.day())),
            .hour = static_cast<int>(timeOfDay.hours().count()),
            .minute = static_cast<int>(timeOfDay.minutes().count()),
            .second = static_cast<int>(timeOfDay.seconds().count()),
            .nanosecond = static_cast<int>(timeOfDay.subseconds().count())};
}

} // namespace tarnel
