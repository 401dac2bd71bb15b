#include <TarnelSDK/glyphs/LanguageTag.hpp>

#include <algorithm>

namespace tarnel {
namespace {

// Tags are ASCII, whatever the process's locale.
constexpr bool isLetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

constexpr bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

constexpr char lower(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

constexpr char upper(char character) {
    return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
}

bool areLetters(std::string_view part) {
    return std::all_of(part.begin(), part.end(), isLetter);
}

std::string lowered(std::string_view part) {
    std::string result(part);
    std::transform(result.begin(), result.end(), result.begin(), lower);
    return result;
}

/// Cuts the first part off.
std::string_view takePart(std::string_view& rest) {
    const auto end = std::min(rest.find_first_of("-_"), rest.size());
    const auto part = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return part;
}

} // namespace

LanguageTag languageTag(std::string_view tag) {
    tag = tag.substr(0, tag.find_first_of(".@"));
    LanguageTag result;
    const auto language = takePart(tag);
    if (language.size() < 2 || language.size() > 3 || !areLetters(language)) {
        return result;
    }
    result.language = lowered(language);
    while (!tag.empty()) {
        const auto part = takePart(tag);
        if (part.size() == 1) {
            break; // An extension follows.
        }
        if (part.size() == 4 && areLetters(part) && result.script.empty() && result.region.empty()) {
            result.script = lowered(part);
            result.script[0] = upper(result.script[0]);
        } else if (((part.size() == 2 && areLetters(part)) ||
                    (part.size() == 3 && std::all_of(part.begin(), part.end(), isDigit))) &&
                   result.region.empty()) {
            result.region = part;
            std::transform(result.region.begin(), result.region.end(), result.region.begin(), upper);
        }
    }
    return result;
}

HanForms hanForms(const LanguageTag& tag) {
    if (tag.language == "ja") {
        return HanForms::japanese;
    }
    if (tag.language == "ko") {
        return HanForms::korean;
    }
    if (tag.language == "yue" && tag.script != "Hans") {
        return HanForms::hongKong;
    }
    if (tag.language != "zh" && tag.language != "yue") {
        return HanForms::none;
    }
    if (tag.script == "Hans") {
        return HanForms::simplified;
    }
    if (tag.region == "HK" || tag.region == "MO") {
        return HanForms::hongKong;
    }
    return tag.script == "Hant" || tag.region == "TW" ? HanForms::traditional : HanForms::simplified;
}

} // namespace tarnel
