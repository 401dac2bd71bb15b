#pragma once

#include <string>
#include <string_view>

namespace tarnel {

/// The parts of a BCP 47 tag that choose fonts, e.g. "zh-Hant-HK". Parts that a tag does not have, and all of one that
/// is no tag, are empty.
struct LanguageTag {
    std::string language; ///< lower case, "zh"
    std::string script;   ///< title case, "Hant"
    std::string region;   ///< upper case, "HK"

    friend bool operator==(const LanguageTag&, const LanguageTag&) = default;
};

/// Also takes the POSIX form, "zh_HK.UTF-8".
LanguageTag languageTag(std::string_view tag);

/// Which national forms Han characters have.
enum class HanForms { none, japanese, korean, simplified, traditional, hongKong };

/// `none` for a language that is not written with Han characters.
HanForms hanForms(const LanguageTag& tag);

} // namespace tarnel
