#include <TarnelSDK/messagepack/Pack.hpp>
#include <TarnelSDK/messagepack/PlainValue.hpp>
#include <TarnelSDK/messagepack/Unpack.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <random>
#include <string>

namespace {

/// What is allocated now and the most that was since the last reset, by the whole program.
std::atomic<std::size_t> allocated{0};
std::atomic<std::size_t> mostAllocated{0};

/// Before each block, as wide as the strictest alignment asks.
constexpr std::size_t headerSize = alignof(std::max_align_t);

void* counted(std::size_t size) {
    auto* block = static_cast<std::byte*>(std::malloc(size + headerSize));
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    *reinterpret_cast<std::size_t*>(block) = size;
    const std::size_t now = allocated += size;
    if (now > mostAllocated) {
        mostAllocated = now;
    }
    return block + headerSize;
}

void uncounted(void* pointer) {
    if (pointer == nullptr) {
        return;
    }
    auto* block = static_cast<std::byte*>(pointer) - headerSize;
    allocated -= *reinterpret_cast<std::size_t*>(block);
    std::free(block);
}

} // namespace

void* operator new(std::size_t size) {
    return counted(size);
}
void operator delete(void* pointer) noexcept {
    uncounted(pointer);
}
void operator delete(void* pointer, std::size_t) noexcept {
    uncounted(pointer);
}

namespace tarnel {
namespace {

using Value = MessagePackValue;

/// Bytes that unpacking a message of `size` bytes may hold at any one time.
constexpr std::size_t allowance(std::size_t size) {
    return 64 * 1024 + 400 * size;
}

/// Unpacks, and does with the value what the receiving side does. Checks the memory and that every error is one of the
/// unpacker's own.
void survive(ByteView bytes) {
    const std::size_t before = allocated;
    mostAllocated = before;
    try {
        const auto [value, remainder] = unpack(bytes);
        EXPECT_LE(remainder.count(), bytes.size());
        EXPECT_LE(mostAllocated - before, allowance(bytes.size()));
        const Bytes packed = pack(value);
        EXPECT_EQ(pack(unpackFirst(packed)), packed);
        static_cast<void>(toPlainValue(value));
        static_cast<void>(value.description());
    } catch (const MessagePackError&) {
        EXPECT_LE(mostAllocated - before, allowance(bytes.size()));
    }
}

Bytes randomBytes(std::mt19937_64& random, std::size_t most) {
    Bytes bytes(random() % (most + 1));
    for (auto& byte : bytes) {
        byte = static_cast<std::uint8_t>(random());
    }
    return bytes;
}

Value::Map manyKeys(std::uint64_t count) {
    Value::Map map;
    for (std::uint64_t i = 0; i < count; ++i) {
        map.set(i, nullptr);
    }
    return map;
}

TEST(HostileBytes, OfOneHundredThousandRandomAndMutatedBuffersAreSurvived) {
    constexpr std::uint64_t seed = 20260101;
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    const Bytes messages[] = {
        pack(Value::map({{"cnvs_lbl", Value::map({{"id", 3}, {"text", "Grüße"}, {"x", -12}, {"font", Bytes(40, 7)}})},
                         {"control", Value::array({1, 2.5, 1.5F, nullptr, true, Value(3, Bytes{1, 2, 3})})}})),
        pack(manyKeys(20)),
        pack(Value::map({{Value::map({{"a", 1}}), Value::array({Value::array({Value::array({})})})}})),
        {0xDD, 0xFF, 0xFF, 0xFF, 0xFF, 0xDF, 0xFF, 0xFF, 0xFF, 0xFF, 0xC6, 0xFF, 0xFF, 0xFF, 0xFF, 1, 2, 3}};
    for (int round = 0; round < 50'000; ++round) {
        survive(randomBytes(random, 64));
        Bytes mutated = messages[random() % std::size(messages)];
        for (auto changes = random() % 4 + 1; changes > 0; --changes) {
            mutated[random() % mutated.size()] = static_cast<std::uint8_t>(random());
        }
        mutated.resize(mutated.size() - random() % 2 * (random() % mutated.size()));
        survive(mutated);
    }
}

TEST(HostileBytes, WithCountsBeyondTheirLengthTakeLittleMemory) {
    survive(Bytes{0xDD, 0xFF, 0xFF, 0xFF, 0xFF});
    survive(Bytes{0xDF, 0xFF, 0xFF, 0xFF, 0xFF, 1, 1});
    survive(Bytes{0xC6, 0xFF, 0xFF, 0xFF, 0xFF, 1});
    survive(Bytes{0xC9, 0xFF, 0xFF, 0xFF, 0xFF, 1});
    survive(Bytes{0xDB, 0xFF, 0xFF, 0xFF, 0xFF, 'a'});
    Bytes nested;
    for (std::size_t i = 0; i < 1000; ++i) {
        nested.insert(nested.end(), {0xDD, 0xFF, 0xFF, 0xFF, 0xFF});
    }
    survive(nested);
}

TEST(HostileBytes, OfManyDistinctKeysAreReadInBoundedMemory) {
    survive(pack(manyKeys(100'000)));
}

TEST(HostileBytes, OfManyKeysWithOnePublicHashAreReadWithoutComparingThemAll) {
    constexpr std::size_t count = 50'000;
    Value::Map map;
    for (std::size_t i = 0; i < count; ++i) {
        map.set(Value::array({i, "x"}), i);
    }
    const auto read = unpackFirst(pack(map));
    EXPECT_EQ(read.count(), count);
    EXPECT_EQ(*read[Value::array({count - 1, "x"})], count - 1);
}

TEST(HostileBytes, OfOneKeyRepeatedAreOneEntry) {
    Bytes bytes{0xDE, 0xFF, 0xFF};
    for (int i = 0; i < 65535; ++i) {
        bytes.insert(bytes.end(), {0xA1, 'k', 0x01});
    }
    EXPECT_EQ(unpackFirst(bytes), Value::map({{"k", 1}}));
}

TEST(HostileBytes, OfManyNaNKeysAreReadWithoutComparingThemAll) {
    Bytes bytes{0xDE, 0xFF, 0xFF};
    for (int i = 0; i < 65535; ++i) {
        bytes.insert(bytes.end(), {0xCA, 0x7F, 0xC0, 0, 0, 0x01});
    }
    EXPECT_EQ(unpackFirst(bytes).count(), 65535U);
}

TEST(HostileBytes, OfMapsAsKeysOfMapsDoNotMultiplyTheWork) {
    // Two keys a level, which differ only in the deepest of their entries.
    Bytes key{0x00};
    for (std::uint8_t level = 0; level < 14; ++level) {
        Bytes other = key;
        other.back() = static_cast<std::uint8_t>(level + 1);
        Bytes next{0x82};
        next.insert(next.end(), key.begin(), key.end());
        next.push_back(0xC0);
        next.insert(next.end(), other.begin(), other.end());
        next.push_back(0xC0);
        key = next;
    }
    const auto read = unpackFirst(key);
    EXPECT_EQ(read.count(), 2U);
    EXPECT_EQ(pack(read), key);
}

TEST(HostileBytes, OfTheDeepestNestingAreDestroyedAndPackedAgain) {
    Bytes bytes(deepestNesting, 0x91);
    bytes.push_back(0xC0);
    survive(bytes);
}

} // namespace
} // namespace tarnel
