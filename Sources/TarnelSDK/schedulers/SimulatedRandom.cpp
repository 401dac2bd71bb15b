#include <TarnelSDK/schedulers/SimulatedRandom.hpp>

namespace tarnel {

bool SimulatedRandom::fill(std::span<std::uint8_t> bytes) {
    if (fails_) {
        return false;
    }
    const std::lock_guard lock(mutex_);
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        number = i % 8 == 0 ? generator_() : number >> 8;
        bytes[i] = static_cast<std::uint8_t>(number & 0xFF);
    }
    return true;
}

} // namespace tarnel
