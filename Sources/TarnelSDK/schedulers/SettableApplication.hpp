#pragma once

#include <TarnelSDK/platform/Platform.hpp>

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace tarnel {

/// A host application that is what its owner says: for simulations and tests. Called on any thread.
class SettableApplication : public platform::Application {
public:
    explicit SettableApplication(std::optional<std::string> bundleIdentifier)
        : bundleIdentifier_(std::move(bundleIdentifier)) {}

    std::optional<std::string> bundleIdentifier() const override {
        const std::lock_guard lock(mutex_);
        return bundleIdentifier_;
    }
    platform::ApplicationState state() const override {
        const std::lock_guard lock(mutex_);
        return state_;
    }
    std::optional<std::filesystem::path> documentDirectory() const override {
        const std::lock_guard lock(mutex_);
        return documentDirectory_;
    }
    std::optional<std::filesystem::path> resourceDirectory() const override {
        const std::lock_guard lock(mutex_);
        return resourceDirectory_;
    }
    std::string locale() const override {
        const std::lock_guard lock(mutex_);
        return locale_;
    }

    void setBundleIdentifier(std::optional<std::string> identifier) {
        const std::lock_guard lock(mutex_);
        bundleIdentifier_ = std::move(identifier);
    }
    /// Posts `willResignActive` first where it leaves `active` and is the installed platform's application.
    void setState(platform::ApplicationState newState) {
        if (state() == platform::ApplicationState::active && newState != platform::ApplicationState::active &&
            platform::Platform::isInstalled() && platform::Platform::current().services().application.get() == this) {
            platform::Platform::current().notificationCenter().post({willResignActive, nullptr, {}});
        }
        const std::lock_guard lock(mutex_);
        state_ = newState;
    }
    void setDocumentDirectory(std::optional<std::filesystem::path> directory) {
        const std::lock_guard lock(mutex_);
        documentDirectory_ = std::move(directory);
    }
    void setResourceDirectory(std::optional<std::filesystem::path> directory) {
        const std::lock_guard lock(mutex_);
        resourceDirectory_ = std::move(directory);
    }
    void setLocale(std::string locale) {
        const std::lock_guard lock(mutex_);
        locale_ = std::move(locale);
    }

private:
    mutable std::mutex mutex_;
    std::optional<std::string> bundleIdentifier_;
    platform::ApplicationState state_ = platform::ApplicationState::active;
    std::optional<std::filesystem::path> documentDirectory_;
    std::optional<std::filesystem::path> resourceDirectory_;
    std::string locale_ = "en-US";
};

} // namespace tarnel
