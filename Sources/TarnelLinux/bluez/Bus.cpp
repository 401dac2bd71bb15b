#include <TarnelLinux/bluez/Bus.hpp>
#include <TarnelLinux/bluez/Names.hpp>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace tarnel::bluez {
namespace {

using namespace std::chrono_literals;

constexpr auto firstRetry = 250ms;
constexpr auto longestRetry = 5000ms;
/// How long a bus may be silent before that is told.
constexpr auto busPatience = 5s;
constexpr std::chrono::milliseconds firstRead = 500ms;
constexpr std::chrono::milliseconds longestRead = 30s;

/// Whether somebody who is on the bus may answer another time. Whoever comes to it is announced.
bool mayAnswerLater(const Failure& failure) {
    constexpr std::array<std::string_view, 6> lasting{
        "org.freedesktop.DBus.Error.ServiceUnknown", "org.freedesktop.DBus.Error.NameHasNoOwner",
        "org.freedesktop.DBus.Error.AccessDenied",   "org.freedesktop.DBus.Error.Disconnected",
        "org.freedesktop.DBus.Error.Spawn.",         "org.freedesktop.systemd1."};
    return std::none_of(lasting.begin(), lasting.end(),
                        [&](std::string_view name) { return failure.name.starts_with(name); });
}

} // namespace

void Bus::Listener::deviceDisconnected(const std::string&, const std::string&) {}

Bus::Bus(EventLoop& loop, std::optional<std::string> address, Listener& listener)
    : loop_(loop), address_(std::move(address)), listener_(listener) {}

Bus::~Bus() {
    *isAlive_ = false;
    loop_.setSource({});
    proxies_.clear();
    matches_.clear();
}

void Bus::start() {
    loop_.setSource({[this] {
                         if (!connection_) {
                             return EventLoop::Source::Poll{};
                         }
                         const auto data = connection_->getEventLoopPollData();
                         return EventLoop::Source::Poll{data.fd, data.events, data.getPollTimeout()};
                     },
                     [this] { dispatch(); }});
    connect();
}

void Bus::end() {
    hasEnded_ = true;
    dropConnection();
    pending_.clear();
}

void Bus::connect() {
    const std::string signals = std::string("type='signal',sender='") + serviceName + "',interface='";
    BusWish wish{.connect =
                     [address = address_] {
                         return address ? sdbus::createSessionBusConnectionWithAddress(*address)
                                        : sdbus::createSystemBusConnection();
                     },
                 .matches = {std::string("type='signal',sender='org.freedesktop.DBus',") +
                                 "member='NameOwnerChanged',arg0='" + serviceName + "'",
                             signals + objectManagerInterface + "'", signals + propertiesInterface + "'",
                             signals + deviceInterface + "'"},
                 .matched = [this](sdbus::Message& message) { received(message); }};
    const auto silence = loop_.after(busPatience, [this, alive = isAlive_] {
        if (*alive) {
            failure_ = Failure{"org.freedesktop.DBus.Error.NoReply", "the bus does not answer"};
            listener_.daemonChanged(false);
        }
    });
    openBus(loop_, std::move(wish), [this, alive = isAlive_, silence](OpenedBus bus) {
        if (*alive && !hasEnded_) {
            loop_.cancel(silence);
            opened(std::move(bus));
        }
    });
}

void Bus::opened(OpenedBus bus) {
    if (!bus.connection) {
        return lost(bus.failure);
    }
    connection_ = std::move(bus.connection);
    matches_ = std::move(bus.matches);
    ++connections_;
    retryDelay_ = 0ms;
    if (connectionChanged_) {
        connectionChanged_(connection_.get());
    }
    readObjects();
}

void Bus::connectLater() {
    retryDelay_ = std::clamp<std::chrono::milliseconds>(retryDelay_ * 2, firstRetry, longestRetry);
    loop_.after(retryDelay_, [this, alive = isAlive_] {
        if (*alive && !hasEnded_) {
            connect();
        }
    });
}

void Bus::dispatch() {
    if (!connection_) {
        return;
    }
    try {
        while (connection_->processPendingRequest()) {
        }
    } catch (const sdbus::Error& error) {
        lost({error.getName(), error.getMessage()});
    }
}

void Bus::lost(const Failure& failure) {
    failure_ = failure;
    if (connection_ && connectionChanged_) {
        connectionChanged_(nullptr);
    }
    dropConnection();
    ++connections_;
    loseDaemon();
    for (auto& [number, pending] : std::exchange(pending_, {})) {
        pending.done(nullptr, &failure);
    }
    connectLater();
}

