#pragma once

#include <TarnelSDK/platform/Bluetooth.hpp>

#include <atomic>
#include <memory>
#include <optional>

namespace tarnel::command {

/// Told of what passes between the SDK and a platform's Bluetooth. Called on any thread, and returns soon. Every
/// operation has an empty default.
class BluetoothObserver {
public:
    using Error = std::optional<platform::BluetoothError>;

    virtual ~BluetoothObserver() = default;
    virtual void stateChanged(platform::CentralState) {}
    /// A device was heard.
    virtual void discovered(const platform::PeripheralPointer&, const platform::AdvertisementData&, int /*rssi*/) {}
    /// A connection was asked for.
    virtual void connecting(const UUID& /*peripheral*/) {}
    virtual void connected(const UUID& /*peripheral*/) {}
    virtual void connectionFailed(const UUID& /*peripheral*/, const Error&) {}
    /// It could not be made, and is tried again.
    virtual void attemptFailed(const UUID& /*peripheral*/, const platform::BluetoothError&) {}
    virtual void disconnected(const UUID& /*peripheral*/, const Error&) {}
    virtual void written(const UUID& /*characteristic*/, ByteView, platform::WriteType) {}
    virtual void received(const UUID& /*characteristic*/, ByteView) {}
};

/// A platform's Bluetooth with an observer between it and the SDK. Centrals that it made may outlive it.
class ObservedBluetooth final : public platform::BluetoothProvider {
public:
    struct Seam {
        std::shared_ptr<BluetoothObserver> observer;
        std::atomic<bool> connects = true;
    };

    ObservedBluetooth(std::shared_ptr<platform::BluetoothProvider> provider,
                      std::shared_ptr<BluetoothObserver> observer);

    /// While false, requests for connections, and to end them, are dropped. Any thread.
    void setConnects(bool connects) { seam_->connects = connects; }

    std::shared_ptr<platform::BluetoothCentral> makeCentral(std::weak_ptr<platform::BluetoothCentralDelegate> delegate,
                                                            std::shared_ptr<platform::Queue> queue,
                                                            platform::CentralOptions options) override;

private:
    const std::shared_ptr<platform::BluetoothProvider> provider_;
    const std::shared_ptr<Seam> seam_;
};

} // namespace tarnel::command
