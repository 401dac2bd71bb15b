#pragma once

#include <TarnelLinux/UserFolders.hpp>
#include <TarnelSDK/platform/Application.hpp>

#include <atomic>
#include <filesystem>
#include <optional>
#include <string>

namespace tarnel {

/// An application on a Linux desktop or server, under the identifier that it gives itself. Any thread.
class LinuxApplication final : public platform::Application {
public:
    /// The environment is asked once, here. `locale` goes before what it says.
    explicit LinuxApplication(std::optional<std::string> identifier,
                              std::optional<std::filesystem::path> resourceDirectory = std::nullopt,
                              const Environment& environment = processEnvironment(),
                              std::optional<std::string> locale = std::nullopt);

    std::optional<std::string> bundleIdentifier() const override { return identifier_; }

    /// `active` unless the application says otherwise.
    platform::ApplicationState state() const override { return state_; }
    /// As the installed platform's application, posts `willResignActive` before it leaves `active`, and
    /// `didBecomeActive` after it has become that.
    void setState(platform::ApplicationState state);

    std::optional<std::filesystem::path> documentDirectory() const override { return documentDirectory_; }
    std::optional<std::filesystem::path> resourceDirectory() const override { return resourceDirectory_; }

    /// The language that was given, or that of messages: "LC_ALL", "LC_MESSAGES" or "LANG", the first that is set;
    /// "en-US" without one.
    std::string locale() const override { return locale_; }

private:
    void post(const char* name) const;

    const std::optional<std::string> identifier_;
    const std::optional<std::filesystem::path> documentDirectory_;
    const std::optional<std::filesystem::path> resourceDirectory_;
    const std::string locale_;
    std::atomic<platform::ApplicationState> state_ = platform::ApplicationState::active;
};

} // namespace tarnel
