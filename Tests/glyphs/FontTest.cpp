#include "support/Command.hpp"
#include "support/Fonts.hpp"

#include <TarnelSDK/glyphs/CharacterSet.hpp>
#include <TarnelSDK/glyphs/SystemFonts.hpp>
#include <TarnelSDK/glyphs/Typeface.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarnel::test {
namespace {

TEST(Font, OfAFileHasTheMetricsOfItsHorizontalHeader) {
    const auto font = Font::withFile(notoSans, 100);
    ASSERT_TRUE(font);
    EXPECT_EQ(font->name(), "NotoSans-Regular");
    EXPECT_DOUBLE_EQ(font->pointSize(), 100);
    EXPECT_DOUBLE_EQ(font->ascent(), 106.9);
    EXPECT_DOUBLE_EQ(font->descent(), 29.3);
    EXPECT_DOUBLE_EQ(font->leading(), 0);
    EXPECT_DOUBLE_EQ(font->withSize(50).ascent(), 53.45);
}

TEST(Font, OfAFileThatIsNotThereIsNone) {
    EXPECT_FALSE(Font::withFile("/nowhere/font.ttf", 28));
    EXPECT_FALSE(Font::withFile("/", 28));
}

TEST(Font, OfAFileThatIsNoFontCoversNothing) {
    const TemporaryFolder folder;
    writeText(folder / "text.ttf", "no font at all");
    writeText(folder / "empty.ttf", "");
    writeText(folder / "cut.ttf", readText(notoSans).substr(0, 5000));
    for (const std::string name : {"text.ttf", "empty.ttf", "cut.ttf"}) {
        const auto font = Font::withFile(folder / name, 28);
        ASSERT_TRUE(font) << name;
        EXPECT_FALSE(font->isGlyphSupported(U'a')) << name;
        EXPECT_EQ(font->characterSet()->count(), 0U) << name;
        EXPECT_EQ(font->ascent(), 0) << name;
        EXPECT_EQ(font->name(), name);
        EXPECT_FALSE(font->typeface()->isOpen()) << name;
    }
    const auto beyond = Font::withFile(notoSans, 28, 7);
    ASSERT_TRUE(beyond);
    EXPECT_FALSE(beyond->isGlyphSupported(U'a'));
}

TEST(Font, OpensItsFileWhenSomethingIsAskedOfIt) {
    const auto font = Font::withFile(notoSansCJK, 28, 3);
    ASSERT_TRUE(font);
    EXPECT_FALSE(font->typeface()->isOpen());
    EXPECT_TRUE(font->isGlyphSupported(U'\u76F4'));
    EXPECT_TRUE(font->typeface()->isOpen());
}

TEST(Font, OfOneFileAndFaceIsSharedBetweenSizes) {
    const auto font = Font::withFile(notoSans, 28);
    ASSERT_TRUE(font);
    EXPECT_EQ(Font::withFile(notoSans, 28), font);
    EXPECT_EQ(Font::withFile(notoSans, 30)->typeface(), font->typeface());
    EXPECT_NE(Font::withFile(notoSans, 30), font);
    EXPECT_NE(Font::withFile(notoSansCJK, 28, 0)->typeface(), Font::withFile(notoSansCJK, 28, 1)->typeface());
}

TEST(Font, TellsWhatItCovers) {
    const auto font = Font::withFile(notoSans, 28);
    ASSERT_TRUE(font);
    EXPECT_TRUE(font->isGlyphSupported(U'a'));
    EXPECT_TRUE(font->isGlyphSupported(U'\u0416'));
    EXPECT_FALSE(font->isGlyphSupported(U'\u76F4'));
    EXPECT_FALSE(font->isGlyphSupported(0x10FFFF));
    EXPECT_FALSE(font->isGlyphSupported(0xFFFFFFFF));
    const auto set = font->characterSet();
    std::size_t walked = 0;
    for (char32_t codePoint = char32_t(-1); set->next(codePoint); ++walked) {
        ASSERT_TRUE(set->contains(codePoint));
        ASSERT_TRUE(font->isGlyphSupported(codePoint)) << static_cast<unsigned>(codePoint);
    }
    EXPECT_EQ(walked, set->count());
    EXPECT_EQ(set->count(), 2840U);
}

TEST(Font, OfACollectionCountsItsFaces) {
    EXPECT_GE(Typeface::faceCount(notoSansCJK), 5);
    EXPECT_EQ(Typeface::faceCount(notoSans), 1);
    EXPECT_EQ(Typeface::faceCount("/nowhere.ttc"), 0);
}

TEST(Font, NamedIsOfThatFamilyOrNone) {
    const auto font = Font::named("noto sans", 20);
    ASSERT_TRUE(font);
    EXPECT_EQ(font->name(), "NotoSans-Regular");
    EXPECT_EQ(Font::named("Noto Sans", 20, FontWeight::bold)->name(), "NotoSans-Bold");
    EXPECT_EQ(Font::named("Noto Sans", 20, FontWeight::bold)->typeface()->metrics().weight, 700);
    EXPECT_FALSE(Font::named("No Such Family", 20));
    EXPECT_FALSE(Font::named("", 20));
}

TEST(Font, OfTheSystemDrawsLatin) {
    const auto font = Font::system(17);
    ASSERT_TRUE(font);
    EXPECT_TRUE(font->isGlyphSupported(U'a'));
    EXPECT_EQ(font->pointSize(), 17);
}

TEST(ReplacementFonts, ComeInTheOrderOfTheLanguages) {
    const auto font = Font::withFile(notoSans, 24);
    ASSERT_TRUE(font);
    const auto first = [&](std::vector<std::string> languages) {
        for (const auto& other : font->getReplacementFonts(languages)) {
            EXPECT_EQ(other.pointSize(), 24);
            if (other.isGlyphSupported(U'\u76F4')) {
                return other.name();
            }
        }
        return std::string();
    };
    EXPECT_EQ(first({"ja-JP"}), "NotoSansCJKjp-Regular");
    EXPECT_EQ(first({"zh-Hans"}), "NotoSansCJKsc-Regular");
    EXPECT_EQ(first({"zh-TW"}), "NotoSansCJKtc-Regular");
    EXPECT_EQ(first({"zh-HK"}), "NotoSansCJKhk-Regular");
    EXPECT_EQ(first({"ko"}), "NotoSansCJKkr-Regular");
    EXPECT_EQ(first({"zh-TW", "ja"}), "NotoSansCJKtc-Regular");
}

TEST(ReplacementFonts, HaveTheCharacterThatIsLacking) {
    for (const char32_t codePoint : {U'\u0E01', U'\u05D0', U'\u0905', U'\u2200', U'\U00012000'}) {
        const auto font = replacementFont(codePoint, {}, 28);
        ASSERT_TRUE(font) << static_cast<unsigned>(codePoint);
        EXPECT_TRUE(font->isGlyphSupported(codePoint));
    }
    EXPECT_FALSE(replacementFont(0xE123 + 0xF0000, {}, 28));
    EXPECT_FALSE(replacementFont(0xFFFFFFFF, {}, 28));
}

TEST(ReplacementFonts, OfLanguagesThatNobodySpeaksAreTheSystems) {
    const std::vector<std::string> languages{"", "qqq-XX", std::string(10'000, '-'), "ja\xFF"};
    EXPECT_TRUE(replacementFont(U'\u05D0', languages, 28));
}

} // namespace
} // namespace tarnel::test
