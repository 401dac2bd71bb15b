#pragma once

#include <cstdint>
#include <span>

namespace tarnel::platform {

/// A cryptographically secure random source. Called on any thread.
class Random {
public:
    virtual ~Random() = default;

    /// Fills the whole span; false when the source fails, and then nothing in the span may be used.
    virtual bool fill(std::span<std::uint8_t> bytes) = 0;

    /// A uniformly drawn number in 0 ..< bound. REQUIRES: bound > 0. A failing source stops the program.
    std::uint64_t below(std::uint64_t bound);
};

} // namespace tarnel::platform
