#include "FontCommand.hpp"

#include "Failure.hpp"
#include "Files.hpp"
#include "JSON.hpp"
#include "Resources.hpp"
#include "Text.hpp"

#include <TarnelGlasses/SimulatedWorld.hpp>
#include <TarnelSDK/foundation/UTF8.hpp>
#include <TarnelSDK/glyphs/BinaryFont.hpp>
#include <TarnelSDK/glyphs/CharacterFilter.hpp>
#include <TarnelSDK/glyphs/Glypher.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace tarnel::command {
namespace {

constexpr std::size_t maximumTextSize = 1 << 20;
/// A font has at most 1 MiB of glyphs; the rest is tables.
constexpr std::size_t maximumFontSize = 4 << 20;

/// "U+0041".
std::string nameOf(char32_t codePoint) {
    std::array<char, 16> name{};
    std::snprintf(name.data(), name.size(), "U+%04X", static_cast<unsigned>(codePoint));
    return name.data();
}

/// The character itself where it can stand in a line; empty otherwise.
std::string characterOf(char32_t codePoint) {
    const bool isSurrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    const auto shown = isSurrogate ? std::u32string() : std::u32string(1, codePoint);
    const std::string character = encodeUTF8(shown);
    return charactersOfText(character).drawn == shown ? character : "";
}

std::string environmentLocale() {
    for (const auto* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        if (const char* value = std::getenv(variable); value && *value) {
            return value;
        }
    }
    return "";
}

std::string textOf(const FontOptions& options) {
    if (options.text != "-") {
        return options.text;
    }
    const Bytes bytes = readFile("-", maximumTextSize);
    return {bytes.begin(), bytes.end()};
}

[[noreturn]] void failWithoutFont(const std::u32string& missing, const TextCharacters& characters) {
    if (characters.drawn.empty() && characters.invisible.empty()) {
        throw Failure("the text has no characters to draw");
    }
    if (missing.size() == characters.drawn.size()) {
        throw Failure("no font of this system has any character of the text; install one that has");
    }
    throw Failure("the text does not fit in one font (at most 65,534 different characters and 1 MiB of glyphs); "
                  "use less text or a smaller --size");
}

JSON namesOf(const std::u32string& codePoints) {
    JSON::Array names;
    for (const char32_t codePoint : codePoints) {
        names.emplace_back(nameOf(codePoint));
    }
    return names;
}

BinaryFont fontFromBytes(ByteView bytes, const std::string& name) {
    auto result = readBinaryFont(bytes);
    if (const auto* error = std::get_if<BinaryFontError>(&result)) {
        throw Failure(name + ": " + error->message);
    }
    return std::get<BinaryFont>(std::move(result));
}

std::string summaryOf(const BinaryFont& font, std::size_t bytes) {
    return "font, " + std::to_string(font.head.fontSize) + " pixels, lines of " +
           std::to_string(font.head.lineHeight()) + ", " + grouped(font.characters.size()) + " characters, " +
           grouped(bytes) + " bytes";
}

void describe(const FontOptions& options, const BinaryFont& font, std::size_t bytes, const std::u32string& missing) {
    if (options.asJSON) {
        writeOutput(text(JSON::Object{{"format", "font"},
                                      {"size", font.head.fontSize},
                                      {"lineHeight", font.head.lineHeight()},
                                      {"characters", std::uint64_t{font.characters.size()}},
                                      {"missing", namesOf(missing)},
                                      {"bytes", std::uint64_t{bytes}},
                                      {"output", options.output}}) +
                    "\n");
        return;
    }
    std::string line = options.output + ": " + summaryOf(font, bytes);
    constexpr std::size_t maximumNamed = 8;
    if (!missing.empty()) {
        line += "; no font has ";
        for (std::size_t i = 0; i < std::min(missing.size(), maximumNamed); ++i) {
            line += (i > 0 ? ", " : "") + nameOf(missing[i]);
        }
        line += missing.size() > maximumNamed ? " and others" : "";
    }
    writeOutput(line + "\n");
}

const char* nameOf(BinaryFontSubtable::Format format) {
    switch (format) {
    case BinaryFontSubtable::Format::full:
        return "full";
    case BinaryFontSubtable::Format::sparse:
        return "sparse";
    case BinaryFontSubtable::Format::tiny:
        return "tiny";
    case BinaryFontSubtable::Format::sparseTiny:
        return "sparse tiny";
    }
    return "";
}

std::vector<std::string> rowsOf(const BinaryFontGlyph& glyph) {
    constexpr std::size_t bitsPerByte = 8;
    constexpr unsigned topBit = 0x80;
    std::vector<std::string> rows;
    std::size_t bit = 0;
    for (int y = 0; y < glyph.height; ++y) {
        auto& row = rows.emplace_back();
        for (int x = 0; x < glyph.width; ++x, ++bit) {
            row.push_back((glyph.bitmap[bit / bitsPerByte] & (topBit >> (bit % bitsPerByte))) != 0 ? '#' : '.');
        }
    }
    return rows;
}

JSON jsonOf(const BinaryFont& font) {
    JSON::Array ranges;
    for (const auto& subtable : font.subtables) {
        ranges.push_back(JSON::Object{{"first", std::uint64_t{subtable.firstCodePoint}},
                                      {"length", subtable.length},
                                      {"firstGlyph", subtable.firstGlyph},
                                      {"format", nameOf(subtable.format)}});
    }
    JSON::Array glyphs;
    for (const auto& [codePoint, id] : font.characters) {
        const auto& glyph = font.glyphs[id];
        JSON::Array rows;
        for (auto& row : rowsOf(glyph)) {
            rows.emplace_back(std::move(row));
        }
        glyphs.push_back(JSON::Object{{"codePoint", std::uint64_t{codePoint}},
                                      {"character", characterOf(codePoint)},
                                      {"glyph", id},
                                      {"advance", glyph.advance},
                                      {"x", glyph.x},
                                      {"y", glyph.y},
                                      {"width", glyph.width},
                                      {"height", glyph.height},
                                      {"rows", std::move(rows)}});
    }
    const auto& head = font.head;
    return JSON::Object{{"size", head.fontSize},
                        {"lineHeight", head.lineHeight()},
                        {"ascent", head.ascent},
                        {"descent", head.descent},
                        {"lowestY", head.lowestY},
                        {"highestY", head.highestY},
                        {"positionBits", head.positionBits},
                        {"sizeBits", head.sizeBits},
                        {"advanceBits", head.advanceBits},
                        {"locationFormat", head.locationFormat},
                        {"ranges", std::move(ranges)},
                        {"glyphs", std::move(glyphs)}};
}

std::string textOf(const BinaryFont& font, const std::string& name, std::size_t bytes) {
    std::string result = name + ": " + summaryOf(font, bytes) + "\n";
    result += "ascent " + std::to_string(font.head.ascent) + ", descent " + std::to_string(font.head.descent) + "\n";
    for (const auto& subtable : font.subtables) {
        result += "range " + nameOf(static_cast<char32_t>(subtable.firstCodePoint)) + ", " +
                  std::to_string(subtable.length) + " long, " + nameOf(subtable.format) + ", from glyph " +
                  std::to_string(subtable.firstGlyph) + "\n";
    }
    for (const auto& [codePoint, id] : font.characters) {
        const auto& glyph = font.glyphs[id];
        const std::string character = characterOf(codePoint);
        result += "\n" + nameOf(codePoint) + (character.empty() ? "" : " " + character) + ", advance " +
                  std::to_string(glyph.advance) + ", " + std::to_string(glyph.width) + " x " +
                  std::to_string(glyph.height) + " at " + std::to_string(glyph.x) + "," + std::to_string(glyph.y) +
                  "\n";
        for (const auto& row : rowsOf(glyph)) {
            result += row + "\n";
        }
    }
    return result;
}

} // namespace

