#pragma once

#include <TarnelSDK/platform/Bluetooth.hpp>

#include <string>
#include <utility>

namespace tarnel::glasses {

/// Codes of the attribute protocol (Bluetooth Core, Vol 3, Part F, 3.4.1.1) that the simulation uses.
enum AttributeError : int {
    invalidHandle = 0x01,
    readNotPermitted = 0x02,
    writeNotPermitted = 0x03,
    requestNotSupported = 0x06,
    invalidAttributeValueLength = 0x0d,
    unlikelyError = 0x0e,
};

inline platform::BluetoothError attributeError(int code, std::string description) {
    return {platform::BluetoothError::Domain::attribute, code, std::move(description)};
}

inline platform::BluetoothError centralError(int code, std::string description) {
    return {platform::BluetoothError::Domain::central, code, std::move(description)};
}

inline platform::BluetoothError peripheralEnded() {
    return centralError(platform::peripheralDisconnected, "The peripheral ended the connection.");
}

} // namespace tarnel::glasses
