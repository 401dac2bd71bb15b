#include <TarnelSDK/foundation/UTF8.hpp>
#include <TarnelSDK/glyphs/ShapedRun.hpp>
#include <TarnelSDK/glyphs/SystemFonts.hpp>
#include <TarnelSDK/glyphs/TextLine.hpp>
#include <TarnelSDK/glyphs/Typeface.hpp>
#include <TarnelSDK/images/CairoSurface.hpp>

#include <cairo.h>
#include <fribidi.h>
#include <hb.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace tarnel {
namespace {

constexpr double defaultSize = 28;
/// Shaping takes time that grows with the square of a run of marks.
constexpr std::size_t longestRun = 1024;

/// A code point and how it is drawn.
struct Character {
    char32_t codePoint = 0;
    const TextAttributes* attributes = nullptr;
    std::optional<Font> font = std::nullopt;
    hb_script_t script = HB_SCRIPT_COMMON;
    FriBidiLevel level = 0;
};

bool isControl(char32_t codePoint) {
    return codePoint < U' ' || (codePoint >= 0x7F && codePoint < 0xA0) || codePoint == 0x2028 || codePoint == 0x2029;
}

std::vector<Character> charactersOf(const AttributedString& string) {
    std::vector<Character> characters;
    for (const auto& run : string.runs()) {
        for (const char32_t codePoint : decodeUTF8(run.text)) {
            characters.push_back({.codePoint = isControl(codePoint) ? U' ' : codePoint, .attributes = &run.attributes});
        }
    }
    return characters;
}

/// Whether the character belongs to the one before it, and so to its font: a mark, a joiner, a variation selector.
bool continuesTheOneBefore(char32_t codePoint) {
    const auto category = hb_unicode_general_category(hb_unicode_funcs_get_default(), codePoint);
    return category == HB_UNICODE_GENERAL_CATEGORY_NON_SPACING_MARK ||
           category == HB_UNICODE_GENERAL_CATEGORY_SPACING_MARK ||
           category == HB_UNICODE_GENERAL_CATEGORY_ENCLOSING_MARK || category == HB_UNICODE_GENERAL_CATEGORY_FORMAT;
}

std::optional<Font> fontOf(const TextAttributes& attributes) {
    return attributes.font ? attributes.font : Font::system(defaultSize);
}

void chooseFonts(std::vector<Character>& characters, std::string_view locale) {
    std::vector<std::string> languages;
    if (!locale.empty()) {
        languages.emplace_back(locale);
    }
    const TextAttributes* attributes = nullptr;
    std::optional<Font> wanted;
    for (std::size_t i = 0; i < characters.size(); ++i) {
        Character& character = characters[i];
        if (character.attributes != attributes) {
            attributes = character.attributes;
            wanted = fontOf(*attributes);
        }
        const Character* const before =
            i > 0 && characters[i - 1].attributes == attributes ? &characters[i - 1] : nullptr;
        if (before && continuesTheOneBefore(character.codePoint)) {
            character.font = before->font;
        } else if (wanted && wanted->isGlyphSupported(character.codePoint)) {
            character.font = wanted;
        } else if (before && before->font && before->font->isGlyphSupported(character.codePoint)) {
            character.font = before->font;
        } else {
            const double size = wanted ? wanted->pointSize() : defaultSize;
            const auto replacement = replacementFont(character.codePoint, languages, size);
            character.font = replacement ? replacement : wanted;
        }
    }
}

/// Characters of no script of their own (spaces, marks, digits) take that of their neighbours.
void findScripts(std::vector<Character>& characters) {
    const auto isOwn = [](hb_script_t script) {
        return script != HB_SCRIPT_COMMON && script != HB_SCRIPT_INHERITED && script != HB_SCRIPT_UNKNOWN;
    };
    hb_script_t last = HB_SCRIPT_COMMON;
    for (Character& character : characters) {
        character.script = hb_unicode_script(hb_unicode_funcs_get_default(), character.codePoint);
        if (isOwn(character.script)) {
            last = character.script;
        } else {
            character.script = last;
        }
    }
    for (auto character = characters.rbegin(); character != characters.rend(); ++character) {
        if (isOwn(character->script)) {
            last = character->script;
        } else {
            character->script = last;
        }
    }
}

void findLevels(std::vector<Character>& characters) {
    std::vector<FriBidiChar> codePoints;
    codePoints.reserve(characters.size());
    for (const Character& character : characters) {
        codePoints.push_back(character.codePoint);
    }
    const auto count = static_cast<FriBidiStrIndex>(codePoints.size());
    std::vector<FriBidiCharType> types(codePoints.size());
    std::vector<FriBidiBracketType> brackets(codePoints.size());
    std::vector<FriBidiLevel> levels(codePoints.size());
    fribidi_get_bidi_types(codePoints.data(), count, types.data());
    fribidi_get_bracket_types(codePoints.data(), count, types.data(), brackets.data());
    FriBidiParType direction = FRIBIDI_PAR_ON;
    if (fribidi_get_par_embedding_levels_ex(types.data(), brackets.data(), count, &direction, levels.data()) == 0) {
        return;
    }
    for (std::size_t i = 0; i < characters.size(); ++i) {
        characters[i].level = levels[i];
    }
}

struct LevelledRun {
    ShapedRun run;
    FriBidiLevel level = 0;
};

std::vector<LevelledRun> shapedRuns(const std::vector<Character>& characters, std::string_view locale) {
    std::vector<LevelledRun> runs;
    for (std::size_t start = 0; start < characters.size();) {
        const Character& first = characters[start];
        std::size_t end = start + 1;
        const auto isSame = [&](const Character& other) {
            return other.attributes == first.attributes && other.font == first.font && other.script == first.script &&
                   other.level == first.level;
        };
        while (end < characters.size() && end - start < longestRun && isSame(characters[end])) {
            ++end;
        }
        if (first.font) {
            std::u32string codePoints;
            for (std::size_t i = start; i < end; ++i) {
                codePoints.push_back(characters[i].codePoint);
            }
            runs.push_back({ShapedRun(*first.font, first.attributes->foregroundColor, codePoints, first.script,
                                      FRIBIDI_LEVEL_IS_RTL(first.level) != 0, locale),
                            first.level});
        }
        start = end;
    }
    return runs;
}

/// From the order of reading to that of sight: rule L2 of Unicode Standard Annex 9.
void reorder(std::vector<LevelledRun>& runs) {
    FriBidiLevel highest = 0;
    for (const LevelledRun& run : runs) {
        highest = std::max(highest, run.level);
    }
    for (FriBidiLevel level = highest; level > 0; --level) {
        const auto isIn = [&](const LevelledRun& run) { return run.level >= level; };
        for (auto start = std::find_if(runs.begin(), runs.end(), isIn); start != runs.end();) {
            const auto end = std::find_if_not(start, runs.end(), isIn);
            std::reverse(start, end);
            start = std::find_if(end, runs.end(), isIn);
        }
    }
}

} // namespace

