#include <TarnelLinux/BlueZBluetooth.hpp>
#include <TarnelLinux/DesktopUserNotifications.hpp>
#include <TarnelLinux/LinuxApplication.hpp>
#include <TarnelLinux/LinuxPlatform.hpp>
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
                                                      processEnvironment(), std::move(options.locale))) {
    platform::Platform::install({
        .scheduler = scheduler_,
        .clock = std::make_shared<SystemClock>(),
        .random = std::make_shared<SystemRandom>(),
        .application = application_,
        .userDefaults = std::make_shared<SQLiteUserDefaults>(configurationFolder(processEnvironment()),
                                                             std::move(options.identifier)),
        .bluetooth = options.bluetooth ? std::move(options.bluetooth) : std::make_shared<BlueZBluetooth>(),
        .userNotifications = options.userNotifications ? std::move(options.userNotifications)
                                                       : DesktopUserNotifications::make(
                                                             scheduler_->mainQueue(), application_,
                                                             {.applicationName = std::move(options.applicationName)}),
    });
}

LinuxPlatform::~LinuxPlatform() {
    platform::Platform::tearDown();
}

} // namespace tarnel
