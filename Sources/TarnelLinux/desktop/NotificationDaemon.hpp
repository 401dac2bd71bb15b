#pragma once

#include <TarnelLinux/bluez/BusOpener.hpp>
#include <TarnelLinux/bluez/EventLoop.hpp>

#include <sdbus-c++/sdbus-c++.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarnel::desktop {

/// One notification in the terms of the Desktop Notifications 1.2. Texts are valid UTF-8 and plain.
struct DesktopNotification {
    std::string applicationName;
    std::string desktopEntry; ///< the name of the application's .desktop file without that ending; may be empty
    std::uint32_t replaces = 0;
    std::string summary;
    std::string body;
    std::string category; ///< may be empty
    bool isQuiet = false; ///< of low urgency, which desktops list without a banner
    bool isSilent = false;
    bool isTransient = false; ///< not kept in the desktop's list
};

/// The service org.freedesktop.Notifications on the session bus. Connects when first needed, and again when the bus was
/// gone. Everything is called, and calls back, on the loop's thread.
class NotificationDaemon {
public:
    enum class ClosedReason : std::uint32_t { expired = 1, dismissed = 2, withdrawn = 3, undefined = 4 };

    class Listener {
    public:
        virtual ~Listener() = default;
        /// "default" is the notification itself.
        virtual void invoked(std::uint32_t id, const std::string& action) = 0;
        virtual void closed(std::uint32_t id, ClosedReason reason) = 0;
        /// The daemon is gone, and all of its notifications with it.
        virtual void gone() = 0;
    };

    /// Exactly one is set: the daemon's number of the notification, or a sentence for the user.
    struct Result {
        std::optional<std::uint32_t> id;
        std::optional<std::string> error;
    };
    using Done = std::function<void(const Result&)>;

    struct Options {
        /// Of another bus than the session's.
        std::optional<std::string> busAddress;
        /// How long the daemon may take to start or answer.
        std::chrono::microseconds patience;
        /// Told the bus name of each new connection, before anything is said on it.
        std::function<void(const std::string& busName)> connected = nullptr;
    };

    /// The loop and the listener outlive it, and the loop has ended before it goes. Whatever it calls may end the loop,
    /// which keeps this until then, and is the last to be called.
    NotificationDaemon(bluez::EventLoop& loop, Options options, Listener& listener);
    ~NotificationDaemon();
    NotificationDaemon(const NotificationDaemon&) = delete;
    NotificationDaemon& operator=(const NotificationDaemon&) = delete;

    /// `done` is called later, unless the loop ends; what is not shown when the bus goes fails, and so does what is
    /// added while that is told.
    void notify(DesktopNotification notification, Done done);
    /// Takes it off the desktop.
    void close(std::uint32_t id);

private:
    struct Waiting {
        DesktopNotification notification;
        Done done;
    };
    using Answered = std::function<void(sdbus::MethodReply* reply, const sdbus::Error* error)>;

    void connect();
    void opened(bluez::OpenedBus bus);
    void dispatch();
    void failWaiting(const std::string& error);
    void lost();
    void received(sdbus::Message& message);
    void handle(sdbus::Message& message);
    void call(const std::string& method, const std::function<void(sdbus::MethodCall&)>& fill, Answered answered);
    void askCapabilities();
    void gotCapabilities(sdbus::MethodReply* reply, const sdbus::Error* error);
    void sendWaiting();
    void send(const DesktopNotification& notification, Done done);
    bool can(const std::string& capability) const { return capabilities_ && capabilities_->contains(capability); }
    void later(std::function<void()> task);

    bluez::EventLoop& loop_;
    const Options options_;
    Listener& listener_;
    std::unique_ptr<sdbus::IConnection> connection_;
    bool isConnecting_ = false;
    bool isSilent_ = false;         ///< the bus that is being connected to
    bool isLosing_ = false;         ///< what waits is being told that the bus is gone
    std::uint64_t connections_ = 0; ///< tells what came over this connection from what came over one that is gone
    std::vector<sdbus::Slot> matches_;
    std::unique_ptr<sdbus::IProxy> proxy_;
    std::optional<std::set<std::string>> capabilities_; ///< of the daemon that runs
    bool isAsking_ = false;                             ///< for them
    std::deque<Waiting> waiting_;                       ///< to be sent
    std::size_t underWay_ = 0;                          ///< sent and not answered
    std::uint64_t lastCall_ = 0;
    std::map<std::uint64_t, Answered> calls_;
};

} // namespace tarnel::desktop
