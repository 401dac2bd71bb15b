#include <TarnelSDK/display/CanvasMessages.hpp>
#include <TarnelSDK/display/DisplayDevice.hpp>
#include <TarnelSDK/messagepack/Pack.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <cstdint>
#include <utility>

namespace tarnel {

MessagePackValue unsignedValue(int number) {
    precondition(number >= 0, "coordinates and sizes on the display are not negative");
    return MessagePackValue(static_cast<std::uint64_t>(number));
}

MessagePackValue command(const char* key, MessagePackValue argument) {
    return MessagePackValue::map({{key, std::move(argument)}});
}

Bytes packedCommand(const char* layer, const char* key, MessagePackValue argument) {
    return pack(command(layer, command(key, std::move(argument))));
}

void sendToDisplay(Bytes message) {
    if (const auto device = currentDisplayDevice()) {
        device->sendData(std::move(message), ItemType::longwrite);
    }
}

void sendCommand(const char* layer, const char* key, MessagePackValue argument) {
    sendToDisplay(packedCommand(layer, key, std::move(argument)));
}

} // namespace tarnel
