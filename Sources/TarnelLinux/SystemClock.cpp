#include <TarnelLinux/SystemClock.hpp>

#include <chrono>
#include <ctime>

namespace tarnel {

platform::TimePoint SystemClock::now() const {
    return std::chrono::system_clock::now();
}

platform::LocalTime SystemClock::localTime(platform::TimePoint time) const {
    const auto whole = std::chrono::floor<std::chrono::seconds>(time);
    const std::time_t seconds = std::chrono::system_clock::to_time_t(whole);
    std::tm broken{};
    if (!::localtime_r(&seconds, &broken)) {
        return {};
    }
    return {.year = broken.tm_year + 1900,
            .month = broken.tm_mon + 1,
            .day = broken.tm_mday,
            .hour = broken.tm_hour,
            .minute = broken.tm_min,
            .second = broken.tm_sec,
            .nanosecond = static_cast<int>((time - whole).count())};
}

} // namespace tarnel
