#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

/// Where bundles of texts may lie.
struct TextPlaces {
    std::optional<std::filesystem::path> applicationResources;
    std::vector<std::filesystem::path> sdkFolders; ///< the first that has a bundle counts
};

/// What `Localize` does, with these places and the user's language. Any thread.
std::optional<std::filesystem::path> findTextBundle(const TextPlaces& places);
std::string findText(const std::string& key, const TextPlaces& places, const std::string& locale);

} // namespace tarnel
