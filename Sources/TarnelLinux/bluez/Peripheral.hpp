#pragma once

#include <TarnelLinux/bluez/Host.hpp>
#include <TarnelLinux/bluez/Writer.hpp>
#include <TarnelSDK/platform/Bluetooth.hpp>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::bluez {

class Central;
class Session;

/// A device as one central sees it. The host's links attach it to a connection, which is then a `Session`, and keep it
/// as long.
class Peripheral final : public platform::BluetoothPeripheral, public std::enable_shared_from_this<Peripheral> {
public:
    Peripheral(const UUID& identifier, std::string address, std::weak_ptr<Central> central, std::weak_ptr<Host> host);
    ~Peripheral() override;

    UUID identifier() const override { return identifier_; }
    std::optional<std::string> name() const override;
    platform::PeripheralState state() const override { return state_; }
    std::string description() const override;
    /// Whether it reads the host's notifications.
    bool ancsAuthorized() const override;
    void setDelegate(std::weak_ptr<platform::BluetoothPeripheralDelegate> delegate) override;
    void discoverServices() override;
    void discoverCharacteristics(const platform::ServicePointer& service) override;
    void setNotifyValue(bool enabled, const platform::CharacteristicPointer& characteristic) override;
    void readValue(const platform::CharacteristicPointer& characteristic) override;
    void writeValue(ByteView value, const platform::CharacteristicPointer& characteristic,
                    platform::WriteType type) override;
    bool canSendWriteWithoutResponse() const override;
    std::size_t maximumWriteValueLength(platform::WriteType) const override { return maximumLength_; }

    const std::string& address() const { return address_; }
    bool isOf(const Central& central) const;

    // Any thread.

    void willConnect();
    void willCancel();
    void setMaximumLength(std::size_t length) { maximumLength_ = length; }
    using Delegate = platform::BluetoothPeripheralDelegate;
    /// Calls the delegate on the central's queue.
    void tell(std::function<void(Delegate&, const platform::PeripheralPointer&)> call);
    void ancsAuthorizationChanged();
    /// On the central's queue: the adapter is off, and the connection with it.
    void lostPower();

    // On the loop's thread.

    void attached(const std::string& devicePath);
    void ended(const std::optional<platform::BluetoothError>& error);
    void failed(const platform::BluetoothError& error);
    /// Ends the session without a word.
    void dropSession();
    Session* session() { return session_.get(); }

private:
    void post(std::function<void(Session&)> step);
    void asyncOnCentral(std::function<void(Peripheral&, Central&)> block);
    void invalidate();
    std::shared_ptr<WriteRoom> room() const;

    const UUID identifier_;
    const std::string address_;
    const std::weak_ptr<Central> central_;
    const std::weak_ptr<Host> host_;
    std::atomic<platform::PeripheralState> state_ = platform::PeripheralState::disconnected;
    std::atomic<bool> isWanted_ = false;
    std::atomic<std::size_t> maximumLength_;
    mutable std::mutex mutex_; ///< of the two below
    std::weak_ptr<Delegate> delegate_;
    std::shared_ptr<WriteRoom> room_; ///< while connected

    std::unique_ptr<Session> session_; ///< of the loop's thread
};

} // namespace tarnel::bluez
