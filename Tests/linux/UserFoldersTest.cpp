#include <TarnelLinux/LinuxApplication.hpp>
#include <TarnelLinux/UserFolders.hpp>

#include <gtest/gtest.h>
#include <support/Command.hpp>

#include <map>

namespace tarnel {
namespace {

namespace fs = std::filesystem;

Environment environment(std::map<std::string, std::string> variables) {
    return [variables = std::move(variables)](const std::string& name) -> std::optional<std::string> {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    };
}

TEST(UserFolders, keepSettingsWhereTheUserSays) {
    EXPECT_EQ(configurationFolder(environment({{"HOME", "/home/ada"}})), fs::path("/home/ada/.config"));
    EXPECT_EQ(configurationFolder(environment({{"HOME", "/home/ada"}, {"XDG_CONFIG_HOME", "/srv/settings"}})),
              fs::path("/srv/settings"));
    EXPECT_EQ(configurationFolder(environment({{"HOME", "/home/ada"}, {"XDG_CONFIG_HOME", "settings"}})),
              fs::path("/home/ada/.config"))
        << "a relative path counts for nothing";
}

TEST(UserFolders, findTheHomeWithoutAnEnvironment) {
    const auto home = homeFolder(environment({}));
    if (home) {
        EXPECT_TRUE(home->is_absolute());
    }
    EXPECT_EQ(homeFolder(environment({{"HOME", "here"}})), home);
}

TEST(UserFolders, findTheDocumentsThatTheDesktopNames) {
    const test::TemporaryFolder home;
    const auto ada = environment({{"HOME", home.path().string()}});
    EXPECT_EQ(documentsFolder(ada), std::nullopt);
    fs::create_directories(home.path() / "Documents");
    EXPECT_EQ(documentsFolder(ada), home.path() / "Documents");
    fs::create_directories(home.path() / "Meine \"Papiere\"");
    fs::create_directories(home.path() / ".config");
    test::writeText(home / ".config/user-dirs.dirs", "# folders\n"
                                                     "XDG_MUSIC_DIR=\"$HOME/Musik\"\n"
                                                     "XDG_DOCUMENTS_DIR=\"$HOME/Meine \\\"Papiere\\\"\"\n");
    EXPECT_EQ(documentsFolder(ada), home.path() / "Meine \"Papiere\"");
    test::writeText(home / ".config/user-dirs.dirs", "XDG_DOCUMENTS_DIR=\"" + home / "Documents" + "\"\n");
    EXPECT_EQ(documentsFolder(ada), home.path() / "Documents");
    for (const char* text : {"XDG_DOCUMENTS_DIR=\"/no/such/folder\"\n", "XDG_DOCUMENTS_DIR=\"relative\"\n"}) {
        test::writeText(home / ".config/user-dirs.dirs", text);
        EXPECT_EQ(documentsFolder(ada), std::nullopt) << text;
    }
}

TEST(UserFolders, readLanguagesFromLocaleNames) {
    EXPECT_EQ(languageTagOfLocale("de_AT.UTF-8@euro"), "de-AT");
    EXPECT_EQ(languageTagOfLocale("ja_JP.UTF-8"), "ja-JP");
    EXPECT_EQ(languageTagOfLocale("es_419"), "es-419");
    EXPECT_EQ(languageTagOfLocale("fil"), "fil");
    EXPECT_EQ(languageTagOfLocale("sr_RS@latin"), "sr-Latn-RS");
    EXPECT_EQ(languageTagOfLocale("ca_ES.utf8@valencia"), "ca-ES-valencia");
    for (const char* nonsense : {"C", "C.UTF-8", "POSIX", "", "de_", "de_ÖÖ", "1_2", "../../etc/passwd", "en_USA"}) {
        EXPECT_EQ(languageTagOfLocale(nonsense), std::nullopt) << nonsense;
    }
}

TEST(LinuxApplication, speaksTheFirstLanguageThatIsSet) {
    const auto locale = [](std::map<std::string, std::string> variables) {
        return LinuxApplication("org.example", std::nullopt, environment(std::move(variables))).locale();
    };
    EXPECT_EQ(locale({{"LANG", "de_DE.UTF-8"}}), "de-DE");
    EXPECT_EQ(locale({{"LANG", "de_DE.UTF-8"}, {"LC_MESSAGES", "fr_FR"}}), "fr-FR");
    EXPECT_EQ(locale({{"LANG", "de_DE.UTF-8"}, {"LC_MESSAGES", "fr_FR"}, {"LC_ALL", "C"}}), "en-US");
    EXPECT_EQ(locale({}), "en-US");
}

TEST(LinuxApplication, isActiveUntilItSaysOtherwise) {
    LinuxApplication application("org.example", "/usr/share/example", environment({}));
    EXPECT_EQ(application.state(), platform::ApplicationState::active);
    application.setState(platform::ApplicationState::background);
    EXPECT_EQ(application.state(), platform::ApplicationState::background);
    EXPECT_EQ(application.bundleIdentifier(), "org.example");
    EXPECT_EQ(application.resourceDirectory(), fs::path("/usr/share/example"));
}

TEST(LinuxApplication, speaksTheLanguageThatItIsGiven) {
    const auto environment_ = environment({{"LANG", "de_AT.UTF-8"}});
    EXPECT_EQ(LinuxApplication("org.example", std::nullopt, environment_).locale(), "de-AT");
    EXPECT_EQ(LinuxApplication("org.example", std::nullopt, environment_, "ja-JP").locale(), "ja-JP");
}

} // namespace
} // namespace tarnel
