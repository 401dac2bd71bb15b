#include <TarnelSDK/glyphs/LanguageTag.hpp>
#include <TarnelSDK/glyphs/SystemFonts.hpp>
#include <TarnelSDK/glyphs/Typeface.hpp>

#include <fontconfig/fontconfig.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace tarnel {
namespace {

struct PatternRelease {
    void operator()(FcPattern* pattern) const { FcPatternDestroy(pattern); }
};
struct FontSetRelease {
    void operator()(FcFontSet* set) const { FcFontSetDestroy(set); }
};
struct CharSetRelease {
    void operator()(FcCharSet* set) const { FcCharSetDestroy(set); }
};
using Pattern = std::unique_ptr<FcPattern, PatternRelease>;
using FontSet = std::unique_ptr<FcFontSet, FontSetRelease>;
using CharSet = std::unique_ptr<FcCharSet, CharSetRelease>;

constexpr const char* textFamily = "sans-serif";

/// Fontconfig's objects are used by one thread at a time.
std::mutex& fontconfigMutex() {
    static std::mutex mutex;
    return mutex;
}

const FcChar8* fontconfigText(const char* text) {
    return reinterpret_cast<const FcChar8*>(text);
}

/// Fontconfig's name of a language; empty when it knows none.
std::string fontconfigLanguage(std::string_view tag) {
    const LanguageTag parsed = languageTag(tag);
    switch (hanForms(parsed)) {
    case HanForms::simplified:
        return parsed.region == "SG" ? "zh-sg" : "zh-cn";
    case HanForms::traditional:
        return "zh-tw";
    case HanForms::hongKong:
        return parsed.region == "MO" ? "zh-mo" : "zh-hk";
    case HanForms::none:
    case HanForms::japanese:
    case HanForms::korean:
        break;
    }
    return FcLangGetCharSet(fontconfigText(parsed.language.c_str())) ? parsed.language : std::string();
}

/// What is asked for: outlines of one colour.
Pattern makePattern(const char* family, FontWeight weight, std::span<const std::string> languages) {
    Pattern pattern(FcPatternCreate());
    FcPatternAddString(pattern.get(), FC_FAMILY, fontconfigText(family));
    FcPatternAddInteger(pattern.get(), FC_WEIGHT, FcWeightFromOpenType(static_cast<int>(weight)));
    FcPatternAddInteger(pattern.get(), FC_SLANT, FC_SLANT_ROMAN);
    FcPatternAddBool(pattern.get(), FC_OUTLINE, FcTrue);
    FcPatternAddBool(pattern.get(), FC_SCALABLE, FcTrue);
    FcPatternAddBool(pattern.get(), FC_COLOR, FcFalse);
    FcPatternAddBool(pattern.get(), FC_VARIABLE, FcFalse);
    for (const auto& language : languages) {
        FcPatternAddString(pattern.get(), FC_LANG, fontconfigText(language.c_str()));
    }
    FcConfigSubstitute(nullptr, pattern.get(), FcMatchPattern);
    FcDefaultSubstitute(pattern.get());
    return pattern;
}

bool isTrue(FcPattern* pattern, const char* object) {
    FcBool value = FcFalse;
    return FcPatternGetBool(pattern, object, 0, &value) == FcResultMatch && value == FcTrue;
}

bool isDrawable(FcPattern* pattern) {
    return isTrue(pattern, FC_OUTLINE) && !isTrue(pattern, FC_COLOR);
}

bool isOfFamily(FcPattern* pattern, const char* family) {
    FcChar8* name = nullptr;
    for (int i = 0; FcPatternGetString(pattern, FC_FAMILY, i, &name) == FcResultMatch; ++i) {
        if (FcStrCmpIgnoreCase(name, fontconfigText(family)) == 0) {
            return true;
        }
    }
    return false;
}

struct FontFile {
    std::filesystem::path path;
    int face = 0;
};

std::optional<FontFile> fileOf(FcPattern* pattern) {
    FcChar8* file = nullptr;
    int face = 0;
    if (FcPatternGetString(pattern, FC_FILE, 0, &file) != FcResultMatch) {
        return std::nullopt;
    }
    FcPatternGetInteger(pattern, FC_INDEX, 0, &face);
    // A variable font that is no named instance of it is taken as it is by default.
    constexpr unsigned faceMask = 0xFFFF;
    constexpr unsigned variable = 0x80000000;
    if ((static_cast<unsigned>(face) & ~faceMask) == variable) {
        face &= static_cast<int>(faceMask);
    }
    return FontFile{reinterpret_cast<const char*>(file), face};
}

/// The font that comes nearest; with `isFamilyRequired`, of that family.
std::optional<Font> match(const char* family, bool isFamilyRequired, double size, FontWeight weight) {
    const std::lock_guard lock(fontconfigMutex());
    const Pattern wanted = makePattern(family, weight, {});
    FcResult result = FcResultNoMatch;
    const Pattern found(FcFontMatch(nullptr, wanted.get(), &result));
    if (!found || !isTrue(found.get(), FC_OUTLINE) || (isFamilyRequired && !isOfFamily(found.get(), family))) {
        return std::nullopt;
    }
    const auto file = fileOf(found.get());
    return file ? Font::withFile(file->path, size, file->face) : std::nullopt;
}

/// The installed fonts in the order in which they stand in for another, without those that cover nothing more.
class Cascade {
public:
    /// For languages as Fontconfig names them. The lock is held.
    Cascade(const std::vector<std::string>& languages, FontWeight weight) {
        const Pattern wanted = makePattern(textFamily, weight, languages);
        FcResult result = FcResultNoMatch;
        const FontSet sorted(FcFontSort(nullptr, wanted.get(), FcFalse, nullptr, &result));
        const CharSet covered(FcCharSetCreate());
        for (int i = 0; sorted && i < sorted->nfont; ++i) {
            add(sorted->fonts[i], covered.get());
        }
    }

