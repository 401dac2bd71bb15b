#pragma once

#include <TarnelSDK/messagepack/MessagePackValue.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <cstdint>

/// The packer: published MessagePack, with size choices of its own that are part of the wire's behaviour.
///
/// - Numbers that are not negative take the unsigned formats, whichever case holds them.
/// - int8, int16 and int32 stop one short of their lowest number: -128, -32768 and -2147483648 take the next width.
/// - fixstr holds up to 25 bytes, fixarray and fixmap up to 14 elements.
/// - Entries of a map are written in the order of their insertion.
namespace tarnel {

/// REQUIRES: every length and count fits in 32 bits.
Bytes pack(const MessagePackValue& value);

Bytes packPositiveInteger(std::uint64_t value);

/// REQUIRES: value < 0.
Bytes packNegativeInteger(std::int64_t value);

/// The low `parts` bytes of the value, the most significant first. REQUIRES: parts <= 8.
Bytes packInteger(std::uint64_t value, std::size_t parts);

} // namespace tarnel
