#include "FontFolder.hpp"
#include "FontLoader.hpp"

#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/foundation/UTF8.hpp>
#include <TarnelSDK/glyphs/BinaryFont.hpp>
#include <TarnelSDK/glyphs/Glypher.hpp>
#include <TarnelSDK/glyphs/Typeface.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace tarnel::test {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Version = FontLoader::Version;

class GlypherTest : public ::testing::Test {
protected:
    GlypherTest() { folder.addAll(); }

    static FontLoader load(Glypher& glypher, std::string_view text, std::string_view locale = "en-US") {
        auto bytes = glypher.toBinFont(text, locale);
        if (!bytes) {
            throw std::runtime_error("no font");
        }
        return FontLoader(std::move(*bytes));
    }

    static std::u32string scatteredHan(std::size_t count, char32_t step) {
        std::u32string text;
        for (char32_t codePoint = 0x4E00; text.size() < count; codePoint += step) {
            text.push_back(codePoint);
        }
        return text;
    }

    FontFolder folder;
};

TEST_F(GlypherTest, WithNothingStoredUnderFontSizeTheSizeIs28) {
    EXPECT_EQ(Glypher().fontSize(), 28);
    EXPECT_EQ(Glypher().fonts().front().pointSize(), 28);
}

TEST_F(GlypherTest, TheStoredFontSizeIsTakenWithinItsRange) {
    const auto stored = [&](Value value) {
        folder.platform.userDefaults->set("fontSize", std::move(value));
        return Glypher().fontSize();
    };
    EXPECT_EQ(stored(40), 40);
    EXPECT_EQ(stored(8), 8);
    EXPECT_EQ(stored(96), 96);
    EXPECT_EQ(stored(-3), 8);
    EXPECT_EQ(stored(std::int64_t{1} << 60), 96);
    EXPECT_EQ(stored("forty"), 28);
    EXPECT_EQ(stored(Value()), 28);
}

TEST_F(GlypherTest, AnEmptyStringGivesNoFont) {
    Glypher glypher;
    EXPECT_FALSE(glypher.toBinFont("", "en-US"));
    EXPECT_FALSE(glypher.toBinFont("\n\r\n", "en-US"));
    EXPECT_FALSE(glypher.toBinFont("\xED\xA0\x80\xFF", "en-US"));
    EXPECT_FALSE(glypher.lastCharacterSet());
}

TEST_F(GlypherTest, WithACustomFontTheChainHoldsFourFonts) {
    Glypher glypher;
    ASSERT_THAT(glypher.fonts(), SizeIs(3));
    EXPECT_EQ(glypher.fonts()[0].name(), "NotoSans-Regular");
    EXPECT_EQ(glypher.fonts()[2].name(), "NotoSansCJKjp-Regular");
    glypher.setCustomFont(Font::named("Noto Serif", 99));
    glypher.updateFonts();
    ASSERT_THAT(glypher.fonts(), SizeIs(4));
    EXPECT_EQ(glypher.fonts()[0].name(), "NotoSerif-Regular");
    EXPECT_EQ(glypher.fonts()[0].pointSize(), 28);
    ASSERT_THAT(glypher.characterSets(), SizeIs(4));
    EXPECT_TRUE(glypher.characterSets()[3]->contains(U'直'));
    glypher.setCustomFont(std::nullopt);
    EXPECT_THAT(glypher.fonts(), SizeIs(3));
}

TEST_F(GlypherTest, TheCustomFontIsTheFirstToDraw) {
    Glypher glypher;
    const auto sans = load(glypher, "A").glyph(U'A');
    glypher.setCustomFont(Font::named("Noto Serif", 28));
    EXPECT_NE(load(glypher, "A").glyph(U'A')->rows, sans->rows);
}

TEST_F(GlypherTest, AFileThatCannotBeReadIsLeftOut) {
    const auto bundle = folder.folder.path() / "TarnelSDK_TarnelFonts.bundle";
    std::filesystem::remove(bundle / "NotoEmoji-Regular.ttf");
    std::filesystem::remove(bundle / "NotoSans-Regular.ttf");
    writeText(bundle / "NotoSans-Regular.ttf", "no font");
    Glypher glypher;
    EXPECT_THAT(glypher.fonts(), SizeIs(1));
    EXPECT_TRUE(load(glypher, "A").glyph(U'A'));
}

