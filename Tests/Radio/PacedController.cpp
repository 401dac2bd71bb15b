#include "PacedController.hpp"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace tarnel::radio {
namespace {

constexpr std::uint8_t vendorPacket = 0xff;

/// What a radio sends in one connection event it may send late, if its host was.
constexpr auto slack = std::chrono::milliseconds(15);

std::system_error failure(const char* what) {
    return {errno, std::generic_category(), what};
}

} // namespace

PacedController::PacedController(std::uint16_t index, int pace)
    : pace_(pace), radio_(index), kernel_(::open("/dev/vhci", O_RDWR | O_CLOEXEC)) {
    // Asked for a controller, the kernel answers with its number.
    const std::array<std::uint8_t, 2> request{vendorPacket, 0};
    std::array<std::uint8_t, 4> answer{};
    if (kernel_ < 0 || ::write(kernel_, request.data(), request.size()) < 0 ||
        ::read(kernel_, answer.data(), answer.size()) != static_cast<ssize_t>(answer.size())) {
        throw failure("/dev/vhci");
    }
    name_ = "hci" + std::to_string(answer[2] | (answer[3] << 8));
    loop_.post([this] {
        loop_.watch(kernel_, POLLIN, [this](short) { fromKernel(); });
        loop_.watch(radio_.descriptor(), POLLIN, [this](short) {
            while (const auto packet = radio_.read()) {
                if (::write(kernel_, packet->data(), packet->size()) < 0) {
                    throw failure("writing to the kernel");
                }
            }
        });
    });
}

PacedController::~PacedController() {
    loop_.end();
    ::close(kernel_);
}

void PacedController::fromKernel() {
    std::array<std::uint8_t, 4096> buffer{};
    const auto size = ::read(kernel_, buffer.data(), buffer.size());
    if (size <= 0) {
        throw failure("reading from the kernel");
    }
    const ByteView packet(buffer.data(), static_cast<std::size_t>(size));
    if (packet[0] != static_cast<std::uint8_t>(Packet::data)) {
        radio_.write(packet);
        return;
    }
    data_.emplace_back(packet.begin(), packet.end());
    if (timer_ == 0) {
        send();
    }
}

void PacedController::send() {
    timer_ = 0;
    const auto now = Clock::now();
    free_ = std::max(free_, now - slack);
    while (!data_.empty() && free_ <= now) {
        radio_.write(data_.front());
        free_ += std::chrono::nanoseconds(static_cast<std::int64_t>(data_.front().size()) * 1'000'000'000 / pace_);
        data_.pop_front();
    }
    if (!data_.empty()) {
        timer_ = loop_.after(free_ - now, [this] { send(); });
    }
}

} // namespace tarnel::radio
