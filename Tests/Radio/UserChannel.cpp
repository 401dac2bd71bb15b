#include "UserChannel.hpp"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>
#include <thread>

namespace tarnel::radio {
namespace {

/// Of <bluetooth/hci.h>, which is not among the headers of every system.
struct HciAddress {
    sa_family_t family;
    std::uint16_t index;
    std::uint16_t channel;
};
constexpr int hciProtocol = 1;
constexpr std::uint16_t userChannel = 1;

/// The kernel has a controller that has just been plugged in for itself for a while.
int openController(std::uint16_t index) {
    const HciAddress address{AF_BLUETOOTH, index, userChannel};
    const int socket = ::socket(AF_BLUETOOTH, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, hciProtocol);
    // A radio holds its peer back; the kernel drops what finds no room in the socket.
    constexpr int room = 16 << 20;
    ::setsockopt(socket, SOL_SOCKET, SO_RCVBUFFORCE, &room, sizeof room);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    // The kernel declares the address its own way.
    while (::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
        const int error = errno;
        if (error != EBUSY || std::chrono::steady_clock::now() > end) {
            ::close(socket);
            throw std::system_error(error, std::generic_category(), "the controller hci" + std::to_string(index));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return socket;
}

} // namespace

UserChannel::UserChannel(std::uint16_t index) : socket_(openController(index)) {}

UserChannel::~UserChannel() {
    ::close(socket_);
}

std::optional<Bytes> UserChannel::read() {
    constexpr std::size_t largestPacket = 4096;
    std::array<std::uint8_t, largestPacket> buffer{};
    const auto size = ::read(socket_, buffer.data(), buffer.size());
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
        return std::nullopt;
    }
    if (size <= 0) {
        throw std::system_error(size < 0 ? errno : ENODEV, std::generic_category(), "reading from the controller");
    }
    return Bytes(buffer.begin(), buffer.begin() + size);
}

void UserChannel::write(ByteView packet) {
    if (::write(socket_, packet.data(), packet.size()) < 0) {
        throw std::system_error(errno, std::generic_category(), "writing to the controller");
    }
}

} // namespace tarnel::radio
