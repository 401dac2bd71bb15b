#pragma once

#include <TarnelSDK/platform/Random.hpp>

namespace tarnel {

/// OpenSSL's generator, which the kernel seeds.
class SystemRandom final : public platform::Random {
public:
    bool fill(std::span<std::uint8_t> bytes) override;
};

} // namespace tarnel
