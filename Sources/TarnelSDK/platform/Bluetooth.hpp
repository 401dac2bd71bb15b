#pragma once

#include <TarnelSDK/platform/Bytes.hpp>
#include <TarnelSDK/platform/Queue.hpp>
#include <TarnelSDK/platform/UUID.hpp>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Bluetooth LE as the SDK needs it: a central, the peripherals it finds, and their GATT.
///
/// Calls may be made on any thread, never block, and may be made from any callback. Callbacks arrive on the queue that
/// the central was made with, one at a time, never inside a call. Delegates are held weakly.
namespace tarnel::platform {

enum class CentralState {
    unknown = 0,
    resetting = 1,
    unsupported = 2,
    unauthorized = 3,
    poweredOff = 4,
    poweredOn = 5
};
enum class PeripheralState { disconnected = 0, connecting = 1, connected = 2, disconnecting = 3 };
enum class ConnectionEvent { peerDisconnected = 0, peerConnected = 1 };
enum class WriteType { withResponse, withoutResponse };

struct BluetoothError {
    enum class Domain {
        central,   ///< connection errors; codes of `CentralErrorCode`
        attribute, ///< the ATT error codes of Bluetooth Core, Vol 3, Part F, 3.4.1.1
    };
    Domain domain = Domain::central;
    int code = 0;
    std::string description;
};

/// Codes in the central domain that the SDK tells apart.
enum CentralErrorCode : int {
    connectionUnknownError = 0,
    connectionTimedOut = 6,
    peripheralDisconnected = 7,
    connectionFailed = 10,
    peerRemovedPairingInformation = 14,
};

/// Codes in the attribute domain that the SDK tells apart.
enum AttributeErrorCode : int { insufficientAuthentication = 5 };

/// A discovered characteristic. Identity is the object's; it is valid until its service is invalidated or the
/// connection ends.
struct Characteristic {
    UUID uuid;
    UUID service;
    bool canRead = false;
    bool canWrite = false;
    bool canWriteWithoutResponse = false;
    bool canNotify = false;
};

/// A discovered service.
struct Service {
    UUID uuid;
};

class BluetoothPeripheral;
using PeripheralPointer = std::shared_ptr<BluetoothPeripheral>;
using ServicePointer = std::shared_ptr<const Service>;
using CharacteristicPointer = std::shared_ptr<const Characteristic>;

/// Receives what a peripheral answers. Every operation has an empty default.
class BluetoothPeripheralDelegate {
public:
    virtual ~BluetoothPeripheralDelegate() = default;
    virtual void didDiscoverServices(const PeripheralPointer&, const std::vector<ServicePointer>&,
                                     const std::optional<BluetoothError>&) {}
    virtual void didDiscoverCharacteristics(const PeripheralPointer&, const ServicePointer&,
                                            const std::vector<CharacteristicPointer>&,
                                            const std::optional<BluetoothError>&) {}
    /// A read was answered or a notification came; `value` is empty on an error.
    virtual void didUpdateValue(const PeripheralPointer&, const CharacteristicPointer&, ByteView /*value*/,
                                const std::optional<BluetoothError>&) {}
    /// A write with response was answered.
    virtual void didWriteValue(const PeripheralPointer&, const CharacteristicPointer&,
                               const std::optional<BluetoothError>&) {}
    virtual void didUpdateNotificationState(const PeripheralPointer&, const CharacteristicPointer&,
                                            const std::optional<BluetoothError>&) {}
    virtual void didModifyServices(const PeripheralPointer&, const std::vector<ServicePointer>& /*invalidated*/) {}
    /// `canSendWriteWithoutResponse` was false and is true again.
    virtual void isReadyToSendWriteWithoutResponse(const PeripheralPointer&) {}
    virtual void didUpdateName(const PeripheralPointer&) {}
};

/// One peripheral as its central sees it. The same device is the same object as long as anybody holds it.
class BluetoothPeripheral {
public:
    virtual ~BluetoothPeripheral() = default;

    /// The platform's identifier of the device, the same after a restart.
    virtual UUID identifier() const = 0;
    virtual std::optional<std::string> name() const = 0;
    virtual PeripheralState state() const = 0;
    /// One line for logs.
    virtual std::string description() const = 0;
    /// Whether the user lets this device see the host's notifications.
    virtual bool ancsAuthorized() const = 0;

    virtual void setDelegate(std::weak_ptr<BluetoothPeripheralDelegate> delegate) = 0;

