#include "LvglData.hpp"

#include <TarnelGlasses/LvglLabel.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

namespace tarnel::glasses {
namespace {

using namespace test;
using nlohmann::json;

std::vector<std::string> rows(const LvglFont& font, const LvglGlyph& glyph) {
    std::vector<std::string> rows;
    for (int y = 0; y < glyph.height; ++y) {
        std::string row;
        for (int x = 0; x < glyph.width; ++x) {
            row += font.isLit(glyph, x, y) ? '#' : '.';
        }
        rows.push_back(row);
    }
    return rows;
}

/// Whether a glyph is what LVGL reported: {"found", "adv_w", "box_w", "box_h", "ofs_x", "ofs_y"}.
void expectGlyph(const LvglGlyph& glyph, const json& expected, bool isFound) {
    EXPECT_EQ(glyph.isFound, isFound);
    EXPECT_EQ(glyph.advance, expected.at("adv_w"));
    EXPECT_EQ(glyph.width, expected.at("box_w"));
    EXPECT_EQ(glyph.height, expected.at("box_h"));
    EXPECT_EQ(glyph.x, expected.value("ofs_x", 0));
    EXPECT_EQ(glyph.y, expected.value("ofs_y", 0));
}

class LvglFontFile : public testing::TestWithParam<std::string> {
protected:
    json report() const { return lvglJSON("fonts/" + GetParam() + ".json"); }
    std::shared_ptr<const LvglFont> font(LvglVersion version) const {
        return lvglFont("fonts/" + GetParam() + ".bin", version);
    }
};

TEST_P(LvglFontFile, hasTheMetricsThatLvglReports) {
    const auto loaded = font(LvglVersion::v8_3_11);
    const auto expected = report();
    EXPECT_EQ(loaded->lineHeight(), expected.at("line_height"));
    EXPECT_EQ(loaded->baseLine(), expected.at("base_line"));
    EXPECT_EQ(loaded->glyphCount(), expected.at("glyph_count_with_id_0"));
    const auto tab = loaded->glyph('\t');
    EXPECT_EQ(tab.isFound, expected.at("tab").at("found"));
    EXPECT_EQ(tab.advance, expected.at("tab").at("adv_w"));
    EXPECT_EQ(tab.width, expected.at("tab").at("box_w"));
    EXPECT_EQ(tab.height, expected.at("tab").at("box_h"));
}

TEST_P(LvglFontFile, givesEveryGlyphInEveryVersion) {
    const auto expected = report();
    ASSERT_EQ(expected.at("glyphs").size(), expected.at("code_points"));
    for (const auto version : {LvglVersion::v8_2, LvglVersion::v8_3_11, LvglVersion::v8_4}) {
        const auto loaded = font(version);
        for (const auto& entry : expected.at("glyphs")) {
            SCOPED_TRACE(entry.at("hex").get<std::string>());
            const auto glyph = loaded->glyph(entry.at("code_point"));
            expectGlyph(glyph, entry, true);
            EXPECT_EQ(rows(*loaded, glyph), entry.at("rows").get<std::vector<std::string>>());
        }
    }
}

TEST_P(LvglFontFile, doesNotFindWhatIsMissingWhenRangesAreMended) {
    const auto loaded = font(LvglVersion::v8_4);
    const auto expected = report();
    ASSERT_FALSE(expected.at("missing").empty());
    for (const auto& entry : expected.at("missing")) {
        SCOPED_TRACE(entry.at("hex").get<std::string>());
        expectGlyph(loaded->glyph(entry.at("code_point")), entry.at("fixed"), false);
    }
}

TEST_P(LvglFontFile, answersMissingCodePointsAsReleasedVersionsDo) {
    const auto loaded = font(LvglVersion::v8_3_11);
    const auto expected = report();
    ASSERT_FALSE(expected.at("missing").empty());
    for (const auto& entry : expected.at("missing")) {
        SCOPED_TRACE(entry.at("hex").get<std::string>());
        const std::uint32_t codePoint = entry.at("code_point");
        const auto& released = entry.at("stock_8_3_11");
        if (released.at("found") == true) {
            EXPECT_EQ(loaded->glyphId(codePoint), released.at("glyph_id").get<std::uint32_t>());
            expectGlyph(loaded->glyph(codePoint), released, true);
            continue;
        }
        // What is read beyond a table counts as missing.
        expectGlyph(loaded->glyph(codePoint), entry.at("fixed"), false);
        if (released.at("found") == "undefined" && released.at("glyph_id").is_number()) {
            EXPECT_EQ(loaded->glyphId(codePoint), released.at("glyph_id").get<std::uint32_t>());
            EXPECT_GE(loaded->glyphId(codePoint), loaded->glyphCount());
        }
    }
}

TEST_P(LvglFontFile, isRefusedWhenCutOffAnywhere) {
    const auto file = lvglBytes("fonts/" + GetParam() + ".bin");
    for (std::size_t size = 0; size < file.size(); ++size) {
        const auto font = LvglFont::load(ByteView(file).first(size), LvglVersion::v8_3_11);
        ASSERT_TRUE(std::holds_alternative<std::string>(font)) << size << " of " << file.size() << " bytes";
    }
}

INSTANTIATE_TEST_SUITE_P(Fonts, LvglFontFile, testing::ValuesIn(lvglFontNames()),
                         [](const auto& parameter) { return parameter.param; });

TEST(LvglFont, hasAllTheCasesOfTheData) {
    std::size_t glyphs = 0;
    std::size_t missing = 0;
    for (const auto& name : lvglFontNames()) {
        const auto report = lvglJSON("fonts/" + name + ".json");
        glyphs += report.at("glyphs").size();
        missing += report.at("missing").size();
    }
    EXPECT_EQ(glyphs, 1'252U);
    EXPECT_EQ(missing, 297U);
}

TEST(LvglFont, hasNoBoxesForMissingGlyphsInTheOldestVersion) {
    const auto glyph = lvglFont("fonts/latin28.bin", LvglVersion::v8_2)->glyph(0x4E2D);
    EXPECT_FALSE(glyph.isFound);
    EXPECT_EQ(glyph.advance, 0);
    EXPECT_EQ(glyph.width, 0);
}

/// A font file in the making: one glyph of 8 x 1 pixels a code point from 'A' on.
struct FontFile {
    struct Table {
        std::uint32_t first = 'A';
        int length = 2;
        int firstGlyph = 1;
        int entries = 0;
        int format = 2;
        Bytes data = {}; ///< behind the tables
    };

    std::vector<Table> tables = {{}};
    int glyphs = 3;
    int tableCount = 3;
    int ascent = 20;
    int descent = -5;
    int defaultAdvance = 11;
    int locationFormat = 0;
    int advanceFormat = 0;
    int depth = 1;
    int positionBits = 8;
    int sizeBits = 8;
    int advanceBits = 8;
    int compression = 0;
    int subpixels = 0;

    static void put(Bytes& bytes, std::uint64_t value, int size) {
        for (int i = 0; i < size; ++i) {
            bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
        }
    }
    static void putSection(Bytes& file, const std::string& tag, const Bytes& content) {
        put(file, content.size() + 8, 4);
        file.insert(file.end(), tag.begin(), tag.end());
        file.insert(file.end(), content.begin(), content.end());
    }

    Bytes head() const {
        Bytes head;
        put(head, 1, 4);
        for (const int value : {tableCount, 20, ascent, descent, 0, 0, 0, 0, 0, defaultAdvance, 16}) {
            put(head, static_cast<std::uint16_t>(value), 2);
        }
        for (const int value : {locationFormat, 0, advanceFormat, depth, positionBits, sizeBits, advanceBits,
                                compression, subpixels, 0}) {
            put(head, static_cast<std::uint8_t>(value), 1);
        }
        put(head, 0, 4);
        return head;
    }

    Bytes map() const {
        Bytes map;
        Bytes data;
        put(map, tables.size(), 4);
        for (const auto& table : tables) {
            put(map, 12 + 16 * tables.size() + data.size(), 4);
            put(map, table.first, 4);
            for (const int value : {table.length, table.firstGlyph, table.entries}) {
                put(map, static_cast<std::uint16_t>(value), 2);
            }
            put(map, static_cast<std::uint8_t>(table.format), 2);
            data.insert(data.end(), table.data.begin(), table.data.end());
        }
        map.insert(map.end(), data.begin(), data.end());
        return map;
    }

    Bytes locations() const {
        Bytes locations;
        put(locations, static_cast<std::uint64_t>(glyphs), 4);
        for (std::uint64_t i = 0; i < static_cast<std::uint64_t>(glyphs); ++i) {
            put(locations, 8 + 6 * i, locationFormat == 0 ? 2 : 4);
        }
        return locations;
    }

    Bytes records() const {
        Bytes records;
        for (int i = 0; i < glyphs; ++i) {
            records.insert(records.end(), {9, 0xFF, 2, 8, 1, 0xA5});
        }
        return records;
    }

    Bytes bytes() const {
        Bytes file;
        putSection(file, "head", head());
        putSection(file, "cmap", map());
        putSection(file, "loca", locations());
        putSection(file, "glyf", records());
        return file;
    }

    /// Why it is refused; empty when it is not.
    std::string refusal() const { return refusalOf(bytes()); }
    static std::string refusalOf(const Bytes& file) {
        const auto font = LvglFont::load(file, LvglVersion::v8_3_11);
        const auto* reason = std::get_if<std::string>(&font);
        return reason == nullptr ? "" : *reason;
    }

    LvglFont font(LvglVersion version) const { return std::get<LvglFont>(LvglFont::load(bytes(), version)); }
    LvglFont released() const { return font(LvglVersion::v8_3_11); }
    LvglFont mended() const { return font(LvglVersion::v8_4); }
};

TEST(LvglFont, readsAGlyph) {
    const auto font = FontFile{}.released();
    const auto glyph = font.glyph('A');
    EXPECT_TRUE(glyph.isFound);
    EXPECT_EQ(glyph.advance, 9);
    EXPECT_EQ(glyph.x, -1);
    EXPECT_EQ(glyph.y, 2);
    EXPECT_EQ(rows(font, glyph), std::vector<std::string>{"#.#..#.#"});
    EXPECT_EQ(font.lineHeight(), 25);
    EXPECT_EQ(font.baseLine(), 5);
}

TEST(LvglFont, readsTheOneCodePointPastATinyRangeAsTheNextTablesGlyph) {
    FontFile file;
    file.tables = {{.first = 'A', .length = 1, .firstGlyph = 1}, {.first = 'C', .length = 1, .firstGlyph = 2}};
    EXPECT_EQ(file.released().glyphId('B'), 2U);
    EXPECT_EQ(file.mended().glyphId('B'), std::nullopt);
    EXPECT_TRUE(file.released().glyph('B').isFound);
    EXPECT_FALSE(file.released().glyph('D').isFound) << "beyond the last glyph";
}

TEST(LvglFont, isKeptFromReadingPastARangeByAnEmptyTableBeforeIt) {
    FontFile file;
    file.tables = {{.first = 'B', .length = 0, .firstGlyph = 0},
                   {.first = 'A', .length = 1, .firstGlyph = 1},
                   {.first = 'C', .length = 1, .firstGlyph = 2}};
    for (const auto& font : {file.released(), file.mended()}) {
        EXPECT_EQ(font.glyphId('A'), 1U);
        EXPECT_EQ(font.glyphId('B'), std::nullopt);
        EXPECT_EQ(font.glyphId('C'), 2U);
    }
}

TEST(LvglFont, looksUpSparseTablesWithTheirOwnIds) {
    FontFile file;
    file.tables = {
        {.first = 'A', .length = 10, .firstGlyph = 1, .entries = 2, .format = 1, .data = {0, 0, 5, 0, 1, 0, 0, 0}}};
    for (const auto& font : {file.released(), file.mended()}) {
        EXPECT_EQ(font.glyphId('A'), 2U);
        EXPECT_EQ(font.glyphId('F'), 1U);
        EXPECT_EQ(font.glyphId('B'), std::nullopt);
    }
}

TEST(LvglFont, takesTheGapsOfAFullTableForTheFirstGlyphInReleasedVersions) {
    FontFile file;
    file.tables = {{.first = 'A', .length = 3, .firstGlyph = 1, .entries = 3, .format = 0, .data = {0, 0, 1}}};
    EXPECT_EQ(file.released().glyphId('B'), 1U);
    EXPECT_EQ(file.mended().glyphId('B'), std::nullopt);
    EXPECT_EQ(file.mended().glyphId('A'), 1U);
    EXPECT_EQ(file.mended().glyphId('C'), 2U);
    EXPECT_EQ(file.released().glyphId('D'), std::nullopt) << "beyond the table";
}

TEST(LvglFont, losesAFullTableOf256Entries) {
    FontFile file;
    file.tables = {{.first = 'A', .length = 256, .firstGlyph = 1, .entries = 256, .format = 0, .data = Bytes(256, 1)}};
    EXPECT_EQ(file.released().glyphId('A'), std::nullopt);
}

TEST(LvglFont, countsTablesInNineBits) {
    FontFile file;
    file.tables.assign(511, {.first = 'Z', .length = 0, .firstGlyph = 0});
    file.tables.back() = {};
    EXPECT_EQ(file.released().glyphId('A'), 1U);
    file.tables.push_back({});
    EXPECT_EQ(file.released().glyphId('A'), std::nullopt);
}

TEST(LvglFont, takesTheDefaultAdvanceWithoutAdvanceBits) {
    FontFile file;
    file.advanceBits = 0;
    EXPECT_EQ(file.released().advance('A'), 11);
}

TEST(LvglFont, readsAdvancesInSixteenthsOfAPixel) {
    FontFile file;
    file.advanceFormat = 1;
    EXPECT_EQ(file.released().advance('A'), 1);
}

TEST(LvglFont, neverDrawsGlyphZero) {
    FontFile file;
    file.tables = {{.first = 'A', .length = 3, .firstGlyph = 0}};
    EXPECT_FALSE(file.mended().glyph('A').isFound);
    EXPECT_TRUE(file.mended().glyph('B').isFound);
    EXPECT_FALSE(file.mended().glyph(0).isFound);
}

TEST(LvglFont, refusesWhatTheLoaderRefuses) {
    EXPECT_EQ(FontFile{}.refusal(), "");
    EXPECT_EQ(FontFile{.locationFormat = 2}.refusal(), "unknown location format");
    FontFile table;
    table.tables[0].format = 4;
    EXPECT_EQ(table.refusal(), "unknown cmap format");
    EXPECT_EQ(FontFile{.tableCount = 4}.refusal(), "kerning is not supported");
    for (const auto* tag : {"head", "cmap", "loca", "glyf"}) {
        auto file = FontFile{}.bytes();
        const auto at = std::search(file.begin(), file.end(), tag, tag + 4);
        *at = 'x';
        EXPECT_EQ(FontFile::refusalOf(file), std::string("no section ") + tag);
    }
    for (const std::size_t offset : {std::size_t{0}, std::size_t{48}, std::size_t{48 + 28}}) {
        for (const int change : {1, -1, 100}) {
            auto file = FontFile{}.bytes();
            file[offset] = static_cast<std::uint8_t>(file[offset] + change);
            EXPECT_NE(FontFile::refusalOf(file), "") << "length at " << offset << ", changed by " << change;
        }
    }
}

TEST(LvglFont, refusesWhatTheseGlassesCannotDraw) {
    EXPECT_EQ(FontFile{.depth = 2}.refusal(), "not 1 bit a pixel");
    EXPECT_EQ(FontFile{.compression = 1}.refusal(), "compressed");
    EXPECT_EQ(FontFile{.subpixels = 1}.refusal(), "subpixels are not supported");
    EXPECT_EQ((FontFile{.ascent = 0, .descent = 0}.refusal()), "no line height");
    EXPECT_EQ(FontFile{.ascent = 9'000}.refusal(), "no line height");
    EXPECT_EQ(FontFile{.positionBits = 17}.refusal(), "glyph fields of more than 16 bits");
}

TEST(LvglFont, refusesLocationsThatDoNotGrowAndBitmapsBeyondTheirRecord) {
    const auto file = FontFile{}.bytes();
    const std::size_t locations = 48 + 28 + 12;
    auto shared = file;
    shared[locations + 4] = shared[locations + 2];
    EXPECT_EQ(FontFile::refusalOf(shared), "the locations do not grow");
    auto beyond = file;
    beyond[locations + 4] = 200;
    EXPECT_EQ(FontFile::refusalOf(beyond), "the locations do not grow");
    auto high = file;
    high[file.size() - 2] = 2;
    EXPECT_EQ(FontFile::refusalOf(high), "a glyph is longer than its record");
}

TEST(LvglFont, isRefusedOrDrawnHoweverItsBitsAreTurned) {
    std::size_t drawn = 0;
    std::size_t refused = 0;
    for (const auto& name : lvglFontNames()) {
        const auto good = lvglBytes("fonts/" + name + ".bin");
        // Every bit of what describes the font, and some of the glyphs.
        const std::size_t step = good.size() / 100 + 1;
        for (std::size_t i = 0; i < good.size(); i += i < 76 ? 1 : step) {
            for (unsigned bit = 0; bit < 8; bit += i < 76 ? 1 : 3) {
                auto file = good;
                file[i] = static_cast<std::uint8_t>(file[i] ^ (1U << bit));
                auto font = LvglFont::load(file, LvglVersion::v8_3_11);
                if (std::holds_alternative<std::string>(font)) {
                    EXPECT_NE(std::get<std::string>(font), "");
                    ++refused;
                    continue;
                }
                const LvglLabel label(std::make_shared<const LvglFont>(std::get<LvglFont>(std::move(font))),
                                      {.text = "Aa 1:2 \xC3\xA9\xD0\x96\n\xE4\xB8\xAD\xF0\x9F\x98\x80 wide and high",
                                       .width = 120,
                                       .height = 60,
                                       .longMode = static_cast<LvglLongMode>(i % 5)});
                Frame frame;
                label.draw(frame, std::chrono::milliseconds(i));
                EXPECT_EQ(label.lines().back().end, label.drawnText().size());
                ++drawn;
            }
        }
    }
    EXPECT_GT(drawn, 1'000U);
    EXPECT_GT(refused, 1'000U);
}

} // namespace
} // namespace tarnel::glasses
