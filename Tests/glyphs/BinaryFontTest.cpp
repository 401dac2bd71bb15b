#include "FontLoader.hpp"

#include <TarnelSDK/glyphs/BinaryFont.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace tarnel::test {
namespace {

using ::testing::HasSubstr;
using Version = FontLoader::Version;
using Glyphs = std::map<char32_t, BinaryFontGlyph>;

constexpr BinaryFontMetrics metrics{.pointSize = 28, .ascent = 30, .descent = 8, .leading = 1};

/// A bar one pixel wide.
BinaryFontGlyph bar(int height = 8) {
    return {.advance = 3,
            .x = 1,
            .y = 0,
            .width = 1,
            .height = height,
            .bitmap = Bytes((static_cast<std::size_t>(height) + 7) / 8, 0xFF)};
}

Bytes written(const Glyphs& glyphs, const BinaryFontMetrics& of = metrics) {
    auto result = writeBinaryFont(of, glyphs);
    if (const auto* error = std::get_if<BinaryFontError>(&result)) {
        throw std::runtime_error(error->message);
    }
    return std::get<Bytes>(result);
}

std::string errorOf(ByteView bytes) {
    const auto result = readBinaryFont(bytes);
    const auto* error = std::get_if<BinaryFontError>(&result);
    return error ? error->message : "";
}

std::string refusal(const Glyphs& glyphs, const BinaryFontMetrics& of = metrics) {
    const auto result = writeBinaryFont(of, glyphs);
    const auto* error = std::get_if<BinaryFontError>(&result);
    return error ? error->message : "";
}

TEST(BinaryFont, OfOneCharacterHasTheseBytes) {
    const Bytes expected{
        48, 0, 0,    0,    'h', 'e',  'a',  'd',       // length, tag
        1,  0, 0,    0,                                // version
        3,  0,                                         // table count
        28, 0,                                         // font size
        30, 0, 0xF8, 0xFF,                             // ascent, descent
        30, 0, 0xF8, 0xFF, 1,   0,                     // typographic ascent, descent, line gap
        0,  0, 9,    0,                                // lowest and highest y
        3,  0,                                         // default advance
        16, 0,                                         // kerning scale
        0,  0, 0,    1,    8,   8,    8,    0,   0, 0, // formats, bits, compression, subpixels, padding
        2,  0, 0,    0,                                // underline
        44, 0, 0,    0,    'c', 'm',  'a',  'p',       // length, tag
        2,  0, 0,    0,                                // two subtables
        28, 0, 0,    0,    'B', 0,    0,    0,         // guard: data offset, first code point
        0,  0, 0,    0,    0,   0,    2,    0,         // range 0, glyph 0, entries 0, tiny
        28, 0, 0,    0,    'A', 0,    0,    0,         // "A"
        1,  0, 1,    0,    1,   0,    2,    0,         // range 1, glyph 1, entries 1, tiny
        16, 0, 0,    0,    'l', 'o',  'c',  'a',       // length, tag
        2,  0, 0,    0,    8,   0,    13,   0,         // two glyphs
        20, 0, 0,    0,    'g', 'l',  'y',  'f',       // length, tag
        0,  0, 0,    0,    0,                          // glyph 0
        3,  1, 0,    1,    9,   0xFF, 0x80,            // glyph 1: advance, x, y, width, height, bitmap
    };
    EXPECT_EQ(written({{U'A', {3, 1, 0, 1, 9, {0xFF, 0x80}}}}), expected);
}

TEST(BinaryFont, HasTheLargerOfTheFontsAndTheGlyphsHeights) {
    const FontLoader inside(written({{U'A', bar()}}));
    EXPECT_EQ(inside.ascent(), 30);
    EXPECT_EQ(inside.descent(), -8);
    auto tall = bar(60);
    tall.y = -20;
    const FontLoader beyond(written({{U'A', bar()}, {U'B', tall}}));
    EXPECT_EQ(beyond.ascent(), 40);
    EXPECT_EQ(beyond.descent(), -20);
}

TEST(BinaryFont, OfGlyphsBelowTheBaselineHasNoNegativeHeights) {
    auto low = bar(2);
    low.y = -6;
    const FontLoader font(written({{U'_', low}}, {}));
    EXPECT_EQ(font.ascent(), 0);
    EXPECT_EQ(font.descent(), -6);
    EXPECT_EQ(font.number(28, 2), 0U);
}

TEST(BinaryFont, IsFoundByItsCharactersAlone) {
    const FontLoader font(written({{U'a', bar(1)}, {U'b', bar(2)}, {U'd', bar(3)}, {0x10FFFF, bar(4)}}));
    for (const auto version : {Version::released, Version::mended}) {
        EXPECT_EQ(font.glyphId(U'a', version), 1U);
        EXPECT_EQ(font.glyphId(U'b', version), 2U);
        EXPECT_EQ(font.glyphId(U'd', version), 3U);
        EXPECT_EQ(font.glyphId(0x10FFFF, version), 4U);
        for (const char32_t other : {U'\0', U'`', U'c', U'e', U'f', char32_t{0x10FFFE}}) {
            EXPECT_EQ(font.glyphId(other, version), 0U) << static_cast<unsigned>(other);
        }
    }
    EXPECT_EQ(font.glyphAt(3).height, 3);
}

TEST(BinaryFont, ReleasedLoadersNeedTheGuards) {
    Bytes bytes = written({{U'a', bar()}, {U'c', bar()}});
    // Without the two guards in front.
    constexpr std::size_t firstSubtable = 48 + 12;
    bytes.erase(bytes.begin() + firstSubtable, bytes.begin() + firstSubtable + 32);
    bytes[48] -= 32;
    bytes[56] -= 2;
    const FontLoader font(bytes);
    EXPECT_NE(font.glyphId(U'b', Version::released), 0U);
    EXPECT_EQ(font.glyphId(U'b', Version::mended), 0U);
}

TEST(BinaryFont, HasTinySubtablesAsLongAsLoadersCountThem) {
    // Runs so long that lists would take more.
    Glyphs glyphs;
    for (char32_t codePoint = 0x1000; glyphs.size() < 255 * 20; codePoint += codePoint % 32 == 19 ? 13 : 1) {
        glyphs[codePoint] = {};
    }
    const FontLoader tiny(written(glyphs));
    EXPECT_EQ(tiny.subtableCount(), 510U);
    EXPECT_EQ(tiny.cmapLength(), 12U + 16 * 510);
    EXPECT_EQ(tiny.subtableFormat(509), 2);

    glyphs[0x5000] = bar(5);
    const FontLoader sparse(written(glyphs));
    EXPECT_EQ(sparse.subtableCount(), 1U);
    EXPECT_EQ(sparse.subtableFormat(0), 3);
    for (const auto version : {Version::released, Version::mended}) {
        EXPECT_EQ(sparse.glyph(0x5000, version)->height, 5);
        EXPECT_NE(sparse.glyphId(0x1013, version), 0U);
        EXPECT_EQ(sparse.glyphId(0x1014, version), 0U);
        EXPECT_EQ(sparse.glyphId(0x5001, version), 0U);
        EXPECT_EQ(sparse.glyphId(0xFFF, version), 0U);
    }
}

TEST(BinaryFont, ThatWouldBarelyFitInAMessageHasTheShorterTable) {
    const auto formatOf = [](std::size_t count, char32_t step) {
        Glyphs glyphs;
        for (char32_t codePoint = 0x4E00; glyphs.size() < count; codePoint += step) {
            glyphs[codePoint] = {28, 0, 0, 25, 25, Bytes(79)};
        }
        const Bytes bytes = written(glyphs);
        EXPECT_EQ(FontLoader(bytes).glyphCount(), count + 1);
        return std::pair(FontLoader(bytes).subtableFormat(0), bytes.size());
    };
    constexpr int tiny = 2;
    constexpr int sparseTiny = 3;
    // A glyph takes 86 bytes, 32 more for a range of its own and 2 in a list.
    EXPECT_EQ(formatOf(75, 2), std::pair(tiny, std::size_t{87 + 75 * 118}));
    EXPECT_EQ(formatOf(76, 2), std::pair(sparseTiny, std::size_t{87 + 16 + 76 * 88}));
    EXPECT_EQ(formatOf(76, 1), std::pair(tiny, std::size_t{87 + 32 + 76 * 86}));
    EXPECT_EQ(formatOf(200, 1), std::pair(tiny, std::size_t{87 + 32 + 200 * 86}));
}

TEST(BinaryFont, OfCharactersFarApartHasAListForEachPartOfTheirRange) {
    Glyphs glyphs;
    for (char32_t codePoint = 0x20; codePoint < 0x30000; codePoint += 300) {
        glyphs[codePoint] = bar(1 + static_cast<int>(codePoint / 300 % 200));
    }
    const FontLoader font(written(glyphs));
    EXPECT_GE(font.subtableCount(), 3U);
    for (const auto version : {Version::released, Version::mended}) {
        for (const auto& [codePoint, glyph] : glyphs) {
            ASSERT_TRUE(font.glyph(codePoint, version)) << static_cast<unsigned>(codePoint);
            ASSERT_EQ(font.glyph(codePoint, version)->height, glyph.height);
            ASSERT_FALSE(font.glyph(codePoint - 1, version));
        }
    }
}

TEST(BinaryFont, OfListsThatTouchFindsTheFirstOfTheSecond) {
    Glyphs glyphs;
    for (char32_t codePoint = 0x20; glyphs.size() < 600; codePoint += 2) {
        glyphs[codePoint] = bar();
    }
    // The last place of a list of the greatest length, and the one after it.
    glyphs[0x20 + 65'534] = bar(6);
    glyphs[0x20 + 65'535] = bar(7);
    const FontLoader font(written(glyphs));
    EXPECT_EQ(font.subtableCount(), 2U);
    for (const auto version : {Version::released, Version::mended}) {
        EXPECT_EQ(font.glyph(0x20 + 65'534, version)->height, 6);
        ASSERT_TRUE(font.glyph(0x20 + 65'535, version));
        EXPECT_EQ(font.glyph(0x20 + 65'535, version)->height, 7);
    }
}

TEST(BinaryFont, FieldsWidenForLargeGlyphs) {
    const auto bits = [](const BinaryFontGlyph& glyph) {
        const FontLoader font(written({{U'A', bar()}, {U'B', glyph}}));
        const auto loaded = font.glyph(U'B');
        EXPECT_EQ(loaded->advance, glyph.advance);
        EXPECT_EQ(loaded->x, glyph.x);
        EXPECT_EQ(loaded->y, glyph.y);
        EXPECT_EQ(loaded->width, glyph.width);
        EXPECT_EQ(loaded->height, glyph.height);
        return std::vector{font.positionBits(), font.sizeBits(), font.advanceBits()};
    };
    const std::vector narrow{8, 8, 8};
    EXPECT_EQ(bits({255, 127, -128, 255, 1, Bytes(32)}), narrow);
    EXPECT_EQ(bits({0, -128, 127, 1, 255, Bytes(32)}), narrow);
    EXPECT_EQ(bits({1, 128, 0, 0, 0, {}}), (std::vector{16, 8, 8}));
    EXPECT_EQ(bits({1, 0, -129, 0, 0, {}}), (std::vector{16, 8, 8}));
    EXPECT_EQ(bits({1, 0, 0, 256, 1, Bytes(32)}), (std::vector{8, 16, 8}));
    EXPECT_EQ(bits({1, 0, 0, 1, 256, Bytes(32)}), (std::vector{8, 16, 8}));
    EXPECT_EQ(bits({256, 0, 0, 1, 1, Bytes(1)}), (std::vector{8, 8, 16}));
}

TEST(BinaryFont, OffsetsWidenWhenTheGlyphsGrow) {
    Glyphs glyphs;
    const auto glyphWithBytes = [](int rows) {
        return BinaryFontGlyph{1, 0, 0, 8, rows, Bytes(static_cast<std::size_t>(rows), 0xAA)};
    };
    // Records are 5 bytes longer than their bitmaps; the last one starts at 65,535.
    for (char32_t codePoint = 0x100; codePoint < 0x100 + 251; ++codePoint) {
        glyphs[codePoint] = glyphWithBytes(255);
    }
    glyphs[0x1FD] = glyphWithBytes(125);
    glyphs[0x1FE] = glyphWithBytes(127);
    glyphs[0x200] = glyphWithBytes(1);
    EXPECT_EQ(FontLoader(written(glyphs)).locationFormat(), 0);
    EXPECT_EQ(FontLoader(written(glyphs)).glyph(0x200)->height, 1);
    glyphs[0x1FE] = glyphWithBytes(128);
    const FontLoader wide(written(glyphs));
    EXPECT_EQ(wide.locationFormat(), 1);
    EXPECT_EQ(wide.glyph(0x200)->height, 1);
}

TEST(BinaryFont, IsRefusedWhenNoLoaderWouldTakeIt) {
    EXPECT_THAT(refusal({}), HasSubstr("nothing to draw"));
    EXPECT_THAT(refusal({{U'A', {1, 40'000, 0, 1, 1, {0}}}}), HasSubstr("larger than a binary font holds"));
    EXPECT_THAT(refusal({{U'A', {40'000, 0, 0, 1, 1, {0}}}}), HasSubstr("larger than a binary font holds"));
    EXPECT_THAT(refusal({{U'A', bar()}}, {.pointSize = 28, .ascent = 40'000}), HasSubstr("line height"));
    EXPECT_THAT(refusal({{U'A', bar()}}, {.pointSize = 28, .ascent = 30, .descent = -1}), HasSubstr("line height"));
    Glyphs glyphs;
    for (char32_t codePoint = 0x100; codePoint < 0x100 + 1000; ++codePoint) {
        glyphs[codePoint] = {1, 0, 0, 100, 100, Bytes(1250)};
    }
    EXPECT_THAT(refusal(glyphs), HasSubstr("1 MiB"));
}

TEST(BinaryFont, BitsNeededHoldAValue) {
    EXPECT_EQ(bitsNeeded(0), 0);
    EXPECT_EQ(bitsNeeded(1), 1);
    EXPECT_EQ(bitsNeeded(255), 8);
    EXPECT_EQ(bitsNeeded(256), 9);
    EXPECT_EQ(bitsNeeded(-1), 1);
    EXPECT_EQ(bitsNeeded(-128), 8);
    EXPECT_EQ(bitsNeeded(-129), 9);
}

TEST(BinaryFont, IsReadAsItWasWritten) {
    Glyphs glyphs{{U'a', bar(3)}, {U'b', {300, -5, -7, 9, 2, {0xAB, 0xCD, 0xC0}}}, {U'\u200B', {}}};
    for (const bool isScattered : {false, true}) {
        for (char32_t codePoint = 0x4E00; isScattered && glyphs.size() < 700; codePoint += 2) {
            glyphs[codePoint] = bar(static_cast<int>(codePoint % 20));
        }
        const auto result = readBinaryFont(written(glyphs));
        ASSERT_TRUE(std::holds_alternative<BinaryFont>(result)) << std::get<BinaryFontError>(result).message;
        const auto& font = std::get<BinaryFont>(result);
        EXPECT_EQ(font.characters.size(), glyphs.size());
        for (const auto& [codePoint, glyph] : glyphs) {
            ASSERT_TRUE(font.glyph(codePoint));
            auto expected = glyph;
            const auto pixels = static_cast<unsigned>(glyph.width * glyph.height);
            if (pixels % 8 != 0) {
                expected.bitmap.back() &= static_cast<std::uint8_t>(0xFF00U >> (pixels % 8));
            }
            ASSERT_EQ(*font.glyph(codePoint), expected) << static_cast<unsigned>(codePoint);
        }
        EXPECT_FALSE(font.glyph(U'c'));
        EXPECT_EQ(font.head.fontSize, 28);
        EXPECT_EQ(font.head.lineHeight(), 38);
        EXPECT_EQ(font.head.typographicLineGap, 1);
    }
}

TEST(BinaryFont, CutAnywhereIsAnError) {
    const Bytes bytes = written({{U'a', bar(3)}, {U'c', bar(30)}});
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        EXPECT_THAT(errorOf(ByteView(bytes).first(length)), HasSubstr("no font for the glasses")) << length;
    }
    Bytes longer = bytes;
    longer.push_back(0);
    EXPECT_THAT(errorOf(longer), HasSubstr("goes on after its last section"));
}

TEST(BinaryFont, WithAWrongFieldIsAnErrorThatNamesIt) {
    const auto withByte = [](std::size_t offset, std::uint8_t value) {
        Bytes bytes = written({{U'a', bar(3)}, {U'c', bar(30)}});
        bytes.at(offset) = value;
        return errorOf(bytes);
    };
    EXPECT_THAT(withByte(0, 49), HasSubstr("48 bytes"));
    EXPECT_THAT(withByte(4, 'x'), HasSubstr("no \"head\""));
    EXPECT_THAT(withByte(12, 4), HasSubstr("kern"));
    EXPECT_THAT(withByte(34, 2), HasSubstr("offsets"));
    EXPECT_THAT(withByte(36, 2), HasSubstr("advances"));
    EXPECT_THAT(withByte(37, 4), HasSubstr("4 bits a pixel"));
    EXPECT_THAT(withByte(38, 17), HasSubstr("more than 16 bits"));
    EXPECT_THAT(withByte(39, 255), HasSubstr("more than 16 bits"));
    EXPECT_THAT(withByte(41, 1), HasSubstr("compressed"));
    EXPECT_THAT(withByte(42, 1), HasSubstr("subpixels"));
    EXPECT_THAT(withByte(48 + 9, 2), HasSubstr("511"));
    constexpr std::size_t lastSubtable = 48 + 12 + 3 * 16;
    EXPECT_THAT(withByte(lastSubtable + 6, 0x11), HasSubstr("U+10FFFF"));
    EXPECT_THAT(withByte(lastSubtable + 9, 0x10), HasSubstr("not there"));
    EXPECT_THAT(withByte(lastSubtable + 14, 4), HasSubstr("unknown format"));
    EXPECT_THAT(withByte(lastSubtable + 14, 3), HasSubstr("out of order"));
    constexpr std::size_t loca = 48 + 12 + 4 * 16;
    EXPECT_THAT(withByte(loca + 8, 0), HasSubstr("no glyph"));
    EXPECT_THAT(withByte(loca + 12, 9), HasSubstr("do not grow"));
    EXPECT_THAT(withByte(loca + 14, 7), HasSubstr("do not grow"));
    EXPECT_THAT(withByte(loca + 16, 13), HasSubstr("do not grow"));
}

TEST(BinaryFont, WhoseCharactersShareALargeGlyphIsNotReadWithoutLimit) {
    Glyphs glyphs{{U'a', {1, 0, 0, 1000, 1000, Bytes(125'000)}}};
    for (char32_t codePoint = U'b'; codePoint <= U'z'; ++codePoint) {
        glyphs[codePoint] = {};
    }
    Bytes bytes = written(glyphs);
    constexpr std::size_t firstSubtable = 48 + 12;
    EXPECT_EQ(errorOf(bytes), "");
    // Twenty more characters with the same glyph.
    for (int i = 0; i < 20; ++i) {
        const std::uint8_t subtable[] = {28, 0, 0, 0, static_cast<std::uint8_t>(i), 1, 0, 0, 1, 0, 1, 0, 1, 0, 2, 0};
        bytes.insert(bytes.begin() + firstSubtable, std::begin(subtable), std::end(subtable));
        bytes[48] = static_cast<std::uint8_t>(bytes[48] + 16);
        bytes[49] = static_cast<std::uint8_t>(bytes[49] + (bytes[48] < 16 ? 1 : 0));
        ++bytes[56];
    }
    EXPECT_THAT(errorOf(bytes), HasSubstr("more than 16,777,216 pixels"));
}

TEST(BinaryFont, WithAnyBytesChangedIsAFontOrAnError) {
    const Bytes bytes = written({{U'a', bar(3)}, {U'c', bar(30)}, {0x4E00, bar(9)}});
    constexpr unsigned seed = 20'261'121;
    std::mt19937 random(seed);
    for (int round = 0; round < 300; ++round) {
        Bytes changed = bytes;
        for (int change = 0; change < 3; ++change) {
            changed[random() % changed.size()] = static_cast<std::uint8_t>(random());
        }
        const auto result = readBinaryFont(changed);
        if (const auto* font = std::get_if<BinaryFont>(&result)) {
            for (const auto& [codePoint, glyph] : font->characters) {
                ASSERT_LT(glyph, font->glyphs.size()) << "seed " << seed;
            }
        } else {
            EXPECT_FALSE(std::get<BinaryFontError>(result).message.empty());
        }
    }
}

TEST(BinaryFont, OfOtherMakersHasFullAndSparseTables) {
    // Advances in sixteenths, fields of 3 bits, glyphs 1 to 3 of one pixel: a full table with a gap, then a sparse one.
    Bytes bytes = written({{U'a', bar(3)}});
    bytes.resize(48);
    bytes[36] = 1;  // advance format
    bytes[38] = 3;  // position bits
    bytes[39] = 1;  // size bits
    bytes[40] = 10; // advance bits
    const auto add = [&](std::initializer_list<int> values) {
        for (const int value : values) {
            bytes.push_back(static_cast<std::uint8_t>(value));
        }
    };
    add({51, 0, 0, 0, 'c', 'm', 'a', 'p', 2, 0, 0, 0});
    add({44, 0, 0, 0, 'a', 0, 0, 0, 3, 0, 1, 0, 3, 0, 0, 0}); // full: a, no b, c
    add({47, 0, 0, 0, 'x', 0, 0, 0, 9, 0, 1, 0, 1, 0, 1, 0}); // sparse: x + 8
    add({0, 0, 1, 8, 0, 2, 0});
    add({20, 0, 0, 0, 'l', 'o', 'c', 'a', 4, 0, 0, 0, 8, 0, 11, 0, 14, 0, 17, 0});
    add({20, 0, 0, 0, 'g', 'l', 'y', 'f'});
    for (int glyph = 0; glyph < 4; ++glyph) {
        add({0x12, 0x3A, 0xE0}); // advance 4.5, x -1, y 2, 1 x 1, set
    }
    const auto result = readBinaryFont(bytes);
    ASSERT_TRUE(std::holds_alternative<BinaryFont>(result)) << std::get<BinaryFontError>(result).message;
    const auto& font = std::get<BinaryFont>(result);
    using Character = std::pair<char32_t, std::uint16_t>;
    EXPECT_THAT(font.characters,
                ::testing::ElementsAre(Character{U'a', 1}, Character{U'c', 2}, Character{U'x' + 8, 3}));
    EXPECT_EQ(font.glyphs[1], (BinaryFontGlyph{5, -1, 2, 1, 1, {0x80}}));
}

} // namespace
} // namespace tarnel::test
