#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <cstddef>
#include <optional>

namespace tarnel::glasses {

/// Takes run-length encoded bytes apart. A header byte with bit 7 clear begins a literal, with bit 7 set a run of one
/// byte; its low seven bits are the count, except that 0x00 and 0x80 are followed by a count of two bytes, 0x7f and
/// 0xff by one of four (little-endian). Empty unless the result is exactly `size` bytes; never makes more.
std::optional<Bytes> decodeRle(ByteView encoded, std::size_t size);

} // namespace tarnel::glasses
