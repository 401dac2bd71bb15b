#pragma once

#include <TarnelLinux/bluez/Bus.hpp>

#include <optional>
#include <string>

namespace tarnel::bluez {

/// Whether the adapter has this name ("hci1"), or this address, in capital letters or small ones.
bool isCalled(const std::string& path, const Properties& adapter, const std::string& wanted);

/// The path of the adapter to use: the wanted one, as `isCalled` has it, or else one that is switched
/// on, the one in use before all others. Empty when there is none.
std::string chooseAdapter(const Bus& bus, const std::optional<std::string>& wanted, const std::string& inUse);

/// Whether there is such an adapter and it is switched on.
bool isPowered(const Bus& bus, const std::string& adapter);

} // namespace tarnel::bluez
