#pragma once

#include <TarnelLinux/bluez/Bus.hpp>
#include <TarnelLinux/bluez/LostBonds.hpp>
#include <TarnelSDK/platform/Bluetooth.hpp>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tarnel::bluez {

class Host;
class Peripheral;

/// The connections that this process has or asks for, by the address of the device. They keep
/// their peripherals. On the loop's thread only.
class Links {
public:
    /// The host outlives the links.
    explicit Links(Host& host) : host_(host) {}

    /// Attaches the peripheral to its device, now or once that is connected.
    void connect(const std::shared_ptr<Peripheral>& peripheral);
    /// Detaches it. The device is disconnected when no other peripheral of this process needs it.
    void cancel(const std::shared_ptr<Peripheral>& peripheral);
    void cancelAll();

    /// Whether somebody waits for a device that has to be found first.
    bool isWaiting() const;
    /// Whether looking for devices would hold up a connection that is being made.
    bool needsRadio() const { return needsRadio_; }
    bool isUsed(const std::string& address) const;
    /// Whether there is, or is asked for, any connection.
    bool isEmpty() const { return links_.empty(); }
    /// Addresses of the connected devices.
    std::vector<std::string> connected() const;
    std::vector<std::shared_ptr<Peripheral>> users(const std::string& address) const;

    // The host's news.

    void connectedChanged(const std::string& address, bool isConnected);
    void servicesResolved(const std::string& address) { lostBonds_.servicesResolved(address); }
    /// The device's keys were not those of the bond.
    void bondRefused(const std::string& address);
    /// The device was heard.
    void sighted(const std::string& address);
    void deviceRemoved(const std::string& address);
    /// Forgets all of them without a word.
    void lostPower();

private:
    struct Link {
        std::vector<std::shared_ptr<Peripheral>> waiting;
        std::vector<std::shared_ptr<Peripheral>> users;
        bool isConnecting = false;
        bool isDisconnecting = false;
        bool isRestarted = false;  ///< an attempt that another client left behind was cancelled
        int failures = 0;          ///< in a row, since the device was heard
        std::uint64_t attempt = 0; ///< the number of the one under way
        std::chrono::steady_clock::time_point lastAttempt;
    };

    void attempt(const std::string& address);
    void attempted(const std::string& address, std::uint64_t attempt, const Failure* failure);
    void concluded(const std::string& address, std::uint64_t attempt, const Failure* failure);
    void attemptFailed(const std::string& address, Link& link, const Failure& failure);
    void endedByItself(const std::string& address);
    bool failIfBondIsLost(const std::string& address);
    void bondLost(const std::string& address, const platform::BluetoothError& error);
    void attach(const std::string& address, Link& link);
    void dropUnused(const std::string& address);
    void disconnect(const std::string& address);
    void disconnectAnswered(const std::string& address);
    void disconnected(const std::string& address);

    void takeRadio();
    void releaseRadio();

    Host& host_;
    std::map<std::string, Link> links_;
    LostBonds lostBonds_;
    bool needsRadio_ = false;
    EventLoop::Timer radioTimer_ = 0;
    std::uint64_t attempts_ = 0;
    std::uint64_t generation_ = 0;
};

} // namespace tarnel::bluez
