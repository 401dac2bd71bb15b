#pragma once

#include <TarnelSDK/platform/Queue.hpp>

#include <chrono>

namespace tarnel::glasses {

/// A value that LVGL moves evenly from `start` to `end`, again and again.
///
/// LVGL moves it every 30 ms and whenever it draws. A lap ends with the first regular move at or after its duration,
/// and what passed since is lost, so laps take a multiple of 30 ms.
struct LvglAnimation {
    static constexpr std::chrono::milliseconds period{30};

    int start = 0;
    int end = 0;
    std::chrono::milliseconds duration{}; ///< of one lap; 0 stays at the end
    std::chrono::milliseconds wait{};     ///< before each lap but the first
    bool goesBack = false;                ///< every other lap goes from `end` to `start`

    /// The value when drawn at `age` since the beginning, which is not negative.
    int at(std::chrono::milliseconds age) const;
    /// From `age` until LVGL moves it again.
    static std::chrono::milliseconds untilNextMove(std::chrono::milliseconds age);
};

} // namespace tarnel::glasses
