#include <TarnelSDK/glyphs/CharacterFilter.hpp>

#include <gtest/gtest.h>

namespace tarnel {
namespace {

TEST(CharactersOfText, AreDistinctAndAscending) {
    EXPECT_EQ(charactersOfText("hello, olleh").drawn, U" ,ehlo");
    EXPECT_EQ(charactersOfText("日a本").drawn, U"a日本");
    EXPECT_TRUE(charactersOfText("").drawn.empty());
}

TEST(CharactersOfText, AreWithoutControls) {
    using namespace std::string_view_literals;
    EXPECT_EQ(charactersOfText("a\nb\r\n\x01\x1B\0c"sv).drawn, U"abc");
    EXPECT_TRUE(charactersOfText("\n\r\0"sv).drawn.empty());
    EXPECT_TRUE(charactersOfText("\n\r\0"sv).invisible.empty());
}

TEST(CharactersOfText, HaveTheSpaceForATab) {
    EXPECT_EQ(charactersOfText("a\tb").drawn, U" ab");
    EXPECT_EQ(charactersOfText("ab").drawn, U"ab");
}

TEST(CharactersOfText, AreInvisibleWhenTheyOnlyJoinOrDirectOthers) {
    const auto characters = charactersOfText("\u200B\u200D\uFE0F\u200Fa\u202E\u2066\u00AD\uFEFF\U000E0061");
    EXPECT_EQ(characters.drawn, U"a");
    EXPECT_EQ(characters.invisible, U"\u00AD\u200B\u200D\u200F\u202E\u2066\uFE0F\uFEFF\U000E0061");
    EXPECT_EQ(charactersOfText("\u00A0\u2003\u3000").drawn, U"\u00A0\u2003\u3000");
    EXPECT_EQ(charactersOfText("\x7F\u0085").invisible, U"\x7F\u0085");
}

TEST(CharactersOfText, DropSurrogatesAndOtherIllFormedBytes) {
    EXPECT_EQ(charactersOfText("a\xED\xA0\x80\xED\xB0\x80z").drawn, U"az");
    EXPECT_EQ(charactersOfText("a\xFF\xC3").drawn, U"a");
    EXPECT_EQ(charactersOfText("a\xF4\x90\x80\x80").drawn, U"a");
    EXPECT_EQ(charactersOfText("a\uFFFD").drawn, U"a\uFFFD");
}

} // namespace
} // namespace tarnel
