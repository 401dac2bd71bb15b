#pragma once

#include "UserChannel.hpp"

#include <TarnelLinux/bluez/EventLoop.hpp>

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>

namespace tarnel::radio {

/// Puts a controller with the pace of a radio in the place of a virtual one, which takes data as fast as the processor
/// copies it. It stands between the two: the kernel sees it as one more controller, with all that the other can do.
/// Only the data that leaves is paced.
class PacedController {
public:
    /// `index`: the virtual one, which no service may have yet. `pace`: bytes a second. Throws `std::system_error`.
    PacedController(std::uint16_t index, int pace);
    ~PacedController();
    PacedController(const PacedController&) = delete;
    PacedController& operator=(const PacedController&) = delete;

    /// "hci2"
    const std::string& name() const { return name_; }

private:
    using Clock = std::chrono::steady_clock;

    void fromKernel();
    void send();

    const int pace_;
    UserChannel radio_;
    int kernel_;
    std::string name_;
    std::deque<Bytes> data_;
    Clock::time_point free_; ///< when the radio has sent all before
    bluez::EventLoop::Timer timer_ = 0;
    bluez::EventLoop loop_;
};

} // namespace tarnel::radio
