#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/foundation/UTF8.hpp>
#include <TarnelSDK/glyphs/BinaryFont.hpp>
#include <TarnelSDK/glyphs/CharacterFilter.hpp>
#include <TarnelSDK/glyphs/Glypher.hpp>
#include <TarnelSDK/glyphs/LanguageTag.hpp>
#include <TarnelSDK/glyphs/ResourceBundle.hpp>
#include <TarnelSDK/glyphs/SystemFonts.hpp>
#include <TarnelSDK/glyphs/Typeface.hpp>
#include <TarnelSDK/platform/Platform.hpp>

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <utility>

namespace tarnel {
namespace {

using platform::Platform;

struct ResourceFont {
    const char* file;
    bool isHan;
};

constexpr ResourceFont resourceFonts[] = {
    {"NotoSans-Regular.ttf", false},
    {"NotoEmoji-Regular.ttf", false},
    {"NotoSansCJK-Regular.ttc", true},
};

double inRange(double size) {
    return std::isnan(size) ? Glypher::defaultFontSize
                            : std::clamp(size, Glypher::minimumFontSize, Glypher::maximumFontSize);
}

double storedFontSize() {
    const auto stored = Platform::current().services().userDefaults->object("fontSize").integer();
    return inRange(stored ? static_cast<double>(*stored) : Glypher::defaultFontSize);
}

std::string applicationLocale() {
    return Platform::current().services().application->locale();
}

/// The face of the CJK collection for a locale, in the order of Noto's collections.
int hanFace(std::string_view preferredLocale) {
    HanForms forms = hanForms(languageTag(preferredLocale));
    if (forms == HanForms::none) {
        forms = hanForms(languageTag(applicationLocale()));
    }
    switch (forms) {
    case HanForms::none:
    case HanForms::japanese:
        return 0;
    case HanForms::korean:
        return 1;
    case HanForms::simplified:
        return 2;
    case HanForms::traditional:
        return 3;
    case HanForms::hongKong:
        return 4;
    }
    return 0;
}

/// The font at the face for a locale, or as it is when the collection has no such face.
Font withHanFace(const Font& font, int face) {
    const auto& typeface = *font.typeface();
    if (face == typeface.face() || face >= Typeface::faceCount(typeface.file())) {
        return font;
    }
    return Font::withFile(typeface.file(), font.pointSize(), face).value_or(font);
}

int rounded(double value) {
    constexpr double limit = 1 << 24;
    return static_cast<int>(std::lround(std::clamp(value, -limit, limit)));
}

BinaryFontMetrics metricsOf(const Font& font) {
    return {rounded(font.pointSize()), rounded(font.ascent()), rounded(font.descent()), rounded(font.leading())};
}

GlyphRun makeRun(const Font& font, std::u32string_view codePoints) {
    GlyphRun run{.font = font, .glyphs = {}, .codePoints = {}, .boundingBoxes = {}, .advances = {}, .bitmaps = {}};
    for (const char32_t codePoint : codePoints) {
        const auto glyph = font.typeface()->glyph(codePoint);
        // Data that is broken would leave the lists of different lengths.
        if (glyph != 0 && font.typeface()->bitmap(glyph, font.pointSize())) {
            run.glyphs.push_back(static_cast<std::uint16_t>(glyph));
            run.codePoints.push_back(codePoint);
        }
    }
    run.boundingBoxes = boundingRects(font, run.glyphs);
    run.advances = advances(font, run.glyphs);
    run.bitmaps = toPixelData(font, run.boundingBoxes, run.glyphs);
    return run;
}

void addGlyphs(std::map<char32_t, BinaryFontGlyph>& glyphs, const GlyphRun& run) {
    if (run.bitmaps.size() != run.glyphs.size()) {
        return;
    }
    for (std::size_t i = 0; i < run.glyphs.size(); ++i) {
        const auto& box = run.boundingBoxes[i];
        glyphs[run.codePoints[i]] = {std::max(0, rounded(run.advances[i])),
                                     rounded(box.x),
                                     rounded(box.y),
                                     rounded(box.width),
                                     rounded(box.height),
                                     run.bitmaps[i]};
    }
}

} // namespace

Glypher::Glypher() : fontSize_(storedFontSize()) {
    updateFonts();
}

void Glypher::updateFonts() {
    const std::lock_guard lock(mutex_);
    fillChain();
}

void Glypher::fillChain() {
    chain_.clear();
    if (customFont_) {
        customFont_ = customFont_->withSize(fontSize_);
        chain_.push_back({*customFont_, false});
    }
    const auto bundle = findResourceBundle();
    if (!bundle) {
        return;
    }
    for (const auto& resource : resourceFonts) {
        const auto file = *bundle / resource.file;
        if (Typeface::faceCount(file) == 0) {
            continue;
        }
        if (auto font = Font::withFile(file, fontSize_)) {
            chain_.push_back({resource.isHan ? withHanFace(*font, hanFace({})) : *font, resource.isHan});
        }
    }
}

Glypher::Chain Glypher::chainFor(std::string_view preferredLocale) const {
    const std::lock_guard lock(mutex_);
    Chain chain{.fonts = {}, .size = fontSize_};
    for (const auto& entry : chain_) {
        chain.fonts.push_back(entry.isHan ? withHanFace(entry.font, hanFace(preferredLocale)) : entry.font);
    }
    return chain;
}

std::vector<Font> Glypher::fonts() const {
    std::vector<Font> fonts;
    const std::lock_guard lock(mutex_);
    for (const auto& entry : chain_) {
        fonts.push_back(entry.font);
    }
    return fonts;
}

std::vector<std::shared_ptr<const CharacterSet>> Glypher::characterSets() const {
    std::vector<std::shared_ptr<const CharacterSet>> sets;
    for (const auto& font : fonts()) {
        sets.push_back(font.characterSet());
    }
    return sets;
}

std::shared_ptr<const CharacterSet> Glypher::lastCharacterSet() const {
    const std::lock_guard lock(mutex_);
    return lastCharacterSet_;
}

double Glypher::fontSize() const {
    const std::lock_guard lock(mutex_);
    return fontSize_;
}

void Glypher::setFontSize(double size) {
    const std::lock_guard lock(mutex_);
    fontSize_ = inRange(size);
    const auto openFonts = chain_;
    fillChain();
}

std::optional<Font> Glypher::customFont() const {
    const std::lock_guard lock(mutex_);
    return customFont_;
}

void Glypher::setCustomFont(std::optional<Font> font) {
    const std::lock_guard lock(mutex_);
    customFont_ = std::move(font);
    const auto openFonts = chain_;
    fillChain();
}

bool Glypher::shouldGlyph() const {
    const std::lock_guard lock(mutex_);
    return shouldGlyph_;
}

void Glypher::setShouldGlyph(bool shouldGlyph) {
    const std::lock_guard lock(mutex_);
    shouldGlyph_ = shouldGlyph;
}

std::optional<Bytes> Glypher::toBinFont(std::string_view string, std::string_view preferredLocale) {
    constexpr std::string_view operation = "toBinFont(string:preferredLocale:)";
    if (!shouldGlyph()) {
        return std::nullopt;
    }
    const auto characters = charactersOfText(string);
    if (characters.drawn.size() + characters.invisible.size() >
        maximumBinaryFontCharacters) { // they are not drawn only to be refused
        log("the text has more than 65,534 different characters; use less text", {operation});
        return std::nullopt;
    }
    const Chain chain = chainFor(preferredLocale);
    std::map<char32_t, BinaryFontGlyph> glyphs;
    for (const auto& run : createRuns(attributedString(chain, characters.drawn, preferredLocale))) {
        addGlyphs(glyphs, run);
    }
    for (const char32_t codePoint : characters.invisible) {
        glyphs[codePoint] = {};
    }
    if (glyphs.empty()) {
        return std::nullopt;
    }
    const auto first = chain.fonts.empty() ? Font::system(chain.size) : chain.fonts.front();
    auto font = writeBinaryFont(first ? metricsOf(*first) : BinaryFontMetrics{rounded(chain.size)}, glyphs);
    if (const auto* error = std::get_if<BinaryFontError>(&font)) {
        log(error->message, {operation});
        return std::nullopt;
    }
    std::u32string members;
    for (const auto& [codePoint, glyph] : glyphs) {
        members.push_back(codePoint);
    }
    const std::lock_guard lock(mutex_);
    lastCharacterSet_ = std::make_shared<CharacterSet>(members);
    return std::get<Bytes>(std::move(font));
}

AttributedString Glypher::createAttributedStringForGlyphMaking(std::string_view string,
                                                               std::string_view preferredLocale) const {
    return attributedString(chainFor(preferredLocale), charactersOfText(string).drawn, preferredLocale);
}

AttributedString Glypher::attributedString(const Chain& chain, std::u32string_view codePoints,
                                           std::string_view preferredLocale) {
    const std::vector<std::string> languages{std::string(preferredLocale), applicationLocale()};
    const auto fontOf = [&](char32_t codePoint) -> std::optional<Font> {
        for (const auto& font : chain.fonts) {
            if (font.isGlyphSupported(codePoint)) {
                return font;
            }
        }
        return replacementFont(codePoint, languages, chain.size);
    };

    AttributedString result;
    std::u32string part;
    std::optional<Font> partFont;
    const auto finishPart = [&] {
        if (!part.empty()) {
            result.append(encodeUTF8(part), {.font = partFont});
            part.clear();
        }
    };
    for (const char32_t codePoint : codePoints) {
        auto font = fontOf(codePoint);
        if (font != partFont) {
            finishPart();
            partFont = std::move(font);
        }
        part.push_back(codePoint);
    }
    finishPart();
    return result;
}

std::vector<GlyphRun> Glypher::createRuns(const AttributedString& string) {
    std::vector<GlyphRun> runs;
    for (const auto& part : string.runs()) {
        if (!part.attributes.font) {
            continue;
        }
        if (auto run = makeRun(*part.attributes.font, decodeUTF8(part.text)); !run.glyphs.empty()) {
            runs.push_back(std::move(run));
        }
    }
    return runs;
}

std::unordered_map<std::uint16_t, char32_t> Glypher::createUnicodeFontMap(const Font& font) {
    std::unordered_map<std::uint16_t, char32_t> map;
    const auto set = font.characterSet();
    for (auto codePoint = static_cast<char32_t>(-1); set->next(codePoint);) {
        const bool isSurrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
        if (const auto glyph = font.typeface()->glyph(codePoint); glyph != 0 && !isSurrogate) {
            map[static_cast<std::uint16_t>(glyph)] = codePoint;
        }
    }
    return map;
}

} // namespace tarnel
