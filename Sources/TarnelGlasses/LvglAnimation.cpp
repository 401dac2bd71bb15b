#include <TarnelGlasses/LvglAnimation.hpp>

#include <algorithm>
#include <cstdint>

namespace tarnel::glasses {

namespace {

using std::chrono::milliseconds;

milliseconds roundUp(milliseconds time) {
    return (time + LvglAnimation::period - milliseconds(1)) / LvglAnimation::period * LvglAnimation::period;
}

/// From `start` to `end` in 1024 steps, rounded down.
int linear(int start, int end, milliseconds age, milliseconds duration) {
    constexpr std::int64_t steps = 1024;
    const auto step = age >= duration ? steps : age.count() * steps / duration.count();
    const auto distance = std::int64_t{end} - start;
    return static_cast<int>(start + ((step * distance) >> 10));
}

} // namespace

int LvglAnimation::at(milliseconds age) const {
    const auto firstLap = std::max(roundUp(duration), period);
    const auto laterLap = std::max(roundUp(duration + wait), period);

    // The lap's last move belongs to it, not to the next one.
    std::int64_t lap = 0;
    auto lapAge = age;
    if (age > firstLap) {
        const auto later = age - firstLap - milliseconds(1);
        lap = 1 + later / laterLap;
        lapAge = age - firstLap - (lap - 1) * laterLap - wait;
    }
    const bool isBackwards = goesBack && lap % 2 == 1;
    const int from = isBackwards ? end : start;
    const int to = isBackwards ? start : end;
    if (lapAge >= milliseconds(0)) {
        return linear(from, to, lapAge, duration);
    }
    return goesBack ? from : end;
}

milliseconds LvglAnimation::untilNextMove(milliseconds age) {
    return period - age % period;
}

} // namespace tarnel::glasses
