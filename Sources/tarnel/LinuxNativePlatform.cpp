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

class LinuxNativePlatform final : public NativePlatform {
public:
    explicit LinuxNativePlatform(NativePlatformOptions options)
        : bluez_(bluezFor(options)), observed_(observedFor(bluez_, options)),
          platform_({.identifier = applicationIdentifier,
                     .resourceDirectory = installedResources(),
                     .bluetooth = providerFor(observed_),
                     .locale = std::move(options.locale)}) {
        if (bluez_) {
            bluez_->shareNotifications(platform_.notificationProvider());
        }
    }

    ThreadScheduler& scheduler() override { return platform_.scheduler(); }
    void makeConnections() override {
        if (observed_) {
            observed_->setConnects(true);
        }
    }

private:
    static std::shared_ptr<BlueZBluetooth> bluezFor(NativePlatformOptions& options) {
        if (!options.hasBluetooth) {
            return nullptr;
        }
        return std::make_shared<BlueZBluetooth>(
            BlueZOptions{.adapter = std::move(options.adapter), .attemptFailed = std::move(options.attemptFailed)});
    }
    static std::shared_ptr<ObservedBluetooth> observedFor(const std::shared_ptr<BlueZBluetooth>& bluez,
                                                          NativePlatformOptions& options) {
        if (!bluez) {
            return nullptr;
        }
        auto observed = std::make_shared<ObservedBluetooth>(bluez, std::move(options.observer));
        observed->setConnects(options.connects);
        return observed;
    }
    static std::shared_ptr<platform::BluetoothProvider>
    providerFor(const std::shared_ptr<ObservedBluetooth>& observed) {
        if (observed) {
            return observed;
        }
        return std::make_shared<NoBluetooth>();
    }

    const std::shared_ptr<BlueZBluetooth> bluez_;       ///< null without Bluetooth
    const std::shared_ptr<ObservedBluetooth> observed_; ///< of it
    LinuxPlatform platform_;
};

} // namespace

std::unique_ptr<NativePlatform> NativePlatform::install(NativePlatformOptions options) {
    return std::make_unique<LinuxNativePlatform>(std::move(options));
}

std::optional<std::string> NativePlatform::addressOf(const UUID& peripheral) {
    return bluez::addressOfIdentifier(peripheral);
}

} // namespace tarnel::command
