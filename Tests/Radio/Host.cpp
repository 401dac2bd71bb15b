#include "Host.hpp"

#include <TarnelSDK/platform/Platform.hpp>

#include <cstdlib>
#include <filesystem>
#include <thread>

namespace tarnel::radio {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* identifier = "org.tarnel.radio";
constexpr const char* configuration = "/run/radio/configuration";

} // namespace

Host::Host(const std::optional<std::string>& adapter)
    : bluetooth_(std::make_shared<BlueZBluetooth>(BlueZOptions{.adapter = adapter})) {
    ::setenv("XDG_CONFIG_HOME", configuration, 1);
    platform_ =
        std::make_unique<LinuxPlatform>(LinuxPlatformOptions{.identifier = identifier, .bluetooth = bluetooth_});
    manager();
    observe(Bluetooth::peerRemovedPairingInfo);
}

Host::~Host() {
    observations_.clear();
    {
        const std::lock_guard lock(record_->mutex);
        record_->found.clear();
    }
    platform_.reset();
}

ancs::NotificationProvider& Host::shareNotifications() {
    bluetooth_->shareNotifications(platform_->notificationProvider());
    return *platform_->notificationProvider();
}

void Host::eraseSettings() {
    std::filesystem::remove_all(configuration);
}

bool Host::await(const std::function<bool()>& condition, std::chrono::milliseconds patience) {
    const auto end = Clock::now() + patience;
    for (;;) {
        platform_->scheduler().drainMain();
        if (condition()) {
            return true;
        }
        if (Clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void Host::run(std::chrono::milliseconds duration) {
    await([] { return false; }, duration);
}

bool Host::isConnected() {
    const auto current = device();
    return current && current->isConnected.value();
}

bool Host::awaitConnection(std::chrono::milliseconds patience) {
    return await([this] { return isConnected(); }, patience);
}

bool Host::awaitDrop(std::chrono::milliseconds patience) {
    return await([this] { return !isConnected(); }, patience);
}

std::vector<platform::PeripheralPointer> Host::found() const {
    const std::lock_guard lock(record_->mutex);
    return record_->found;
}

bool Host::scan(std::size_t count) {
    // Of the two, which come one after the other, a scan needs both.
    if (!await([this] { return manager().isReady.value() && manager().isBluetoothEnabled.value(); })) {
        return false;
    }
    {
        const std::lock_guard lock(record_->mutex);
        record_->found.clear();
    }
    const auto result = manager().startScan([record = record_](const platform::PeripheralPointer& peripheral) {
        const std::lock_guard lock(record->mutex);
        record->found.push_back(peripheral);
    });
    return result == BluetoothScanResult::SUCCESS && await([&] { return found().size() >= count; });
}

bool Host::link() {
    if (!scan()) {
        return false;
    }
    manager().link(found().front(), [](const auto&) {});
    return awaitConnection();
}

void Host::observe(const std::string& notification) {
    observations_.push_back(platform::Platform::current().notificationCenter().observe(
        notification, [record = record_, notification](const platform::Notification&) {
            const std::lock_guard lock(record->mutex);
            ++record->notifications[notification];
        }));
}

int Host::count(const std::string& notification) const {
    const std::lock_guard lock(record_->mutex);
    const auto found = record_->notifications.find(notification);
    return found == record_->notifications.end() ? 0 : found->second;
}

} // namespace tarnel::radio
