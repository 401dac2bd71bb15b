#pragma once

#include <TarnelLinux/BluetoothDoctor.hpp>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// What a machine's files tell about its Bluetooth.
namespace tarnel::doctor {

namespace fs = std::filesystem;

/// The file's text, at most 1 MiB of it; empty when it cannot be read.
std::optional<std::string> readSmallFile(const fs::path& path);

bool isContainer(const fs::path& root);

/// The command that installs the package with the machine's own tool.
std::string installCommand(const fs::path& root, const std::string& package);

bool isDaemonInstalled(const fs::path& root);

/// Names of the controllers that the kernel has: "hci0".
std::vector<std::string> kernelControllers(const fs::path& root);

/// The switches of rfkill (Documentation/ABI/stable/sysfs-class-rfkill of the kernel).
Finding checkSwitch(const fs::path& root);

/// What the daemon keeps of the attributes of a device, "cache/<device>" below its folder for the adapter.
Finding checkCache(const fs::path& root, const std::string& adapterAddress, const std::string& deviceAddress);

/// How many ATT channels the daemon may open ("Channels" of main.conf): over several, values may overtake each other.
Finding checkChannels(const fs::path& root);

/// Whether the settings can be read and changed.
Finding checkSettings(const fs::path& folder);

} // namespace tarnel::doctor
