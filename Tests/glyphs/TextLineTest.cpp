#include "support/Fonts.hpp"

#include <TarnelSDK/glyphs/TextImage.hpp>
#include <TarnelSDK/glyphs/TextLine.hpp>

#include <gtest/gtest.h>

#include <string>

namespace tarnel::test {
namespace {

TextAttributes sans(double size = 28, UIColor color = UIColor::gray(1)) {
    return {Font::withFile(notoSans, size), std::move(color)};
}

TextLine lineOf(const std::string& text, double size = 28, std::string_view locale = {}) {
    return TextLine(AttributedString(text, sans(size)), locale);
}

int alphaAt(const Image& image, int x, int y) {
    return image.row(y)[static_cast<std::size_t>(x) * 4 + 3];
}

int inkOf(const Image& image) {
    int ink = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            ink += alphaAt(image, x, y) > 0 ? 1 : 0;
        }
    }
    return ink;
}

/// The first and the last column with ink, -1 without.
std::pair<int, int> inkColumns(const Image& image) {
    std::pair<int, int> columns{-1, -1};
    for (int x = 0; x < image.width(); ++x) {
        for (int y = 0; y < image.height(); ++y) {
            if (alphaAt(image, x, y) > 0) {
                columns = {columns.first < 0 ? x : columns.first, x};
            }
        }
    }
    return columns;
}

TEST(TextLine, WithoutInkHasNoBoundsAndASpaceStillLeads) {
    EXPECT_EQ(lineOf("").imageBounds(), TextLine::Bounds());
    EXPECT_EQ(lineOf("").width(), 0);
    EXPECT_TRUE(lineOf("").draw().image.isEmpty());
    EXPECT_EQ(lineOf(" ").imageBounds(), TextLine::Bounds());
    EXPECT_DOUBLE_EQ(lineOf(" ", 100).width(), 26);
}

TEST(TextLine, MeasuresInPixelsOfTheFontsSize) {
    // Noto Sans has 1,000 units an em: "H" is 741 wide, its stems from 97 to 644, 714 high.
    const auto bounds = lineOf("H", 100).imageBounds();
    EXPECT_NEAR(lineOf("H", 100).width(), 74.1, 0.01);
    EXPECT_NEAR(bounds.x, 9.7, 0.05);
    EXPECT_NEAR(bounds.y, 0, 0.05);
    EXPECT_NEAR(bounds.width, 54.6, 0.15);
    EXPECT_NEAR(bounds.height, 71.4, 0.1);
    EXPECT_DOUBLE_EQ(lineOf("H", 100).ascent(), 106.9);
    EXPECT_DOUBLE_EQ(lineOf("H", 100).descent(), 29.3);
}

TEST(TextLine, DrawsItsInkWithinItsBounds) {
    const TextLine line = lineOf("Hg", 50);
    const auto drawn = line.draw();
    const auto bounds = line.imageBounds();
    EXPECT_EQ(drawn.originX, 0);
    EXPECT_EQ(drawn.originY, 54);
    EXPECT_EQ(drawn.image.height(), 54 + 15);
    const auto [first, last] = inkColumns(drawn.image);
    EXPECT_EQ(first, static_cast<int>(bounds.x));
    EXPECT_EQ(last, static_cast<int>(bounds.x + bounds.width));
    EXPECT_GT(inkOf(drawn.image), 500);
}

TEST(TextLine, MakesRoomForInkThatSticksOutOnTheLeft) {
    const TextLine line = lineOf("j", 90);
    ASSERT_LT(line.imageBounds().x, -1);
    const auto drawn = line.draw();
    EXPECT_GT(drawn.originX, 0);
    EXPECT_GE(inkColumns(drawn.image).first, 0);
}

