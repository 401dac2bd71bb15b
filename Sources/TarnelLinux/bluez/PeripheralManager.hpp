#pragma once

#include <TarnelLinux/bluez/AdapterName.hpp>
#include <TarnelLinux/bluez/Advertisement.hpp>
#include <TarnelLinux/bluez/Agent.hpp>
#include <TarnelLinux/bluez/Bus.hpp>
#include <TarnelLinux/bluez/EventLoop.hpp>
#include <TarnelLinux/bluez/GattApplication.hpp>
#include <TarnelLinux/bluez/LocalService.hpp>
#include <TarnelLinux/bluez/PeripheralManagerDelegate.hpp>
#include <TarnelLinux/bluez/Registration.hpp>
#include <TarnelSDK/platform/Bluetooth.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::bluez {

struct PeripheralManagerOptions {
    /// The bus that the daemon is on; the system's when empty.
    std::optional<std::string> busAddress = std::nullopt;
    /// The address or the name ("hci1") of the adapter to use; when empty, one that is switched on.
    std::optional<std::string> adapter = std::nullopt;
};

/// This machine as a Bluetooth LE peripheral through BlueZ: its services, its advertisement, the centrals that connect
/// to it. What was set stays wanted: it comes back by itself when the daemon, the bus or the adapter was gone or off.
///
/// BlueZ does not say which side began a connection. A device counts as a central of this machine when it comes to be
/// connected while there is an advertisement, unless it is known as one of Bluetooth Classic ("Class"), or when it
/// reads or writes a value.
class PeripheralManager final : public Bus::Listener,
                                public GattApplication::Handler,
                                public std::enable_shared_from_this<PeripheralManager> {
public:
    static std::shared_ptr<PeripheralManager> make(PeripheralManagerOptions options,
                                                   std::weak_ptr<PeripheralManagerDelegate> delegate);
    PeripheralManager(PeripheralManagerOptions options, std::weak_ptr<PeripheralManagerDelegate> delegate);
    ~PeripheralManager() override;
    PeripheralManager(const PeripheralManager&) = delete;
    PeripheralManager& operator=(const PeripheralManager&) = delete;

    /// Ends connections with centrals, takes everything from the air, and does nothing from then on. Called before the
    /// last pointer goes, on any thread but the manager's.
    void end();

    // Any thread.

    /// Centrals in a connection are told that the services changed.
    void setServices(std::vector<LocalService> services);
    /// The same services are offered anew: what centrals discovered is void, and their subscriptions end.
    void renewServices();
    /// Nothing: no advertising.
    void setAdvertisement(std::optional<platform::AdvertisementData> advertisement);
    /// What a central that is connected reads as the device's name: the adapter's, which gets its former name back in
    /// the end.
    void setName(std::string name);
    /// Sends a value to centrals that are subscribed. Values keep their order.
    void notify(const UUID& characteristic, Bytes value);
    void disconnect(const std::string& id);
    /// Forgets the bond with this central, which also ends a connection.
    void forget(const std::string& id);

    // The bus's news and the daemon's requests, on the manager's thread.

    void daemonChanged(bool isThere) override;
    void interfaceAdded(const std::string& path, const std::string& interface) override;
    void interfaceRemoved(const std::string& path, const std::string& interface, const Properties& properties) override;
    void propertiesChanged(const std::string& path, const std::string& interface, const Properties& changed) override;
    void readAsked(const GattApplication::Request& request) override;
    void writeAsked(const GattApplication::Request& request, Bytes value, platform::WriteType type) override;
    void notifyingChanged(const UUID& characteristic, bool isNotifying) override;

private:
    void start();
    void post(std::function<void(PeripheralManager&)> step);
    void takeDown();
    void connectionChanged(sdbus::IConnection* connection);

    void update();
    void updateAdapter();
    void publish();
    void advertise();
    void withdrawServices();
    void withdrawAdvertisement();
    void advertisementReleased(const std::string& path);
    PeripheralManagerState::Radio radio() const;
    void tellState();

    void deviceChanged(const std::string& path, const Properties& changed);
    void connected(const std::string& path);
    void disconnected(const std::string& path);
    void lose();
    ConnectedCentral described(const std::string& path) const;
    void countAsCentral(const std::string& path);
    void countOnlyDevice();
    bool isConnected(const std::string& path) const;
    bool isCentral(const std::string& address) const;
    bool needsPairing() const;
    AnswerAttribute answerOf(std::uint64_t number);
    void tell(const std::function<void(PeripheralManagerDelegate&)>& call) const;

    const PeripheralManagerOptions options_;
    const std::weak_ptr<PeripheralManagerDelegate> delegate_;
    EventLoop loop_;
    Bus bus_;
    Agent agent_;
    AdapterName adapterName_;
    Registration gatt_;
    Registration advertising_;
    sdbus::IConnection* connection_ = nullptr;
    std::string adapter_;

    std::vector<LocalService> services_;
    std::optional<platform::AdvertisementData> wanted_;
    std::string name_;
    std::unique_ptr<GattApplication> application_;
    std::unique_ptr<Advertisement> advertisement_;
    std::uint64_t lastObject_ = 0;

    std::map<std::string, ConnectedCentral> centrals_; ///< by object path, their id
    std::optional<PeripheralManagerState> told_;
    bool hasEnded_ = false;
};

} // namespace tarnel::bluez
