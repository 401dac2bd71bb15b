#pragma once

#include <TarnelLinux/bluez/BusOpener.hpp>
#include <TarnelLinux/bluez/EventLoop.hpp>

#include <sdbus-c++/sdbus-c++.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::bluez {

using Properties = std::map<std::string, sdbus::Variant>;
using Interfaces = std::map<std::string, Properties>;

/// The value of a property when it has this type.
template <typename T>
std::optional<T> valueOf(const Properties& properties, const std::string& name) {
    const auto found = properties.find(name);
    if (found == properties.end() || !found->second.template containsValueOfType<T>()) {
        return std::nullopt;
    }
    return found->second.template get<T>();
}

/// The connection to the system bus, and the objects of the Bluetooth daemon on it as they stand. Comes back by itself
/// when the bus or the daemon was gone. Everything is called, and calls back, on the loop's thread.
class Bus {
public:
    class Listener {
    public:
        virtual ~Listener() = default;
        /// The daemon's objects are known from now on; or the daemon is gone, and its objects with it.
        virtual void daemonChanged(bool isThere) = 0;
        virtual void interfaceAdded(const std::string& path, const std::string& interface) = 0;
        /// Its properties, gone by now, come along.
        virtual void interfaceRemoved(const std::string& path, const std::string& interface,
                                      const Properties& properties) = 0;
        virtual void propertiesChanged(const std::string& path, const std::string& interface,
                                       const Properties& changed) = 0;
        /// The reason is one of "org.bluez.Reason...". Since BlueZ 5.83; nothing by default.
        virtual void deviceDisconnected(const std::string& path, const std::string& reason);
    };

    using Fill = std::function<void(sdbus::MethodCall&)>;
    /// Exactly one of the two is not null.
    using Done = std::function<void(sdbus::MethodReply* reply, const Failure* failure)>;

    /// `address` is that of another bus than the system's. The loop and the listener outlive the bus.
    Bus(EventLoop& loop, std::optional<std::string> address, Listener& listener);
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    void start();
    /// Sends what has been asked for, leaves the bus and does nothing from then on. What is not answered yet never is.
    void end();

    bool isDaemonThere() const { return isDaemonThere_; }
    /// Why the daemon cannot be reached; "org.freedesktop.DBus.Error.NoReply" while it, or the bus, does not answer.
    const std::optional<Failure>& failure() const { return failure_; }
    const std::map<std::string, Interfaces>& objects() const { return objects_; }
    /// Null when there is no such object or interface.
    const Properties* properties(const std::string& path, const std::string& interface) const;

    /// Calls a method of the daemon. `done` is called later, in any case; with a failure at once when the object goes.
    void call(const std::string& path, const std::string& interface, const std::string& method, const Fill& fill,
              Done done, std::chrono::seconds patience = std::chrono::seconds(25));

    /// Reads a property that may be true or false, and tells as of any other change when it is not what is known: BlueZ
    /// does not announce every change. `done` is called after that, in any case.
    void refresh(const std::string& path, const std::string& interface, const std::string& name,
                 std::function<void()> done);

    /// Called with each new connection, before the daemon's objects are read, to put objects on it; and with null
    /// before it goes, when they must go.
    void onConnection(std::function<void(sdbus::IConnection*)> changed) { connectionChanged_ = std::move(changed); }

private:
    void connect();
    void opened(OpenedBus bus);
    void connectLater();
    void dispatch();
    void lost(const Failure& failure);
    void dropConnection();
    void loseDaemon();
    void readObjects();
    void gotObjects(sdbus::MethodReply* reply, const Failure* failure);
    void readObjectsLater();
    void received(sdbus::Message& message);
    void ownerChanged(const std::string& owner);
    void added(const std::string& path, const Interfaces& interfaces);
    void removed(const std::string& path, const std::vector<std::string>& interfaces);
    void changed(const std::string& path, const std::string& interface, const Properties& properties,
                 const std::vector<std::string>& invalidated);
    void answer(std::uint64_t number, sdbus::MethodReply* reply, const Failure* failure);
    void answerLater(std::uint64_t number, std::optional<sdbus::MethodReply> reply, std::optional<Failure> failure);
    void dropProxy(const std::string& path);
    sdbus::IProxy& proxy(const std::string& path);

    EventLoop& loop_;
    const std::optional<std::string> address_;
    Listener& listener_;
    std::function<void(sdbus::IConnection*)> connectionChanged_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::uint64_t connections_ = 0; ///< tells answers of this connection from those of one that is gone
    std::vector<sdbus::Slot> matches_;
    std::map<std::string, std::unique_ptr<sdbus::IProxy>> proxies_;
    struct Pending {
        std::string path;
        Done done;
    };
    std::map<std::uint64_t, Pending> pending_;
    std::uint64_t lastCall_ = 0;
    std::map<std::string, Interfaces> objects_;
    std::uint64_t daemons_ = 0; ///< tells what was asked of this daemon from what was asked of the one before
    bool isDaemonThere_ = false;
    std::optional<Failure> failure_;
    std::chrono::milliseconds retryDelay_{0};
    std::chrono::milliseconds readDelay_{0};
    bool hasEnded_ = false;
    std::shared_ptr<bool> isAlive_ = std::make_shared<bool>(true);
};

} // namespace tarnel::bluez
