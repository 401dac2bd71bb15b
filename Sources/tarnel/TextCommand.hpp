#pragma once

#include "Simulation.hpp"

#include <TarnelSDK/device/DeviceTypes.hpp>
#include <TarnelSDK/display/LVGLSlotManager.hpp>

#include <optional>
#include <string>

namespace tarnel::command {

struct TextOptions {
    std::string text; ///< "-" for standard input
    Layout layout = Layout::canvas;
    std::optional<double> size; ///< pixels
    std::optional<std::string> locale;
    std::optional<std::string> font; ///< a family or a file
    TextArguments label{.anchor = Anchor::center};
    /// Whether anything was said of the label, which other layouts do not have.
    bool saysLabel = false;
    std::optional<std::string> frame; ///< file to write
    bool asJSON = false;
    SimulationOptions simulation;
};

/// Shows a text on the glasses.
void showText(const TextOptions& options);

} // namespace tarnel::command