/// Answers that wait for their turn use the connection until they are gone, run or not.
void Bus::dropConnection() {
    proxies_.clear();
    matches_.clear();
    loop_.post([kept = std::shared_ptr(std::move(connection_))] {});
}

void Bus::loseDaemon() {
    ++daemons_;
    for (const auto& [path, interfaces] : std::exchange(objects_, {})) {
        dropProxy(path);
    }
    isDaemonThere_ = false;
    listener_.daemonChanged(false);
}

void Bus::readObjects() {
    call("/", objectManagerInterface, "GetManagedObjects", nullptr,
         [this, daemon = daemons_](sdbus::MethodReply* reply, const Failure* failure) {
             if (daemon == daemons_) {
                 gotObjects(reply, failure);
             }
         });
}

void Bus::gotObjects(sdbus::MethodReply* reply, const Failure* failure) {
    if (failure) {
        failure_ = *failure;
        listener_.daemonChanged(false);
        return mayAnswerLater(*failure) ? readObjectsLater() : void();
    }
    std::map<sdbus::ObjectPath, Interfaces> objects;
    *reply >> objects;
    readDelay_ = 0ms;
    for (auto& [path, interfaces] : objects) {
        objects_.insert_or_assign(path, std::move(interfaces));
    }
    failure_.reset();
    isDaemonThere_ = true;
    listener_.daemonChanged(true);
}

void Bus::readObjectsLater() {
    readDelay_ = std::clamp(readDelay_ * 2, firstRead, longestRead);
    loop_.after(readDelay_, [this, alive = isAlive_, daemon = daemons_] {
        if (*alive && daemon == daemons_ && connection_) {
            readObjects();
        }
    });
}

/// Signals become tasks, as answers do, and so keep their order among them.
void Bus::received(sdbus::Message& message) {
    const auto later = [this](std::function<void()> task) {
        loop_.post([this, alive = isAlive_, number = connections_, task = std::move(task)] {
            if (*alive && number == connections_) {
                task();
            }
        });
    };
    try {
        const std::string member = message.getMemberName();
        if (member == "NameOwnerChanged") {
            std::string name;
            std::string before;
            std::string after;
            message >> name >> before >> after;
            later([this, after] { ownerChanged(after); });
        } else if (member == "InterfacesAdded") {
            sdbus::ObjectPath path;
            Interfaces interfaces;
            message >> path >> interfaces;
            later([this, path, interfaces] { added(path, interfaces); });
        } else if (member == "InterfacesRemoved") {
            sdbus::ObjectPath path;
            std::vector<std::string> interfaces;
            message >> path >> interfaces;
            later([this, path, interfaces] { removed(path, interfaces); });
        } else if (member == "PropertiesChanged") {
            std::string interface;
            Properties properties;
            std::vector<std::string> invalidated;
            message >> interface >> properties >> invalidated;
            later([this, path = message.getPath(), interface, properties, invalidated] {
                changed(path, interface, properties, invalidated);
            });
        } else if (member == "Disconnected") {
            std::string reason;
            message >> reason;
            later([this, path = message.getPath(), reason] { listener_.deviceDisconnected(path, reason); });
        }
    } catch (const sdbus::Error&) {
        // A signal of another shape than BlueZ's tells nothing.
        return;
    }
}

void Bus::ownerChanged(const std::string& owner) {
    failure_.reset();
    readDelay_ = 0ms;
    loseDaemon();
    if (!owner.empty()) {
        readObjects();
    }
}

void Bus::added(const std::string& path, const Interfaces& interfaces) {
    if (!isDaemonThere_) {
        return;
    }
    for (const auto& [interface, properties] : interfaces) {
        objects_[path].insert_or_assign(interface, properties);
        listener_.interfaceAdded(path, interface);
    }
}

void Bus::removed(const std::string& path, const std::vector<std::string>& interfaces) {
    const auto object = objects_.find(path);
    if (object == objects_.end()) {
        return;
    }
    for (const auto& interface : interfaces) {
        const auto gone = object->second.extract(interface);
        if (!gone.empty()) {
            listener_.interfaceRemoved(path, interface, gone.mapped());
        }
    }
    if (object->second.empty()) {
        objects_.erase(object);
        dropProxy(path);
    }
}

