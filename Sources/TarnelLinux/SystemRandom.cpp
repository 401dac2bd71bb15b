#include <TarnelLinux/SystemRandom.hpp>

#include <openssl/rand.h>

#include <algorithm>
#include <climits>
#include <cstddef>

namespace tarnel {

bool SystemRandom::fill(std::span<std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const std::size_t count = std::min<std::size_t>(bytes.size(), INT_MAX);
        if (::RAND_bytes(bytes.data(), static_cast<int>(count)) != 1) {
            return false;
        }
        bytes = bytes.subspan(count);
    }
    return true;
}

} // namespace tarnel