TEST_F(GlypherTest, AnotherSizeGivesAnotherFont) {
    Glypher glypher;
    for (const double size : {8.0, 96.0}) {
        glypher.setFontSize(size);
        const auto font = load(glypher, "Hg|");
        EXPECT_EQ(font.number(14, 2), size);
        EXPECT_NEAR(font.glyph(U'H')->height, size * 0.714, 1.5);
        EXPECT_LT(font.glyph(U'g')->y, 0);
    }
    glypher.setFontSize(1000);
    EXPECT_EQ(glypher.fontSize(), 96);
    glypher.setFontSize(-1);
    EXPECT_EQ(glypher.fontSize(), 8);
    glypher.setFontSize(std::nan(""));
    EXPECT_EQ(glypher.fontSize(), 28);
}

TEST_F(GlypherTest, AnotherSizeKeepsTheFilesOpen) {
    Glypher glypher;
    ASSERT_TRUE(glypher.toBinFont("a", "en-US"));
    glypher.setFontSize(40);
    EXPECT_TRUE(glypher.fonts()[0].typeface()->isOpen());
}

TEST_F(GlypherTest, TheFontHoldsExactlyTheCharactersOfTheText) {
    Glypher glypher;
    const std::string text = "Grüße, Ελλάδα, Москва";
    const auto font = load(glypher, text);
    const auto characters = decodeUTF8(text);
    for (char32_t codePoint = 1; codePoint < 0x3000; ++codePoint) {
        const bool isMember = characters.find(codePoint) != std::u32string::npos;
        ASSERT_EQ(font.glyphId(codePoint, Version::mended) != 0, isMember) << static_cast<unsigned>(codePoint);
        ASSERT_EQ(font.glyphId(codePoint, Version::released) != 0, isMember) << static_cast<unsigned>(codePoint);
    }
    EXPECT_EQ(glypher.lastCharacterSet()->count(), font.glyphCount() - 1);
    EXPECT_TRUE(glypher.lastCharacterSet()->contains(U'ü'));
}

TEST_F(GlypherTest, TheHeadHasTheMetricsOfTheFirstFont) {
    Glypher glypher;
    const auto font = load(glypher, "xx");
    EXPECT_EQ(font.number(0, 4), 48U);
    EXPECT_EQ(font.number(8, 4), 1U);
    EXPECT_EQ(font.number(12, 2), 3U);
    EXPECT_EQ(font.number(14, 2), 28U);
    EXPECT_EQ(font.ascent(), 30);
    EXPECT_EQ(font.descent(), -8);
    EXPECT_EQ(font.lineHeight(), 38);
    EXPECT_EQ(font.number(30, 2), 15U) << "the advance of x";
}

TEST_F(GlypherTest, ASpaceHasAdvanceAndNoInk) {
    Glypher glypher;
    const auto space = load(glypher, " ").glyph(U' ');
    ASSERT_TRUE(space);
    EXPECT_EQ(space->advance, 7);
    EXPECT_EQ(space->width, 0);
    EXPECT_EQ(space->height, 0);
}

TEST_F(GlypherTest, ATabTakesTheSpaceAlong) {
    Glypher glypher;
    const auto font = load(glypher, "a\tb");
    EXPECT_TRUE(font.glyph(U' '));
    EXPECT_FALSE(font.glyph(U'\t'));
    EXPECT_FALSE(load(glypher, "ab").glyph(U' '));
}

TEST_F(GlypherTest, CharactersWithoutWidthAreGlyphsWithoutInk) {
    Glypher glypher;
    const auto font = load(glypher, "a\u200B\u200D\uFE0F\u00AD");
    for (const char32_t codePoint : {U'\u200B', U'\u200D', U'\uFE0F', U'\u00AD'}) {
        const auto glyph = font.glyph(codePoint);
        ASSERT_TRUE(glyph) << static_cast<unsigned>(codePoint);
        EXPECT_EQ(glyph->advance, 0);
        EXPECT_EQ(glyph->width, 0);
    }
    EXPECT_EQ(load(glypher, "\u200B").glyphCount(), 2U);
}

TEST_F(GlypherTest, ACombiningMarkIsDrawnOverThePreviousCharacter) {
    Glypher glypher;
    const auto mark = load(glypher, "e\u0301").glyph(U'\u0301');
    ASSERT_TRUE(mark);
    EXPECT_EQ(mark->advance, 0);
    EXPECT_LT(mark->x, 0);
    EXPECT_FALSE(mark->rows.empty());
}

TEST_F(GlypherTest, AMissingCharacterIsLeftOutAndNoNeighbourStandsInForIt) {
    Glypher glypher;
    // U+0378 is not assigned; U+0377 is the last before it.
    const auto font = load(glypher, "a\u0377\u0378b\uE123");
    for (const auto version : {Version::released, Version::mended}) {
        EXPECT_EQ(font.glyphId(U'\u0378', version), 0U);
        EXPECT_EQ(font.glyphId(U'\uE123', version), 0U);
        EXPECT_EQ(font.glyphId(U'c', version), 0U);
        EXPECT_NE(font.glyphId(U'b', version), 0U);
    }
    EXPECT_FALSE(glypher.toBinFont("\U000F1234", "en-US"));
}

