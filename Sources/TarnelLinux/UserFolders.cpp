#include <TarnelLinux/UserFolders.hpp>

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <string_view>
#include <utility>
#include <vector>

namespace tarnel {

namespace fs = std::filesystem;

namespace {

std::optional<fs::path> absolute(std::optional<std::string> text) {
    // XDG Base Directory 0.8 wants relative paths ignored.
    if (!text || !text->starts_with('/')) {
        return std::nullopt;
    }
    return fs::path(*std::move(text));
}

std::optional<fs::path> homeOfUserDatabase() {
    std::array<char, 16384> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found || !found->pw_dir) {
        return std::nullopt;
    }
    return absolute(std::string(found->pw_dir));
}

bool isFolder(const fs::path& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

/// The value of a line `XDG_DOCUMENTS_DIR="$HOME/Documents"`, a backslash quoting the character behind it.
std::optional<std::string> documentsEntry(std::string_view line) {
    constexpr std::string_view name = "XDG_DOCUMENTS_DIR=\"";
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    if (!line.starts_with(name)) {
        return std::nullopt;
    }
    line.remove_prefix(name.size());
    std::string value;
    for (std::size_t i = 0; i < line.size() && line[i] != '"'; ++i) {
        if (line[i] == '\\' && i + 1 < line.size()) {
            ++i;
        }
        value += line[i];
    }
    return value;
}

bool isAlphanumeric(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    });
}

bool isLetters(std::string_view text) {
    return isAlphanumeric(text) && std::none_of(text.begin(), text.end(), [](char c) { return c <= '9'; });
}

bool isRegion(std::string_view text) {
    const bool isNumber = std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
    return (text.size() == 2 && isLetters(text)) || (text.size() == 3 && isNumber);
}

/// What a modifier ("@latin") says about the script, as glibc names scripts.
std::string_view scriptOf(std::string_view modifier) {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 4> scripts{
        {{"latin", "Latn"}, {"cyrillic", "Cyrl"}, {"devanagari", "Deva"}, {"iqtelif", "Latn"}}};
    for (const auto& [name, script] : scripts) {
        if (modifier == name) {
            return script;
        }
    }
    return {};
}

} // namespace

Environment processEnvironment() {
    return [](const std::string& name) -> std::optional<std::string> {
        const char* value = std::getenv(name.c_str());
        return value && *value ? std::optional<std::string>(value) : std::nullopt;
    };
}

std::optional<fs::path> homeFolder(const Environment& environment) {
    if (auto home = absolute(environment("HOME"))) {
        return home;
    }
    return homeOfUserDatabase();
}

std::optional<fs::path> configurationFolder(const Environment& environment) {
    if (auto folder = absolute(environment("XDG_CONFIG_HOME"))) {
        return folder;
    }
    const auto home = homeFolder(environment);
    return home ? std::optional(*home / ".config") : std::nullopt;
}

std::optional<fs::path> documentsFolder(const Environment& environment) {
    const auto home = homeFolder(environment);
    const auto configuration = configurationFolder(environment);
    if (!home || !configuration) {
        return std::nullopt;
    }
    std::optional<fs::path> named;
    std::ifstream file(*configuration / "user-dirs.dirs");
    for (std::string line; std::getline(file, line);) {
        const auto entry = documentsEntry(line);
        if (!entry) {
            continue;
        }
        constexpr std::string_view homeVariable = "$HOME/";
        named = entry->starts_with(homeVariable) ? *home / entry->substr(homeVariable.size()) : fs::path(*entry);
    }
    const fs::path folder = named.value_or(*home / "Documents");
    return folder.is_absolute() && isFolder(folder) ? std::optional(folder) : std::nullopt;
}

std::optional<std::string> languageTagOfLocale(const std::string& locale) {
    const std::string_view text = locale;
    const auto at = text.find('@');
    const std::string_view modifier = at == std::string_view::npos ? std::string_view() : text.substr(at + 1);
    const std::string_view name = text.substr(0, text.find_first_of(".@"));
    const auto underscore = name.find('_');
    const std::string_view language = name.substr(0, underscore);
    if (language.size() < 2 || language.size() > 3 || !isLetters(language)) {
        return std::nullopt;
    }
    std::string tag(language);
    if (const auto script = scriptOf(modifier); !script.empty()) {
        tag.append("-").append(script);
    }
    if (underscore != std::string_view::npos) {
        const std::string_view region = name.substr(underscore + 1);
        if (!isRegion(region)) {
            return std::nullopt;
        }
        tag.append("-").append(region);
    }
    if (modifier == "valencia") {
        tag += "-valencia";
    }
    return tag;
}

} // namespace tarnel
