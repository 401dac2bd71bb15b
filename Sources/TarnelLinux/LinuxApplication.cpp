#include <TarnelLinux/LinuxApplication.hpp>
#include <TarnelSDK/platform/Platform.hpp>

#include <utility>

namespace tarnel {
namespace {

constexpr const char* fallbackLocale = "en-US";

std::string messagesLocale(const Environment& environment) {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (const auto value = environment(name)) {
            return languageTagOfLocale(*value).value_or(fallbackLocale);
        }
    }
    return fallbackLocale;
}

} // namespace

LinuxApplication::LinuxApplication(std::optional<std::string> identifier,
                                   std::optional<std::filesystem::path> resourceDirectory,
                                   const Environment& environment, std::optional<std::string> locale)
    : identifier_(std::move(identifier)), documentDirectory_(documentsFolder(environment)),
      resourceDirectory_(std::move(resourceDirectory)),
      locale_(locale ? std::move(*locale) : messagesLocale(environment)) {}

void LinuxApplication::setState(platform::ApplicationState state) {
    using platform::ApplicationState;
    const bool wasActive = state_ == ApplicationState::active;
    const bool isActive = state == ApplicationState::active;
    if (wasActive && !isActive) {
        post(willResignActive);
    }
    state_ = state;
    if (isActive && !wasActive) {
        post(didBecomeActive);
    }
}

void LinuxApplication::post(const char* name) const {
    if (platform::Platform::isInstalled() && platform::Platform::current().services().application.get() == this) {
        platform::Platform::current().notificationCenter().post({name, nullptr, {}});
    }
}

} // namespace tarnel