TEST_F(GlypherTest, AnEmojiIsDrawn) {
    Glypher glypher;
    const auto face = load(glypher, "\U0001F600").glyph(U'\U0001F600');
    ASSERT_TRUE(face);
    EXPECT_GT(face->width, 14);
    EXPECT_GT(face->advance, 20);
    const auto family = load(glypher, "\U0001F469\u200D\U0001F469\u200D\U0001F467\uFE0F");
    EXPECT_EQ(family.glyphCount(), 5U);
    EXPECT_EQ(family.glyph(U'\u200D')->advance, 0);
}

TEST_F(GlypherTest, TheTextFontDrawsWhatTheEmojiFontAlsoHas) {
    Glypher glypher;
    const auto drawn = load(glypher, "#1").glyph(U'#')->rows;
    std::filesystem::remove(folder.folder.path() / "TarnelSDK_TarnelFonts.bundle" / "NotoEmoji-Regular.ttf");
    glypher.updateFonts();
    EXPECT_EQ(load(glypher, "#1").glyph(U'#')->rows, drawn);
}

TEST_F(GlypherTest, TheLocaleChoosesTheFormsOfHanCharacters) {
    Glypher glypher;
    const auto drawn = [&](const char* locale) { return load(glypher, "直", locale).glyph(U'直')->rows; };
    EXPECT_NE(drawn("ja"), drawn("zh-Hans"));
    EXPECT_EQ(drawn("zh-Hans"), drawn("zh-CN"));
    EXPECT_NE(drawn("ja"), drawn("zh-TW"));
    EXPECT_EQ(drawn("en-US"), drawn("ja"));
    folder.platform.application->setLocale("zh-CN");
    EXPECT_EQ(drawn("en-US"), drawn("zh-CN"));
    EXPECT_EQ(drawn(""), drawn("zh-CN"));
    EXPECT_NE(drawn("ja-JP"), drawn("en-US"));
}

TEST_F(GlypherTest, ALatinTextOpensNeitherTheEmojiNorTheHanFont) {
    Glypher glypher;
    EXPECT_FALSE(glypher.fonts()[0].typeface()->isOpen());
    ASSERT_TRUE(glypher.toBinFont("Hello, world", "ja-JP"));
    EXPECT_TRUE(glypher.fonts()[0].typeface()->isOpen());
    EXPECT_FALSE(glypher.fonts()[1].typeface()->isOpen());
    EXPECT_FALSE(glypher.fonts()[2].typeface()->isOpen());
    ASSERT_TRUE(glypher.toBinFont("日本", "ja-JP"));
    EXPECT_TRUE(glypher.fonts()[2].typeface()->isOpen());
}

TEST_F(GlypherTest, WhatTheChainLacksComesFromTheSystem) {
    Glypher glypher;
    const auto font = load(glypher, "שלום ไทย ∀");
    EXPECT_TRUE(font.glyph(U'ש'));
    EXPECT_TRUE(font.glyph(U'ท'));
    EXPECT_TRUE(font.glyph(U'∀'));
}

TEST_F(GlypherTest, TwoThousandDifferentCharactersAreOneFont) {
    Glypher glypher;
    const auto text = scatteredHan(2000, 7);
    const auto font = load(glypher, encodeUTF8(text), "zh-CN");
    EXPECT_EQ(font.glyphCount(), 2001U);
    EXPECT_EQ(font.locationFormat(), 1);
    for (const auto version : {Version::released, Version::mended}) {
        for (const char32_t codePoint : text) {
            ASSERT_NE(font.glyphId(codePoint, version), 0U);
            ASSERT_EQ(font.glyphId(codePoint + 1, version), 0U);
        }
    }
    EXPECT_GT(font.glyph(text[1999])->width, 20);
}

TEST_F(GlypherTest, SixHundredScatteredHanAreOneFont) {
    Glypher glypher;
    const auto text = scatteredHan(600, 3);
    const auto font = load(glypher, encodeUTF8(text) + "Aa", "ja");
    Glypher alone;
    for (const auto version : {Version::released, Version::mended}) {
        EXPECT_EQ(font.glyph(text[300], version)->rows,
                  load(alone, encodeUTF8(text.substr(300, 1)), "ja").glyphAt(1).rows);
        EXPECT_EQ(font.glyphId(U'B', version), 0U);
    }
}

