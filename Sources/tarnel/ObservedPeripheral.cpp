#include "ObservedPeripheral.hpp"

#include <utility>

namespace tarnel::command {

using platform::BluetoothError;
using platform::CharacteristicPointer;
using platform::PeripheralPointer;
using platform::ServicePointer;

/// The inner peripheral's delegate.
class ObservedPeripheral::Relay final : public platform::BluetoothPeripheralDelegate {
public:
    explicit Relay(std::weak_ptr<ObservedPeripheral> owner) : owner_(std::move(owner)) {}

    void didDiscoverServices(const PeripheralPointer&, const std::vector<ServicePointer>& services,
                             const std::optional<BluetoothError>& error) override {
        tell([&](auto& delegate, const auto& self) { delegate.didDiscoverServices(self, services, error); });
    }
    void didDiscoverCharacteristics(const PeripheralPointer&, const ServicePointer& service,
                                    const std::vector<CharacteristicPointer>& characteristics,
                                    const std::optional<BluetoothError>& error) override {
        tell([&](auto& delegate, const auto& self) {
            delegate.didDiscoverCharacteristics(self, service, characteristics, error);
        });
    }
    void didUpdateValue(const PeripheralPointer&, const CharacteristicPointer& characteristic, ByteView value,
                        const std::optional<BluetoothError>& error) override {
        if (const auto owner = owner_.lock(); owner && !error) {
            owner->seam_->observer->received(characteristic->uuid, value);
        }
        tell([&](auto& delegate, const auto& self) { delegate.didUpdateValue(self, characteristic, value, error); });
    }
    void didWriteValue(const PeripheralPointer&, const CharacteristicPointer& characteristic,
                       const std::optional<BluetoothError>& error) override {
        tell([&](auto& delegate, const auto& self) { delegate.didWriteValue(self, characteristic, error); });
    }
    void didUpdateNotificationState(const PeripheralPointer&, const CharacteristicPointer& characteristic,
                                    const std::optional<BluetoothError>& error) override {
        tell([&](auto& delegate, const auto& self) {
            delegate.didUpdateNotificationState(self, characteristic, error);
        });
    }
    void didModifyServices(const PeripheralPointer&, const std::vector<ServicePointer>& invalidated) override {
        tell([&](auto& delegate, const auto& self) { delegate.didModifyServices(self, invalidated); });
    }
    void isReadyToSendWriteWithoutResponse(const PeripheralPointer&) override {
        tell([](auto& delegate, const auto& self) { delegate.isReadyToSendWriteWithoutResponse(self); });
    }
    void didUpdateName(const PeripheralPointer&) override {
        tell([](auto& delegate, const auto& self) { delegate.didUpdateName(self); });
    }

private:
    template <typename Call>
    void tell(const Call& call) {
        const auto owner = owner_.lock();
        if (!owner) {
            return;
        }
        std::shared_ptr<platform::BluetoothPeripheralDelegate> delegate;
        {
            const std::lock_guard lock(owner->mutex_);
            delegate = owner->delegate_.lock();
        }
        if (delegate) {
            call(*delegate, PeripheralPointer(owner));
        }
    }

    const std::weak_ptr<ObservedPeripheral> owner_;
};

std::shared_ptr<ObservedPeripheral> ObservedPeripheral::make(PeripheralPointer inner,
                                                             std::shared_ptr<ObservedBluetooth::Seam> seam) {
    auto made = std::make_shared<ObservedPeripheral>(std::move(inner), std::move(seam));
    made->relay_ = std::make_shared<Relay>(made);
    return made;
}

void ObservedPeripheral::setDelegate(std::weak_ptr<platform::BluetoothPeripheralDelegate> delegate) {
    {
        const std::lock_guard lock(mutex_);
        delegate_ = std::move(delegate);
    }
    inner_->setDelegate(relay_);
}

void ObservedPeripheral::writeValue(ByteView value, const CharacteristicPointer& characteristic,
                                    platform::WriteType type) {
    seam_->observer->written(characteristic->uuid, value, type);
    inner_->writeValue(value, characteristic, type);
}

} // namespace tarnel::command
