#pragma once

#include <TarnelSDK/platform/Bluetooth.hpp>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// A Bluetooth that does nothing by itself: it notes what it is asked, and the test says what happens. Everything runs
/// on the test's thread.
namespace tarnel::test {

class FakePeripheral : public platform::BluetoothPeripheral {
public:
    struct Write {
        Bytes value;
        UUID characteristic;
        platform::WriteType type;
    };

    explicit FakePeripheral(UUID identifier) : identifier_(identifier) {}

    UUID identifier() const override { return identifier_; }
    std::optional<std::string> name() const override { return advertisedName; }
    platform::PeripheralState state() const override { return currentState; }
    std::string description() const override { return "fake"; }
    bool ancsAuthorized() const override { return isANCSAuthorized; }
    void setDelegate(std::weak_ptr<platform::BluetoothPeripheralDelegate> value) override { delegate = value; }
    void discoverServices() override { ++serviceDiscoveries; }
    void discoverCharacteristics(const platform::ServicePointer& service) override {
        characteristicDiscoveries.push_back(service->uuid);
    }
    void setNotifyValue(bool enabled, const platform::CharacteristicPointer& characteristic) override {
        if (enabled) {
            subscriptions.push_back(characteristic->uuid);
        }
    }
    void readValue(const platform::CharacteristicPointer& characteristic) override {
        reads.push_back(characteristic->uuid);
    }
    void writeValue(ByteView value, const platform::CharacteristicPointer& characteristic,
                    platform::WriteType type) override {
        if (type == platform::WriteType::withoutResponse) {
            if (room == 0) {
                ++lostWrites;
                return;
            }
            --room;
        }
        writes.push_back({Bytes(value.begin(), value.end()), characteristic->uuid, type});
    }
    bool canSendWriteWithoutResponse() const override {
        if (whenAskedForRoom) {
            whenAskedForRoom();
        }
        return room > 0;
    }
    std::size_t maximumWriteValueLength(platform::WriteType type) const override {
        return type == platform::WriteType::withResponse ? maximumWithResponse : maximumWithoutResponse;
    }

    std::optional<std::string> advertisedName;
    platform::PeripheralState currentState = platform::PeripheralState::disconnected;
    bool isANCSAuthorized = false;
    std::size_t maximumWithResponse = 512;
    std::size_t maximumWithoutResponse = 495;
    /// Writes without response that the buffer takes before it is full.
    int room = 1'000'000;
    /// Called before each answer about room, in the middle of a write.
    std::function<void()> whenAskedForRoom;

    std::weak_ptr<platform::BluetoothPeripheralDelegate> delegate;
    int serviceDiscoveries = 0;
    std::vector<UUID> characteristicDiscoveries;
    std::vector<UUID> subscriptions;
    std::vector<UUID> reads;
    std::vector<Write> writes;
    int lostWrites = 0; ///< without response, into a full buffer

private:
    const UUID identifier_;
};

class FakeCentral : public platform::BluetoothCentral {
public:
    void setDelegate(std::weak_ptr<platform::BluetoothCentralDelegate> value) override {
        delegate = value;
        ++delegateSettings;
    }
    platform::CentralState state() const override { return currentState; }
    bool isScanning() const override { return scanning; }
    void scanForPeripherals(const std::vector<UUID>& services) override {
        scanning = true;
        scans.push_back(services);
    }
    void stopScan() override {
        scanning = false;
        ++scanStops;
    }
    std::vector<platform::PeripheralPointer> retrieveConnectedPeripherals(const UUID& service) override {
        std::vector<platform::PeripheralPointer> found;
        for (const auto& [offered, peripheral] : heldConnected) {
            if (offered == service) {
                found.push_back(peripheral);
            }
        }
        return found;
    }
    std::vector<platform::PeripheralPointer> retrievePeripherals(const std::vector<UUID>& identifiers) override {
        std::vector<platform::PeripheralPointer> found;
        std::copy_if(known.begin(), known.end(), std::back_inserter(found), [&](const auto& peripheral) {
            return std::find(identifiers.begin(), identifiers.end(), peripheral->identifier()) != identifiers.end();
        });
        return found;
    }
    void connect(const platform::PeripheralPointer& peripheral) override { connects.push_back(peripheral); }
    void cancelPeripheralConnection(const platform::PeripheralPointer& peripheral) override {
        cancels.push_back(peripheral);
    }
    void registerForConnectionEvents(const std::vector<UUID>& identifiers) override {
        registrations.push_back(identifiers);
    }

    platform::CentralState currentState = platform::CentralState::unknown;
    bool scanning = false;
    std::vector<std::pair<UUID, platform::PeripheralPointer>> heldConnected;
    std::vector<platform::PeripheralPointer> known;

    std::weak_ptr<platform::BluetoothCentralDelegate> delegate;
    int delegateSettings = 0;
    std::vector<std::vector<UUID>> scans;
    int scanStops = 0;
    std::vector<platform::PeripheralPointer> connects;
    std::vector<platform::PeripheralPointer> cancels;
    std::vector<std::vector<UUID>> registrations;
};

class FakeBluetooth : public platform::BluetoothProvider {
public:
    std::shared_ptr<platform::BluetoothCentral> makeCentral(std::weak_ptr<platform::BluetoothCentralDelegate> delegate,
                                                            std::shared_ptr<platform::Queue> centralQueue,
                                                            platform::CentralOptions options) override {
        central->delegate = std::move(delegate);
        queue = std::move(centralQueue);
        showedPowerAlert = options.showPowerAlert;
        return central;
    }

    /// Calls the central's delegate on its queue.
    template <typename Call>
    void report(Call call) {
        queue->async([this, call] {
            if (const auto delegate = central->delegate.lock()) {
                call(*delegate);
            }
        });
    }

    void setState(platform::CentralState state) {
        central->currentState = state;
        report([this](auto& delegate) { delegate.centralManagerDidUpdateState(*central); });
    }
    void discover(const platform::PeripheralPointer& peripheral, const platform::AdvertisementData& advertisement) {
        report([=, this](auto& delegate) { delegate.didDiscover(*central, peripheral, advertisement, -50); });
    }
    void completeConnection(const std::shared_ptr<FakePeripheral>& peripheral) {
        peripheral->currentState = platform::PeripheralState::connected;
        report([=, this](auto& delegate) { delegate.didConnect(*central, peripheral); });
    }
    void failConnection(const std::shared_ptr<FakePeripheral>& peripheral, int code) {
        const platform::BluetoothError error{platform::BluetoothError::Domain::central, code, "failed"};
        report([=, this](auto& delegate) { delegate.didFailToConnect(*central, peripheral, error); });
    }
    void drop(const std::shared_ptr<FakePeripheral>& peripheral) {
        peripheral->currentState = platform::PeripheralState::disconnected;
        report([=, this](auto& delegate) { delegate.didDisconnectPeripheral(*central, peripheral, std::nullopt); });
    }
    void connectionEvent(const platform::PeripheralPointer& peripheral, platform::ConnectionEvent event) {
        report([=, this](auto& delegate) { delegate.connectionEventDidOccur(*central, event, peripheral); });
    }

    const std::shared_ptr<FakeCentral> central = std::make_shared<FakeCentral>();
    std::shared_ptr<platform::Queue> queue;
    bool showedPowerAlert = false;
};

} // namespace tarnel::test
