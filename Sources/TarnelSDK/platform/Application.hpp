#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tarnel::platform {

enum class ApplicationState { active, inactive, background };

/// What the SDK asks about the application that hosts it. Called on any thread.
class Application {
public:
    /// Notification that the platform posts when the application is about to leave `active`, without a sender, on any
    /// thread.
    static constexpr const char* willResignActive = "applicationWillResignActive";
    /// Notification that the platform posts when the application has become `active`, in the same way.
    static constexpr const char* didBecomeActive = "applicationDidBecomeActive";

    virtual ~Application() = default;

    /// Reverse-domain identifier, e.g. "org.example.reader"; empty when the application has none.
    virtual std::optional<std::string> bundleIdentifier() const = 0;
    virtual ApplicationState state() const = 0;

    /// The folder in which the user keeps documents; empty when there is none.
    virtual std::optional<std::filesystem::path> documentDirectory() const = 0;

    /// The folder of the application's own resources; empty when it has none.
    virtual std::optional<std::filesystem::path> resourceDirectory() const = 0;

    /// The user's language and region as a BCP 47 tag, e.g. "ja-JP".
    virtual std::string locale() const = 0;
};

} // namespace tarnel::platform
