#pragma once

#include "StatusLine.hpp"

#include <chrono>
#include <cstdint>
#include <string>

namespace tarnel::command {

/// How far a picture has been sent: a bar, bytes, and the time that is left.
class ProgressBar {
public:
    explicit ProgressBar(std::uint64_t total) : total_(total) {}

    /// `elapsed` is the time that sending has taken until now.
    void update(std::uint64_t sent, std::chrono::duration<double> elapsed);

private:
    std::uint64_t total_;
    StatusLine line_;
};

/// The line of the bar: "[######----]  60 %, 12,000 of 20,000 bytes, 1.2 s left". `sent` is at most `total`, which is
/// not 0.
std::string progressLine(std::uint64_t sent, std::uint64_t total, std::chrono::duration<double> elapsed);

} // namespace tarnel::command
