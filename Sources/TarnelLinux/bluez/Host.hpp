#pragma once

#include <TarnelLinux/bluez/Agent.hpp>
#include <TarnelLinux/bluez/Bus.hpp>
#include <TarnelLinux/bluez/Directory.hpp>
#include <TarnelLinux/bluez/Discovery.hpp>
#include <TarnelLinux/bluez/EventLoop.hpp>
#include <TarnelLinux/bluez/Links.hpp>
#include <TarnelLinux/bluez/NotificationServer.hpp>
#include <TarnelSDK/platform/Bluetooth.hpp>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::bluez {

class Central;

struct HostOptions {
    /// The bus that the daemon is on; the system's when empty.
    std::optional<std::string> busAddress;
    /// The address or the name ("hci1") of the adapter to use; when empty, one that is switched on.
    std::optional<std::string> adapter;
    /// Told, on the loop's thread, of an attempt to connect that failed and will be made again.
    std::function<void(const UUID& identifier, const platform::BluetoothError& error)> attemptFailed = nullptr;
};

/// This machine's Bluetooth, for all centrals of the process: one bus connection, one thread, one adapter.
class Host final : public Bus::Listener, public std::enable_shared_from_this<Host> {
public:
    static std::shared_ptr<Host> make(HostOptions options);
    explicit Host(HostOptions options);
    ~Host() override;
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Ends all connections, sends what else has been asked for, and does nothing from then on. Called before the last
    /// pointer to the host goes, on any thread but the loop's.
    void end();

    // Any thread.

    EventLoop& loop() { return loop_; }
    const Directory& directory() const { return directory_; }

    // On the loop's thread.

    const HostOptions& options() const { return options_; }
    Bus& bus() { return bus_; }
    Links& links() { return links_; }

    void add(const std::shared_ptr<Central>& central);
    void dropGoneCentrals();
    /// What the adapter's state is; empty while nobody knows.
    std::optional<platform::CentralState> state() const { return state_; }
    /// From now on glasses can read these.
    void shareNotifications(std::shared_ptr<ancs::NotificationProvider> notifications);
    void deviceAttached();
    /// What is looked for and what is offered follows what is asked for.
    void updateDiscovery();
    /// Has devices within reach reported again.
    void restartDiscovery() { discovery_.restart(); }

    /// Where the device is in the daemon's tree, below the adapter in use.
    std::optional<std::string> devicePath(const std::string& address) const;
    bool isConnected(const std::string& address) const;
    bool isBonded(const std::string& address) const;
    /// Has the daemon forget the device, and its bond.
    void removeDevice(const std::string& address);

    void daemonChanged(bool isThere) override;
    void interfaceAdded(const std::string& path, const std::string& interface) override;
    void interfaceRemoved(const std::string& path, const std::string& interface, const Properties& properties) override;
    void propertiesChanged(const std::string& path, const std::string& interface, const Properties& changed) override;
    void deviceDisconnected(const std::string& path, const std::string& reason) override;

private:
    void start();
    void updateAdapter();
    platform::CentralState stateOf(const std::string& adapter) const;
    void setState(platform::CentralState state);
    void awaitPower();
    void deviceChanged(const std::string& path, const Properties& changed);
    void deviceSeen(const std::string& address, const Properties& device);
    void tellReachability(const std::string& address, bool isReachable);
    void learn(const std::string& address, const Properties& device);
    /// The device whose object this is, or is below; empty when it is of another adapter.
    std::optional<std::string> addressAt(const std::string& path) const;
    void notificationsSubscribed(const std::string& devicePath, bool isSubscribed);
    void setReadsNotifications(const std::string& address, bool reads);
    std::vector<std::shared_ptr<Peripheral>> usersAt(const std::string& path) const;

    const HostOptions options_;
    EventLoop loop_;
    Directory directory_;
    std::vector<std::weak_ptr<Central>> centrals_;
    Bus bus_;
    Discovery discovery_;
    Links links_;
    Agent agent_;
    sdbus::IConnection* connection_ = nullptr;
    std::shared_ptr<NotificationServer> notifications_;
    std::string adapter_;
    bool hadAdapter_ = false;
    std::optional<platform::CentralState> state_;
    EventLoop::Timer powerTimer_ = 0;
    std::chrono::milliseconds powerDelay_{0}; ///< until the adapter is asked once more whether it is switched on
};

} // namespace tarnel::bluez
