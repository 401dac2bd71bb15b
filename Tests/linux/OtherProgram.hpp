#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tarnel::test {

/// A program that has the desktop show notifications, or pretends to. Used by one thread.
class OtherProgram {
public:
    struct Notification {
        std::string application = {};
        std::uint32_t replaces = 0;
        std::string summary = {};
        std::string body = {};
        std::map<std::string, sdbus::Variant> hints = {};
    };

    explicit OtherProgram(const std::string& busAddress)
        : address_(busAddress), connection_(sdbus::createSessionBusConnectionWithAddress(busAddress)),
          proxy_(sdbus::createProxy(*connection_, name, path)) {}

    /// The daemon's number of it. Throws `sdbus::Error`.
    std::uint32_t notify(const Notification& notification) {
        auto call = callOf(*proxy_, notification);
        auto reply = proxy_->callMethod(call);
        std::uint32_t id = 0;
        reply >> id;
        return id;
    }
    void notifyWithoutWaiting(const Notification& notification) {
        auto call = callOf(*proxy_, notification);
        proxy_->callMethod(call, [](sdbus::MethodReply&, const sdbus::Error*) {});
    }
    void close(std::uint32_t id) {
        auto call = proxy_->createMethodCall(name, "CloseNotification");
        call << id;
        proxy_->callMethod(call);
    }
    /// A call with other arguments; the text that it is answered with, if it is one.
    std::string call(const std::string& method, const std::function<void(sdbus::MethodCall&)>& fill) {
        auto call = proxy_->createMethodCall(name, method);
        fill(call);
        auto reply = proxy_->callMethod(call);
        std::string text;
        reply >> text;
        return text;
    }
    /// The signal that is the daemon's to send.
    void emitClosed(std::uint32_t id, std::uint32_t reason) {
        auto object = sdbus::createObject(*connection_, path);
        auto message = object->createSignal(name, "NotificationClosed");
        message << id << reason;
        object->emitSignal(message);
    }
    /// Calls a program of its own instead of the daemon, which takes everything under the number 77.
    std::uint32_t notifySelf(const Notification& notification) {
        auto server = sdbus::createSessionBusConnectionWithAddress(address_);
        auto object = sdbus::createObject(*server, path);
        object->registerMethod("Notify").onInterface(name).implementedAs(
            [](const std::string&, const std::uint32_t&, const std::string&, const std::string&, const std::string&,
               const std::vector<std::string>&, const std::map<std::string, sdbus::Variant>&,
               const std::int32_t&) { return std::uint32_t{77}; });
        object->finishRegistration();
        server->enterEventLoopAsync();
        const auto proxy = sdbus::createProxy(*connection_, server->getUniqueName(), path);
        auto call = callOf(*proxy, notification);
        auto reply = proxy->callMethod(call);
        std::uint32_t id = 0;
        reply >> id;
        server->leaveEventLoop();
        return id;
    }

    static constexpr const char* name = "org.freedesktop.Notifications";
    static constexpr const char* path = "/org/freedesktop/Notifications";

private:
    static sdbus::MethodCall callOf(sdbus::IProxy& proxy, const Notification& notification) {
        auto call = proxy.createMethodCall(name, "Notify");
        call << notification.application << notification.replaces << std::string() << notification.summary
             << notification.body << std::vector<std::string>{} << notification.hints << std::int32_t{-1};
        return call;
    }

    const std::string address_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IProxy> proxy_;
};

/// A notification daemon whose answers are texts.
class OddDaemon {
public:
    explicit OddDaemon(const std::string& busAddress)
        : connection_(sdbus::createSessionBusConnectionWithAddress(busAddress)),
          object_(sdbus::createObject(*connection_, OtherProgram::path)) {
        object_->registerMethod("Notify")
            .onInterface(OtherProgram::name)
            .implementedAs([](const std::string&, const std::uint32_t&, const std::string&, const std::string&,
                              const std::string&, const std::vector<std::string>&,
                              const std::map<std::string, sdbus::Variant>&,
                              const std::int32_t&) { return std::string("odd"); });
        object_->finishRegistration();
        connection_->requestName(OtherProgram::name);
        connection_->enterEventLoopAsync();
    }
    ~OddDaemon() { connection_->leaveEventLoop(); }
    OddDaemon(const OddDaemon&) = delete;
    OddDaemon& operator=(const OddDaemon&) = delete;

private:
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IObject> object_;
};

} // namespace tarnel::test
