#include <TarnelSDK/foundation/Data+Extensions.hpp>

#include <gmock/gmock.h>

#include <string_view>

namespace tarnel {
namespace {

using ::testing::ElementsAre;

Bytes bytesOf(std::string_view text) {
    return Bytes(text.begin(), text.end());
}

TEST(CRC32, OfTheNineDigitsIsThePublishedCheckValue) {
    EXPECT_EQ(crc32Value(bytesOf("123456789")), 0xCBF43926U);
}

TEST(CRC32, OfNothingIsZero) {
    EXPECT_EQ(crc32Value({}), 0U);
}

TEST(CRC32, OfPublishedTextsIsTheirs) {
    EXPECT_EQ(crc32Value(bytesOf("a")), 0xE8B7BE43U);
    EXPECT_EQ(crc32Value(bytesOf("The quick brown fox jumps over the lazy dog")), 0x414FA339U);
}

TEST(Numbers, AtTheFrontAreReadLittleEndianAndTheRestIsIgnored) {
    const Bytes bytes{0x34, 0x12, 0xFF, 0x80, 0x99};
    EXPECT_EQ(uint8(bytes), 0x34);
    EXPECT_EQ(uint16(bytes), 0x1234);
    EXPECT_EQ(uint32(bytes), 0x80FF1234U);
}

TEST(NumbersDeathTest, OfABufferThatIsTooShortStopTheProgram) {
    const Bytes bytes{1, 2, 3};
    EXPECT_DEATH(uint8({}), "as long as the number");
    EXPECT_DEATH(uint16(ByteView(bytes).first(1)), "as long as the number");
    EXPECT_DEATH(uint32(bytes), "as long as the number");
}

TEST(Numbers, BecomeLittleEndianBytes) {
    EXPECT_THAT(data(std::uint8_t{0x12}), ElementsAre(0x12));
    EXPECT_THAT(data(std::uint16_t{0x1234}), ElementsAre(0x34, 0x12));
    EXPECT_THAT(data(std::uint32_t{0x12345678}), ElementsAre(0x78, 0x56, 0x34, 0x12));
    EXPECT_THAT(data(std::int64_t{-2}), ElementsAre(0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF));
    EXPECT_THAT(data(std::int64_t{0x0102030405060708}), ElementsAre(8, 7, 6, 5, 4, 3, 2, 1));
}

TEST(Numbers, ByteArraysHaveTheHighByteFirst) {
    EXPECT_THAT(byteArrayLittleEndian(std::uint16_t{0x1234}), ElementsAre(0x12, 0x34));
    EXPECT_THAT(byteArrayLittleEndian(std::uint32_t{0x12345678}), ElementsAre(0x12, 0x34, 0x56, 0x78));
}

TEST(Numbers, BitsComeLeastSignificantFirst) {
    EXPECT_THAT(toBits(0x05), ElementsAre(true, false, true, false, false, false, false, false));
    EXPECT_THAT(toBits(0x80), ElementsAre(false, false, false, false, false, false, false, true));
}

TEST(Numbers, AnArrayLeavesOutBytesThatMakeNoWholeNumber) {
    const Bytes bytes{0x01, 0x00, 0xFF, 0xFF, 0x07};
    EXPECT_THAT(toArray<std::uint8_t>(bytes), ElementsAre(1, 0, 255, 255, 7));
    EXPECT_THAT(toArray<std::uint16_t>(bytes), ElementsAre(1, 65535));
    EXPECT_THAT(toArray<std::int16_t>(bytes), ElementsAre(1, -1));
    EXPECT_THAT(toArray<std::uint32_t>(bytes), ElementsAre(0xFFFF0001U));
    EXPECT_THAT(toArray<std::uint64_t>(bytes), ElementsAre());
}

TEST(Hexadecimal, HasTwoDigitsAByteInEitherCase) {
    const Bytes bytes{0xAB, 0x01};
    EXPECT_EQ(hexEncodedString(bytes), "ab01");
    EXPECT_EQ(hexEncodedString(bytes, HexEncodingOptions::upperCase), "AB01");
    EXPECT_EQ(hexEncodedString({}), "");
    EXPECT_EQ(HexEncodingOptions::upperCase.rawValue, 1);
}

TEST(Texts, AreASCIIUpToTheLastSevenBitByte) {
    EXPECT_EQ(stringASCII(bytesOf("abc\x7F")), "abc\x7F");
    EXPECT_EQ(stringASCII(bytesOf("abc\x80")), std::nullopt);
    EXPECT_EQ(stringASCII({}), "");
}

TEST(Texts, AreUTF8OrNothing) {
    EXPECT_EQ(stringUTF8(bytesOf("Grüße 👓")), "Grüße 👓");
    EXPECT_EQ(stringUTF8(bytesOf("\xC3")), std::nullopt);
    EXPECT_EQ(stringUTF8({}), "");
}

TEST(UUIDs, AreMadeOfSixteenBytesInOrder) {
    Bytes bytes;
    for (std::uint8_t i = 0; i < 16; ++i) {
        bytes.push_back(i);
    }
    EXPECT_EQ(uuid(bytes), UUID::parse("00010203-0405-0607-0809-0A0B0C0D0E0F"));
    EXPECT_EQ(uuid(ByteView(bytes).first(15)), std::nullopt);
    bytes.push_back(16);
    EXPECT_EQ(uuid(bytes), std::nullopt);
}

} // namespace
} // namespace tarnel