struct TextLine::Layout {
    std::vector<ShapedRun> runs; ///< from left to right
    Bounds bounds;
    double width = 0;
    double ascent = 0;
    double descent = 0;
    double leading = 0;

    void add(ShapedRun run);
    void addMetrics(const Font& font);
};

void TextLine::Layout::addMetrics(const Font& font) {
    ascent = std::max(ascent, font.ascent());
    descent = std::max(descent, font.descent());
    leading = std::max(leading, font.leading());
}

void TextLine::Layout::add(ShapedRun run) {
    Bounds ink = run.imageBounds();
    ink.x += width;
    bounds = bounds.united(ink);
    addMetrics(run.font());
    width += run.advance();
    runs.push_back(std::move(run));
}

TextLine::Bounds TextLine::Bounds::united(const Bounds& other) const {
    if (other.isEmpty()) {
        return *this;
    }
    if (isEmpty()) {
        return other;
    }
    const double left = std::min(x, other.x);
    const double bottom = std::min(y, other.y);
    return {left, bottom, std::max(x + width, other.x + other.width) - left,
            std::max(y + height, other.y + other.height) - bottom};
}

TextLine::TextLine(const AttributedString& string, std::string_view locale) {
    auto characters = charactersOf(string);
    chooseFonts(characters, locale);
    findScripts(characters);
    findLevels(characters);
    auto runs = shapedRuns(characters, locale);
    reorder(runs);
    const auto layout = std::make_shared<Layout>();
    for (const auto& run : string.runs()) {
        // Also of a run without text: an empty line is as high as its font.
        if (const auto font = fontOf(run.attributes)) {
            layout->addMetrics(*font);
        }
    }
    for (LevelledRun& run : runs) {
        layout->add(std::move(run.run));
    }
    layout_ = layout;
}

TextLine::Bounds TextLine::imageBounds() const {
    return layout_->bounds;
}

double TextLine::width() const {
    return layout_->width;
}

double TextLine::ascent() const {
    return layout_->ascent;
}

double TextLine::descent() const {
    return layout_->descent;
}

double TextLine::leading() const {
    return layout_->leading;
}

TextLine::Drawing TextLine::draw() const {
    const Bounds& ink = layout_->bounds;
    const auto pixels = [](double length) { return static_cast<int>(std::clamp<double>(length, 0, largestSide)); };
    const int left = pixels(std::ceil(-ink.x));
    const int right = pixels(std::ceil(std::max(layout_->width, ink.x + ink.width)));
    const int above = pixels(std::ceil(std::max(layout_->ascent, ink.y + ink.height)));
    const int below = pixels(std::ceil(std::max(layout_->descent, -ink.y)));
    const CairoSurface surface(std::min(left + right, largestSide), std::min(above + below, largestSide));
    draw(surface.context(), left, above);
    return {surface.image(), left, above};
}

void TextLine::draw(cairo_t* context, double x, double y) const {
    for (const ShapedRun& run : layout_->runs) {
        run.draw(context, x, y);
        x += run.advance();
    }
}

} // namespace tarnel
