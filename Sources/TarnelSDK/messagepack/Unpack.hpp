#pragma once

#include <TarnelSDK/messagepack/MessagePackError.hpp>
#include <TarnelSDK/messagepack/MessagePackValue.hpp>
#include <TarnelSDK/messagepack/Subdata.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The unpacker: reads published MessagePack, whichever format a writer chose. Every function throws
/// `MessagePackError`, and gives no part of a value when it does.
///
/// Bytes may be hostile. Memory and time stay within a multiple of their length, whatever counts they declare.
namespace tarnel {

/// Arrays and maps inside one another; bytes that go deeper are `invalidData`.
constexpr std::size_t deepestNesting = 64;

/// What was read and what follows it, in the buffer that was read from.
template <typename T>
struct Unpacked {
    T value;
    Subdata remainder;
};

/// Reads one value from the front. With `compatibility` every string format is read as `binary`, undecoded.
Unpacked<MessagePackValue> unpack(const Subdata& data, bool compatibility = false);
Unpacked<MessagePackValue> unpack(ByteView data, bool compatibility = false);

/// The first value; what follows is ignored.
MessagePackValue unpackFirst(ByteView data, bool compatibility = false);

/// All values up to the end, in order.
std::vector<MessagePackValue> unpackAll(ByteView data, bool compatibility = false);

/// Reads `count` bytes, the most significant first. With no bytes to read: `invalidArgument`. REQUIRES: count <= 8.
Unpacked<std::uint64_t> unpackInteger(const Subdata& data, std::size_t count);

Unpacked<std::string> unpackString(const Subdata& data, std::size_t count);

/// The next `count` bytes as a view on the same buffer.
Unpacked<Subdata> unpackData(const Subdata& data, std::size_t count);

/// `count` values in a row; `depth` is how many containers they are in, their own included.
Unpacked<MessagePackValue::Array> unpackArray(const Subdata& data, std::size_t count, bool compatibility,
                                              std::size_t depth = 1);

/// `count` keys and values in turn. The last of equal keys counts.
Unpacked<MessagePackValue::Map> unpackMap(const Subdata& data, std::size_t count, bool compatibility,
                                          std::size_t depth = 1);

} // namespace tarnel
