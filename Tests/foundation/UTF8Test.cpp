#include <TarnelSDK/foundation/UTF8.hpp>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace tarnel {
namespace {

TEST(UTF8, AcceptsTheFirstAndLastCodePointOfEveryLength) {
    for (const std::string& text : {std::string(1, '\0'), std::string("\x7F"), std::string("\xC2\x80"),
                                    std::string("\xDF\xBF"), std::string("\xE0\xA0\x80"), std::string("\xEF\xBF\xBF"),
                                    std::string("\xF0\x90\x80\x80"), std::string("\xF4\x8F\xBF\xBF"), std::string()}) {
        EXPECT_TRUE(isValidUTF8(text)) << ::testing::PrintToString(text);
    }
}

TEST(UTF8, RefusesOverlongForms) {
    for (const char* text :
         {"\xC0\xAF", "\xC1\xBF", "\xE0\x80\xAF", "\xE0\x9F\xBF", "\xF0\x80\x80\xAF", "\xF0\x8F\xBF\xBF"}) {
        EXPECT_FALSE(isValidUTF8(text)) << ::testing::PrintToString(text);
    }
}

TEST(UTF8, RefusesSurrogatesAndAcceptsTheirNeighbours) {
    EXPECT_TRUE(isValidUTF8("\xED\x9F\xBF"));
    EXPECT_FALSE(isValidUTF8("\xED\xA0\x80"));
    EXPECT_FALSE(isValidUTF8("\xED\xBF\xBF"));
    EXPECT_TRUE(isValidUTF8("\xEE\x80\x80"));
}

TEST(UTF8, RefusesWhatLiesPastTheLastCodePoint) {
    EXPECT_FALSE(isValidUTF8("\xF4\x90\x80\x80"));
    EXPECT_FALSE(isValidUTF8("\xF5\x80\x80\x80"));
    EXPECT_FALSE(isValidUTF8("\xFF"));
}

TEST(UTF8, RefusesContinuationsWithoutALeadAndLeadsWithoutContinuations) {
    EXPECT_FALSE(isValidUTF8("\x80"));
    EXPECT_FALSE(isValidUTF8("a\xBF"));
    for (const char* text : {"\xC3", "\xE2\x82", "\xE2", "\xF0\x9F\x98", "\xC3z", "\xE2\x82z", "\xF0\x9F\x98z"}) {
        EXPECT_FALSE(isValidUTF8(text)) << ::testing::PrintToString(text);
    }
}

TEST(UTF8, AcceptsExactlyTheEncodingsOfScalarValuesAmongAllThreeByteSequences) {
    std::size_t accepted = 0;
    for (unsigned number = 0; number < 0x1000000; ++number) {
        const std::uint8_t bytes[] = {static_cast<std::uint8_t>(number >> 16), static_cast<std::uint8_t>(number >> 8),
                                      static_cast<std::uint8_t>(number)};
        accepted += isValidUTF8(ByteView(bytes)) ? 1 : 0;
    }
    constexpr std::size_t ascii = 0x80;
    constexpr std::size_t two = 0x800 - 0x80;
    constexpr std::size_t three = 0x10000 - 0x800 - 0x800;
    EXPECT_EQ(accepted, ascii * ascii * ascii + 2 * ascii * two + three);
}

TEST(UTF8, DecodesTheFirstAndLastCodePointOfEveryLength) {
    EXPECT_EQ(decodeUTF8(std::string_view("\0\x7F", 2)), (std::u32string{0, 0x7F}));
    EXPECT_EQ(decodeUTF8("\xC2\x80\xDF\xBF"), (std::u32string{0x80, 0x7FF}));
    EXPECT_EQ(decodeUTF8("\xE0\xA0\x80\xEF\xBF\xBF"), (std::u32string{0x800, 0xFFFF}));
    EXPECT_EQ(decodeUTF8("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"), (std::u32string{0x10000, 0x10FFFF}));
}

TEST(UTF8, DecodesEachIllFormedPartToOneReplacementCharacter) {
    EXPECT_EQ(decodeUTF8("a\x80\x80z"), U"a\uFFFD\uFFFDz");
    EXPECT_EQ(decodeUTF8("\xE2\x82z"), U"\uFFFDz");
    EXPECT_EQ(decodeUTF8("\xF0\x9F\x98"), U"\uFFFD");
    EXPECT_EQ(decodeUTF8("\xED\xA0\x80"), U"\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(decodeUTF8("\xC0\xAF"), U"\uFFFD\uFFFD");
}

TEST(UTF8, EncodesWhatItDecodes) {
    std::u32string all;
    for (char32_t codePoint = 0; codePoint <= 0x10FFFF; ++codePoint) {
        if (codePoint < 0xD800 || codePoint > 0xDFFF) {
            all.push_back(codePoint);
        }
    }
    const std::string text = encodeUTF8(all);
    EXPECT_TRUE(isValidUTF8(text));
    EXPECT_EQ(decodeUTF8(text), all);
    EXPECT_EQ(encodeUTF8(U"\u00FC\u20AC\U0001F600"), "\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(UTF8, EncodesNoSurrogate) {
    EXPECT_DEATH(encodeUTF8(std::u32string(1, 0xD800)), "scalar value");
    EXPECT_DEATH(encodeUTF8(std::u32string(1, 0x110000)), "scalar value");
}

} // namespace
} // namespace tarnel
