#pragma once

#include <TarnelLinux/bluez/Bus.hpp>
#include <TarnelLinux/bluez/Writer.hpp>
#include <TarnelSDK/platform/Bluetooth.hpp>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarnel::bluez {

class Host;
class Peripheral;

/// The attributes of one connected device, as BlueZ exports them, for one peripheral. Requests are made one after the
/// other; values without response go through a socket of their own. On the loop's thread only.
class Session {
public:
    static constexpr std::size_t leastValueLength = 20;
    /// Fills two radio packets of 251 bytes; a longer value takes a third for a few bytes. BlueZ 5.66 loses values of
    /// 513 and 514 bytes that are written to its socket, and ends at one of 512.
    static constexpr std::size_t greatestValueLength = 495;

    /// Both outlive the session.
    Session(Peripheral& peripheral, Host& host, std::string devicePath, std::shared_ptr<WriteRoom> room);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    const std::string& devicePath() const { return devicePath_; }

    void discoverServices();
    void discoverCharacteristics(const platform::ServicePointer& service);
    void setNotifyValue(bool enabled, const platform::CharacteristicPointer& characteristic);
    void readValue(const platform::CharacteristicPointer& characteristic);
    void writeWithResponse(Bytes value, const platform::CharacteristicPointer& characteristic);
    void writeWithoutResponse(Bytes value, const platform::CharacteristicPointer& characteristic);

    // The host's news of this device and what is below it.

    void resolvedChanged();
    void interfaceAdded();
    void interfaceRemoved(const std::string& path, const std::string& interface);
    void valueChanged(const std::string& path, const Bytes& value);

private:
    using Step = std::function<void()>;

    void enqueue(Step step, bool first = false);
    void finish();
    void next();
    /// A call whose answer is forgotten when the session is gone.
    void call(const std::string& path, const std::string& method, const Bus::Fill& fill, Bus::Done done);

    void awaitServices();
    void askForServices();
    void askAgain();
    bool isExportedWhole() const;
    void answerServices(const std::optional<platform::BluetoothError>& error);
    void giveUpOnServices();
    std::vector<std::string> childrenOf(const std::string& path, const char* interface) const;

    std::vector<platform::CharacteristicPointer> makeCharacteristics(const platform::Service& service,
                                                                     const std::string& path);
    void answerCharacteristics(const platform::ServicePointer& service,
                               const std::vector<platform::CharacteristicPointer>& characteristics);

    std::uint16_t mtuBelow(const std::string& path) const;
    void setMaximumLength(std::uint16_t mtu);
    void acquire(const std::string& path, const Step& then);
    void acquired(const std::string& path, sdbus::MethodReply* reply);
    void reacquire();
    void wrote();
    void announceRoom();
    void fence();
    void read(const std::string& path, std::function<void(const Bytes*, const Failure*)> done);
    void write(const std::string& path, const Bytes& value, const char* type, std::function<void(const Failure*)> done);
    void writeReleased(const std::string& path, const Bytes& value, int tries,
                       const std::function<void(const Failure*)>& done);
    void writeCommand(const std::string& path, const Bytes& value);
    std::optional<std::string> pathOf(const platform::CharacteristicPointer& characteristic) const;
    platform::CharacteristicPointer characteristicAt(const std::string& path) const;
    void tellValue(const std::string& path, const Bytes& value);
    void tellInvalidated();

    Peripheral& peripheral_;
    Host& host_;
    const std::string devicePath_;
    const std::shared_ptr<WriteRoom> room_;
    const std::shared_ptr<bool> isAlive_ = std::make_shared<bool>(true);

    std::deque<Step> steps_;
    bool isBusy_ = false;

    bool isAwaitingServices_ = false;
    bool hasGrace_ = false;
    EventLoop::Timer patience_ = 0;
    EventLoop::Timer askTimer_ = 0;
    std::map<platform::ServicePointer, std::string> services_;
    std::map<platform::CharacteristicPointer, std::string> characteristics_;
    std::vector<platform::ServicePointer> invalidated_;

    std::set<std::string> subscribed_;
    std::map<std::string, std::vector<Bytes>> heldBack_; ///< values that came while the characteristic is read

    Writer writer_;
    std::string acquired_;   ///< the path that the writer is of
    bool isRefused_ = false; ///< the daemon gives no socket
    std::string fencePath_;  ///< a characteristic whose reading has no effect
};

} // namespace tarnel::bluez
