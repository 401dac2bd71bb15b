#include "support/Command.hpp"
#include "support/TestPlatform.hpp"

#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/ui/Localize.hpp>
#include <TarnelSDK/ui/StringTable.hpp>
#include <TarnelSDK/ui/TextLookup.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <any>
#include <set>
#include <string>
#include <vector>

namespace tarnel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

const std::set<std::string> keysOfTheScreens{
    "pickerTitle",        "pickerFoundNearby", "recoveredDevice", "pickerSearching",  "pickerSearchingHint",
    "pickerBluetoothOff", "pickerClose",       "peerErrorTitle",  "peerErrorMessage", "ok"};

/// An application's resources, and resources of an SDK that is not this one.
class LocalizeTest : public ::testing::Test {
protected:
    LocalizeTest() {
        std::filesystem::create_directory(applicationFolder());
        platform.application->setResourceDirectory(applicationFolder());
    }

    std::filesystem::path applicationFolder() const { return folder.path() / "application"; }
    std::filesystem::path applicationBundle() const { return applicationFolder() / "TarnelSDK_TarnelFonts.bundle"; }

    static void write(const std::filesystem::path& bundle, const std::string& language, const std::string& table) {
        std::filesystem::create_directories(bundle / (language + ".lproj"));
        test::writeText(bundle / (language + ".lproj") / "Localizable.strings", table);
    }

    std::string text(const std::string& locale, const std::string& key = "ok") const {
        return findText(key, {applicationFolder(), {}}, locale);
    }

    test::TemporaryFolder folder;
    test::TestPlatform platform;
};

TEST_F(LocalizeTest, GivesTheTextsOfTheSDKInTheUsersLanguage) {
    platform.application->setLocale("de-AT");
    EXPECT_EQ(Localize::string("pickerClose"), "Schließen");
    platform.application->setLocale("zh_CN.UTF-8");
    EXPECT_EQ(Localize::string("pickerClose"), "关闭");
    platform.application->setLocale("ar-EG");
    EXPECT_EQ(Localize::string("ok"), "حسنًا");
    platform.application->setLocale("sw-KE");
    EXPECT_EQ(Localize::string("pickerClose"), "Close");
    EXPECT_EQ(Localize::findResourceBundle()->filename(), "TarnelSDK_TarnelSDK.bundle");
}

TEST_F(LocalizeTest, AnUnknownKeyReturnsTheKey) {
    EXPECT_EQ(Localize::string("no such key"), "no such key");
    EXPECT_EQ(Localize::string(""), "");
}

TEST_F(LocalizeTest, TheApplicationsBundleOfFontsGoesBeforeTheSDKs) {
    write(applicationBundle(), "en", "ok = \"Right\";");
    EXPECT_EQ(Localize::findResourceBundle(), applicationBundle());
    EXPECT_EQ(Localize::string("ok"), "Right");
    EXPECT_EQ(Localize::string("pickerClose"), "pickerClose") << "one bundle is looked in, and no other";
}

TEST_F(LocalizeTest, ABundleIsAFolder) {
    test::writeText(applicationBundle(), "a file");
    EXPECT_EQ(Localize::findResourceBundle()->filename(), "TarnelSDK_TarnelSDK.bundle");
}

TEST_F(LocalizeTest, TheFirstOfTheSDKsFoldersThatHasABundleCounts) {
    const auto built = folder.path() / "built";
    const auto installed = folder.path() / "installed";
    const TextPlaces places{std::nullopt, {built, installed}};
    EXPECT_EQ(findTextBundle(places), std::nullopt);
    write(installed / "TarnelSDK_TarnelSDK.bundle", "en", "ok = \"Installed\";");
    EXPECT_EQ(findText("ok", places, "en"), "Installed");
    write(built / "TarnelSDK_TarnelSDK.bundle", "en", "ok = \"Built\";");
    EXPECT_EQ(findText("ok", places, "en"), "Built");
}

TEST_F(LocalizeTest, WithNeitherResourceBundlePresentTextsComeFromTheApplicationsOwnTable) {
    write(applicationFolder(), "en", "ok = \"Own\";");
    EXPECT_EQ(findTextBundle({applicationFolder(), {folder / "nowhere"}}), std::nullopt);
    EXPECT_EQ(text("en"), "Own");
    EXPECT_EQ(text("en", "pickerClose"), "pickerClose");
    EXPECT_EQ(findText("ok", {std::nullopt, {}}, "en"), "ok") << "there is no application folder either";
}

