#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace tarnel {

/// How far a pair of glasses is from being usable.
enum class DeviceState {
    bluetoothNotAuthorized,
    bluetoothOff,
    scanning,
    notConnected,
    connecting,
    connected,
    unknown,
    notBonded,
    notBondedNoInput,
    authenticationFailed,
};

std::string_view name(DeviceState state);

/// The hardware or firmware revision that the glasses report.
enum class Revision { v1, v2, v3, unknown };

std::string_view rawValue(Revision revision);
/// `unknown` for a text that is no revision.
Revision revisionFromRawValue(std::string_view rawValue);

/// What the glasses' display shows for an application; the number is the wire value.
enum class Layout { default_ = 0, textBottomLeftAlign = 1, textBottomCenterAlign = 2, navigation = 3, canvas = 4 };

std::optional<Layout> layoutFromRawValue(int rawValue);

/// A setting of the glasses.
enum class Property { deviceName, brightness, version, fontSize };

/// The key of the setting in messages.
std::string_view rawValue(Property property);
std::optional<Property> propertyFromRawValue(std::string_view rawValue);

enum class TarnelPropertyType { string = 0, integer = 1 };

/// An error that the firmware reported, with its text.
struct FirmwareError {
    enum class Code { CODE_UNKNOWN_COMMAND, CODE_FAILED_COMMAND };
    Code code = Code::CODE_UNKNOWN_COMMAND;
    std::string message;

    static FirmwareError CODE_UNKNOWN_COMMAND(std::string message) {
        return {Code::CODE_UNKNOWN_COMMAND, std::move(message)};
    }
    static FirmwareError CODE_FAILED_COMMAND(std::string message) {
        return {Code::CODE_FAILED_COMMAND, std::move(message)};
    }
    friend bool operator==(const FirmwareError&, const FirmwareError&) = default;
};

/// What the GATT channel is doing.
enum class ChannelState { idle, reading, writing };

} // namespace tarnel
