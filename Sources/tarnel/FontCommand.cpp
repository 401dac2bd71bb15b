#include "Commands.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "JSON.hpp"
#include "Options.hpp"
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
#include <optional>
#include <string>
#include <vector>

namespace tarnel::command {
namespace {

struct FontOptions {
    std::string text; ///< "-" for standard input
    std::string output;
    std::optional<int> size;           ///< in pixels
    std::optional<std::string> locale; ///< BCP 47 tag; the environment's when empty
    bool asJSON = false;
};

struct FontDumpOptions {
    std::string font; ///< "-" for standard input
    bool asJSON = false;
};

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

/// The binary font that would be sent to the glasses with a text.
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

/// What a binary font holds, each glyph as rows of '#' and '.'.
void dumpFont(const FontDumpOptions& options) {
    const std::string name = options.font == "-" ? "standard input" : options.font;
    const Bytes bytes = readFile(options.font, maximumFontSize);
    const BinaryFont font = fontFromBytes(bytes, name);
    writeOutput(options.asJSON ? text(jsonOf(font)) + "\n" : textOf(font, name, bytes.size()));
}

} // namespace

void addFont(CLI::App& app, Action& action) {
    auto making = std::make_shared<FontOptions>();
    auto dumping = std::make_shared<FontDumpOptions>();
    auto* font = app.add_subcommand("font", "The font that the glasses get with a text, and what one holds");
    font->formatter(usage("Usage: tarnel font TEXT [--size N] [--locale TAG] -o OUT.bin\n"
                          "       tarnel font --dump FONT.bin"));
    auto* text = font->add_option("TEXT", making->text, "The characters of the font; - for standard input");
    text->type_name("");
    auto* output = font->add_option("-o,--output", making->output, "The file to write; - for standard output");
    output->type_name("FILE");
    auto* size = font->add_option("--size", making->size, "Of the font in pixels, 8 to 96 (default 28)")
                     ->type_name("N")
                     ->check(CLI::Range(8, 96).description(""));
    auto* locale = font->add_option("--locale", making->locale,
                                    "Language whose forms of Han characters are drawn, e.g. ja or zh-TW (default: the "
                                    "environment's)")
                       ->type_name("TAG");
    auto* dump = font->add_option("--dump", dumping->font, "List what a font holds; - for standard input")
                     ->type_name("FILE")
                     ->excludes(text)
                     ->excludes(output)
                     ->excludes(size)
                     ->excludes(locale);
    font->add_flag_callback(
        "--json", [making, dumping] { making->asJSON = dumping->asJSON = true; }, "Describe the result in JSON");
    font->footer(
        "A font is an LVGL binary font of 1 bit a pixel. It holds exactly the characters of the text, the space "
        "for a tab.\nThe glasses draw a box for a character that no font of this system has. "
        "Documentation/Fonts.md describes the bytes.");
    font->callback([making, dumping, text, output, dump, &action] {
        if (dump->count() > 0) {
            action = [dumping] { dumpFont(*dumping); };
            return;
        }
        if (text->count() == 0 || output->count() == 0) {
            throw UsageError("tarnel font takes a TEXT and -o OUT.bin, or --dump FONT.bin");
        }
        action = [making] { makeFont(*making); };
    });
}

} // namespace tarnel::command
