#pragma once

#include <TarnelSDK/platform/Bytes.hpp>
#include <TarnelSDK/platform/Value.hpp>

#include <optional>

/// A `Value` as it lies in the settings file: one tag byte, then, the least significant byte first,
///
///     0 null    1 false    2 true    3 int64 (8 bytes)    4 uint64 (8)    5 double (8, IEEE 754)
///     6 text    7 bytes      each: length (4), bytes
///     8 array                count (4), values
///     9 dictionary           count (4), for each entry the key's length (4), the key, the value
///
/// Texts are kept as they are, valid UTF-8 or not.
namespace tarnel {

/// Arrays and dictionaries inside one another that a stored value may have.
constexpr int deepestStoredValue = 64;

/// Empty for a value that goes deeper, or with 4 GiB in one piece.
std::optional<Bytes> encodeStoredValue(const Value& value);

/// Empty for anything else than the whole of one encoded value. Memory and time stay within a multiple of the length.
std::optional<Value> decodeStoredValue(ByteView bytes);

} // namespace tarnel
