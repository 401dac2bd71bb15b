#include "NativePlatform.hpp"
#include "Resources.hpp"

#include <TarnelLinux/BlueZBluetooth.hpp>
#include <TarnelLinux/LinuxPlatform.hpp>
#include <TarnelLinux/bluez/Address.hpp>

#include <utility>

namespace tarnel::command {
namespace {

class NoBluetooth final : public platform::BluetoothProvider {
public:
    std::shared_ptr<platform::BluetoothCentral> makeCentral(std::weak_ptr<platform::BluetoothCentralDelegate>,
                                                            std::shared_ptr<platform::Queue>,
                                                            platform::CentralOptions) override {
        return nullptr;
    }
};

std::shared_ptr<BlueZBluetooth> bluezFor(NativePlatformOptions& options) {
    return options.hasBluetooth
               ? std::make_shared<BlueZBluetooth>(BlueZOptions{.adapter = std::move(options.adapter),
                                                               .attemptFailed = std::move(options.attemptFailed)})
               : nullptr;
}

std::shared_ptr<platform::BluetoothProvider> providerFor(const std::shared_ptr<BlueZBluetooth>& bluez,
                                                         NativePlatformOptions& options) {
    if (!bluez) {
        return std::make_shared<NoBluetooth>();
    }
    auto observed = std::make_shared<ObservedBluetooth>(bluez, std::move(options.observer));
    observed->setConnects(options.connects);
    return observed;
}

class LinuxNativePlatform final : public NativePlatform {
public:
    explicit LinuxNativePlatform(NativePlatformOptions options)
        : bluez_(bluezFor(options)), bluetooth_(providerFor(bluez_, options)),
          platform_({.identifier = applicationIdentifier,
                     .resourceDirectory = installedResources(),
                     .bluetooth = bluetooth_,
                     .sharesNotifications = bluez_ && options.sharesNotifications,
                     .sharesOtherNotifications = bluez_ && options.sharesNotifications,
                     .otherNotificationsEnded = std::move(options.sharingEnded),
                     .locale = std::move(options.locale)}) {
        if (bluez_ && options.sharesNotifications) {
            bluez_->shareNotifications(platform_.notificationProvider());
        }
    }

    ThreadScheduler& scheduler() override { return platform_.scheduler(); }
    void makeConnections() override {
        if (const auto observed = std::dynamic_pointer_cast<ObservedBluetooth>(bluetooth_)) {
            observed->setConnects(true);
        }
    }
    std::optional<std::string> settingsFailure() override { return platform_.settingsFailure(); }

private:
    const std::shared_ptr<BlueZBluetooth> bluez_; ///< none without Bluetooth
    const std::shared_ptr<platform::BluetoothProvider> bluetooth_;
    LinuxPlatform platform_;
};

} // namespace

bool NativePlatform::exists() {
    return true;
}

std::unique_ptr<NativePlatform> NativePlatform::install(NativePlatformOptions options) {
    return std::make_unique<LinuxNativePlatform>(std::move(options));
}

std::optional<std::string> NativePlatform::addressOf(const UUID& peripheral) {
    return bluez::addressOfIdentifier(peripheral);
}

} // namespace tarnel::command
