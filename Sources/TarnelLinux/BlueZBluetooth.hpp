#pragma once

#include <TarnelSDK/ancs/NotificationProvider.hpp>
#include <TarnelSDK/platform/Bluetooth.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tarnel {

struct BlueZOptions {
    /// The adapter to use, by its address or its name ("hci1"); when empty, one that is switched on.
    std::optional<std::string> adapter = std::nullopt;
    /// The D-Bus address of the bus that the daemon is on; the system's bus when empty.
    std::optional<std::string> busAddress = std::nullopt;
    /// Told why an attempt to connect a device failed that will be made again, which no delegate is told of. Called on
    /// a thread of the provider's own; the identifier is the peripheral's.
    std::function<void(const UUID& identifier, const platform::BluetoothError& error)> attemptFailed = nullptr;
};

/// Bluetooth LE through BlueZ, the Bluetooth service of Linux (tried with 5.66). One connection to the system bus and
/// one thread serve all centrals.
///
/// A device's identifier is made of its Bluetooth address, so it is the same on every adapter and after every restart.
/// The central's state is `poweredOff` while the service does not run, its adapter is away or off, or the bus is gone,
/// `unsupported` without any adapter, `unauthorized` when the bus forbids to talk to the service, and `unknown` while
/// either does not answer; all of this is watched, and the state follows. Disconnecting ends the connection for all
/// programs of the machine, as BlueZ has it. Devices that ask for pairing are paired without a question ("just works")
/// if the application has connected them.
class BlueZBluetooth final : public platform::BluetoothProvider {
public:
    explicit BlueZBluetooth(BlueZOptions options = {});
    /// Ends all connections. Centrals that are left do nothing from then on.
    ~BlueZBluetooth() override;
    BlueZBluetooth(const BlueZBluetooth&) = delete;
    BlueZBluetooth& operator=(const BlueZBluetooth&) = delete;

    /// `options.showPowerAlert` is ignored: Linux desktops have their own switch.
    std::shared_ptr<platform::BluetoothCentral> makeCentral(std::weak_ptr<platform::BluetoothCentralDelegate> delegate,
                                                            std::shared_ptr<platform::Queue> queue,
                                                            platform::CentralOptions options) override;

    /// Glasses that are connected, or are to be, can read these notifications from now on, over an encrypted link.
    /// `ancsAuthorized` tells of a peripheral whether it does. REQUIRES: called once at most.
    void shareNotifications(std::shared_ptr<ancs::NotificationProvider> notifications);

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace tarnel