void makeFont(const FontOptions& options) {
    reserveStandardOutput();
    const std::string string = textOf(options);
    const OutputFile output(options.output);
    glasses::SimulatedWorld world;
    world.application().setResourceDirectory(installedResources());
    const std::string locale = options.locale.value_or(environmentLocale());
    world.application().setLocale(locale);
    Glypher glypher;
    if (options.size) {
        glypher.setFontSize(*options.size);
    }

    std::u32string missing;
    const auto characters = charactersOfText(string);
    const auto attributed = glypher.createAttributedStringForGlyphMaking(string, locale);
    for (const auto& run : attributed.runs()) {
        if (!run.attributes.font) {
            missing += decodeUTF8(run.text);
        }
    }
    const auto bytes = glypher.toBinFont(string, locale);
    if (!bytes) {
        failWithoutFont(missing, characters);
    }
    output.store(*bytes);
    if (!output.isStandardOutput()) {
        describe(options, fontFromBytes(*bytes, options.output), bytes->size(), missing);
    }
}

void dumpFont(const FontDumpOptions& options) {
    const std::string name = options.font == "-" ? "standard input" : options.font;
    const Bytes bytes = readFile(options.font, maximumFontSize);
    const BinaryFont font = fontFromBytes(bytes, name);
    writeOutput(options.asJSON ? text(jsonOf(font)) + "\n" : textOf(font, name, bytes.size()));
}

} // namespace tarnel::command
