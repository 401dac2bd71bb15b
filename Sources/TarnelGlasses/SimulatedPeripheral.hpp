#pragma once

#include <TarnelGlasses/HostConnection.hpp>
#include <TarnelGlasses/HostDirectory.hpp>
#include <TarnelSDK/platform/Bluetooth.hpp>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <vector>

namespace tarnel::glasses {

class SimulatedCentral;

/// Glasses as one application's central sees them. The host keeps it as long as it has or wants a connection.
class SimulatedPeripheral final : public platform::BluetoothPeripheral,
                                  public std::enable_shared_from_this<SimulatedPeripheral> {
public:
    SimulatedPeripheral(const UUID& identifier, std::weak_ptr<SimulatedCentral> central,
                        std::shared_ptr<const HostDirectory> directory, std::shared_ptr<platform::Queue> radioQueue);

    UUID identifier() const override { return identifier_; }
    std::optional<std::string> name() const override;
    platform::PeripheralState state() const override { return state_; }
    std::string description() const override;
    bool ancsAuthorized() const override;
    void setDelegate(std::weak_ptr<platform::BluetoothPeripheralDelegate> delegate) override;
    void discoverServices() override;
    void discoverCharacteristics(const platform::ServicePointer& service) override;
    void setNotifyValue(bool enabled, const platform::CharacteristicPointer& characteristic) override;
    void readValue(const platform::CharacteristicPointer& characteristic) override;
    void writeValue(ByteView value, const platform::CharacteristicPointer& characteristic,
                    platform::WriteType type) override;
    bool canSendWriteWithoutResponse() const override;
    std::size_t maximumWriteValueLength(platform::WriteType type) const override;

    bool isOf(const SimulatedCentral& central) const { return central_.lock().get() == &central; }
    bool hasCentral() const { return !central_.expired(); }

    // What the application sees at once of its own calls. Any thread.

    void willConnect();
    void willCancel();
    /// Bluetooth went off. On the central's queue.
    void lostPower();

    // The host's news, on the radio's queue.

    void attached(const std::shared_ptr<HostConnection>& connection);
    void detached() { connection_.reset(); }
    bool isAttached() const { return !connection_.expired(); }
    /// The connection is over; without an error because the application asked for it.
    void ended(const std::optional<platform::BluetoothError>& error);
    void failed(const platform::BluetoothError& error);
    void notified(const UUID& characteristic, ByteView value);
    bool isSubscribed(const UUID& characteristic) const { return subscriptions_.contains(characteristic); }
    void servicesChanged();
    void nameChanged();
    void ancsAuthorizationChanged();

private:
    /// The host's buffer for writes without response on one connection.
    struct WriteBuffer {
        explicit WriteBuffer(std::size_t aDepth) : depth(aDepth) {}
        const std::size_t depth;
        std::atomic<std::size_t> used = 0;

        /// False when it is full.
        bool take();
        /// True when it was full.
        bool give();
    };
    using Delegate = platform::BluetoothPeripheralDelegate;
    using AttResult = SimulatedGlasses::AttResult;

    /// Runs a step on the radio's queue, if there is a connection then.
    void post(std::function<void(SimulatedPeripheral&, HostConnection&)> step);
    /// Calls the delegate on the central's queue.
    void tell(std::function<void(Delegate&, const platform::PeripheralPointer&)> call);
    void asyncOnCentral(std::function<void(SimulatedPeripheral&, SimulatedCentral&)> block);
    bool isCurrent(const platform::CharacteristicPointer& characteristic) const;
    platform::CharacteristicPointer current(const UUID& characteristic) const;
    void invalidate();
    void foundServices(const std::vector<GattService>& services);
    void foundCharacteristics(const platform::ServicePointer& service, const std::vector<GattService>& services);
    void write(Bytes value, const platform::CharacteristicPointer& characteristic);
    void writeWithoutResponse(Bytes value, const platform::CharacteristicPointer& characteristic);
    void updateValue(const platform::CharacteristicPointer& characteristic, const AttResult& result);
    bool isSubscribedByOther(const HostConnection& connection, const UUID& characteristic) const;

    const UUID identifier_;
    const std::weak_ptr<SimulatedCentral> central_;
    const std::shared_ptr<const HostDirectory> directory_;
    const std::shared_ptr<platform::Queue> radioQueue_;
    std::atomic<platform::PeripheralState> state_ = platform::PeripheralState::disconnected;
    std::atomic<bool> isWanted_ = false; ///< the application asked for a connection that does not stand yet
    std::atomic<std::size_t> maximumLength_;

    mutable std::mutex mutex_; ///< of the four below
    std::weak_ptr<Delegate> delegate_;
    std::shared_ptr<WriteBuffer> buffer_; ///< while connected
    std::vector<platform::ServicePointer> services_;
    std::vector<platform::CharacteristicPointer> characteristics_;

    // On the radio's queue.
    std::weak_ptr<HostConnection> connection_;
    std::set<UUID> subscriptions_;
};

} // namespace tarnel::glasses
