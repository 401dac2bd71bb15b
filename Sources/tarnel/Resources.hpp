#pragma once

#include <filesystem>
#include <optional>

namespace tarnel::command {

/// The folder with the resources that were installed with this program, wherever that was; empty when it runs from
/// where it was built.
std::optional<std::filesystem::path> installedResources();

} // namespace tarnel::command
