#pragma once

#include <TarnelSDK/platform/Clock.hpp>

namespace tarnel {

/// The machine's time of day, in the time zone of the process ("TZ", or the machine's).
class SystemClock final : public platform::Clock {
public:
    platform::TimePoint now() const override;
    platform::LocalTime localTime(platform::TimePoint time) const override;
};

} // namespace tarnel
