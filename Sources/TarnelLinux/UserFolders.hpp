#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace tarnel {

/// Gives the value of an environment variable; empty when it is not set or has no text.
using Environment = std::function<std::optional<std::string>(const std::string& name)>;

/// The environment of this process. Called on any thread, as long as nobody changes the environment.
Environment processEnvironment();

/// The user's home: "HOME", or what the system's user database says; empty when neither names an absolute path.
std::optional<std::filesystem::path> homeFolder(const Environment& environment);

/// Where the user's programs keep their settings: "XDG_CONFIG_HOME", or ".config" in the home, after XDG Base
/// Directory 0.8. It need not exist.
std::optional<std::filesystem::path> configurationFolder(const Environment& environment);

/// The user's documents, as "user-dirs.dirs" in the configuration folder names them (xdg-user-dirs), or an existing
/// "Documents" in the home. Empty when there is no such folder.
std::optional<std::filesystem::path> documentsFolder(const Environment& environment);

/// A POSIX locale name ("de_AT.UTF-8@euro") as a BCP 47 tag ("de-AT"); empty for "C", "POSIX" and what is no such name.
std::optional<std::string> languageTagOfLocale(const std::string& locale);

} // namespace tarnel
