#include <TarnelLinux/SQLiteFile.hpp>
#include <TarnelLinux/SettingsStore.hpp>
#include <TarnelLinux/doctor/MachineFiles.hpp>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <fstream>
#include <string_view>
#include <utility>

namespace tarnel::doctor {

using Result = Finding::Result;

namespace {

constexpr std::size_t longestFile = 1024 * 1024;
constexpr const char* glassesService = "39191400-bfc2-4bee-a81a-28c23b6ac84a";

std::string trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const auto first = text.find_first_not_of(blanks);
    const auto last = text.find_last_not_of(blanks);
    return first == std::string_view::npos ? "" : std::string(text.substr(first, last - first + 1));
}

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return text;
}

/// Calls `entry` with section, key and value of each line of a key file.
template <typename Entry>
void readKeyFile(const std::string& text, const Entry& entry) {
    std::string section;
    for (std::size_t at = 0; at < text.size();) {
        const auto end = std::min(text.find('\n', at), text.size());
        const std::string line = trimmed(std::string_view(text).substr(at, end - at));
        at = end + 1;
        const auto equals = line.find('=');
        if (line.starts_with('[') && line.ends_with(']')) {
            section = line.substr(1, line.size() - 2);
        } else if (!line.starts_with('#') && equals != std::string::npos) {
            entry(section, trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)));
        }
    }
}

bool isSet(const fs::path& file) {
    return trimmed(readSmallFile(file).value_or("")) == "1";
}

