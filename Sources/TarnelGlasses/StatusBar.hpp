#pragma once

#include <TarnelGlasses/Frame.hpp>

#include <cstddef>
#include <optional>
#include <string>

namespace tarnel::glasses {

/// What the status bar at the top of the display tells.
struct StatusBar {
    static constexpr int height = 44; ///< of the rows that it draws on, from the top
    static constexpr std::uint8_t level = 2;

    std::optional<std::string> time; ///< "yyyyMMddTHHmmss"; dashes are shown without
    int batteryLevel = 0;            ///< percent, 0 to 100
    bool isCharging = false;
    std::size_t notifications = 0; ///< of the host

    /// Draws hours and minutes at the left, the battery at the right, and a cross beside it when it charges. In the
    /// middle stands a letter with the number of notifications, at most 99, when there are some.
    void draw(Frame& frame) const;
};

} // namespace tarnel::glasses
