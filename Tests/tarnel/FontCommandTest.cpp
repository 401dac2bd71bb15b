#include "Tarnel.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace tarnel::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

TEST(FontCommand, MakesAFontThatItsDumpShows) {
    const TemporaryFolder folder;
    const auto made = runTarnel({"font", "l i", "--size", "28", "-o", folder / "font.bin"});
    ASSERT_EQ(made.status, 0) << made.error;
    EXPECT_THAT(made.output, HasSubstr("font, 28 pixels, lines of 38, 3 characters, "));
    EXPECT_EQ(readText(folder / "font.bin").substr(4, 4), "head");
    const auto dump = runTarnel({"font", "--dump", folder / "font.bin"});
    EXPECT_EQ(dump.status, 0) << dump.error;
    EXPECT_THAT(dump.output, HasSubstr("ascent 30, descent -8\n"));
    EXPECT_THAT(dump.output, HasSubstr("range U+006C, 1 long, tiny, from glyph 3\n"));
    EXPECT_THAT(dump.output, HasSubstr("\nU+0020  , advance 7, 0 x 0 at 0,0\n"));
    EXPECT_THAT(dump.output, HasSubstr("\nU+006C l, advance 7, "));
    EXPECT_THAT(dump.output, HasSubstr("\n###\n###\n###\n"));
}

TEST(FontCommand, DescribesAFontInJSON) {
    const TemporaryFolder folder;
    const auto made = runTarnel({"font", "--json", "-o", folder / "font.bin", "--", "-\u200B\U000F1234"});
    ASSERT_EQ(made.status, 0) << made.error;
    const auto result = nlohmann::json::parse(made.output);
    EXPECT_EQ(result.at("characters"), 2);
    EXPECT_EQ(result.at("missing"), nlohmann::json::array({"U+F1234"}));
    EXPECT_EQ(result.at("bytes"), readText(folder / "font.bin").size());

    const auto dump = nlohmann::json::parse(runTarnel({"font", "--dump", folder / "font.bin", "--json"}).output);
    EXPECT_EQ(dump.at("lineHeight"), 38);
    ASSERT_THAT(dump.at("glyphs"), SizeIs(2));
    const auto& hyphen = dump.at("glyphs")[0];
    EXPECT_EQ(hyphen.at("codePoint"), '-');
    EXPECT_EQ(hyphen.at("character"), "-");
    EXPECT_THAT(hyphen.at("rows"), SizeIs(hyphen.at("height").get<std::size_t>()));
    EXPECT_EQ(hyphen.at("rows")[0], std::string(hyphen.at("width").get<std::size_t>(), '#'));
    EXPECT_EQ(dump.at("glyphs")[1].at("character"), "");
    EXPECT_EQ(dump.at("ranges")[0].at("length"), 0) << "the guard";
}

TEST(FontCommand, ReadsTheTextAndTheFontFromStandardInput) {
    const auto made = runTarnel({"font", "-", "--size", "20", "-o", "-"}, "Grüße\n");
    ASSERT_EQ(made.status, 0) << made.error;
    EXPECT_EQ(made.output.substr(4, 4), "head") << "nothing else goes to standard output";
    const auto dump = runTarnel({"font", "--dump", "-"}, made.output);
    EXPECT_THAT(dump.output, StartsWith("standard input: font, 20 pixels, "));
    EXPECT_THAT(dump.output, HasSubstr("U+00FC ü"));
}

TEST(FontCommand, DrawsTheFormsOfTheLocale) {
    const auto drawn = [](const char* locale) {
        return runTarnel({"font", "直", "--locale", locale, "-o", "-"}).output;
    };
    EXPECT_THAT(drawn("ja"), Not(IsEmpty()));
    EXPECT_NE(drawn("ja"), drawn("zh-CN"));
    EXPECT_EQ(drawn("zh-CN"), drawn("zh_CN.UTF-8"));
}

TEST(FontCommand, WhatCannotBeDoneIsAFailureOfOneLineAndLeavesNoFile) {
    const TemporaryFolder folder;
    writeText(folder / "text.bin", "no font");
    const std::vector<std::vector<std::string>> calls{
        {"font", "", "-o", folder / "out.bin"},           {"font", "\n", "-o", folder / "out.bin"},
        {"font", "\U000F1234", "-o", folder / "out.bin"}, {"font", "a", "-o", folder / "none/out.bin"},
        {"font", "--dump", folder / "text.bin"},          {"font", "--dump", folder / "none.bin"},
    };
    for (const auto& call : calls) {
        const auto result = runTarnel(call);
        EXPECT_EQ(result.status, 1) << call[1];
        EXPECT_THAT(result.error, StartsWith("tarnel: "));
        EXPECT_THAT(lines(result.error), SizeIs(1));
        EXPECT_EQ(result.output, "");
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "out.bin"));
    EXPECT_THAT(runTarnel({"font", "--dump", folder / "text.bin"}).error,
                HasSubstr("this is no font for the glasses: its \"head\" section is cut short"));
}

} // namespace
} // namespace tarnel::test
