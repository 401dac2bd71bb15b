#pragma once

#include <TarnelSDK/platform/UUID.hpp>

#include <optional>
#include <string>

namespace tarnel::bluez {

/// The identifier of the device with this address ("AA:BB:CC:DD:EE:FF"): "5461726E-656C-8000-8000-" and the address, a
/// UUID of version 8 (RFC 9562). It is the same on every adapter and after every restart. Empty for another text.
std::optional<UUID> identifierOfAddress(const std::string& address);

/// The address in an identifier that `identifierOfAddress` made; empty for any other.
std::optional<std::string> addressOfIdentifier(const UUID& identifier);

} // namespace tarnel::bluez