    struct Entry {
        FontFile file;
        CharSet characters;
    };
    const std::vector<Entry>& entries() const { return entries_; }

private:
    void add(FcPattern* pattern, FcCharSet* covered) {
        FcCharSet* characters = nullptr;
        const auto file = fileOf(pattern);
        if (!file || !isDrawable(pattern) ||
            FcPatternGetCharSet(pattern, FC_CHARSET, 0, &characters) != FcResultMatch) {
            return;
        }
        FcBool isMore = FcFalse;
        if (FcCharSetMerge(covered, characters, &isMore) == FcTrue && isMore == FcTrue) {
            entries_.push_back({*file, CharSet(FcCharSetCopy(characters))});
        }
    }

    std::vector<Entry> entries_;
};

/// Cascades are kept: sorting the fonts takes milliseconds. The lock is held.
std::shared_ptr<const Cascade> cascade(std::span<const std::string> tags, FontWeight weight) {
    constexpr std::size_t maximumLanguages = 8;
    constexpr std::size_t maximumKept = 16;
    static std::map<std::pair<std::vector<std::string>, FontWeight>, std::shared_ptr<const Cascade>> known;

    std::vector<std::string> languages;
    for (const auto& tag : tags.first(std::min(tags.size(), maximumLanguages))) {
        auto language = fontconfigLanguage(tag);
        if (!language.empty() && std::find(languages.begin(), languages.end(), language) == languages.end()) {
            languages.push_back(std::move(language));
        }
    }
    const auto key = std::pair(languages, weight);
    if (const auto found = known.find(key); found != known.end()) {
        return found->second;
    }
    if (known.size() >= maximumKept) {
        known.clear();
    }
    return known.emplace(key, std::make_shared<Cascade>(languages, weight)).first->second;
}

} // namespace

std::optional<Font> Font::named(std::string_view family, double size, FontWeight weight) {
    return match(std::string(family).c_str(), true, size, weight);
}

std::optional<Font> Font::system(double size, FontWeight weight) {
    return match(textFamily, false, size, weight);
}

std::vector<Font> Font::getReplacementFonts(std::span<const std::string> languages) const {
    const auto weight = static_cast<FontWeight>(typeface_->metrics().weight);
    std::vector<Font> fonts;
    const std::lock_guard lock(fontconfigMutex());
    for (const auto& entry : cascade(languages, weight)->entries()) {
        if (auto font = withFile(entry.file.path, size_, entry.file.face)) {
            fonts.push_back(std::move(*font));
        }
    }
    return fonts;
}

std::optional<Font> replacementFont(char32_t codePoint, std::span<const std::string> languages, double size,
                                    FontWeight weight) {
    const std::lock_guard lock(fontconfigMutex());
    const auto fonts = cascade(languages, weight);
    for (const auto& entry : fonts->entries()) {
        if (FcCharSetHasChar(entry.characters.get(), codePoint) == FcTrue) {
            auto font = Font::withFile(entry.file.path, size, entry.file.face);
            if (font && font->isGlyphSupported(codePoint)) {
                return font;
            }
        }
    }
    return std::nullopt;
}

} // namespace tarnel
