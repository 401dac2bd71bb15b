#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <cstdint>
#include <optional>

namespace tarnel::radio {

/// Of a controller's packets (Bluetooth Core, Vol 4, Part A, 2): what the first byte says that follows.
enum class Packet : std::uint8_t { command = 1, data = 2, event = 4 };

/// A controller that the kernel hands over whole, without a system's stack above it, through the user channel of its
/// HCI sockets.
class UserChannel {
public:
    /// Throws `std::system_error` where the controller cannot be had.
    explicit UserChannel(std::uint16_t index);
    ~UserChannel();
    UserChannel(const UserChannel&) = delete;
    UserChannel& operator=(const UserChannel&) = delete;

    /// Becomes readable (of poll(2)) when there are packets.
    int descriptor() const { return socket_; }
    /// The next packet; nothing when there is none. Throws `std::system_error` when the controller is gone.
    std::optional<Bytes> read();
    void write(ByteView packet);

private:
    int socket_;
};

} // namespace tarnel::radio
