#pragma once

#include "../UserChannel.hpp"

#include <TarnelLinux/bluez/EventLoop.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>

namespace tarnel::radio {

/// A Bluetooth controller without a system's stack above it. Advertises, takes one connection, and carries L2CAP
/// frames of the fixed channels. Commands and events are those of Bluetooth Core, Vol 4, Part E; frames those of Vol 3,
/// Part A, 3.
///
/// Made, used and destroyed on the loop's thread. Throws `std::system_error` where the controller cannot be had.
class Controller {
public:
    struct Callbacks {
        std::function<void()> connected;
        std::function<void()> disconnected;
        std::function<void(std::uint16_t channel, ByteView payload)> received;
    };

    static constexpr std::uint8_t connectionTimeout = 0x08;
    static constexpr std::uint8_t remoteUserTerminated = 0x13;

    /// `randomAddress` takes the place of the controller's own: six bytes, the least first; empty for none.
    Controller(bluez::EventLoop& loop, std::uint16_t index, Bytes randomAddress, Callbacks callbacks);
    ~Controller();
    Controller(const Controller&) = delete;
    Controller& operator=(const Controller&) = delete;

    /// Connectable advertisements, from now on until a connection is taken. At most 31 bytes each.
    void advertise(const Bytes& data, const Bytes& scanResponse);
    void stopAdvertising();
    /// It has carried out all that it was told.
    bool isSettled() const { return commands_.empty(); }
    bool isConnected() const { return handle_ != noHandle; }
    /// `reason` is what the other side is told.
    void disconnect(std::uint8_t reason);
    void send(std::uint16_t channel, ByteView payload);

private:
    static constexpr std::uint16_t noHandle = 0xffff;

    void start();
    void command(std::uint16_t code, Bytes parameters);
    void sendCommand();
    void beHeard();
    void sendFragments();
    void read();
    void receiveEvent(ByteView event);
    void commandDone(std::uint16_t code, ByteView result);
    void receiveLowEnergyEvent(ByteView event);
    void receiveData(ByteView data);

    bluez::EventLoop& loop_;
    const Bytes randomAddress_;
    const Callbacks callbacks_;
    UserChannel channel_;
    std::deque<Bytes> commands_;     ///< not yet answered
    bool isCommandUnderWay_ = false; ///< the first of the commands
    bluez::EventLoop::Timer commandTimer_ = 0;
    bluez::EventLoop::Timer advertisingTimer_ = 0;
    std::deque<Bytes> fragments_;
    std::size_t fragmentSize_ = 27;
    std::size_t credits_ = 1;
    std::size_t unacknowledged_ = 0; ///< fragments in the controller
    std::uint16_t handle_ = noHandle;
    Bytes partial_;
};

} // namespace tarnel::radio
