#include <TarnelSDK/foundation/Data+Extensions.hpp>
#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/foundation/UTF8.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <zlib.h>

#include <algorithm>
#include <limits>

namespace tarnel {
namespace {

constexpr std::size_t shortestRun = 3;
constexpr std::size_t leastMediumCount = 127;
constexpr std::size_t leastLongCount = 65536;

template <std::integral T>
T littleEndian(ByteView bytes) {
    precondition(bytes.size() >= sizeof(T), "a buffer is as long as the number that is read from it");
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        number |= std::uint64_t{bytes[i]} << 8 * i;
    }
    return static_cast<T>(number);
}

void appendLittleEndian(Bytes& out, std::uint64_t number, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        out.push_back(static_cast<std::uint8_t>(number >> 8 * i & 0xFF));
    }
}

/// The headers of one kind of chunk.
struct ChunkKind {
    std::uint8_t shortBase; ///< to which a short count is added
    std::uint8_t mediumHeader;
    std::uint8_t longHeader;
};
constexpr ChunkKind literalKind{0x00, 0x00, 0x7F};
constexpr ChunkKind runKind{0x80, 0x80, 0xFF};

void appendChunk(Bytes& out, const ChunkKind& kind, std::size_t count, ByteView payload) {
    if (count < leastMediumCount) {
        out.push_back(static_cast<std::uint8_t>(kind.shortBase | count));
    } else if (count < leastLongCount) {
        out.push_back(kind.mediumHeader);
        appendLittleEndian(out, count, 2);
    } else {
        precondition(count <= std::numeric_limits<std::uint32_t>::max(), "the count of a chunk fits in 32 bits");
        out.push_back(kind.longHeader);
        appendLittleEndian(out, count, 4);
    }
    out.insert(out.end(), payload.begin(), payload.end());
}

/// How many bytes at the front come before a run.
std::size_t literalLength(ByteView bytes) {
    std::size_t length = 0;
    while (length + shortestRun <= bytes.size()) {
        if (bytes[length] == bytes[length + 1] && bytes[length] == bytes[length + 2]) {
            return length;
        }
        ++length;
    }
    return bytes.size();
}

std::size_t runLength(ByteView bytes) {
    const auto end = std::find_if(bytes.begin(), bytes.end(), [&](std::uint8_t byte) { return byte != bytes[0]; });
    return static_cast<std::size_t>(end - bytes.begin());
}

template <std::integral T>
Bytes littleEndianBytes(T number) {
    Bytes out;
    appendLittleEndian(out, static_cast<std::uint64_t>(number), sizeof(T));
    return out;
}

template <std::size_t Size>
std::array<std::uint8_t, Size> bigEndianBytes(std::uint32_t number) {
    std::array<std::uint8_t, Size> bytes{};
    for (std::size_t i = 0; i < Size; ++i) {
        bytes[i] = static_cast<std::uint8_t>(number >> 8 * (Size - 1 - i) & 0xFF);
    }
    return bytes;
}

} // namespace

Bytes compressWithRLE(ByteView bytes) {
    precondition(!bytes.empty(), "there is something to compress");
    Bytes out;
    ByteView rest = bytes;
    while (!rest.empty()) {
        if (const auto literals = literalLength(rest); literals > 0) {
            appendChunk(out, literalKind, literals, rest.first(literals));
            rest = rest.subspan(literals);
        } else {
            const auto run = runLength(rest);
            appendChunk(out, runKind, run, rest.first(1));
            rest = rest.subspan(run);
        }
    }
    if (logEnabled()) {
        log("COMPRESS_RLE: " + std::to_string(bytes.size()) + " -> " + std::to_string(out.size()) + " = " +
                std::to_string(out.size() * 100 / bytes.size()) + "%",
            {"compressWithRLE()"});
    }
    return out;
}

std::uint64_t crc32Value(ByteView bytes) {
    return crc32_z(0, bytes.data(), bytes.size());
}

std::uint8_t uint8(ByteView bytes) {
    return littleEndian<std::uint8_t>(bytes);
}
std::uint16_t uint16(ByteView bytes) {
    return littleEndian<std::uint16_t>(bytes);
}
std::uint32_t uint32(ByteView bytes) {
    return littleEndian<std::uint32_t>(bytes);
}

std::optional<UUID> uuid(ByteView bytes) {
    std::array<std::uint8_t, 16> value{};
    if (bytes.size() != value.size()) {
        return std::nullopt;
    }
    std::copy(bytes.begin(), bytes.end(), value.begin());
    return UUID(value);
}

std::optional<std::string> stringASCII(ByteView bytes) {
    if (std::any_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte > 0x7F; })) {
        return std::nullopt;
    }
    return std::string(bytes.begin(), bytes.end());
}

std::optional<std::string> stringUTF8(ByteView bytes) {
    if (!isValidUTF8(bytes)) {
        return std::nullopt;
    }
    return std::string(bytes.begin(), bytes.end());
}

std::string hexEncodedString(ByteView bytes, HexEncodingOptions options) {
    const char* digits = options.contains(HexEncodingOptions::upperCase) ? "0123456789ABCDEF" : "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const auto byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

Bytes data(std::uint8_t number) {
    return littleEndianBytes(number);
}
Bytes data(std::uint16_t number) {
    return littleEndianBytes(number);
}
Bytes data(std::uint32_t number) {
    return littleEndianBytes(number);
}
Bytes data(std::int64_t number) {
    return littleEndianBytes(number);
}

std::array<std::uint8_t, 2> byteArrayLittleEndian(std::uint16_t number) {
    return bigEndianBytes<2>(number);
}
std::array<std::uint8_t, 4> byteArrayLittleEndian(std::uint32_t number) {
    return bigEndianBytes<4>(number);
}

std::array<bool, 8> toBits(std::uint8_t byte) {
    std::array<bool, 8> bits{};
    for (std::size_t i = 0; i < bits.size(); ++i) {
        bits[i] = (byte >> i & 1) != 0;
    }
    return bits;
}

} // namespace tarnel
