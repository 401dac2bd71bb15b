#pragma once

#include <TarnelLinux/bluez/Bus.hpp>
#include <TarnelLinux/bluez/EventLoop.hpp>
#include <TarnelLinux/bluez/GattApplication.hpp>
#include <TarnelLinux/bluez/Registration.hpp>
#include <TarnelSDK/ancs/NotificationProvider.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>

namespace tarnel::bluez {

/// Offers the notifications that the host shares to the glasses that this machine has connected to, as an Apple
/// Notification Center Service. Access needs an encrypted link; glasses without one pair.
///
/// The daemon sends a value to every device that is subscribed, so all glasses see the responses to the requests of
/// one. Made, used and destroyed on the loop's thread.
class NotificationServer final : public GattApplication::Handler,
                                 public std::enable_shared_from_this<NotificationServer> {
public:
    /// Told which device (empty: the only one that can be meant) has subscribed, or that nobody is subscribed any more.
    using SubscriptionChanged = std::function<void(const std::string& devicePath, bool isSubscribed)>;
    /// Runs a task on the loop's thread, while that is there. Any thread.
    using Post = std::function<void(EventLoop::Task)>;

    /// The loop and the bus outlive the server.
    static std::shared_ptr<NotificationServer> make(EventLoop& loop, Bus& bus, Post post,
                                                    std::shared_ptr<ancs::NotificationProvider> provider,
                                                    SubscriptionChanged changed);

    /// The connection to the bus is this one from now on, or gone.
    void connectionChanged(sdbus::IConnection* connection);
    /// The adapter in use, empty when none can be used; whether glasses are, or are to be, connected.
    void update(const std::string& adapter, bool isWanted);
    /// Glasses have been connected, which may be subscribed from before.
    void connected();

    void readAsked(const GattApplication::Request& request) override;
    void writeAsked(const GattApplication::Request& request, Bytes value, platform::WriteType type) override;
    void notifyingChanged(const UUID& characteristic, bool isNotifying) override;

    class Key {
        friend class NotificationServer;
        Key() = default;
    };
    NotificationServer(Key, EventLoop& loop, Bus& bus, Post post, std::shared_ptr<ancs::NotificationProvider> provider,
                       SubscriptionChanged changed);

private:
    class Relay;

    void withdraw();
    void subscribed();
    void send(const ancs::Event& event);
    void answer(std::uint64_t application, std::uint64_t number, const ancs::NotificationProvider::Answer& answer);

    Bus& bus_;
    const Post post_;
    const std::shared_ptr<ancs::NotificationProvider> provider_;
    const SubscriptionChanged changed_;
    std::shared_ptr<Relay> relay_;
    Registration registration_;
    sdbus::IConnection* connection_ = nullptr;
    std::string adapter_;
    std::unique_ptr<GattApplication> application_;
    std::uint64_t applications_ = 0; ///< tells requests to this one from those to one that is gone
};

} // namespace tarnel::bluez
