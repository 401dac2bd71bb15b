#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <cstddef>
#include <cstdint>

namespace tarnel::radio {

/// Numbers on the air go with their low byte first.
inline void append(Bytes& bytes, std::uint16_t value) {
    bytes.push_back(static_cast<std::uint8_t>(value & 0xff));
    bytes.push_back(static_cast<std::uint8_t>(value >> 8));
}

inline std::uint16_t wordAt(ByteView bytes, std::size_t at) {
    return static_cast<std::uint16_t>(bytes[at] | (bytes[at + 1] << 8));
}

} // namespace tarnel::radio
