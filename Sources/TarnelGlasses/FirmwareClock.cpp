#include <TarnelGlasses/FirmwareClock.hpp>

#include <array>
#include <chrono>
#include <cstdio>
#include <string_view>

namespace tarnel::glasses {

namespace {

using namespace std::chrono;

/// The decimal number in `digits`; -1 when there is anything else.
int number(std::string_view digits) {
    int value = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '9') {
            return -1;
        }
        value = value * 10 + (digit - '0');
    }
    return value;
}

std::optional<sys_seconds> parse(std::string_view text) {
    if (text.size() != 15 || text[8] != 'T') {
        return std::nullopt;
    }
    const int hour = number(text.substr(9, 2));
    const int minute = number(text.substr(11, 2));
    const int second = number(text.substr(13, 2));
    const int years = number(text.substr(0, 4));
    const int months = number(text.substr(4, 2));
    const int days = number(text.substr(6, 2));
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59 || years < 0 || months < 0 ||
        days < 0) {
        return std::nullopt;
    }
    const year_month_day date{year(years), month(static_cast<unsigned>(months)), day(static_cast<unsigned>(days))};
    if (!date.ok()) {
        return std::nullopt;
    }
    return sys_days(date) + hours(hour) + minutes(minute) + seconds(second);
}

} // namespace

bool FirmwareClock::set(const std::string& text, platform::Duration now) {
    const auto time = parse(text);
    if (!time) {
        return false;
    }
    text_ = text;
    time_ = *time;
    setAt_ = now;
    return true;
}

std::optional<std::string> FirmwareClock::at(platform::Duration now) const {
    if (!text_) {
        return std::nullopt;
    }
    const auto time = time_ + duration_cast<seconds>(now - setAt_);
    const auto midnight = floor<days>(time);
    const year_month_day date(midnight);
    const hh_mm_ss clock(time - midnight);
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%04d%02u%02uT%02d%02d%02d", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return std::string(text.data());
}

std::optional<platform::Duration> FirmwareClock::untilNextMinute(platform::Duration now) const {
    if (!text_) {
        return std::nullopt;
    }
    const auto passed = (time_ - floor<minutes>(time_)) + (now - setAt_);
    return minutes(1) - passed % minutes(1);
}

} // namespace tarnel::glasses
