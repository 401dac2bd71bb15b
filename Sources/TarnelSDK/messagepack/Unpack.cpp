#include <TarnelSDK/foundation/UTF8.hpp>
#include <TarnelSDK/messagepack/Unpack.hpp>

#include <algorithm>
#include <bit>
#include <limits>

namespace tarnel {
namespace {

/// Elements for which room is made at once. More grow with the bytes that are there, not with the count declared.
constexpr std::size_t mostReserved = 64;

using Result = Unpacked<MessagePackValue>;

/// The forms of one format of a variable length differ in the width of the length: 1, 2 and 4 bytes.
constexpr std::size_t width(std::uint8_t first, std::uint8_t firstOfFormat) {
    return std::size_t{1} << (first - firstOfFormat);
}

template <typename T>
Result wrapped(Unpacked<T> read) {
    return {std::move(read.value), read.remainder};
}

Unpacked<std::size_t> readLength(const Subdata& data, std::size_t bytes) {
    const auto [length, rest] = unpackInteger(data, bytes);
    return {static_cast<std::size_t>(length), rest};
}

template <typename Integer>
Result readSigned(const Subdata& data) {
    const auto [number, rest] = unpackInteger(data, sizeof(Integer));
    return {static_cast<Integer>(number), rest};
}

Result readBinary(const Subdata& data, std::size_t count) {
    const auto [bytes, rest] = unpackData(data, count);
    return {bytes.data(), rest};
}

Result readText(const Subdata& data, std::size_t count, bool compatibility) {
    return compatibility ? readBinary(data, count) : wrapped(unpackString(data, count));
}

Result readExtended(const Subdata& data, std::size_t count) {
    const auto [type, afterType] = unpackInteger(data, 1);
    const auto [bytes, rest] = unpackData(afterType, count);
    return {MessagePackExtended{static_cast<std::int8_t>(type), bytes.data()}, rest};
}

Result readValue(const Subdata& data, bool compatibility, std::size_t depth);

/// Formats 0xc0 to 0xdf; `rest` follows the first byte.
Result readMarked(std::uint8_t first, const Subdata& rest, bool compatibility, std::size_t depth) {
    switch (first) {
    case 0xC0:
        return {nullptr, rest};
    case 0xC2:
    case 0xC3:
        return {first == 0xC3, rest};
    case 0xC4:
    case 0xC5:
    case 0xC6: {
        const auto [length, payload] = readLength(rest, width(first, 0xC4));
        return readBinary(payload, length);
    }
    case 0xC7:
    case 0xC8:
    case 0xC9: {
        const auto [length, payload] = readLength(rest, width(first, 0xC7));
        return readExtended(payload, length);
    }
    case 0xCA: {
        const auto [pattern, after] = unpackInteger(rest, 4);
        return {std::bit_cast<float>(static_cast<std::uint32_t>(pattern)), after};
    }
    case 0xCB: {
        const auto [pattern, after] = unpackInteger(rest, 8);
        return {std::bit_cast<double>(pattern), after};
    }
    case 0xCC:
    case 0xCD:
    case 0xCE:
    case 0xCF:
        return wrapped(unpackInteger(rest, width(first, 0xCC)));
    case 0xD0:
        return readSigned<std::int8_t>(rest);
    case 0xD1:
        return readSigned<std::int16_t>(rest);
    case 0xD2:
        return readSigned<std::int32_t>(rest);
    case 0xD3:
        return readSigned<std::int64_t>(rest);
    case 0xD4:
    case 0xD5:
    case 0xD6:
    case 0xD7:
    case 0xD8:
        return readExtended(rest, width(first, 0xD4));
    case 0xD9:
    case 0xDA:
    case 0xDB: {
        const auto [length, payload] = readLength(rest, width(first, 0xD9));
        return readText(payload, length, compatibility);
    }
    case 0xDC:
    case 0xDD: {
        const auto [count, elements] = readLength(rest, 2 * width(first, 0xDC));
        return wrapped(unpackArray(elements, count, compatibility, depth + 1));
    }
    case 0xDE:
    case 0xDF: {
        const auto [count, entries] = readLength(rest, 2 * width(first, 0xDE));
        return wrapped(unpackMap(entries, count, compatibility, depth + 1));
    }
    default:
        throw MessagePackError(MessagePackError::invalidData);
    }
}

Result readValue(const Subdata& data, bool compatibility, std::size_t depth) {
    if (data.isEmpty()) {
        throw MessagePackError(MessagePackError::insufficientData);
    }
    const std::uint8_t first = data[0];
    const Subdata rest = data.subrange(1, data.count());
    if (first <= 0x7F) {
        return {std::uint64_t{first}, rest};
    }
    if (first <= 0x8F) {
        return wrapped(unpackMap(rest, first & 0x0FU, compatibility, depth + 1));
    }
    if (first <= 0x9F) {
        return wrapped(unpackArray(rest, first & 0x0FU, compatibility, depth + 1));
    }
    if (first <= 0xBF) {
        return readText(rest, first & 0x1FU, compatibility);
    }
    if (first >= 0xE0) {
        return {static_cast<std::int8_t>(first), rest};
    }
    return readMarked(first, rest, compatibility, depth);
}

} // namespace

Unpacked<MessagePackValue> unpack(const Subdata& data, bool compatibility) {
    return readValue(data, compatibility, 0);
}

Unpacked<MessagePackValue> unpack(ByteView data, bool compatibility) {
    return unpack(Subdata(data), compatibility);
}

MessagePackValue unpackFirst(ByteView data, bool compatibility) {
    return unpack(data, compatibility).value;
}

std::vector<MessagePackValue> unpackAll(ByteView data, bool compatibility) {
    std::vector<MessagePackValue> values;
    Subdata rest(data);
    while (!rest.isEmpty()) {
        auto read = unpack(rest, compatibility);
        values.push_back(std::move(read.value));
        rest = read.remainder;
    }
    return values;
}

Unpacked<std::uint64_t> unpackInteger(const Subdata& data, std::size_t count) {
    precondition(count <= sizeof(std::uint64_t), "an integer has at most eight bytes");
    if (count < 1) {
        throw MessagePackError(MessagePackError::invalidArgument);
    }
    const auto [bytes, rest] = unpackData(data, count);
    std::uint64_t number = 0;
    for (const std::uint8_t byte : bytes) {
        number = number << 8 | byte;
    }
    return {number, rest};
}

Unpacked<Subdata> unpackData(const Subdata& data, std::size_t count) {
    if (count > data.count()) {
        throw MessagePackError(MessagePackError::insufficientData);
    }
    return {data.subrange(0, count), data.subrange(count, data.count())};
}

Unpacked<std::string> unpackString(const Subdata& data, std::size_t count) {
    const auto [bytes, rest] = unpackData(data, count);
    if (!isValidUTF8(bytes.view())) {
        throw MessagePackError(MessagePackError::invalidData);
    }
    return {std::string(bytes.begin(), bytes.end()), rest};
}

Unpacked<MessagePackValue::Array> unpackArray(const Subdata& data, std::size_t count, bool compatibility,
                                              std::size_t depth) {
    if (depth > deepestNesting) {
        throw MessagePackError(MessagePackError::invalidData);
    }
    MessagePackValue::Array elements;
    elements.reserve(std::min(count, mostReserved));
    Subdata rest = data;
    for (std::size_t i = 0; i < count; ++i) {
        auto read = readValue(rest, compatibility, depth);
        elements.push_back(std::move(read.value));
        rest = read.remainder;
    }
    return {std::move(elements), rest};
}

Unpacked<MessagePackValue::Map> unpackMap(const Subdata& data, std::size_t count, bool compatibility,
                                          std::size_t depth) {
    const std::size_t pairs = std::min(count, std::numeric_limits<std::size_t>::max() / 2);
    auto [values, rest] = unpackArray(data, 2 * pairs, compatibility, depth);
    MessagePackValue::Map map;
    map.reserve(values.size() / 2);
    for (std::size_t i = 0; i < values.size(); i += 2) {
        map.set(std::move(values[i]), std::move(values[i + 1]));
    }
    return {std::move(map), rest};
}

} // namespace tarnel
