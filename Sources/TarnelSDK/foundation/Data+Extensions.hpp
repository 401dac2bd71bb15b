#pragma once

#include <TarnelSDK/platform/Bytes.hpp>
#include <TarnelSDK/platform/UUID.hpp>

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

/// Operations on byte buffers and unsigned integers. None keeps state; all may be called on any thread.
namespace tarnel {

/// Run-length encoding of background bitmaps. The result is a sequence of chunks, counts in little-endian order:
///
///     0x01...0x7e  that many bytes                      literal bytes
///     0x00         2-byte count (from 127), the bytes   literal bytes
///     0x7f         4-byte count (from 65536), the bytes literal bytes
///     0x83...0xfe  one byte                             repeated (header & 0x7f) times
///     0x80         2-byte count (from 127), one byte    repeated that many times
///     0xff         4-byte count (from 65536), one byte  repeated that many times
///
/// Three equal bytes make a run. Logs how well it did. REQUIRES: bytes is not empty.
Bytes compressWithRLE(ByteView bytes);

/// CRC-32 as zlib has it (reflected polynomial 0xEDB88320, final XOR), in the low 32 bits.
std::uint64_t crc32Value(ByteView bytes);

/// The number at the front, little-endian. REQUIRES: the buffer is as long as the number.
std::uint8_t uint8(ByteView bytes);
std::uint16_t uint16(ByteView bytes);
std::uint32_t uint32(ByteView bytes);

/// The buffer as numbers in this machine's memory order; bytes that make no whole number are left out.
template <std::integral T>
std::vector<T> toArray(ByteView bytes) {
    std::vector<T> numbers(bytes.size() / sizeof(T));
    if (!numbers.empty()) {
        std::memcpy(numbers.data(), bytes.data(), numbers.size() * sizeof(T));
    }
    return numbers;
}

/// Empty unless there are 16 bytes.
std::optional<UUID> uuid(ByteView bytes);

/// The bytes as text; empty when they are not ASCII, or not UTF-8.
std::optional<std::string> stringASCII(ByteView bytes);
std::optional<std::string> stringUTF8(ByteView bytes);

/// A set of options; empty means lower case.
struct HexEncodingOptions {
    int rawValue = 0;

    static const HexEncodingOptions upperCase;

    constexpr bool contains(HexEncodingOptions option) const { return (rawValue & option.rawValue) == option.rawValue; }
    friend constexpr HexEncodingOptions operator|(HexEncodingOptions left, HexEncodingOptions right) {
        return {left.rawValue | right.rawValue};
    }
    friend constexpr bool operator==(HexEncodingOptions, HexEncodingOptions) = default;
};

inline constexpr HexEncodingOptions HexEncodingOptions::upperCase{1};

/// Two digits a byte, nothing in between.
std::string hexEncodedString(ByteView bytes, HexEncodingOptions options = {});

/// The number's bytes in little-endian order.
Bytes data(std::uint8_t number);
Bytes data(std::uint16_t number);
Bytes data(std::uint32_t number);
Bytes data(std::int64_t number);

/// The number's bytes, the most significant first, whatever the name says; `data` is the little-endian one.
std::array<std::uint8_t, 2> byteArrayLittleEndian(std::uint16_t number);
std::array<std::uint8_t, 4> byteArrayLittleEndian(std::uint32_t number);

/// Element i is bit i, the least significant first.
std::array<bool, 8> toBits(std::uint8_t byte);

} // namespace tarnel
