#pragma once

#include <TarnelSDK/ancs/NotificationProvider.hpp>
#include <TarnelSDK/ancs/OwnNotifications.hpp>
#include <TarnelSDK/platform/Bluetooth.hpp>
#include <TarnelSDK/platform/UserNotifications.hpp>
#include <TarnelSDK/schedulers/ThreadScheduler.hpp>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tarnel {

class LinuxApplication;
class OtherNotifications;
class SQLiteUserDefaults;

struct LinuxPlatformOptions {
    /// The application's reverse-domain identifier, e.g. "org.example.reader"; it names the folder of the settings.
    std::string identifier;
    std::optional<std::filesystem::path> resourceDirectory = std::nullopt;
    /// Nothing: BlueZ, on an adapter that is switched on.
    std::shared_ptr<platform::BluetoothProvider> bluetooth = nullptr;
    /// What the desktop calls the application; its identifier when empty.
    std::string applicationName = {};
    /// Nothing: the desktop's notification service.
    std::shared_ptr<platform::UserNotifications> userNotifications = nullptr;
    /// Glasses can read the application's notifications, where `bluetooth` and `userNotifications` are left to the
    /// platform. Glasses that do so are paired with.
    bool sharesNotifications = false;
    /// Glasses can read the notifications of other programs, as `OtherNotifications` says, where `bluetooth` is left to
    /// the platform. A `bluetooth` of one's own takes them from `LinuxPlatform::notificationProvider`.
    bool sharesOtherNotifications = false;
    /// Told, on a thread of its own, why those are not shared, or no longer; a line on standard output when empty.
    std::function<void(const std::string& why)> otherNotificationsEnded = nullptr;
    /// The user's language as a BCP 47 tag; nothing: what the environment says.
    std::optional<std::string> locale = std::nullopt;
};

/// The platform of a Linux program, installed for as long as this object lives: settings in the user's configuration
/// folder, the machine's clock and random source, the desktop's notifications, a pool of threads. Made and destroyed on
/// the main thread, outside every queue; the program drains the main queue through `scheduler`.
class LinuxPlatform {
public:
    /// REQUIRES: no platform is installed; `SQLiteUserDefaults::isDomainName(options.identifier)`.
    explicit LinuxPlatform(LinuxPlatformOptions options);
    ~LinuxPlatform();
    LinuxPlatform(const LinuxPlatform&) = delete;
    LinuxPlatform& operator=(const LinuxPlatform&) = delete;

    ThreadScheduler& scheduler() { return *scheduler_; }
    LinuxApplication& application() { return *application_; }
    /// Why the stored settings, which then count as empty, cannot be read; empty when they can. Waits for another
    /// process that holds them, 5 s at most.
    std::optional<std::string> settingsFailure() const;
    /// What glasses can read: for a Bluetooth of one's own, and to share further notifications.
    const std::shared_ptr<ancs::NotificationProvider>& notificationProvider() const { return notificationProvider_; }

private:
    const std::shared_ptr<ThreadScheduler> scheduler_;
    const std::shared_ptr<LinuxApplication> application_;
    const std::shared_ptr<ancs::NotificationProvider> notificationProvider_;
    const std::shared_ptr<SQLiteUserDefaults> userDefaults_;
    std::shared_ptr<ancs::OwnNotifications> ownNotifications_;
    std::shared_ptr<OtherNotifications> otherNotifications_;
};

} // namespace tarnel
