#pragma once

#include <TarnelSDK/platform/Bluetooth.hpp>
#include <TarnelSDK/platform/Bytes.hpp>
#include <TarnelSDK/platform/UUID.hpp>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace tarnel::bluez {

/// How far a peripheral has come.
struct PeripheralManagerState {
    enum class Radio {
        unknown,     ///< nobody knows yet
        noService,   ///< the bus or the Bluetooth service is not there
        forbidden,   ///< the bus does not let this process talk to the service
        noAdapter,   ///< there is none, or not the wanted one
        poweredOff,  ///< the adapter is switched off
        unsupported, ///< the adapter cannot be a peripheral
        ready,
    };
    Radio radio = Radio::unknown;
    bool isPublished = false;   ///< the services can be found
    bool isAdvertising = false; ///< as far as the daemon says
    std::string failure{};      ///< what the system says of what is not so; empty when nothing is wrong

    friend bool operator==(const PeripheralManagerState&, const PeripheralManagerState&) = default;
};

/// A central that is connected to this machine.
struct ConnectedCentral {
    std::string id;      ///< names it in calls; the same as long as the daemon knows the device
    std::string address; ///< "AA:BB:CC:DD:EE:FF"
    std::string name;    ///< may be empty
    bool isBonded = false;

    friend bool operator==(const ConnectedCentral&, const ConnectedCentral&) = default;
};

/// An error code of the attribute protocol, or a value; empty for a write.
struct AttributeAnswer {
    std::optional<int> error = std::nullopt;
    Bytes value{};
};

/// Answers a request: any thread, once; later calls, and those after the connection has ended, do nothing.
using AnswerAttribute = std::function<void(AttributeAnswer)>;

/// Told on the manager's thread, one call at a time; must not block it.
class PeripheralManagerDelegate {
public:
    virtual ~PeripheralManagerDelegate() = default;
    virtual void stateChanged(const PeripheralManagerState& state) = 0;
    virtual void centralConnected(const ConnectedCentral& central) = 0;
    /// It was bonded, or its name became known.
    virtual void centralChanged(const ConnectedCentral& central) = 0;
    virtual void centralDisconnected(const std::string& id) = 0;
    /// The requests of one central come in its order. `mtu` is that of its connection.
    virtual void readAsked(const std::string& central, std::uint16_t mtu, const UUID& characteristic,
                           AnswerAttribute answer) = 0;
    /// `withoutResponse` where nobody awaits the answer.
    virtual void writeAsked(const std::string& central, std::uint16_t mtu, const UUID& characteristic, Bytes value,
                            platform::WriteType type, AnswerAttribute answer) = 0;
    /// The central in the connection subscribed or ended its subscription. One that is bonded may be subscribed from
    /// before, which is told when it connects.
    virtual void subscriptionChanged(const UUID& characteristic, bool isSubscribed) = 0;
};

} // namespace tarnel::bluez
