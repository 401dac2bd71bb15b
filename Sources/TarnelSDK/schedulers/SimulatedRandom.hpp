#pragma once

#include <TarnelSDK/platform/Random.hpp>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <random>

namespace tarnel {

/// A random source for simulations: the same seed gives the same bytes. Not secure. Called on any thread.
class SimulatedRandom : public platform::Random {
public:
    explicit SimulatedRandom(std::uint64_t seed) : generator_(seed) {}

    bool fill(std::span<std::uint8_t> bytes) override;

    /// While set, `fill` fails and leaves the span as it is.
    void setFails(bool fails) { fails_ = fails; }

private:
    std::atomic<bool> fails_ = false;
    std::mutex mutex_;
    std::mt19937_64 generator_;
};

} // namespace tarnel
