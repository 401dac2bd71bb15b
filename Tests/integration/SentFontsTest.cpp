#include "support/TestPlatform.hpp"

#include <TarnelGlasses/LvglFont.hpp>
#include <TarnelSDK/glyphs/BinaryFont.hpp>
#include <TarnelSDK/glyphs/Glypher.hpp>

#include <gtest/gtest.h>

#include <array>
#include <set>
#include <string>

/// The fonts that the SDK sends, loaded by every LVGL that the simulated glasses play: what was meant is drawn, and
/// nothing else is found.
namespace tarnel {
namespace {

using glasses::LvglFont;
using glasses::LvglGlyph;
using glasses::LvglVersion;

constexpr std::array versions{LvglVersion::v8_2, LvglVersion::v8_3_11, LvglVersion::v8_4};

std::string utf8(char32_t codePoint) {
    std::string text;
    const auto byte = [&](char32_t bits) { text += static_cast<char>(bits); };
    if (codePoint < 0x80) {
        byte(codePoint);
    } else if (codePoint < 0x800) {
        byte(0xC0 | codePoint >> 6);
        byte(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x10000) {
        byte(0xE0 | codePoint >> 12);
        byte(0x80 | (codePoint >> 6 & 0x3F));
        byte(0x80 | (codePoint & 0x3F));
    } else {
        byte(0xF0 | codePoint >> 18);
        byte(0x80 | (codePoint >> 12 & 0x3F));
        byte(0x80 | (codePoint >> 6 & 0x3F));
        byte(0x80 | (codePoint & 0x3F));
    }
    return text;
}

/// `count` Han characters, `step` code points apart.
std::string han(int count, char32_t step) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += utf8(U'\u4E00' + static_cast<char32_t>(i) * step);
    }
    return text;
}

struct SentFont {
    const char* name;
    std::string text;
    double size;
};

void PrintTo(const SentFont& font, std::ostream* stream) {
    *stream << font.name;
}

class SentFontsTest : public testing::TestWithParam<SentFont> {
protected:
    SentFontsTest() { glypher_.setFontSize(GetParam().size); }

    static void expectSame(const BinaryFontGlyph& meant, const LvglFont& font, const LvglGlyph& loaded) {
        ASSERT_TRUE(loaded.isFound);
        EXPECT_EQ(loaded.advance, meant.advance);
        EXPECT_EQ(loaded.x, meant.x);
        EXPECT_EQ(loaded.y, meant.y);
        ASSERT_EQ(loaded.width, meant.width);
        ASSERT_EQ(loaded.height, meant.height);
        std::size_t bit = 0;
        for (int row = 0; row < meant.height; ++row) {
            for (int column = 0; column < meant.width; ++column, ++bit) {
                const bool isSet = (meant.bitmap[bit / 8] >> (7 - bit % 8) & 1) != 0;
                ASSERT_EQ(font.isLit(loaded, column, row), isSet) << "column " << column << ", row " << row;
            }
        }
    }

    const test::TestPlatform platform_;
    Glypher glypher_;
};

TEST_P(SentFontsTest, AreReadAsTheyAreMeantByEveryLoader) {
    const auto bytes = glypher_.toBinFont(GetParam().text, "ja-JP");
    ASSERT_TRUE(bytes);
    const auto read = readBinaryFont(*bytes);
    ASSERT_TRUE(std::holds_alternative<BinaryFont>(read)) << std::get<BinaryFontError>(read).message;
    const auto& meant = std::get<BinaryFont>(read);
    for (const LvglVersion version : versions) {
        const auto loaded = LvglFont::load(*bytes, version);
        ASSERT_TRUE(std::holds_alternative<LvglFont>(loaded)) << std::get<std::string>(loaded);
        const auto& font = std::get<LvglFont>(loaded);
        EXPECT_EQ(font.lineHeight(), meant.head.lineHeight());
        EXPECT_EQ(font.baseLine(), -meant.head.descent);
        std::set<char32_t> drawn;
        for (const auto& [codePoint, glyph] : meant.characters) {
            SCOPED_TRACE("U+" + std::to_string(static_cast<std::uint32_t>(codePoint)));
            drawn.insert(codePoint);
            expectSame(meant.glyphs.at(glyph), font, font.glyph(codePoint));
        }
        for (char32_t codePoint = 0; codePoint < 0x20000; ++codePoint) {
            if (!drawn.contains(codePoint) && !(codePoint == U'\t' && drawn.contains(U' '))) {
                ASSERT_FALSE(font.glyph(codePoint).isFound)
                    << "U+" << std::hex << static_cast<std::uint32_t>(codePoint);
            }
        }
    }
}

TEST_P(SentFontsTest, HaveEveryCharacterOfTheirText) {
    const auto bytes = glypher_.toBinFont(GetParam().text, "ja-JP");
    ASSERT_TRUE(bytes);
    const auto loaded = LvglFont::load(*bytes, LvglVersion::v8_3_11);
    ASSERT_TRUE(std::holds_alternative<LvglFont>(loaded));
    const std::string& text = GetParam().text;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t length = 1;
        while (at + length < text.size() && (static_cast<unsigned char>(text[at + length]) & 0xC0) == 0x80) {
            ++length;
        }
        const std::string character = text.substr(at, length);
        at += length;
        if (character != "\n") {
            std::uint32_t codePoint = static_cast<unsigned char>(character[0]);
            if (length > 1) {
                codePoint &= 0x7FU >> length;
                for (std::size_t i = 1; i < length; ++i) {
                    codePoint = codePoint << 6 | (static_cast<unsigned char>(character[i]) & 0x3FU);
                }
            }
            EXPECT_TRUE(std::get<LvglFont>(loaded).glyph(codePoint).isFound) << character;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Texts, SentFontsTest,
    testing::Values(SentFont{"Latin", "The quick brown fox, 0123456789 (jumps)!", 28},
                    SentFont{"OneCharacter", "A", 28}, SentFont{"OneEmoji", "😀", 28}, SentFont{"Space", " ", 28},
                    SentFont{"TabsAndLines", "a\tb\nc", 20}, SentFont{"Cyrillic", "Съешь же ещё этих мягких булок", 14},
                    SentFont{"Greek", "Ξεσκεπάζω την ψυχοφθόρα βδελυγμία", 20},
                    SentFont{"Marks", "e\u0301 a\u0308\u0304 n\u0303 \u0918\u0941", 28},
                    SentFont{"Japanese", "いろはにほへと、色は匂へど。カタカナ", 28},
                    SentFont{"Korean", "다람쥐 헌 쳇바퀴에 타고파", 28},
                    SentFont{"Joined", "👨\u200D👩\u200D👧 a\u200Bb\u200F c\uFE0F", 28},
                    SentFont{"SevenLabels", "Grüße Привет Γειά 你好 こんにちは 안녕하세요 😀👍☕", 26},
                    SentFont{"Smallest", "Hamburgefonstiv 漢字 😀", 8},
                    SentFont{"Largest", "Hamburgefonstiv 漢字 😀 ⸻", 96}, SentFont{"ScatteredHan", han(600, 34), 16},
                    SentFont{"TwoThousandHan", han(2000, 10), 28}, SentFont{"EveryOtherHan", han(1000, 2), 28}),
    [](const auto& test) { return test.param.name; });

} // namespace
} // namespace tarnel