std::vector<fs::path> entriesOf(const fs::path& folder) {
    std::vector<fs::path> entries;
    std::error_code error;
    for (fs::directory_iterator each(folder, error), end; !error && each != end; each.increment(error)) {
        entries.push_back(each->path());
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

std::string shellQuoted(const fs::path& path) {
    std::string text = "'";
    for (const char character : path.string()) {
        text += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return text + "'";
}

} // namespace

std::optional<std::string> readSmallFile(const fs::path& path) {
    std::error_code error;
    if (!fs::is_regular_file(path, error)) {
        return std::nullopt;
    }
    std::ifstream file(path, std::ios::binary);
    std::string text(longestFile, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (file.bad() || (!file.eof() && file.fail())) {
        return std::nullopt;
    }
    text.resize(static_cast<std::size_t>(file.gcount()));
    return file.is_open() ? std::optional(std::move(text)) : std::nullopt;
}

bool isContainer(const fs::path& root) {
    std::error_code error;
    return fs::exists(root / ".dockerenv", error) || fs::exists(root / "run/.containerenv", error) ||
           fs::exists(root / "run/systemd/container", error);
}

std::string installCommand(const fs::path& root, const std::string& package) {
    constexpr std::array<std::pair<const char*, const char*>, 4> tools{{{"apt-get", "sudo apt-get install "},
                                                                        {"dnf", "sudo dnf install "},
                                                                        {"pacman", "sudo pacman -S "},
                                                                        {"zypper", "sudo zypper install "}}};
    std::error_code error;
    for (const auto& [tool, command] : tools) {
        if (fs::exists(root / "usr/bin" / tool, error)) {
            return command + package;
        }
    }
    return tools.front().second + package;
}

bool isDaemonInstalled(const fs::path& root) {
    constexpr std::array<const char*, 4> places{"usr/libexec/bluetooth/bluetoothd", "usr/lib/bluetooth/bluetoothd",
                                                "usr/sbin/bluetoothd", "usr/lib/bluez/bluetoothd"};
    std::error_code error;
    return std::any_of(places.begin(), places.end(),
                       [&](const char* place) { return fs::exists(root / place, error); });
}

std::vector<std::string> kernelControllers(const fs::path& root) {
    std::vector<std::string> names;
    for (const auto& entry : entriesOf(root / "sys/class/bluetooth")) {
        const std::string name = entry.filename().string();
        // "hci0:64" is a connection of hci0.
        if (name.starts_with("hci") && name.find(':') == std::string::npos) {
            names.push_back(name);
        }
    }
    return names;
}

Finding checkSwitch(const fs::path& root) {
    std::size_t switches = 0;
    for (const auto& entry : entriesOf(root / "sys/class/rfkill")) {
        if (trimmed(readSmallFile(entry / "type").value_or("")) != "bluetooth") {
            continue;
        }
        ++switches;
        const std::string name = trimmed(readSmallFile(entry / "name").value_or(entry.filename().string()));
        if (isSet(entry / "hard")) {
            return {"switch", Result::problem,
                    "the radio of " + name + " is switched off by a key or switch of the machine, or in its firmware",
                    "rfkill event   (shows that the key or switch works)"};
        }
        if (isSet(entry / "soft")) {
            return {"switch", Result::problem, "the radio of " + name + " is blocked (rfkill)",
                    "sudo rfkill unblock bluetooth"};
        }
    }
    if (switches == 0) {
        return {"switch", Result::notChecked, "the kernel tells of no switch for Bluetooth (rfkill)", ""};
    }
    return {"switch", Result::ok, "no radio is blocked", ""};
}

Finding checkCache(const fs::path& root, const std::string& adapterAddress, const std::string& deviceAddress) {
    const fs::path folder = root / "var/lib/bluetooth";
    const fs::path file = folder / adapterAddress / "cache" / deviceAddress;
    std::error_code error;
    const bool isThere = fs::exists(file, error);
    if (error || (!isThere && ::access(folder.c_str(), R_OK | X_OK) != 0)) {
        return {"cache", Result::notChecked, "only root may read what the daemon has kept of the glasses", ""};
    }
    if (!isThere) {
        return {"cache", Result::ok, "the daemon has kept nothing of the glasses", ""};
    }
    const auto text = readSmallFile(file);
    if (!text) {
        return {"cache", Result::notChecked, file.string() + " cannot be read", ""};
    }
    bool hasAttributes = false;
    bool hasService = false;
    readKeyFile(*text, [&](const std::string& section, const std::string&, const std::string& value) {
        if (section == "Attributes") {
            hasAttributes = true;
            hasService = hasService || lowered(value).find(glassesService) != std::string::npos;
        }
    });
    if (hasAttributes && !hasService) {
        return {"cache", Result::problem,
                "the daemon remembers the glasses without their service, as they were before an update or a reset",
                "bluetoothctl remove " + deviceAddress};
    }
    return {"cache", Result::ok, "what the daemon has kept of the glasses has their service", ""};
}

Finding checkChannels(const fs::path& root) {
    const fs::path path = root / "etc/bluetooth/main.conf";
    const auto text = readSmallFile(path);
    if (!text) {
        return {"channels", Result::notChecked, "/etc/bluetooth/main.conf cannot be read", ""};
    }
    std::optional<int> channels;
    readKeyFile(*text, [&](const std::string& section, const std::string& key, const std::string& value) {
        int number = 0;
        const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
        if (section == "GATT" && key == "Channels" && error == std::errc()) {
            channels = number;
        }
    });
    if (!channels) {
        return {
            "channels", Result::ok,
            "main.conf leaves the number of ATT channels to the daemon; should pictures arrive torn, set Channels = 1 "
            "in its section [GATT]",
            ""};
    }
    if (*channels > 1) {
        return {"channels", Result::problem,
                "main.conf allows " + std::to_string(*channels) +
                    " ATT channels, over which values may overtake each other",
                "sudo sed -i 's/^ *Channels *=.*/Channels = 1/' /etc/bluetooth/main.conf && sudo systemctl restart "
                "bluetooth"};
    }
    return {"channels", Result::ok, "main.conf allows one ATT channel, which keeps values in order", ""};
}

Finding checkSettings(const fs::path& folder) {
    const fs::path file = folder / "settings.sqlite";
    std::error_code error;
    fs::path nearest = folder;
    while (!fs::exists(nearest, error) && nearest.has_relative_path()) {
        nearest = nearest.parent_path();
    }
    const auto refused = [](const fs::path& path, const std::string& command) {
        return Finding{"settings", Result::problem, path.string() + " cannot be read and written", command};
    };
    const std::string own = shellQuoted(folder);
    if (!fs::is_directory(nearest, error)) {
        return refused(nearest, "mv " + shellQuoted(nearest) + " " + shellQuoted(nearest.string() + ".old"));
    }
    if (::access(nearest.c_str(), R_OK | W_OK | X_OK) != 0 && nearest != folder) {
        return refused(nearest, "sudo install -d -o \"$USER\" -m 700 " + own);
    }
    if (::access(nearest.c_str(), R_OK | W_OK | X_OK) != 0 ||
        (fs::exists(file, error) && ::access(file.c_str(), R_OK | W_OK) != 0)) {
        return refused(folder, "sudo chown -R \"$USER\" " + own + " && chmod -R u+rwX " + own);
    }
    if (!fs::exists(file, error)) {
        return {"settings", Result::ok, "nothing is stored yet, and " + nearest.string() + " can be written", ""};
    }
    try {
        if (SQLiteFile(file, std::chrono::seconds(1)).number("PRAGMA user_version") > SettingsStore::version) {
            return {"settings", Result::problem, file.string() + " cannot be used: " + SettingsStore::laterVersion,
                    "mv " + shellQuoted(file) + " " + shellQuoted(file.string() + ".later")};
        }
    } catch (const SQLiteError& failure) {
        if (failure.isDamage()) {
            return {"settings", Result::problem, file.string() + " is damaged: " + failure.what(),
                    "mv " + shellQuoted(file) + " " + shellQuoted(file.string() + ".damaged")};
        }
        if (failure.isBusy()) {
            return {"settings", Result::notChecked, file.string() + " is held by another process: " + failure.what(),
                    ""};
        }
        return {"settings", Result::problem, file.string() + " cannot be used: " + failure.what(),
                fs::is_regular_file(file, error)
                    ? "df -h " + own + "   (shows whether the disk is full)"
                    : "mv " + shellQuoted(file) + " " + shellQuoted(file.string() + ".old")};
    }
    return {"settings", Result::ok, file.string() + " can be read and written", ""};
}

} // namespace tarnel::doctor
