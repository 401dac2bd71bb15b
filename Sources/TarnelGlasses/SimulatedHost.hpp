#pragma once

#include <TarnelGlasses/HostConnection.hpp>
#include <TarnelGlasses/HostDirectory.hpp>
#include <TarnelGlasses/Radio.hpp>

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

namespace tarnel::glasses {

class SimulatedCentral;
class SimulatedPeripheral;

/// The Bluetooth of one host on the radio's queue: hears advertisements, makes and ends connections, and tells its
/// centrals. Everything but `directory` and `radio` is used on that queue.
class SimulatedHost : public Radio::Listener, public std::enable_shared_from_this<SimulatedHost> {
public:
    static std::shared_ptr<SimulatedHost> make(std::shared_ptr<Radio> radio,
                                               std::shared_ptr<ancs::NotificationProvider> notifications);
    SimulatedHost(std::shared_ptr<Radio> radio, std::shared_ptr<ancs::NotificationProvider> notifications)
        : radio_(std::move(radio)), notifications_(std::move(notifications)) {}

    HostDirectory& directory() const { return *directory_; }
    const std::shared_ptr<HostDirectory>& directoryPointer() const { return directory_; }
    Radio& radio() const { return *radio_; }

    void setState(platform::CentralState state);
    void hold(const UUID& device);
    void release(const UUID& device);
    void setAncsAuthorized(const UUID& device, bool authorized);

    void addCentral(const std::shared_ptr<SimulatedCentral>& central);
    /// Lets go of what centrals that are gone had asked for.
    void dropGoneCentrals();

    void connect(const std::shared_ptr<SimulatedPeripheral>& peripheral);
    void cancel(const std::shared_ptr<SimulatedPeripheral>& peripheral);
    /// A scan or a registration has begun: listens to all that is on the air.
    void listen();
    bool isConnected(const UUID& device) const;

    void airChanged(const std::shared_ptr<SimulatedGlasses>& glasses) override;
    void connectionClosed(const std::shared_ptr<HostConnection>& connection, const platform::BluetoothError& error);

private:
    /// What goes on with one device.
    struct Device {
        std::vector<std::shared_ptr<SimulatedPeripheral>> pending; ///< ask for a connection
        bool isHeld = false;                                       ///< another application has or wants it connected
        bool isListening = false;
        bool isConnecting = false;
        std::shared_ptr<HostConnection> connection;
    };

    bool isOn() const { return directory_->state() == platform::CentralState::poweredOn; }
    std::vector<std::shared_ptr<SimulatedCentral>> centrals() const;
    bool wantsConnection(const Device& device) const { return device.isHeld || !device.pending.empty(); }
    void listen(const std::shared_ptr<SimulatedGlasses>& glasses);
    void hear(const std::shared_ptr<SimulatedGlasses>& glasses);
    void beginConnection(const std::shared_ptr<SimulatedGlasses>& glasses);
    void finishConnection(const std::shared_ptr<SimulatedGlasses>& glasses);
    void endIfUnused(const UUID& device);
    void shutConnections();
    void tellReachable(const UUID& device, bool isReachable);
    void after(platform::Duration delay, std::function<void(SimulatedHost&)> step);

    const std::shared_ptr<Radio> radio_;
    const std::shared_ptr<ancs::NotificationProvider> notifications_; ///< may be null
    const std::shared_ptr<HostDirectory> directory_ = std::make_shared<HostDirectory>();
    std::vector<std::weak_ptr<SimulatedCentral>> centrals_;
    std::map<UUID, Device> devices_;
};

} // namespace tarnel::glasses
