#pragma once

#include <TarnelLinux/BlueZBluetooth.hpp>
#include <TarnelLinux/LinuxPlatform.hpp>
#include <TarnelSDK/ancs/NotificationProvider.hpp>
#include <TarnelSDK/manager/TarnelManager.hpp>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::radio {

/// An application on this SDK, with this machine's Bluetooth. Made and used on the main thread; one at a time.
class Host {
public:
    /// On an adapter that is switched on when none is named.
    explicit Host(const std::optional<std::string>& adapter = "hci0");
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Runs the main queue until it holds; false when it does not within the time.
    bool await(const std::function<bool()>& condition, std::chrono::milliseconds patience = std::chrono::seconds(60));
    /// Lets the application run for so long.
    void run(std::chrono::milliseconds duration);

    TarnelManager& manager() { return TarnelManager::shared(); }
    std::shared_ptr<Tarnel> device() { return manager().currentDevice(); }
    bool isConnected();
    bool awaitConnection(std::chrono::milliseconds patience = std::chrono::seconds(60));
    bool awaitDrop(std::chrono::milliseconds patience = std::chrono::seconds(60));

    /// Scans until so many pairs of glasses are found.
    bool scan(std::size_t count = 1);
    std::vector<platform::PeripheralPointer> found() const;
    /// Scans, links what is found, and waits until it can be drawn on.
    bool link();

    /// How often the notification was posted since the host was made.
    int count(const std::string& notification) const;
    void observe(const std::string& notification);

    /// Lets glasses read what is added here, from now on.
    ancs::NotificationProvider& shareNotifications();

    /// Forgets what an earlier application stored.
    static void eraseSettings();

private:
    struct Record {
        std::mutex mutex;
        std::map<std::string, int> notifications;
        std::vector<platform::PeripheralPointer> found;
    };

    const std::shared_ptr<BlueZBluetooth> bluetooth_;
    std::unique_ptr<LinuxPlatform> platform_;
    const std::shared_ptr<Record> record_ = std::make_shared<Record>();
    std::vector<platform::Observation> observations_;
};

} // namespace tarnel::radio
