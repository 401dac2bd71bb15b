#include "Resources.hpp"

#include <system_error>

namespace tarnel::command {

std::optional<std::filesystem::path> installedResources() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) {
        return std::nullopt;
    }
    const auto folder = (program.parent_path() / TARNEL_RESOURCES_FROM_PROGRAM).lexically_normal();
    return std::filesystem::is_directory(folder, error) ? std::optional(folder) : std::nullopt;
}

} // namespace tarnel::command
