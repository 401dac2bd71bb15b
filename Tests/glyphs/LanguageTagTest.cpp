#include <TarnelSDK/glyphs/LanguageTag.hpp>

#include <gtest/gtest.h>

namespace tarnel {
namespace {

TEST(LanguageTag, HasItsPartsInTheirUsualSpelling) {
    EXPECT_EQ(languageTag("ZH-hant-hk"), (LanguageTag{"zh", "Hant", "HK"}));
    EXPECT_EQ(languageTag("ja"), (LanguageTag{"ja", "", ""}));
    EXPECT_EQ(languageTag("en-US"), (LanguageTag{"en", "", "US"}));
    EXPECT_EQ(languageTag("es-419"), (LanguageTag{"es", "", "419"}));
    EXPECT_EQ(languageTag("zh_TW.UTF-8"), (LanguageTag{"zh", "", "TW"}));
    EXPECT_EQ(languageTag("de-1996-u-co-phonebk"), (LanguageTag{"de", "", ""}));
    EXPECT_EQ(languageTag("sr-Latn-RS-x-zz"), (LanguageTag{"sr", "Latn", "RS"}));
}

TEST(LanguageTag, OfNonsenseIsEmpty) {
    for (const auto* tag : {"", "-", "C", "x", "a-b", "12", "toolong-DE", "\xE6\x97\xA5", "--zh"}) {
        EXPECT_EQ(languageTag(tag), LanguageTag{}) << tag;
    }
}

TEST(LanguageTag, TellsTheFormsOfHanCharacters) {
    const auto forms = [](const char* tag) { return hanForms(languageTag(tag)); };
    EXPECT_EQ(forms("ja-JP"), HanForms::japanese);
    EXPECT_EQ(forms("ko-KR"), HanForms::korean);
    for (const auto* tag : {"zh", "zh-Hans", "zh-CN", "zh-SG", "zh-Hans-HK"}) {
        EXPECT_EQ(forms(tag), HanForms::simplified) << tag;
    }
    for (const auto* tag : {"zh-Hant", "zh-TW", "zh-Hant-TW"}) {
        EXPECT_EQ(forms(tag), HanForms::traditional) << tag;
    }
    for (const auto* tag : {"zh-HK", "zh-MO", "zh-Hant-HK", "yue"}) {
        EXPECT_EQ(forms(tag), HanForms::hongKong) << tag;
    }
    for (const auto* tag : {"en-US", "", "de", "vi"}) {
        EXPECT_EQ(forms(tag), HanForms::none) << tag;
    }
}

} // namespace
} // namespace tarnel