    /// The following are dropped unless the peripheral is connected.
    virtual void discoverServices() = 0;
    virtual void discoverCharacteristics(const ServicePointer& service) = 0;
    /// Always answered by `didUpdateNotificationState`; no notification that follows the answer is lost.
    virtual void setNotifyValue(bool enabled, const CharacteristicPointer& characteristic) = 0;
    virtual void readValue(const CharacteristicPointer& characteristic) = 0;
    /// One write of the whole value. Writes of one type keep their order. A write without response that comes while
    /// `canSendWriteWithoutResponse` is false may be lost.
    virtual void writeValue(ByteView value, const CharacteristicPointer& characteristic, WriteType type) = 0;

    /// Whether the platform's buffer has room for one more write without response. After false,
    /// `isReadyToSendWriteWithoutResponse` follows.
    virtual bool canSendWriteWithoutResponse() const = 0;
    /// The largest value, in bytes, of one write of this type; at least 20.
    virtual std::size_t maximumWriteValueLength(WriteType type) const = 0;
};

/// What an advertisement says; entries that it lacks are empty.
struct AdvertisementData {
    std::optional<bool> isConnectable;
    std::optional<std::vector<UUID>> serviceUUIDs;
    std::optional<Bytes> manufacturerData; ///< company identifier included
    std::optional<std::string> localName;
};

class BluetoothCentral;

/// Receives what the central sees.
class BluetoothCentralDelegate {
public:
    virtual ~BluetoothCentralDelegate() = default;
    virtual void centralManagerDidUpdateState(BluetoothCentral& central) = 0;
    virtual void didDiscover(BluetoothCentral& central, const PeripheralPointer& peripheral,
                             const AdvertisementData& advertisementData, int rssi) = 0;
    virtual void didConnect(BluetoothCentral& central, const PeripheralPointer& peripheral) = 0;
    virtual void didFailToConnect(BluetoothCentral& central, const PeripheralPointer& peripheral,
                                  const std::optional<BluetoothError>& error) = 0;
    virtual void didDisconnectPeripheral(BluetoothCentral& central, const PeripheralPointer& peripheral,
                                         const std::optional<BluetoothError>& error) = 0;
    virtual void connectionEventDidOccur(BluetoothCentral& central, ConnectionEvent event,
                                         const PeripheralPointer& peripheral) = 0;
    virtual void didUpdateANCSAuthorization(BluetoothCentral& central, const PeripheralPointer& peripheral) = 0;
};

/// The host's Bluetooth LE central.
class BluetoothCentral {
public:
    virtual ~BluetoothCentral() = default;

    virtual void setDelegate(std::weak_ptr<BluetoothCentralDelegate> delegate) = 0;

    /// `unknown` until `centralManagerDidUpdateState` has been called for the first time.
    virtual CentralState state() const = 0;
    virtual bool isScanning() const = 0;

    /// Reports peripherals that advertise one of the services, each once a scan unless its advertisement changes.
    virtual void scanForPeripherals(const std::vector<UUID>& services) = 0;
    virtual void stopScan() = 0;

    /// Peripherals that the system, for whatever application, holds connected and that have the service.
    virtual std::vector<PeripheralPointer> retrieveConnectedPeripherals(const UUID& service) = 0;
    /// Peripherals known from now or earlier with one of these identifiers.
    virtual std::vector<PeripheralPointer> retrievePeripherals(const std::vector<UUID>& identifiers) = 0;

    /// Asks for a connection. Has no time-out: it stays pending until the peripheral appears or it is cancelled.
    virtual void connect(const PeripheralPointer& peripheral) = 0;
    /// Ends the connection or the pending request; `didDisconnectPeripheral` follows an ended connection.
    virtual void cancelPeripheralConnection(const PeripheralPointer& peripheral) = 0;

    /// From now on `connectionEventDidOccur` tells when one of these comes within reach (`peerConnected`) or is gone,
    /// and of no others. What was registered before ends, and so does that of a peripheral whose connection is
    /// cancelled.
    virtual void registerForConnectionEvents(const std::vector<UUID>& identifiers) = 0;
};

struct CentralOptions {
    /// The platform offers the user to switch Bluetooth on when it is off.
    bool showPowerAlert = false;
};

class BluetoothProvider {
public:
    virtual ~BluetoothProvider() = default;

    /// A central whose callbacks arrive on `queue`. The first callback reports its state.
    virtual std::shared_ptr<BluetoothCentral> makeCentral(std::weak_ptr<BluetoothCentralDelegate> delegate,
                                                          std::shared_ptr<Queue> queue, CentralOptions options) = 0;
};

} // namespace tarnel::platform
