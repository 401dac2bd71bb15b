#include <TarnelLinux/BlueZBluetooth.hpp>
#include <TarnelLinux/DesktopUserNotifications.hpp>
#include <TarnelLinux/LinuxApplication.hpp>
#include <TarnelLinux/LinuxPlatform.hpp>
#include <TarnelLinux/OtherNotifications.hpp>
#include <TarnelLinux/SQLiteUserDefaults.hpp>
#include <TarnelLinux/SystemClock.hpp>
#include <TarnelLinux/SystemRandom.hpp>
#include <TarnelLinux/UserFolders.hpp>
#include <TarnelSDK/platform/Platform.hpp>

#include <utility>

namespace tarnel {

LinuxPlatform::LinuxPlatform(LinuxPlatformOptions options)
    : scheduler_(std::make_shared<ThreadScheduler>()),
      application_(std::make_shared<LinuxApplication>(options.identifier, std::move(options.resourceDirectory),
                                                      processEnvironment(), std::move(options.locale))),
      notificationProvider_(ancs::NotificationProvider::make(scheduler_->makeSerialQueue("notifications"))),
      userDefaults_(std::make_shared<SQLiteUserDefaults>(configurationFolder(processEnvironment()),
                                                         std::move(options.identifier))) {
    const auto clock = std::make_shared<SystemClock>();
    if (options.sharesOtherNotifications) {
        otherNotifications_ = std::make_shared<OtherNotifications>(
            notificationProvider_, clock,
            OtherNotificationsOptions{.ended = std::move(options.otherNotificationsEnded)});
    }
    if (!options.userNotifications) {
        const auto desktop = DesktopUserNotifications::make(
            scheduler_->mainQueue(), application_,
            {.applicationName = options.applicationName,
             .connected = [others = std::weak_ptr(otherNotifications_)](const std::string& busName) {
                 if (const auto there = others.lock()) {
                     there->leaveOut(busName);
                 }
             }});
        if (options.sharesNotifications) {
            ownNotifications_ = ancs::OwnNotifications::make(desktop, notificationProvider_, application_, clock,
                                                             std::move(options.applicationName));
        }
        options.userNotifications = desktop;
    }
    if (!options.bluetooth) {
        const auto bluetooth = std::make_shared<BlueZBluetooth>();
        if (options.sharesNotifications || options.sharesOtherNotifications) {
            bluetooth->shareNotifications(notificationProvider_);
        }
        options.bluetooth = bluetooth;
    }
    platform::Platform::install({
        .scheduler = scheduler_,
        .clock = clock,
        .random = std::make_shared<SystemRandom>(),
        .application = application_,
        .userDefaults = userDefaults_,
        .bluetooth = std::move(options.bluetooth),
        .userNotifications = std::move(options.userNotifications),
    });
}

std::optional<std::string> LinuxPlatform::settingsFailure() const {
    return userDefaults_->failure();
}

LinuxPlatform::~LinuxPlatform() {
    platform::Platform::tearDown();
}

} // namespace tarnel
