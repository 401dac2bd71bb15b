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

std::shared_ptr<platform::BluetoothProvider> providerFor(NativePlatformOptions& options) {
    if (!options.hasBluetooth) {
        return std::make_shared<NoBluetooth>();
    }
    auto bluez = std::make_shared<BlueZBluetooth>(
        BlueZOptions{.adapter = std::move(options.adapter), .attemptFailed = std::move(options.attemptFailed)});
    auto observed = std::make_shared<ObservedBluetooth>(std::move(bluez), std::move(options.observer));
    observed->setConnects(options.connects);
    return observed;
}

class LinuxNativePlatform final : public NativePlatform {
public:
    explicit LinuxNativePlatform(NativePlatformOptions options)
        : bluetooth_(providerFor(options)), platform_({.identifier = applicationIdentifier,
                                                       .resourceDirectory = installedResources(),
                                                       .bluetooth = bluetooth_,
                                                       .locale = std::move(options.locale)}) {}

    ThreadScheduler& scheduler() override { return platform_.scheduler(); }
    void makeConnections() override {
        if (const auto observed = std::dynamic_pointer_cast<ObservedBluetooth>(bluetooth_)) {
            observed->setConnects(true);
        }
    }

private:
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