TEST_F(LocalizeTest, FallsBackFromTheRegionToTheLanguageToEnglish) {
    write(applicationFolder(), "en", "ok = \"en\"; a = \"en a\"; b = \"en b\";");
    write(applicationFolder(), "de", "ok = \"de\"; a = \"de a\";");
    write(applicationFolder(), "de-AT", "ok = \"de-AT\";");
    EXPECT_EQ(text("de-AT"), "de-AT");
    EXPECT_EQ(text("de-AT", "a"), "de a");
    EXPECT_EQ(text("de-AT", "b"), "en b");
    EXPECT_EQ(text("de_CH.UTF-8"), "de");
    EXPECT_EQ(text("DE"), "de");
    EXPECT_EQ(text("it"), "en");
}

TEST_F(LocalizeTest, TellsTheTwoWritingsOfChineseApart) {
    write(applicationFolder(), "en", "ok = \"en\";");
    write(applicationFolder(), "zh-Hans", "ok = \"simplified\";");
    EXPECT_EQ(text("zh-CN"), "simplified");
    EXPECT_EQ(text("zh"), "simplified");
    EXPECT_EQ(text("zh-Hans-HK"), "simplified");
    EXPECT_EQ(text("zh-TW"), "en") << "another writing would be worse than another language";
}

TEST_F(LocalizeTest, KnowsTheTraditionalWritingByTheRegion) {
    write(applicationFolder(), "zh-Hans", "ok = \"simplified\";");
    write(applicationFolder(), "zh-Hant", "ok = \"traditional\";");
    write(applicationFolder(), "zh-Hant-HK", "ok = \"Hong Kong\";");
    EXPECT_EQ(text("zh-Hant-TW"), "traditional");
    EXPECT_EQ(text("zh-MO"), "traditional");
    EXPECT_EQ(text("zh-HK"), "Hong Kong");
}

TEST_F(LocalizeTest, ALocaleThatIsNoneLeadsToEnglishAndNowhereElse) {
    write(applicationFolder(), "en", "ok = \"en\";");
    for (const char* locale : {"", "C", "POSIX", "../../etc", "..", "/", "x-private", "d\x80"}) {
        EXPECT_EQ(text(locale), "en") << locale;
    }
}

TEST_F(LocalizeTest, ABrokenTableIsLoggedOnceAndCountsAsEmpty) {
    write(applicationBundle(), "en", "ok = \"fine\";");
    write(applicationBundle(), "de", "\nok = nonsense;");
    platform.application->setLocale("de");
    setLogEnabled(true);
    std::vector<std::string> lines;
    const auto observation = platform.notificationCenter().observe("log", [&](const auto& notification) {
        lines.push_back(std::any_cast<std::string>(notification.userInfo.at("msg")));
        EXPECT_EQ(Localize::string("other"), "other") << "an observer of the log may ask for texts";
    });
    EXPECT_EQ(Localize::string("ok"), "fine");
    EXPECT_EQ(Localize::string("ok"), "fine");
    setLogEnabled(false);
    ASSERT_THAT(lines, Not(IsEmpty()));
    EXPECT_THAT(lines[0], HasSubstr("Localizable.strings:2: a text in quotes is missing"));
}

TEST(LocalizedTexts, OfEveryLanguageHaveEveryKeyAndNoOther) {
    std::set<std::string> languages;
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(TARNEL_SOURCE_RESOURCES) /
                                                                 "TarnelSDK_TarnelSDK.bundle")) {
        languages.insert(entry.path().stem().string());
        const auto result = readStringTable(entry.path() / "Localizable.strings");
        ASSERT_TRUE(result) << entry.path();
        EXPECT_FALSE(result->error) << entry.path();
        std::set<std::string> keys;
        for (const auto& [key, text] : result->table) {
            keys.insert(key);
            EXPECT_THAT(text, Not(IsEmpty())) << entry.path() << key;
        }
        EXPECT_EQ(keys, keysOfTheScreens) << entry.path();
    }
    EXPECT_THAT(languages, ElementsAre("ar", "de", "en", "es", "fr", "ja", "zh-Hans"));
}

} // namespace
} // namespace tarnel
