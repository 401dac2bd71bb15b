#pragma once

#include <TarnelGlasses/AirLink.hpp>
#include <TarnelGlasses/HostNotifications.hpp>
#include <TarnelGlasses/SimulatedGlasses.hpp>

#include <deque>
#include <functional>
#include <memory>
#include <vector>

namespace tarnel::glasses {

class SimulatedHost;
class SimulatedPeripheral;

/// The host's end of one connection: the attribute protocol of a client, with one request at a time, and the
/// peripherals of the applications that use the connection. Used on the radio's queue; owned by the host.
class HostConnection : public SimulatedGlasses::Host, public std::enable_shared_from_this<HostConnection> {
public:
    using AttResult = SimulatedGlasses::AttResult;

    HostConnection(std::weak_ptr<SimulatedHost> host, std::shared_ptr<SimulatedGlasses> glasses,
                   std::shared_ptr<AirLink> link);

    const LinkModel& model() const { return link_->model(); }
    const std::shared_ptr<SimulatedGlasses>& glasses() const { return glasses_; }
    const std::shared_ptr<AirLink>& link() const { return link_; }

    void addUser(const std::shared_ptr<SimulatedPeripheral>& user) { users_.push_back(user); }
    void removeUser(const std::shared_ptr<SimulatedPeripheral>& user);
    bool hasUser(const std::shared_ptr<SimulatedPeripheral>& user) const;
    /// Copied: what is done with them may change them.
    std::vector<std::shared_ptr<SimulatedPeripheral>> users() const { return users_; }

    /// A request in its turn: `serve` runs when it reaches the glasses, `answered` when its response comes back. A
    /// request that needs a bond starts pairing and is repeated after it.
    void request(std::size_t attLength, std::function<AttResult(SimulatedGlasses&)> serve,
                 std::function<void(const AttResult&)> answered);

    /// A write without response; `left` runs when it has left the host's buffer.
    void command(const UUID& characteristic, Bytes value, platform::Block left);

    /// Has the glasses find the host's notifications, or find that they are gone; nothing without a provider.
    void shareNotifications(const std::shared_ptr<ancs::NotificationProvider>& provider, bool isShared);

    /// Ends the connection from this end, without telling the users.
    void close();

    void notified(const UUID& characteristic, ByteView value) override;
    void closed(const platform::BluetoothError& error) override;
    void servicesChanged() override;
    void nameChanged(const std::string& name) override;
    void notificationsWanted() override;
    void controlPointWritten(ByteView value) override;

private:
    struct Request {
        std::size_t attLength;
        std::function<AttResult(SimulatedGlasses&)> serve;
        std::function<void(const AttResult&)> answered;
        bool hasPaired = false;
    };

    void start();
    void answer(const AttResult& result);
    void pair();

    const std::weak_ptr<SimulatedHost> host_;
    const std::shared_ptr<SimulatedGlasses> glasses_;
    const std::shared_ptr<AirLink> link_;
    std::vector<std::shared_ptr<SimulatedPeripheral>> users_;
    std::shared_ptr<HostNotifications> notifications_;
    std::deque<Request> requests_; ///< the first is under way
};

} // namespace tarnel::glasses
