#include "NativePlatform.hpp"
#include "Resources.hpp"

#include <TarnelLinux/BlueZBluetooth.hpp>
#include <TarnelLinux/LinuxPlatform.hpp>
#include <TarnelLinux/bluez/Address.hpp>

#include <utility>

namespace tarnel::command {
namespace {

class LinuxNativePlatform final : public NativePlatform {
public:
    explicit LinuxNativePlatform(NativePlatformOptions options)
        : bluetooth_(std::make_shared<ObservedBluetooth>(
              std::make_shared<BlueZBluetooth>(BlueZOptions{.adapter = std::move(options.adapter),
                                                            .attemptFailed = std::move(options.attemptFailed)}),
              std::move(options.observer))),
          platform_({.identifier = applicationIdentifier,
                     .resourceDirectory = installedResources(),
                     .bluetooth = bluetooth_,
                     .locale = std::move(options.locale)}) {}

    ThreadScheduler& scheduler() override { return platform_.scheduler(); }
    ObservedBluetooth& bluetooth() override { return *bluetooth_; }

private:
    const std::shared_ptr<ObservedBluetooth> bluetooth_;
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
