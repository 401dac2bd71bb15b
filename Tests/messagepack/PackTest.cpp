#include <TarnelSDK/messagepack/Pack.hpp>

#include <gmock/gmock.h>

#include <limits>
#include <string>

namespace tarnel {
namespace {

using ::testing::ElementsAre;
using Value = MessagePackValue;

/// The first bytes of the packed value, and that its whole length is theirs plus `payload`.
Bytes header(const Value& value, std::size_t payload) {
    const Bytes bytes = pack(value);
    EXPECT_GE(bytes.size(), payload);
    return Bytes(bytes.begin(), bytes.end() - static_cast<std::ptrdiff_t>(payload));
}

TEST(Pack, NilAndBooleansTakeOneByte) {
    EXPECT_THAT(pack(nullptr), ElementsAre(0xC0));
    EXPECT_THAT(pack(false), ElementsAre(0xC2));
    EXPECT_THAT(pack(true), ElementsAre(0xC3));
}

TEST(Pack, UnsignedNumbersTakeTheNarrowestFormat) {
    EXPECT_THAT(pack(0U), ElementsAre(0x00));
    EXPECT_THAT(pack(5U), ElementsAre(0x05));
    EXPECT_THAT(pack(127U), ElementsAre(0x7F));
    EXPECT_THAT(pack(128U), ElementsAre(0xCC, 0x80));
    EXPECT_THAT(pack(255U), ElementsAre(0xCC, 0xFF));
    EXPECT_THAT(pack(256U), ElementsAre(0xCD, 0x01, 0x00));
    EXPECT_THAT(pack(65535U), ElementsAre(0xCD, 0xFF, 0xFF));
    EXPECT_THAT(pack(65536U), ElementsAre(0xCE, 0x00, 0x01, 0x00, 0x00));
    EXPECT_THAT(pack(0xFFFFFFFFU), ElementsAre(0xCE, 0xFF, 0xFF, 0xFF, 0xFF));
    EXPECT_THAT(pack(std::uint64_t{0x100000000}), ElementsAre(0xCF, 0, 0, 0, 1, 0, 0, 0, 0));
    EXPECT_THAT(pack(UINT64_MAX), ElementsAre(0xCF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF));
}

TEST(Pack, SignedNumbersThatAreNotNegativeAreWrittenAsUnsignedOnes) {
    for (const std::int64_t number :
         {std::int64_t{0}, std::int64_t{5}, std::int64_t{127}, std::int64_t{128}, std::int64_t{255}, std::int64_t{256},
          std::int64_t{32768}, std::int64_t{65536}, std::int64_t{0x80000000}, std::int64_t{0x100000000}, INT64_MAX}) {
        EXPECT_EQ(pack(number), pack(static_cast<std::uint64_t>(number)));
    }
    EXPECT_THAT(pack(5), ElementsAre(0x05));
}

TEST(Pack, NegativeNumbersStopOneShortOfEachWidth) {
    EXPECT_THAT(pack(-1), ElementsAre(0xFF));
    EXPECT_THAT(pack(-32), ElementsAre(0xE0));
    EXPECT_THAT(pack(-33), ElementsAre(0xD0, 0xDF));
    EXPECT_THAT(pack(-127), ElementsAre(0xD0, 0x81));
    EXPECT_THAT(pack(-128), ElementsAre(0xD1, 0xFF, 0x80));
    EXPECT_THAT(pack(-32767), ElementsAre(0xD1, 0x80, 0x01));
    EXPECT_THAT(pack(-32768), ElementsAre(0xD2, 0xFF, 0xFF, 0x80, 0x00));
    EXPECT_THAT(pack(-2147483647), ElementsAre(0xD2, 0x80, 0x00, 0x00, 0x01));
    EXPECT_THAT(pack(std::int64_t{-2147483648}), ElementsAre(0xD3, 0xFF, 0xFF, 0xFF, 0xFF, 0x80, 0x00, 0x00, 0x00));
    EXPECT_THAT(pack(INT64_MIN), ElementsAre(0xD3, 0x80, 0, 0, 0, 0, 0, 0, 0));
}

TEST(Pack, FloatsAndDoublesAreTheirBitPatterns) {
    EXPECT_THAT(pack(1.5F), ElementsAre(0xCA, 0x3F, 0xC0, 0x00, 0x00));
    EXPECT_THAT(pack(-2.0), ElementsAre(0xCB, 0xC0, 0, 0, 0, 0, 0, 0, 0));
    EXPECT_THAT(pack(std::numeric_limits<float>::quiet_NaN()), ElementsAre(0xCA, 0x7F, 0xC0, 0x00, 0x00));
}

TEST(Pack, AStringIsItsUTF8Bytes) {
    EXPECT_THAT(pack(""), ElementsAre(0xA0));
    EXPECT_THAT(pack("ü€"), ElementsAre(0xA5, 0xC3, 0xBC, 0xE2, 0x82, 0xAC));
}

TEST(Pack, AStringOfUpTo25BytesIsFixed) {
    EXPECT_THAT(header(std::string(25, 'x'), 25), ElementsAre(0xB9));
    EXPECT_THAT(header(std::string(26, 'x'), 26), ElementsAre(0xD9, 0x1A));
    EXPECT_THAT(header(std::string(31, 'x'), 31), ElementsAre(0xD9, 0x1F));
    EXPECT_THAT(header(std::string(32, 'x'), 32), ElementsAre(0xD9, 0x20));
}

TEST(Pack, LongerStringsTakeALengthOfOneTwoOrFourBytes) {
    EXPECT_THAT(header(std::string(255, 'x'), 255), ElementsAre(0xD9, 0xFF));
    EXPECT_THAT(header(std::string(256, 'x'), 256), ElementsAre(0xDA, 0x01, 0x00));
    EXPECT_THAT(header(std::string(65535, 'x'), 65535), ElementsAre(0xDA, 0xFF, 0xFF));
    EXPECT_THAT(header(std::string(65536, 'x'), 65536), ElementsAre(0xDB, 0x00, 0x01, 0x00, 0x00));
}

TEST(Pack, ABinaryTakesALengthOfOneTwoOrFourBytes) {
    EXPECT_THAT(pack(Bytes()), ElementsAre(0xC4, 0x00));
    EXPECT_THAT(pack(Bytes{1, 2}), ElementsAre(0xC4, 0x02, 1, 2));
    EXPECT_THAT(header(Bytes(255), 255), ElementsAre(0xC4, 0xFF));
    EXPECT_THAT(header(Bytes(256), 256), ElementsAre(0xC5, 0x01, 0x00));
    EXPECT_THAT(header(Bytes(65535), 65535), ElementsAre(0xC5, 0xFF, 0xFF));
    EXPECT_THAT(header(Bytes(65536), 65536), ElementsAre(0xC6, 0x00, 0x01, 0x00, 0x00));
}

TEST(Pack, AnArrayOfUpTo14ElementsIsFixed) {
    const auto array = [](std::size_t count) { return Value(Value::Array(count)); };
    EXPECT_THAT(pack(array(0)), ElementsAre(0x90));
    EXPECT_THAT(header(array(14), 14), ElementsAre(0x9E));
    EXPECT_THAT(header(array(15), 15), ElementsAre(0xDC, 0x00, 0x0F));
    EXPECT_THAT(header(array(65535), 65535), ElementsAre(0xDC, 0xFF, 0xFF));
    EXPECT_THAT(header(array(65536), 65536), ElementsAre(0xDD, 0x00, 0x01, 0x00, 0x00));
}

TEST(Pack, AMapOfUpTo14EntriesIsFixed) {
    const auto map = [](std::uint64_t count) {
        Value::Map entries;
        for (std::uint64_t i = 0; i < count; ++i) {
            entries.set(0x100000000 + i, nullptr); // ten bytes an entry
        }
        return Value(std::move(entries));
    };
    EXPECT_THAT(pack(map(0)), ElementsAre(0x80));
    EXPECT_THAT(header(map(14), 140), ElementsAre(0x8E));
    EXPECT_THAT(header(map(15), 150), ElementsAre(0xDE, 0x00, 0x0F));
    EXPECT_THAT(header(map(65535), 655350), ElementsAre(0xDE, 0xFF, 0xFF));
    EXPECT_THAT(header(map(65536), 655360), ElementsAre(0xDF, 0x00, 0x01, 0x00, 0x00));
}

TEST(Pack, ElementsAndEntriesFollowInOrder) {
    EXPECT_THAT(pack(Value::array({1, "a", Value::array({nullptr})})), ElementsAre(0x93, 1, 0xA1, 'a', 0x91, 0xC0));
    EXPECT_THAT(pack(Value::map({{"z", 1}, {"a", true}, {3, "x"}})),
                ElementsAre(0x83, 0xA1, 'z', 1, 0xA1, 'a', 0xC3, 3, 0xA1, 'x'));
}

TEST(Pack, ExtensionsOfOneTwoFourEightAndSixteenBytesAreFixed) {
    EXPECT_THAT(pack(Value(5, Bytes{0xAA})), ElementsAre(0xD4, 5, 0xAA));
    EXPECT_THAT(header(Value(5, Bytes(2)), 2), ElementsAre(0xD5, 5));
    EXPECT_THAT(header(Value(5, Bytes(4)), 4), ElementsAre(0xD6, 5));
    EXPECT_THAT(header(Value(5, Bytes(8)), 8), ElementsAre(0xD7, 5));
    EXPECT_THAT(header(Value(-2, Bytes(16)), 16), ElementsAre(0xD8, 0xFE));
}

TEST(Pack, ExtensionsOfOtherLengthsTakeALengthOfOneTwoOrFourBytes) {
    EXPECT_THAT(pack(Value(5, Bytes())), ElementsAre(0xC7, 0x00, 5));
    EXPECT_THAT(pack(Value(5, Bytes{1, 2, 3})), ElementsAre(0xC7, 0x03, 5, 1, 2, 3));
    for (const std::size_t size : {5U, 6U, 7U, 9U, 15U, 17U, 32U, 255U}) {
        EXPECT_THAT(header(Value(5, Bytes(size)), size), ElementsAre(0xC7, size, 5));
    }
    EXPECT_THAT(header(Value(5, Bytes(256)), 256), ElementsAre(0xC8, 0x01, 0x00, 5));
    EXPECT_THAT(header(Value(5, Bytes(65535)), 65535), ElementsAre(0xC8, 0xFF, 0xFF, 5));
    EXPECT_THAT(header(Value(5, Bytes(65536)), 65536), ElementsAre(0xC9, 0x00, 0x01, 0x00, 0x00, 5));
}

TEST(Pack, IntegersAreWrittenMostSignificantFirst) {
    EXPECT_THAT(packInteger(0x0102030405060708, 8), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
    EXPECT_THAT(packInteger(0x0102030405060708, 3), ElementsAre(6, 7, 8));
    EXPECT_THAT(packInteger(0x0102, 0), ElementsAre());
    EXPECT_THAT(packPositiveInteger(300), ElementsAre(0xCD, 0x01, 0x2C));
    EXPECT_THAT(packNegativeInteger(-300), ElementsAre(0xD1, 0xFE, 0xD4));
}

TEST(PackDeathTest, ANegativeIntegerIsBelowZero) {
    EXPECT_DEATH(packNegativeInteger(0), "below zero");
}

TEST(PackDeathTest, AnIntegerHasAtMostEightBytes) {
    EXPECT_DEATH(packInteger(1, 9), "at most eight bytes");
}

} // namespace
} // namespace tarnel
