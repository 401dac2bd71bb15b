#include "support/Command.hpp"

#include <TarnelSDK/ui/StringTable.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>

namespace tarnel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

StringTable table(std::string_view text) {
    const auto result = parseStringTable(text);
    EXPECT_FALSE(result.error) << result.error->line << ": " << result.error->description;
    return result.table;
}

std::string failure(std::string_view text) {
    const auto result = parseStringTable(text);
    EXPECT_THAT(result.table, IsEmpty());
    return result.error ? std::to_string(result.error->line) + ": " + result.error->description : "none";
}

TEST(StringTable, ReadsEntriesBetweenCommentsAndWhiteSpace) {
    EXPECT_THAT(table("/* one */ \"a\"=\"1\";// two\n\t\"b c\"\r\n = /* = */ \"2;\" ; // end"),
                ElementsAre(Pair("a", "1"), Pair("b c", "2;")));
    EXPECT_THAT(table(""), IsEmpty());
    EXPECT_THAT(table("// only a comment"), IsEmpty());
    EXPECT_THAT(table("/**/"), IsEmpty());
    EXPECT_THAT(table("\xEF\xBB\xBF\"a\" = \"b\";"), ElementsAre(Pair("a", "b")));
}

TEST(StringTable, TakesKeysWithoutQuotesAndEmptyTexts) {
    EXPECT_THAT(table("com.example-key_1 = \"\"; \"\" = \"empty\";"),
                ElementsAre(Pair("", "empty"), Pair("com.example-key_1", "")));
}

TEST(StringTable, TheLastOfEqualKeysCounts) {
    EXPECT_THAT(table("a = \"1\"; a = \"2\";"), ElementsAre(Pair("a", "2")));
}

TEST(StringTable, ReadsEscapes) {
    EXPECT_THAT(table(R"(a = "\"\\\'\n\r\t";)"), ElementsAre(Pair("a", "\"\\'\n\r\t")));
    EXPECT_THAT(table(R"(a = "\U00fc\U4E2D\uD83D\uDC53";)"), ElementsAre(Pair("a", "ü中👓")));
    EXPECT_THAT(table("a = \"two\nlines\";"), ElementsAre(Pair("a", "two\nlines")));
}

TEST(StringTable, TellsTheLineAndTheReasonOfAMistake) {
    EXPECT_EQ(failure("\n\na \"b\";"), "3: = is missing");
    EXPECT_EQ(failure("a = \"b\"\nc = \"d\";"), "2: ; is missing");
    EXPECT_EQ(failure("a = \"b\";\n\"c"), "2: a text does not end");
    EXPECT_EQ(failure("a = \"b\\"), "1: a text does not end");
    EXPECT_EQ(failure("a = b;"), "1: a text in quotes is missing");
    EXPECT_EQ(failure("a = "), "1: a text in quotes is missing");
    EXPECT_EQ(failure("a"), "1: = is missing");
    EXPECT_EQ(failure("= \"b\";"), "1: a key is missing");
    EXPECT_EQ(failure("a = \"b\"; /* no end"), "1: a comment does not end");
    EXPECT_EQ(failure("a = \"\\x\";"), "1: an unknown escape");
    EXPECT_EQ(failure("a = \"\\U12\";"), "1: an escape that is no character");
    EXPECT_EQ(failure("a = \"\\UD83D\";"), "1: an escape that is no character");
    EXPECT_EQ(failure("a = \"\\UD83D\\U0041\";"), "1: an escape that is no character");
    EXPECT_EQ(failure("a = \"\\UDC53\";"), "1: an escape that is no character");
    EXPECT_EQ(failure("a = \"\xFF\";"), "1: the text is not UTF-8");
}

TEST(StringTable, ReadsWhatIsTornAndChangedWithoutHarm) {
    const std::string whole = "/* c */ \"key\" = \"t\\U00e4\\\"x\"; // d\n k.2 = \"\\UD83D\\UDC53\";";
    ASSERT_THAT(table(whole), ::testing::SizeIs(2));
    for (std::size_t length = 0; length < whole.size(); ++length) {
        parseStringTable(std::string_view(whole).substr(0, length));
    }
    std::mt19937 random(1);
    for (int round = 0; round < 20'000; ++round) {
        auto text = whole;
        for (int changes = 0; changes < 3; ++changes) {
            text[random() % text.size()] = "\"\\/*=;U \n\x80"[random() % 10];
        }
        const auto result = parseStringTable(text);
        EXPECT_TRUE(!result.error || result.table.empty());
    }
}

TEST(StringTable, OfAFileIsReadAndTooLargeAFileIsNot) {
    const test::TemporaryFolder folder;
    EXPECT_FALSE(readStringTable(folder / "missing"));
    EXPECT_FALSE(readStringTable(folder.path()));
    test::writeText(folder / "table", "a = \"b\";");
    EXPECT_THAT(readStringTable(folder / "table")->table, ElementsAre(Pair("a", "b")));
    const std::string entry = "a = \"b\";";
    test::writeText(folder / "full", entry + std::string(largestStringTable - entry.size(), ' '));
    EXPECT_FALSE(readStringTable(folder / "full")->error);
    test::writeText(folder / "large", entry + std::string(largestStringTable - entry.size() + 1, ' '));
    EXPECT_EQ(readStringTable(folder / "large")->error->description, "the file is too large");
}

} // namespace
} // namespace tarnel