TEST_F(GlypherTest, MoreThanALoaderTakesIsRefusedWithALogLine) {
    std::vector<std::string> lines;
    setLogEnabled(true);
    const auto observation = folder.platform.notificationCenter().observe("log", [&](const auto& notification) {
        lines.push_back(std::any_cast<std::string>(notification.userInfo.at("msg")));
    });
    Glypher glypher;
    glypher.setFontSize(96);
    EXPECT_FALSE(glypher.toBinFont(encodeUTF8(scatteredHan(2000, 1)), "ja"));
    EXPECT_THAT(lines, Contains(HasSubstr("1 MiB")));
    EXPECT_THAT(lines, Contains(HasSubstr("toBinFont(string:preferredLocale:)")));
    std::u32string all;
    for (char32_t codePoint = 0x10000; codePoint < 0x10000 + 65'600; ++codePoint) {
        all.push_back(codePoint);
    }
    EXPECT_FALSE(glypher.toBinFont(encodeUTF8(all), "ja"));
    EXPECT_THAT(lines, Contains(HasSubstr("65,534 different characters")));
}

TEST_F(GlypherTest, LabelsSentWithoutFontsGetNone) {
    Glypher glypher;
    EXPECT_TRUE(glypher.shouldGlyph());
    glypher.setShouldGlyph(false);
    EXPECT_FALSE(glypher.toBinFont("a", "en-US"));
    glypher.setShouldGlyph(true);
    EXPECT_TRUE(glypher.toBinFont("a", "en-US"));
}

TEST_F(GlypherTest, RunsHaveTheFontsOfTheChain) {
    const Glypher glypher;
    const auto string = glypher.createAttributedStringForGlyphMaking("日b日a\u200B", "zh-CN");
    ASSERT_THAT(string.runs(), SizeIs(2));
    EXPECT_EQ(string.runs()[0].text, "ab");
    EXPECT_EQ(string.runs()[0].attributes.font->name(), "NotoSans-Regular");
    EXPECT_EQ(string.runs()[1].attributes.font->name(), "NotoSansCJKsc-Regular");
    const auto runs = Glypher::createRuns(string);
    ASSERT_THAT(runs, SizeIs(2));
    EXPECT_EQ(runs[0].codePoints, (std::vector<char32_t>{U'a', U'b'}));
    for (const auto& run : runs) {
        EXPECT_THAT(run.codePoints, SizeIs(run.glyphs.size()));
        EXPECT_THAT(run.boundingBoxes, SizeIs(run.glyphs.size()));
        EXPECT_THAT(run.advances, SizeIs(run.glyphs.size()));
        EXPECT_THAT(run.bitmaps, SizeIs(run.glyphs.size()));
    }
    EXPECT_THAT(Glypher::createRuns({}), IsEmpty());
}

TEST_F(GlypherTest, TheMapOfAFontLeadsFromGlyphsToCharacters) {
    const Glypher glypher;
    const Font font = glypher.fonts()[0];
    const auto map = Glypher::createUnicodeFontMap(font);
    EXPECT_EQ(map.at(static_cast<std::uint16_t>(font.typeface()->glyph(U'Q'))), U'Q');
    for (const auto& [glyph, codePoint] : map) {
        ASSERT_EQ(font.typeface()->glyph(codePoint), glyph);
    }
    EXPECT_GT(map.size(), 2000U);
}

TEST_F(GlypherTest, TheSDKsReaderSeesWhatALoaderSees) {
    Glypher glypher;
    const auto bytes = glypher.toBinFont("Grüße 日本 \U0001F600", "ja");
    ASSERT_TRUE(bytes);
    const auto read = readBinaryFont(*bytes);
    ASSERT_TRUE(std::holds_alternative<BinaryFont>(read));
    const auto& font = std::get<BinaryFont>(read);
    const FontLoader loader(*bytes);
    EXPECT_EQ(font.head.lineHeight(), loader.lineHeight());
    EXPECT_EQ(font.characters.size(), loader.glyphCount() - 1);
    for (const auto& [codePoint, id] : font.characters) {
        const auto glyph = loader.glyph(codePoint);
        ASSERT_TRUE(glyph);
        EXPECT_EQ(font.glyphs[id].advance, glyph->advance);
        EXPECT_EQ(font.glyphs[id].x, glyph->x);
        EXPECT_EQ(font.glyphs[id].y, glyph->y);
        EXPECT_EQ(font.glyphs[id].height, static_cast<int>(glyph->rows.size()));
    }
}

} // namespace
} // namespace tarnel::test
