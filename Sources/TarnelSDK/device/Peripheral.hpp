#pragma once

#include <TarnelSDK/platform/Bluetooth.hpp>

#include <memory>
#include <optional>
#include <vector>

namespace tarnel {

class Tarnel;

/// Serves one device as the delegate of its platform peripheral: finds the services, chooses the link protocol,
/// subscribes, and hands values and confirmations to the device. Owned by the device; called on the central's queue.
class Peripheral : public platform::BluetoothPeripheralDelegate {
public:
    explicit Peripheral(std::weak_ptr<Tarnel> device);

    void didDiscoverServices(const platform::PeripheralPointer& peripheral,
                             const std::vector<platform::ServicePointer>& services,
                             const std::optional<platform::BluetoothError>& error) override;
    void didDiscoverCharacteristics(const platform::PeripheralPointer& peripheral,
                                    const platform::ServicePointer& service,
                                    const std::vector<platform::CharacteristicPointer>& characteristics,
                                    const std::optional<platform::BluetoothError>& error) override;
    void didUpdateValue(const platform::PeripheralPointer& peripheral,
                        const platform::CharacteristicPointer& characteristic, ByteView value,
                        const std::optional<platform::BluetoothError>& error) override;
    void didWriteValue(const platform::PeripheralPointer& peripheral,
                       const platform::CharacteristicPointer& characteristic,
                       const std::optional<platform::BluetoothError>& error) override;
    void didUpdateNotificationState(const platform::PeripheralPointer& peripheral,
                                    const platform::CharacteristicPointer& characteristic,
                                    const std::optional<platform::BluetoothError>& error) override;
    void didModifyServices(const platform::PeripheralPointer& peripheral,
                           const std::vector<platform::ServicePointer>& invalidated) override;
    void isReadyToSendWriteWithoutResponse(const platform::PeripheralPointer& peripheral) override;
    void didUpdateName(const platform::PeripheralPointer& peripheral) override;

private:
    void discoveredDataService(Tarnel& device, const platform::PeripheralPointer& peripheral,
                               const std::vector<platform::CharacteristicPointer>& characteristics);
    void startSession(Tarnel& device, const platform::PeripheralPointer& peripheral);
    /// Runs once the subscription is answered: what the glasses say to the first messages must not be missed.
    void finishStartingSession(Tarnel& device);
    /// Whether there is something to subscribe to.
    bool setupNotifications(Tarnel& device, const platform::PeripheralPointer& peripheral);
    void updatedIncoming(Tarnel& device, ByteView value, const std::optional<platform::BluetoothError>& error);
    void updatedPowerState(Tarnel& device, ByteView value);
    void updatedSoftwareRevision(Tarnel& device, ByteView value);
    void updatedSerialNumber(ByteView value);

    const std::weak_ptr<Tarnel> device_;
    /// The glasses have let us use their data service, so the bond, if they ask for one, holds.
    bool hasReadBond_ = false;
    bool isStartingSession_ = false;
};

} // namespace tarnel
