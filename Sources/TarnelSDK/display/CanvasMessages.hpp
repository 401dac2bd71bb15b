#pragma once

#include <TarnelSDK/messagepack/MessagePackValue.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

namespace tarnel {

/// The layers of the display, as messages name them.
inline constexpr const char* backgroundLayer = "canvas";
inline constexpr const char* objectLayer = "lvgl_obj";

/// REQUIRES: the number is not negative.
MessagePackValue unsignedValue(int number);

/// A map of one entry.
MessagePackValue command(const char* key, MessagePackValue argument);

/// The bytes of {layer: {key: argument}}.
Bytes packedCommand(const char* layer, const char* key, MessagePackValue argument);

/// Gives the bytes of a message to the current device; drops them when there is none.
void sendToDisplay(Bytes message);
void sendCommand(const char* layer, const char* key, MessagePackValue argument);

} // namespace tarnel
