#include <TarnelSDK/device/DeviceTypes.hpp>

#include <array>
#include <utility>

namespace tarnel {
namespace {

constexpr std::array<std::pair<Revision, std::string_view>, 4> revisions{{
    {Revision::v1, "1.0.0"},
    {Revision::v2, "2"},
    {Revision::v3, "3"},
    {Revision::unknown, "unknown"},
}};

constexpr std::array<std::pair<Property, std::string_view>, 4> properties{{
    {Property::deviceName, "dev_name"},
    {Property::brightness, "led"},
    {Property::version, "app_ver"},
    {Property::fontSize, "fontSize"},
}};

} // namespace

std::string_view name(DeviceState state) {
    switch (state) {
    case DeviceState::bluetoothNotAuthorized:
        return "bluetoothNotAuthorized";
    case DeviceState::bluetoothOff:
        return "bluetoothOff";
    case DeviceState::scanning:
        return "scanning";
    case DeviceState::notConnected:
        return "notConnected";
    case DeviceState::connecting:
        return "connecting";
    case DeviceState::connected:
        return "connected";
    case DeviceState::unknown:
        return "unknown";
    case DeviceState::notBonded:
        return "notBonded";
    case DeviceState::notBondedNoInput:
        return "notBondedNoInput";
    case DeviceState::authenticationFailed:
        return "authenticationFailed";
    }
    return "unknown";
}

std::string_view rawValue(Revision revision) {
    for (const auto& [value, text] : revisions) {
        if (value == revision) {
            return text;
        }
    }
    return "unknown";
}

Revision revisionFromRawValue(std::string_view rawValue) {
    for (const auto& [value, text] : revisions) {
        if (text == rawValue) {
            return value;
        }
    }
    return Revision::unknown;
}

std::optional<Layout> layoutFromRawValue(int rawValue) {
    if (rawValue < static_cast<int>(Layout::default_) || rawValue > static_cast<int>(Layout::canvas)) {
        return std::nullopt;
    }
    return static_cast<Layout>(rawValue);
}

std::string_view rawValue(Property property) {
    for (const auto& [value, text] : properties) {
        if (value == property) {
            return text;
        }
    }
    return {};
}

std::optional<Property> propertyFromRawValue(std::string_view rawValue) {
    for (const auto& [value, text] : properties) {
        if (text == rawValue) {
            return value;
        }
    }
    return std::nullopt;
}

} // namespace tarnel
