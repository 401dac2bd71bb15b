#include <TarnelLinux/bluez/Errors.hpp>

#include <array>
#include <charconv>
#include <string_view>
#include <utility>

namespace tarnel::bluez {

using platform::BluetoothError;

namespace {

/// A text of the daemon's and the attribute error that it stands for (src/gatt-client.c of BlueZ).
struct Named {
    std::string_view name;
    std::string_view text; ///< part of the message; any when empty
    int code;
};

constexpr std::array<Named, 9> attributeErrors{{
    {"org.bluez.Error.NotPermitted", "Not paired", platform::insufficientAuthentication},
    {"org.bluez.Error.NotPermitted", "Read not permitted", 0x02},
    {"org.bluez.Error.NotPermitted", "Write not permitted", 0x03},
    {"org.bluez.Error.NotPermitted", "", 0x03},
    {"org.bluez.Error.NotAuthorized", "", 0x08},
    {"org.bluez.Error.NotSupported", "", 0x06},
    {"org.bluez.Error.InvalidOffset", "", 0x07},
    {"org.bluez.Error.InvalidValueLength", "", 0x0d},
    {"org.bluez.Error.InvalidArguments", "Invalid Length", 0x0d},
}};

constexpr int insufficientEncryptionKeySize = 0x0c;
constexpr int insufficientEncryption = 0x0f;

std::optional<int> codeInText(std::string_view message) {
    constexpr std::string_view before = "ATT error: 0x";
    const auto at = message.find(before);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view digits = message.substr(at + before.size());
    int code = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), code, 16);
    return error == std::errc() && code > 0 && code <= 0xff ? std::optional(code) : std::nullopt;
}

bool contains(const Failure& failure, std::string_view text) {
    return failure.message.find(text) != std::string::npos;
}

std::string described(const Failure& failure) {
    return failure.message.empty() ? failure.name : failure.name + ": " + failure.message;
}

} // namespace

BluetoothError attributeError(const Failure& failure) {
    if (auto code = codeInText(failure.message)) {
        // All three say that the link lacks what pairing would give it.
        if (code == insufficientEncryption || code == insufficientEncryptionKeySize) {
            code = platform::insufficientAuthentication;
        }
        return {BluetoothError::Domain::attribute, *code, described(failure)};
    }
    for (const auto& [name, text, code] : attributeErrors) {
        if (failure.name == name && contains(failure, text)) {
            return {BluetoothError::Domain::attribute, code, described(failure)};
        }
    }
    return centralError(platform::connectionUnknownError, described(failure));
}

BluetoothError connectionError(const Failure& failure, bool isBonded) {
    const bool isRefused = failure.name == "org.bluez.Error.AuthenticationFailed" ||
                           failure.name == "org.bluez.Error.AuthenticationRejected" ||
                           contains(failure, "key-missing") || contains(failure, "auth-failed");
    if (isRefused && isBonded) {
        return centralError(platform::peerRemovedPairingInformation, described(failure));
    }
    if (contains(failure, "timeout") || failure.name == "org.freedesktop.DBus.Error.NoReply") {
        return centralError(platform::connectionTimedOut, described(failure));
    }
    return centralError(platform::connectionFailed, described(failure));
}

BluetoothError centralError(int code, std::string description) {
    return {BluetoothError::Domain::central, code, std::move(description)};
}

bool isInProgress(const Failure& failure) {
    return failure.name == "org.bluez.Error.InProgress" || contains(failure, "already in progress") ||
           contains(failure, "InProgress") || contains(failure, "busy");
}

bool isForbidden(const Failure& failure) {
    return failure.name == "org.freedesktop.DBus.Error.AccessDenied" ||
           failure.name == "org.freedesktop.DBus.Error.AuthFailed";
}

bool isSilence(const Failure& failure) {
    return failure.name == "org.freedesktop.DBus.Error.NoReply" || failure.name == "org.freedesktop.DBus.Error.Timeout";
}

} // namespace tarnel::bluez
