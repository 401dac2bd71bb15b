#include <TarnelLinux/desktop/NotificationDaemon.hpp>
#include <TarnelLinux/desktop/Text.hpp>

#include <utility>

namespace tarnel::desktop {
namespace {

constexpr const char* serviceName = "org.freedesktop.Notifications";
constexpr const char* servicePath = "/org/freedesktop/Notifications";
constexpr const char* serviceInterface = "org.freedesktop.Notifications";
constexpr std::int32_t daemonsOwnTimeout = -1;
constexpr const char* silentBus = "The notification cannot be shown: the session bus does not answer.";
/// A bus may refuse more answers to wait for: 128 unless it is configured otherwise.
constexpr std::size_t mostUnderWay = 32;
enum class Urgency : std::uint8_t { low = 0, normal = 1 };

std::string reasonOf(const sdbus::Error& error) {
    const std::string& name = error.getName();
    const std::string detail = " (" + error.getMessage() + ").";
    const std::string prefix = "org.freedesktop.DBus.Error.";
    if (name == prefix + "ServiceUnknown" || name == prefix + "NameHasNoOwner" || name.starts_with(prefix + "Spawn.")) {
        return "The notification cannot be shown: no notification service runs on this desktop" + detail;
    }
    if (name == prefix + "NoReply" || name == prefix + "Timeout" || name == prefix + "TimedOut") {
        return "The notification cannot be shown: the notification service does not answer" + detail;
    }
    return "The notification cannot be shown: the notification service refuses it" + detail;
}

NotificationDaemon::Result failed(std::string error) {
    return {.id = std::nullopt, .error = std::move(error)};
}

NotificationDaemon::Result resultOf(sdbus::MethodReply* reply, const sdbus::Error* error) {
    if (error) {
        return failed(reasonOf(*error));
    }
    try {
        std::uint32_t id = 0;
        *reply >> id;
        return {.id = id, .error = std::nullopt};
    } catch (const sdbus::Error& shape) {
        return failed(reasonOf(shape));
    }
}

} // namespace

NotificationDaemon::NotificationDaemon(bluez::EventLoop& loop, Options options, Listener& listener)
    : loop_(loop), options_(std::move(options)), listener_(listener) {}

NotificationDaemon::~NotificationDaemon() {
    loop_.setSource({});
}

void NotificationDaemon::notify(DesktopNotification notification, Done done) {
    if (loop_.hasEnded()) {
        return;
    }
    if (isSilent_) {
        return loop_.post([done = std::move(done)] { done(failed(silentBus)); });
    }
    waiting_.push_back({std::move(notification), std::move(done)});
    if (connection_) {
        return sendWaiting();
    }
    if (!isLosing_ && !std::exchange(isConnecting_, true)) {
        connect();
    }
}

void NotificationDaemon::sendWaiting() {
    if (!connection_ || loop_.hasEnded()) {
        return;
    }
    if (!capabilities_) {
        if (!isAsking_ && !waiting_.empty()) {
            askCapabilities();
        }
        return;
    }
    while (!waiting_.empty() && underWay_ < mostUnderWay) {
        Waiting next = std::move(waiting_.front());
        waiting_.pop_front();
        send(next.notification, std::move(next.done));
    }
}

void NotificationDaemon::close(std::uint32_t id) {
    if (connection_) {
        call(
            "CloseNotification", [id](sdbus::MethodCall& message) { message << id; },
            [](sdbus::MethodReply*, const sdbus::Error*) {});
    }
}

void NotificationDaemon::connect() {
    bluez::BusWish wish{.connect =
                            [address = options_.busAddress] {
                                return address ? sdbus::createSessionBusConnectionWithAddress(*address)
                                               : sdbus::createSessionBusConnection();
                            },
                        .matches = {std::string("type='signal',sender='org.freedesktop.DBus',"
                                                "member='NameOwnerChanged',arg0='") +
                                        serviceName + "'",
                                    std::string("type='signal',sender='") + serviceName + "',interface='" +
                                        serviceInterface + "',path='" + servicePath + "'"},
                        .matched = [this](sdbus::Message& message) { received(message); }};
    const auto silence = loop_.after(options_.patience, [this] {
        isSilent_ = true;
        failWaiting(silentBus);
    });
    bluez::openBus(loop_, std::move(wish), [this, silence](bluez::OpenedBus bus) {
        loop_.cancel(silence);
        isConnecting_ = isSilent_ = false;
        opened(std::move(bus));
    });
}

void NotificationDaemon::opened(bluez::OpenedBus bus) {
    if (!bus.connection) {
        return failWaiting("The notification cannot be shown: no session bus runs.");
    }
    connection_ = std::move(bus.connection);
    matches_ = std::move(bus.matches);
    ++connections_;
    try {
        proxy_ = sdbus::createProxy(*connection_, serviceName, servicePath);
        if (options_.connected) {
            options_.connected(connection_->getUniqueName());
        }
    } catch (const sdbus::Error&) {
        return lost();
    }
    loop_.setSource({[this] {
                         if (!connection_) {
                             return bluez::EventLoop::Source::Poll{};
                         }
                         const auto data = connection_->getEventLoopPollData();
                         return bluez::EventLoop::Source::Poll{data.fd, data.events, data.getPollTimeout()};
                     },
                     [this] { dispatch(); }});
    sendWaiting();
}

void NotificationDaemon::dispatch() {
    if (!connection_) {
        return;
    }
    try {
        while (connection_->processPendingRequest()) {
        }
    } catch (const sdbus::Error&) {
        lost();
        if (!loop_.hasEnded()) {
            listener_.gone();
        }
    }
}

void NotificationDaemon::failWaiting(const std::string& error) {
    for (const auto& [notification, done] : std::exchange(waiting_, {})) {
        if (!loop_.hasEnded()) {
            done(failed(error));
        }
    }
}

void NotificationDaemon::lost() {
    proxy_.reset();
    matches_.clear();
    // Answers that wait for their turn use it until they are gone.
    loop_.post([kept = std::shared_ptr(std::move(connection_))] {});
    ++connections_;
    capabilities_.reset();
    const sdbus::Error disconnected("org.freedesktop.DBus.Error.NoReply", "the session bus is gone");
    isLosing_ = true;
    for (const auto& [number, answered] : std::exchange(calls_, {})) {
        if (!loop_.hasEnded()) {
            answered(nullptr, &disconnected);
        }
    }
    // Whoever is told may have had more to send.
    while (!waiting_.empty()) {
        failWaiting(reasonOf(disconnected));
    }
    isLosing_ = false;
}

void NotificationDaemon::later(std::function<void()> task) {
    loop_.post([this, number = connections_, task = std::move(task)] {
        if (number == connections_) {
            task();
        }
    });
}

/// Signals become tasks, as answers do, and so keep their order among them.
void NotificationDaemon::received(sdbus::Message& message) {
    try {
        handle(message);
    } catch (const sdbus::Error&) {
        // A signal of another shape than the published one tells nothing.
        return;
    }
}

void NotificationDaemon::handle(sdbus::Message& message) {
    const std::string member = message.getMemberName();
    if (member == "NameOwnerChanged") {
        std::string name;
        std::string before;
        std::string after;
        message >> name >> before >> after;
        if (!before.empty()) {
            later([this] {
                capabilities_.reset();
                listener_.gone();
            });
        }
    } else if (member == "ActionInvoked") {
        std::uint32_t id = 0;
        std::string action;
        message >> id >> action;
        later([this, id, action] { listener_.invoked(id, action); });
    } else if (member == "NotificationClosed") {
        std::uint32_t id = 0;
        std::uint32_t reason = 0;
        message >> id >> reason;
        later([this, id, reason] { listener_.closed(id, static_cast<ClosedReason>(reason)); });
    }
}

void NotificationDaemon::call(const std::string& method, const std::function<void(sdbus::MethodCall&)>& fill,
                              Answered answered) {
    const std::uint64_t number = ++lastCall_;
    calls_.emplace(number, std::move(answered));
    const auto answer = [this, number](std::optional<sdbus::MethodReply> reply, std::optional<sdbus::Error> error) {
        later([this, number, reply = std::move(reply), error = std::move(error)]() mutable {
            if (const auto entry = calls_.extract(number)) {
                entry.mapped()(reply ? &*reply : nullptr, error ? &*error : nullptr);
            }
        });
    };
    try {
        auto message = proxy_->createMethodCall(serviceInterface, method);
        if (fill) {
            fill(message);
        }
        proxy_->callMethod(
            message,
            [answer](sdbus::MethodReply& reply, const sdbus::Error* error) {
                if (error) {
                    answer(std::nullopt, *error);
                } else {
                    answer(reply, std::nullopt);
                }
            },
            options_.patience);
    } catch (const sdbus::Error& error) {
        answer(std::nullopt, error);
    }
}

void NotificationDaemon::askCapabilities() {
    isAsking_ = true;
    call("GetCapabilities", nullptr,
         [this](sdbus::MethodReply* reply, const sdbus::Error* error) { gotCapabilities(reply, error); });
}

void NotificationDaemon::gotCapabilities(sdbus::MethodReply* reply, const sdbus::Error* error) {
    isAsking_ = false;
    std::optional<std::string> failure;
    if (error) {
        failure = reasonOf(*error);
    } else {
        try {
            std::vector<std::string> capabilities;
            *reply >> capabilities;
            capabilities_.emplace(capabilities.begin(), capabilities.end());
        } catch (const sdbus::Error& shape) {
            failure = reasonOf(shape);
        }
    }
    if (failure) {
        failWaiting(*failure);
    }
    sendWaiting();
}

void NotificationDaemon::send(const DesktopNotification& notification, Done done) {
    const auto fill = [&](sdbus::MethodCall& message) {
        std::map<std::string, sdbus::Variant> hints;
        hints["urgency"] =
            sdbus::Variant(static_cast<std::uint8_t>(notification.isQuiet ? Urgency::low : Urgency::normal));
        if (!notification.desktopEntry.empty()) {
            hints["desktop-entry"] = sdbus::Variant(notification.desktopEntry);
        }
        if (!notification.category.empty()) {
            hints["category"] = sdbus::Variant(notification.category);
        }
        if (notification.isSilent) {
            hints["suppress-sound"] = sdbus::Variant(true);
        }
        if (notification.isTransient) {
            hints["transient"] = sdbus::Variant(true);
        }
        std::vector<std::string> actions;
        if (can("actions")) {
            actions = {"default", "Open"};
        }
        const std::string icon;
        message << notification.applicationName << notification.replaces << icon << notification.summary
                << (can("body-markup") ? escaped(notification.body) : notification.body) << actions << hints
                << daemonsOwnTimeout;
    };
    ++underWay_;
    call("Notify", fill, [this, done = std::move(done)](sdbus::MethodReply* reply, const sdbus::Error* error) {
        --underWay_;
        done(resultOf(reply, error));
        sendWaiting();
    });
}

} // namespace tarnel::desktop