TEST(TextLine, JoinsRunsOfFontSizeAndColour) {
    AttributedString string;
    string.append("a", sans(20, UIColor::rgb(1, 0, 0)));
    string.append("a", sans(40, UIColor::rgb(0, 0, 1)));
    const TextLine line(string);
    EXPECT_DOUBLE_EQ(line.width(), lineOf("a", 20).width() + lineOf("a", 40).width());
    EXPECT_DOUBLE_EQ(line.ascent(), lineOf("a", 40).ascent());
    const Image image = line.draw().image;
    bool hasRed = false;
    bool hasBlue = false;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const auto pixel = image.row(y).subspan(static_cast<std::size_t>(x) * 4, 4);
            if (pixel[3] == 255) {
                hasRed = hasRed || (pixel[0] == 255 && x < 12);
                hasBlue = hasBlue || (pixel[2] == 255 && x >= 12);
                EXPECT_EQ(pixel[1], 0);
            }
        }
    }
    EXPECT_TRUE(hasRed);
    EXPECT_TRUE(hasBlue);
}

TEST(TextLine, TakesWhatItsFontLacksFromAnInstalledOne) {
    const auto font = Font::withFile(notoSans, 28);
    ASSERT_FALSE(font->isGlyphSupported(U'漢'));
    const TextLine line = lineOf("漢");
    EXPECT_NEAR(line.width(), 28, 0.5);
    EXPECT_GT(inkOf(line.draw().image), 150);
}

TEST(TextLine, TheLocaleChoosesTheNationalFormOfACharacter) {
    const Image japanese = lineOf("直", 48, "ja-JP").draw().image;
    const Image chinese = lineOf("直", 48, "zh-Hans-CN").draw().image;
    EXPECT_NE(Bytes(japanese.data().begin(), japanese.data().end()),
              Bytes(chinese.data().begin(), chinese.data().end()));
}

TEST(TextLine, AMarkTakesNoRoomOfItsOwn) {
    EXPECT_DOUBLE_EQ(lineOf("e\u0301").width(), lineOf("é").width());
    EXPECT_DOUBLE_EQ(lineOf("a\u200Bb").width(), lineOf("ab").width());
}

TEST(TextLine, RunsFromRightToLeftWhereTheScriptDoes) {
    // The digits stay in their order, left of the Hebrew word that is read first.
    const TextLine line(AttributedString("\u05E9\u05DC\u05D5\u05DD 12", sans()));
    const TextLine word(AttributedString("\u05E9\u05DC\u05D5\u05DD", sans()));
    const TextLine digits(AttributedString("12", sans()));
    ASSERT_GT(word.width(), digits.width());
    const Image whole = line.draw().image;
    const Image one = digits.draw().image;
    const auto [first, last] = inkColumns(one);
    for (int y = 0; y < std::min(one.height(), whole.height()); ++y) {
        for (int x = first; x <= last; ++x) {
            ASSERT_EQ(alphaAt(whole, x, y + line.draw().originY - digits.draw().originY), alphaAt(one, x, y));
        }
    }
}

TEST(TextLine, AControlCharacterIsASpace) {
    EXPECT_DOUBLE_EQ(lineOf("a\nb\tc").width(), lineOf("a b c").width());
}

TEST(TextLine, IllFormedTextShowsReplacementCharacters) {
    EXPECT_DOUBLE_EQ(lineOf("a\xFFz").width(), lineOf("a\uFFFDz").width());
}

TEST(TextLine, IsCutAtFourThousandPixels) {
    const auto drawn = lineOf(std::string(2000, 'W'), 96).draw();
    EXPECT_EQ(drawn.image.width(), 4096);
}

TEST(TextImage, OfNothingIsEmpty) {
    EXPECT_TRUE(text({}).isEmpty());
}

TEST(TextImage, SetsItsLinesBelowEachOther) {
    const Image one = text(AttributedString("Hg", sans()));
    const Image two = text(AttributedString("Hg\nHg", sans()));
    EXPECT_EQ(two.width(), one.width());
    EXPECT_NEAR(two.height(), 2 * one.height(), 2);
    EXPECT_EQ(inkOf(two), 2 * inkOf(one));
}

TEST(TextImage, AnEmptyLineIsAsHighAsItsFont) {
    const Image gap = text(AttributedString("H\n\nH", sans()));
    const Image plain = text(AttributedString("H\nH", sans()));
    EXPECT_GT(gap.height(), plain.height() + 20);
}

} // namespace
} // namespace tarnel::test
