#pragma once

#include <chrono>

namespace tarnel::platform {

using TimePoint = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

/// A date and time of day in the user's time zone.
struct LocalTime {
    int year = 1970;
    int month = 1; ///< 1 to 12
    int day = 1;   ///< 1 to 31
    int hour = 0;
    int minute = 0;
    int second = 0;
    int nanosecond = 0;
};

/// The time of day. The only way by which the SDK learns the time. Called on any thread.
class Clock {
public:
    virtual ~Clock() = default;
    virtual TimePoint now() const = 0;
    virtual LocalTime localTime(TimePoint time) const = 0;
};

} // namespace tarnel::platform
