#pragma once

#include <TarnelGlasses/SimulatedGlasses.hpp>
#include <TarnelSDK/platform/Bluetooth.hpp>

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::glasses {

/// The way from glasses on the air to the notifications of the host that is connected to them: its Apple Notification
/// Center Service, of which the glasses are a client over the same connection. Used on the radio's queue.
///
/// The service asks for pairing, and a pairing that fails ends the connection: a host on which the subscription came to
/// nothing `mostAttempts` times in a row is left alone until it is bonded.
class HostNotificationsOnAir final : public platform::BluetoothCentralDelegate,
                                     public platform::BluetoothPeripheralDelegate,
                                     public std::enable_shared_from_this<HostNotificationsOnAir> {
public:
    static constexpr int mostAttempts = 3;
    /// Of how many hosts that is remembered: anybody may connect under ever new addresses.
    static constexpr std::size_t mostHosts = 64;

    HostNotificationsOnAir(std::shared_ptr<platform::BluetoothProvider> bluetooth,
                           std::shared_ptr<platform::Queue> queue, std::shared_ptr<SimulatedGlasses> glasses);

    /// Once, before the rest.
    void start();

    /// The host with this identifier is connected, or no host is any more.
    void connected(const UUID& host, bool isBonded);
    void disconnected();

    // What the glasses do.

    void subscribe();
    void write(ByteView command);

    void centralManagerDidUpdateState(platform::BluetoothCentral& central) override;
    void didDiscover(platform::BluetoothCentral&, const platform::PeripheralPointer&,
                     const platform::AdvertisementData&, int) override {}
    void didConnect(platform::BluetoothCentral& central, const platform::PeripheralPointer& peripheral) override;
    void didFailToConnect(platform::BluetoothCentral&, const platform::PeripheralPointer&,
                          const std::optional<platform::BluetoothError>&) override {}
    void didDisconnectPeripheral(platform::BluetoothCentral&, const platform::PeripheralPointer&,
                                 const std::optional<platform::BluetoothError>&) override {}
    void connectionEventDidOccur(platform::BluetoothCentral&, platform::ConnectionEvent,
                                 const platform::PeripheralPointer&) override {}
    void didUpdateANCSAuthorization(platform::BluetoothCentral&, const platform::PeripheralPointer&) override {}

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

private:
    void reach();
    void lose();
    void countFailure(const UUID& host);

    const std::shared_ptr<platform::BluetoothProvider> bluetooth_;
    const std::shared_ptr<platform::Queue> queue_;
    const std::shared_ptr<SimulatedGlasses> glasses_;
    std::shared_ptr<platform::BluetoothCentral> central_;
    std::optional<UUID> host_;
    std::map<UUID, int> failures_; ///< of subscriptions in a row, by host
    bool isSubscribing_ = false;
    platform::PeripheralPointer peripheral_;
    platform::CharacteristicPointer notificationSource_;
    platform::CharacteristicPointer controlPoint_;
    platform::CharacteristicPointer dataSource_;
};

} // namespace tarnel::glasses
