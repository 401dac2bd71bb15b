#pragma once

#include <TarnelLinux/bluez/EventLoop.hpp>
#include <TarnelLinux/desktop/NotificationDaemon.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

struct sd_bus;
struct sd_bus_message;

namespace tarnel::desktop {

/// What some program had the desktop show, in the terms of the Desktop Notifications 1.2. Texts are plain
/// and `displayable`.
struct WatchedNotification {
    enum class Urgency : std::uint8_t { low = 0, normal = 1, critical = 2 };

    std::string sender; ///< bus name of the program's connection
    std::string applicationName;
    std::string desktopEntry;
    std::string summary;
    std::string body;
    std::string category;
    Urgency urgency = Urgency::normal;
    bool isTransient = false; ///< not kept in the desktop's list
};

/// Watches what programs say to the service org.freedesktop.Notifications on the session bus, on a connection of its
/// own that does nothing else (org.freedesktop.DBus.Monitoring, D-Bus 0.32). Nothing is answered, and
/// messages of another shape than the published one tell nothing. Everything is called, and calls back, on the loop's
/// thread.
class NotificationMonitor {
public:
    /// Calls whose answers are not there yet; older ones are forgotten.
    static constexpr std::size_t mostUnderWay = 64;

    class Listener {
    public:
        virtual ~Listener() = default;
        /// The daemon took it under this number; also in place of what had the number before.
        virtual void shown(std::uint32_t id, const WatchedNotification& notification) = 0;
        virtual void closed(std::uint32_t id, NotificationDaemon::ClosedReason reason) = 0;
        /// The daemon is gone, and all of its notifications with it.
        virtual void gone() = 0;
        /// Nothing is told from now on: a sentence for the user says why.
        virtual void ended(const std::string& why) = 0;
    };

    using Options = NotificationDaemon::Options;

    /// The loop and the listener outlive it, and the loop has ended before it goes. Whatever it calls may end the loop,
    /// which keeps this until then, and is the last to be called.
    NotificationMonitor(bluez::EventLoop& loop, Options options, Listener& listener);
    ~NotificationMonitor();
    NotificationMonitor(const NotificationMonitor&) = delete;
    NotificationMonitor& operator=(const NotificationMonitor&) = delete;

    /// Once.
    void begin();

private:
    /// A call that was seen: to show something, or else to close it.
    struct Call {
        std::string sender;
        std::uint64_t number = 0;
        std::optional<WatchedNotification> notification;
        std::uint32_t id = 0; ///< to be closed
    };
    struct CloseBus {
        void operator()(sd_bus* bus) const;
    };

    int open();
    int becomeMonitor();
    void answered(sd_bus_message* answer);
    bluez::EventLoop::Source::Poll prepare();
    void dispatch();
    void received(sd_bus_message* message);
    void callSeen(sd_bus_message* message);
    void answerSeen(sd_bus_message* message, bool isError);
    void signalSeen(sd_bus_message* message);
    void end(const std::string& why);

    bluez::EventLoop& loop_;
    const Options options_;
    Listener& listener_;
    std::unique_ptr<sd_bus, CloseBus> bus_;
    bool isMonitor_ = false;
    std::deque<Call> calls_; ///< oldest first
};

} // namespace tarnel::desktop
