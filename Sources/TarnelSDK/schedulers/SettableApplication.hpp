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
    /// As the installed platform's application, posts `willResignActive` before it leaves `active`, and
    /// `didBecomeActive` after it has become that.
    void setState(platform::ApplicationState newState) {
        const bool wasActive = state() == platform::ApplicationState::active;
        const bool isActive = newState == platform::ApplicationState::active;
        if (wasActive && !isActive) {
            post(willResignActive);
        }
        {
            const std::lock_guard lock(mutex_);
            state_ = newState;
        }
        if (isActive && !wasActive) {
            post(didBecomeActive);
        }
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
    void post(const char* name) const {
        if (platform::Platform::isInstalled() && platform::Platform::current().services().application.get() == this) {
            platform::Platform::current().notificationCenter().post({name, nullptr, {}});
        }
    }

    mutable std::mutex mutex_;
    std::optional<std::string> bundleIdentifier_;
    platform::ApplicationState state_ = platform::ApplicationState::active;
    std::optional<std::filesystem::path> documentDirectory_;
    std::optional<std::filesystem::path> resourceDirectory_;
    std::string locale_ = "en-US";
};

} // namespace tarnel