/// What the object has been asked goes with its proxy, so whoever waits for an answer gets one here.
void Bus::dropProxy(const std::string& path) {
    proxies_.erase(path);
    for (const auto& [number, pending] : pending_) {
        if (pending.path == path) {
            answerLater(number, std::nullopt,
                        Failure{"org.freedesktop.DBus.Error.UnknownObject", "the object is gone"});
        }
    }
}

void Bus::changed(const std::string& path, const std::string& interface, const Properties& properties,
                  const std::vector<std::string>& invalidated) {
    const auto object = objects_.find(path);
    if (object == objects_.end()) {
        return;
    }
    auto& known = object->second[interface];
    for (const auto& [name, value] : properties) {
        known.insert_or_assign(name, value);
    }
    for (const auto& name : invalidated) {
        known.erase(name);
    }
    listener_.propertiesChanged(path, interface, properties);
}

const Properties* Bus::properties(const std::string& path, const std::string& interface) const {
    const auto object = objects_.find(path);
    if (object == objects_.end()) {
        return nullptr;
    }
    const auto found = object->second.find(interface);
    return found == object->second.end() ? nullptr : &found->second;
}

void Bus::refresh(const std::string& path, const std::string& interface, const std::string& name,
                  std::function<void()> done) {
    call(
        path, propertiesInterface, "Get", [&](sdbus::MethodCall& message) { message << interface << name; },
        [this, path, interface, name, done = std::move(done), daemon = daemons_](sdbus::MethodReply* reply,
                                                                                 const Failure*) {
            const Properties* known = properties(path, interface);
            sdbus::Variant value;
            if (reply && known && daemon == daemons_) {
                *reply >> value;
            }
            if (!value.isEmpty() && value.containsValueOfType<bool>() &&
                valueOf<bool>(*known, name) != value.get<bool>()) {
                changed(path, interface, {{name, value}}, {});
            }
            done();
        });
}

sdbus::IProxy& Bus::proxy(const std::string& path) {
    auto& proxy = proxies_[path];
    if (!proxy) {
        proxy = sdbus::createProxy(*connection_, serviceName, path);
    }
    return *proxy;
}

void Bus::call(const std::string& path, const std::string& interface, const std::string& method, const Fill& fill,
               Done done, std::chrono::seconds patience) {
    const std::uint64_t number = ++lastCall_;
    pending_.emplace(number, Pending{path, std::move(done)});
    if (!connection_) {
        answerLater(number, std::nullopt,
                    Failure{"org.freedesktop.DBus.Error.Disconnected", "there is no connection to the bus"});
        return;
    }
    try {
        sdbus::IProxy& object = proxy(path);
        auto message = object.createMethodCall(interface, method);
        if (fill) {
            fill(message);
        }
        object.callMethod(
            message,
            [this, number](sdbus::MethodReply& reply, const sdbus::Error* error) {
                if (error) {
                    answerLater(number, std::nullopt, Failure{error->getName(), error->getMessage()});
                } else {
                    answerLater(number, reply, std::nullopt);
                }
            },
            patience);
    } catch (const sdbus::Error& error) {
        answerLater(number, std::nullopt, Failure{error.getName(), error.getMessage()});
    }
}

/// Answers run as tasks of their own, so that they may call, and end, whatever they like.
void Bus::answerLater(std::uint64_t number, std::optional<sdbus::MethodReply> reply, std::optional<Failure> failure) {
    loop_.post([this, alive = isAlive_, number, reply = std::move(reply), failure = std::move(failure)]() mutable {
        if (*alive) {
            answer(number, reply ? &*reply : nullptr, failure ? &*failure : nullptr);
        }
    });
}

void Bus::answer(std::uint64_t number, sdbus::MethodReply* reply, const Failure* failure) {
    const auto entry = pending_.extract(number);
    if (entry.empty()) {
        return;
    }
    const auto alive = isAlive_;
    try {
        entry.mapped().done(reply, failure);
    } catch (const sdbus::Error& error) {
        const Failure shape{error.getName(), error.getMessage()};
        entry.mapped().done(nullptr, &shape);
    }
    if (!*alive) {
        return;
    }
    const std::string& path = entry.mapped().path;
    const bool isNeeded =
        objects_.contains(path) ||
        std::any_of(pending_.begin(), pending_.end(), [&](const auto& other) { return other.second.path == path; });
    if (!isNeeded) {
        proxies_.erase(path);
    }
}

} // namespace tarnel::bluez
