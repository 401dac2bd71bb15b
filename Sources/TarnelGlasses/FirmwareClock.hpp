#pragma once

#include <TarnelSDK/platform/Queue.hpp>

#include <chrono>
#include <optional>
#include <string>

namespace tarnel::glasses {

/// The time of day on the glasses, which they learn from the phone.
class FirmwareClock {
public:
    /// Sets it to a text "yyyyMMddTHHmmss" at the moment `now`; false when that is no date and time.
    bool set(const std::string& text, platform::Duration now);
    void forget() { text_.reset(); }

    const std::optional<std::string>& text() const { return text_; }
    /// The text of the time at the moment `now`.
    std::optional<std::string> at(platform::Duration now) const;
    /// From the moment `now` until hours and minutes change; nothing when no time is set.
    std::optional<platform::Duration> untilNextMinute(platform::Duration now) const;

private:
    std::optional<std::string> text_;
    std::chrono::sys_seconds time_;
    platform::Duration setAt_{};
};

} // namespace tarnel::glasses
