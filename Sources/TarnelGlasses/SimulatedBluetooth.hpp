#pragma once

#include <TarnelGlasses/Radio.hpp>
#include <TarnelSDK/ancs/NotificationProvider.hpp>
#include <TarnelSDK/platform/Bluetooth.hpp>

#include <memory>

namespace tarnel::glasses {

class SimulatedHost;

/// The Bluetooth of a simulated host: its switch, the devices that it knows, its bonds, and the centrals of the
/// applications on it. Outlives a restart of the application.
///
/// What the interfaces leave open is settled so: switching off ends connections, requests and scans without further
/// callbacks; a connection that is asked for while it stands is confirmed again; `connectionEventDidOccur` also reports
/// what is within reach when it is registered.
///
/// The verbs may be called on any thread.
class SimulatedBluetooth : public platform::BluetoothProvider {
public:
    /// `notifications`, if any, are on the radio's queue; devices that are authorized can read them.
    static std::shared_ptr<SimulatedBluetooth>
    make(std::shared_ptr<Radio> radio, std::shared_ptr<ancs::NotificationProvider> notifications = nullptr);
    ~SimulatedBluetooth() override;

    std::shared_ptr<platform::BluetoothCentral> makeCentral(std::weak_ptr<platform::BluetoothCentralDelegate> delegate,
                                                            std::shared_ptr<platform::Queue> queue,
                                                            platform::CentralOptions options) override;

    /// Powered on at first.
    void setState(platform::CentralState state);
    platform::CentralState state() const;

    /// Another application on this host holds the glasses connected, or lets go of them.
    void holdByAnotherApplication(const UUID& identifier);
    void releaseByAnotherApplication(const UUID& identifier);

    /// The user's answer when pairing is asked for; true at first.
    void setAcceptsPairing(bool accepts);
    /// The user removes the bond on the host.
    void forgetBond(const UUID& identifier);
    bool isBonded(const UUID& identifier) const;
    /// The host forgets the device, so that only a scan finds it again.
    void forgetDevice(const UUID& identifier);
    /// Whether the user lets the device see the host's notifications; false at first. Centrals are told of a change.
    void setAncsAuthorized(const UUID& identifier, bool authorized);

    class Key {
        friend class SimulatedBluetooth;
        Key() = default;
    };
    SimulatedBluetooth(Key, std::shared_ptr<SimulatedHost> host);

private:
    std::shared_ptr<SimulatedHost> host_;
};

} // namespace tarnel::glasses
