#pragma once

#include "ObservedBluetooth.hpp"

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::command {

/// A peripheral as an observed central hands it out. Made by `make`.
class ObservedPeripheral final : public platform::BluetoothPeripheral,
                                 public std::enable_shared_from_this<ObservedPeripheral> {
public:
    static std::shared_ptr<ObservedPeripheral> make(platform::PeripheralPointer inner,
                                                    std::shared_ptr<ObservedBluetooth::Seam> seam);
    ObservedPeripheral(platform::PeripheralPointer inner, std::shared_ptr<ObservedBluetooth::Seam> seam)
        : inner_(std::move(inner)), seam_(std::move(seam)) {}

    const platform::PeripheralPointer& inner() const { return inner_; }

    UUID identifier() const override { return inner_->identifier(); }
    std::optional<std::string> name() const override { return inner_->name(); }
    platform::PeripheralState state() const override { return inner_->state(); }
    std::string description() const override { return inner_->description(); }
    bool ancsAuthorized() const override { return inner_->ancsAuthorized(); }
    void setDelegate(std::weak_ptr<platform::BluetoothPeripheralDelegate> delegate) override;
    void discoverServices() override { inner_->discoverServices(); }
    void discoverCharacteristics(const platform::ServicePointer& service) override {
        inner_->discoverCharacteristics(service);
    }
    void setNotifyValue(bool enabled, const platform::CharacteristicPointer& characteristic) override {
        inner_->setNotifyValue(enabled, characteristic);
    }
    void readValue(const platform::CharacteristicPointer& characteristic) override {
        inner_->readValue(characteristic);
    }
    void writeValue(ByteView value, const platform::CharacteristicPointer& characteristic,
                    platform::WriteType type) override;
    bool canSendWriteWithoutResponse() const override { return inner_->canSendWriteWithoutResponse(); }
    std::size_t maximumWriteValueLength(platform::WriteType type) const override {
        return inner_->maximumWriteValueLength(type);
    }

private:
    class Relay;

    const platform::PeripheralPointer inner_;
    const std::shared_ptr<ObservedBluetooth::Seam> seam_;
    std::shared_ptr<Relay> relay_;
    std::mutex mutex_;
    std::weak_ptr<platform::BluetoothPeripheralDelegate> delegate_;
};

} // namespace tarnel::command
