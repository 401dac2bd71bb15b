#pragma once

#include <TarnelGlasses/Radio.hpp>
#include <TarnelGlasses/SimulatedGlasses.hpp>
#include <TarnelGlassesAir/HostNotificationsOnAir.hpp>
#include <TarnelGlassesAir/OnAirLink.hpp>
#include <TarnelLinux/bluez/LocalService.hpp>
#include <TarnelLinux/bluez/PeripheralManagerDelegate.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarnel::bluez {
class PeripheralManager;
}

namespace tarnel::glasses {

struct OnAirOptions {
    /// The adapter to use, by its address or its name ("hci1"); when empty, one that is switched on.
    std::optional<std::string> adapter = std::nullopt;
    /// The D-Bus address of the bus that the Bluetooth daemon is on; the system's bus when empty.
    std::optional<std::string> busAddress = std::nullopt;
    /// The glasses read the notifications that a host shares. Where the host asks for it, they pair for that.
    bool readsNotifications = false;
};

/// Told on the radio's queue. Every operation has an empty default.
class OnAirObserver {
public:
    virtual ~OnAirObserver() = default;
    virtual void stateChanged(const bluez::PeripheralManagerState&) {}
    virtual void connected(const bluez::ConnectedCentral&) {}
    virtual void bonded(const bluez::ConnectedCentral&) {}
    virtual void disconnected() {}
    virtual void subscriptionChanged(const UUID& /*characteristic*/, bool /*isSubscribed*/) {}
    virtual void bondLost() {}
};

/// Puts simulated glasses on the air of a Bluetooth adapter of this machine, so that any host can connect to them. The
/// glasses stay what they are: their verbs and what is seen of them work as behind a simulated host. One host is
/// connected at a time; while it is, the glasses do not advertise.
///
/// A real controller cannot vanish in silence: out of range, and after a fault that ends the connection, it says
/// goodbye. While the glasses are stalled or out of range, what a host writes is held back up to a mebibyte and then
/// lost. Whether a host is paired is the daemon's knowledge; the glasses take over what it says.
class GlassesOnAir final : public Radio::Listener,
                           public SimulatedGlasses::Host,
                           public bluez::PeripheralManagerDelegate,
                           public std::enable_shared_from_this<GlassesOnAir> {
public:
    /// The radio's queue must run in real time. The glasses are of that radio, and no simulated host is. Called on any
    /// thread but the radio's queue.
    static std::shared_ptr<GlassesOnAir> make(const std::shared_ptr<Radio>& radio,
                                              const std::shared_ptr<SimulatedGlasses>& glasses, OnAirOptions options,
                                              std::weak_ptr<OnAirObserver> observer = {});
    ~GlassesOnAir() override;

    /// Ends the connection and takes the glasses from the air. Called before the last pointer goes, on any thread but
    /// the radio's queue.
    void end();

    // The glasses' news, on the radio's queue.

    void airChanged(const std::shared_ptr<SimulatedGlasses>& glasses) override;
    void notified(const UUID& characteristic, ByteView value) override;
    void closed(const platform::BluetoothError& error) override;
    void servicesChanged() override;
    void nameChanged(const std::string& name) override;
    void notificationsWanted() override;
    void controlPointWritten(ByteView value) override;

    // The adapter's news, on a thread of its own.

    void stateChanged(const bluez::PeripheralManagerState& state) override;
    void centralConnected(const bluez::ConnectedCentral& central) override;
    void centralChanged(const bluez::ConnectedCentral& central) override;
    void centralDisconnected(const std::string& id) override;
    void readAsked(const std::string& central, std::uint16_t mtu, const UUID& characteristic,
                   bluez::AnswerAttribute answer) override;
    void writeAsked(const std::string& central, std::uint16_t mtu, const UUID& characteristic, Bytes value,
                    platform::WriteType type, bluez::AnswerAttribute answer) override;
    void subscriptionChanged(const UUID& characteristic, bool isSubscribed) override;

    class Key {
        friend class GlassesOnAir;
        Key() = default;
    };
    GlassesOnAir(Key, std::shared_ptr<platform::Queue> queue, std::shared_ptr<SimulatedGlasses> glasses,
                 std::weak_ptr<OnAirObserver> observer);

private:
    void post(std::function<void(GlassesOnAir&)> step);
    void update();
    void checkBond();
    void open(const bluez::ConnectedCentral& central);
    void bond(const bluez::ConnectedCentral& central);
    /// Brings a request to the glasses, when it is of the central in the connection.
    bool carry(const std::string& central, std::uint16_t mtu, std::size_t length,
               std::function<void(GlassesOnAir&)> request);
    void admit(const UUID& characteristic);
    void tell(const std::function<void(OnAirObserver&)>& call) const;

    const std::shared_ptr<platform::Queue> queue_;
    const std::shared_ptr<SimulatedGlasses> glasses_;
    const std::weak_ptr<OnAirObserver> observer_;
    std::shared_ptr<bluez::PeripheralManager> manager_;
    std::shared_ptr<HostNotificationsOnAir> notifications_; ///< null when the glasses read none
    std::atomic<std::size_t> underWay_ = 0;                 ///< bytes of values that the queue has not come to

    // On the radio's queue.
    std::optional<bluez::ConnectedCentral> central_;
    std::shared_ptr<OnAirLink> link_; ///< while the glasses are connected
    std::optional<platform::AdvertisementData> advertised_;
    std::string name_;
    std::set<std::string> bonded_; ///< centrals that have a bond, as far as they were seen
    bool wasBonded_ = false;
};

} // namespace tarnel::glasses
