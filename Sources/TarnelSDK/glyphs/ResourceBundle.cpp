#include <TarnelSDK/glyphs/ResourceBundle.hpp>
#include <TarnelSDK/platform/Platform.hpp>

#include <system_error>
#include <utility>

namespace tarnel {
namespace {

std::vector<std::filesystem::path> resourceFolders() {
    std::vector<std::filesystem::path> folders;
    if (platform::Platform::isInstalled()) {
        if (auto folder = platform::Platform::current().services().application->resourceDirectory()) {
            folders.push_back(std::move(*folder));
        }
    }
    for (auto& folder : sdkResourceFolders()) {
        folders.push_back(std::move(folder));
    }
    return folders;
}

} // namespace

std::vector<std::filesystem::path> sdkResourceFolders() {
    return {TARNEL_BUILT_RESOURCES, TARNEL_INSTALLED_RESOURCES};
}

std::optional<std::filesystem::path> findResourceBundle() {
    const auto folders = resourceFolders();
    for (const auto* name : {"TarnelSDK_TarnelFonts.bundle", "TarnelSDK_TarnelSDK.bundle"}) {
        for (const auto& folder : folders) {
            std::error_code error;
            if (auto bundle = folder / name; std::filesystem::is_directory(bundle, error)) {
                return bundle;
            }
        }
    }
    return std::nullopt;
}

} // namespace tarnel
