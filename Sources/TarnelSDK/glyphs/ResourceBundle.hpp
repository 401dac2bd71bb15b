#pragma once

#include <filesystem>
#include <optional>
#include <vector>

namespace tarnel {

/// The folders in which the SDK's own bundles may lie: where it was built, then where it is installed.
std::vector<std::filesystem::path> sdkResourceFolders();

/// The folder that holds the SDK's font files: "TarnelSDK_TarnelFonts.bundle" in the application's resources, else in
/// the SDK's own (where it was built, then where it is installed), else "TarnelSDK_TarnelSDK.bundle" in the same
/// places. Nothing when none is there. Called on any thread.
std::optional<std::filesystem::path> findResourceBundle();

} // namespace tarnel
