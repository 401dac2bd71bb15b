#pragma once

#include <TarnelLinux/bluez/Bus.hpp>
#include <TarnelLinux/bluez/LocalService.hpp>
#include <TarnelSDK/platform/Bluetooth.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::bluez {

/// Services of this machine as objects on one bus connection, in the form in which the daemon takes them
/// (doc/gatt-api.txt of BlueZ). On the loop's thread only.
///
/// Values come by method calls and not through sockets (`AcquireWrite`): BlueZ 5.66 hands over values that arrive while
/// it still asks for a socket after their memory has been used again, and drops what a full socket does not take.
class GattApplication {
public:
    static constexpr std::size_t greatestValueLength = 512; ///< Bluetooth Core Specification, Vol 3, Part F, 3.2.9
    /// Requests that wait for their answers; more are refused.
    static constexpr std::size_t mostRequests = 64;

    /// A central's request. One with a number must be answered, once.
    struct Request {
        std::uint64_t number = 0; ///< 0: no answer is awaited
        std::string device;       ///< the object path of the central
        std::uint16_t mtu = 23;   ///< of its connection
        UUID characteristic;
    };

    class Handler {
    public:
        virtual ~Handler() = default;
        virtual void readAsked(const Request& request) = 0;
        virtual void writeAsked(const Request& request, Bytes value, platform::WriteType type) = 0;
        /// Somebody wants this characteristic's values, or nobody any more.
        virtual void notifyingChanged(const UUID& characteristic, bool isNotifying) = 0;
    };

    /// The connection and the handler outlive the application. REQUIRES: no two characteristics have the same UUID.
    GattApplication(sdbus::IConnection& connection, std::string path, const std::vector<LocalService>& services,
                    Handler& handler);
    ~GattApplication();
    GattApplication(const GattApplication&) = delete;
    GattApplication& operator=(const GattApplication&) = delete;

    const std::string& path() const { return path_; }

    /// Answers with a value, empty for a write, or with an error code of the attribute protocol. A number that is not
    /// awaited any more is ignored.
    void answer(std::uint64_t number, const std::optional<int>& error, const Bytes& value);
    /// Refuses what this central still waits for.
    void drop(const std::string& device);

    bool isNotifying(const UUID& characteristic) const;
    /// Sends a value to the centrals that are subscribed.
    void notify(const UUID& characteristic, Bytes value);

private:
    struct Attribute {
        LocalCharacteristic characteristic;
        Bytes value; ///< the last that was notified
        bool isNotifying = false;
        std::unique_ptr<sdbus::IObject> object;
    };
    struct Pending {
        sdbus::MethodCall call;
        std::string device;
        std::size_t offset = 0;
        bool isRead = false;
    };

    void addService(sdbus::IConnection& connection, const std::string& path, const UUID& uuid);
    void addCharacteristic(sdbus::IConnection& connection, const std::string& path, const std::string& service,
                           const LocalCharacteristic& characteristic);
    void received(Attribute& attribute, sdbus::MethodCall& call, bool isRead);
    void setNotifying(Attribute& attribute, bool isNotifying);
    std::uint64_t keep(Pending pending);

    const std::string path_;
    Handler& handler_;
    std::unique_ptr<sdbus::IObject> root_;
    std::vector<std::unique_ptr<sdbus::IObject>> services_;
    std::map<UUID, Attribute> attributes_;
    std::map<std::uint64_t, Pending> pending_;
    std::uint64_t lastNumber_ = 0;
};

} // namespace tarnel::bluez
