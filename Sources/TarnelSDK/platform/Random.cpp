#include <TarnelSDK/platform/Precondition.hpp>
#include <TarnelSDK/platform/Random.hpp>

#include <array>
#include <bit>

namespace tarnel::platform {

std::uint64_t Random::below(std::uint64_t bound) {
    precondition(bound > 0, "the bound of a random number is positive");
    // 2^64 is seldom a multiple of the bound. The numbers that are too many, counted from zero, are drawn again.
    const std::uint64_t excess = (0 - bound) % bound;
    for (;;) {
        std::array<std::uint8_t, 8> bytes{};
        precondition(fill(bytes), "the random source works");
        const auto number = std::bit_cast<std::uint64_t>(bytes);
        if (number >= excess) {
            return number % bound;
        }
    }
}

} // namespace tarnel::platform
