#pragma once

#include <TarnelSDK/device/Tarnel.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <cstdint>
#include <functional>

namespace tarnel::radio {

/// What the glasses have when it is drawn.
struct Drawn {
    Bytes frame; ///< levels
    std::uint64_t messages = 0;
};

/// A background with a picture, shapes and static text, labels in several scripts, and an image.
void drawScene(Tarnel& device);

/// A photograph of the size of the display as the background.
void drawPhotograph(Tarnel& device);

/// Draws on glasses of this process, without any radio.
Drawn drawInProcess(const std::function<void(Tarnel&)>& draw);

} // namespace tarnel::radio
