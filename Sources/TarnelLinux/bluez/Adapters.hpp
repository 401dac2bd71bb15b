#pragma once

#include <TarnelLinux/bluez/Bus.hpp>

#include <optional>
#include <string>

namespace tarnel::bluez {

/// The path of the adapter to use: the wanted one, by its address or its name ("hci1"), or else one that is switched
/// on, the one in use before all others. Empty when there is none.
std::string chooseAdapter(const Bus& bus, const std::optional<std::string>& wanted, const std::string& inUse);

/// Whether there is such an adapter and it is switched on.
bool isPowered(const Bus& bus, const std::string& adapter);

} // namespace tarnel::bluez
