#include "Commands.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "Options.hpp"
#include "Scan.hpp"
#include "StatusLine.hpp"
#include "Text.hpp"

#include <TarnelSDK/manager/TarnelManager.hpp>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <string_view>
#include <system_error>

namespace tarnel::command {
namespace {

constexpr std::size_t longestAnswer = 64;
/// How long others may take to be heard once one pair was.
constexpr std::chrono::seconds othersLimit(3);

struct LinkOptions {
    std::optional<std::string> wanted; ///< name, address or identifier
    double seconds = 10;
    bool asJSON = false;
    AirOptions air;
};

bool isSame(const std::string& a, const std::string& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char left, char right) {
        return std::tolower(static_cast<unsigned char>(left)) == std::tolower(static_cast<unsigned char>(right));
    });
}

/// Whether an address or an identifier says that these are meant, which is said of one pair only.
bool isExactly(const FoundGlasses& glasses, const std::string& wanted) {
    return isSame(glasses.identifier, wanted) || (glasses.address && isSame(*glasses.address, wanted));
}

std::vector<FoundGlasses> candidates(const Scan& scan, const LinkOptions& options) {
    auto all = scan.found();
    std::erase_if(all, [&](const FoundGlasses& glasses) {
        return glasses.isInUpdateMode ||
               (options.wanted && !isExactly(glasses, *options.wanted) && !isSame(glasses.name, *options.wanted));
    });
    return all;
}

std::string listOf(const std::vector<FoundGlasses>& found) {
    std::string list;
    for (std::size_t i = 0; i < found.size(); ++i) {
        list += "  " + std::to_string(i + 1) + "  " + description(found[i]) + "\n";
    }
    return list;
}

/// The number that is all of a line; 0 for anything else.
std::size_t numberIn(std::string_view line) {
    constexpr std::string_view blank = " \t\r\n";
    const auto start = line.find_first_not_of(blank);
    if (start == std::string_view::npos) {
        return 0;
    }
    line = line.substr(start, line.find_last_not_of(blank) + 1 - start);
    std::size_t number = 0;
    const auto read = std::from_chars(line.data(), line.data() + line.size(), number);
    return read.ec == std::errc() && read.ptr == line.data() + line.size() ? number : 0;
}

/// Asks for one of them by its number, on a terminal.
const FoundGlasses& chosen(OnTheAir& surroundings, const std::vector<FoundGlasses>& found) {
    std::fputs(listOf(found).c_str(), stderr);
    if (::isatty(STDIN_FILENO) == 0 || ::isatty(STDERR_FILENO) == 0) {
        throw Failure(std::to_string(found.size()) +
                      " pairs of glasses were found; say which by name, address or identifier: tarnel link ADDRESS");
    }
    std::fputs(("Which, 1 to " + std::to_string(found.size()) + "? ").c_str(), stderr);
    surroundings.awaitInput(STDIN_FILENO);
    std::array<char, longestAnswer> buffer{};
    const auto length = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    const auto number = numberIn({buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))});
    if (number < 1 || number > found.size()) {
        throw Failure("that is none of them; nothing was linked");
    }
    return found[number - 1];
}

FoundGlasses find(OnTheAir& surroundings, const LinkOptions& options) {
    const auto time = std::chrono::duration_cast<platform::Duration>(std::chrono::duration<double>(options.seconds));
    const Scan scan(surroundings);
    {
        StatusLine line;
        line.show("searching for glasses");
        const auto isDecided = [&] {
            const auto found = candidates(scan, options);
            return options.wanted && std::any_of(found.begin(), found.end(), [&](const FoundGlasses& glasses) {
                       return isExactly(glasses, *options.wanted);
                   });
        };
        const auto start = surroundings.now();
        surroundings.loop().runUntil([&] { return !candidates(scan, options).empty(); }, time);
        const auto left = time - (surroundings.now() - start);
        surroundings.loop().runUntil(isDecided, std::min<platform::Duration>(left, othersLimit));
    }
    const auto found = candidates(scan, options);
    if (!found.empty()) {
        return found.size() == 1 ? found.front() : chosen(surroundings, found);
    }
    const auto others = scan.found();
    if (others.empty()) {
        throw Failure(nothingFoundText(time));
    }
    if (!options.wanted) {
        throw Failure("the glasses that were found are in update mode; restart them");
    }
    std::fputs(listOf(others).c_str(), stderr);
    throw Failure("no glasses called " + *options.wanted + " were found, but others; tarnel link ADDRESS takes one");
}

void linkGlasses(const LinkOptions& options) {
    reserveStandardOutput();
    OnTheAir surroundings(options.air, OnTheAir::Connections::held);
    const FoundGlasses glasses = find(surroundings, options);
    surroundings.makeConnections();
    if (glasses.isLinked) {
        surroundings.device()->connect();
    } else {
        surroundings.setIsLinking(true);
        TarnelManager::shared().link(glasses.peripheral, nullptr);
        surroundings.awaitLink(glasses.peripheral->identifier(), glasses.name);
        surroundings.setIsLinking(false);
    }
    surroundings.awaitConnection(glasses.name);
    writeOutput(options.asJSON ? text(toJSON(FoundGlasses(glasses))) + "\n"
                               : (glasses.isLinked ? "Linked already: " : "Linked: ") + printable(glasses.name) + "  " +
                                     glasses.address.value_or(glasses.identifier) + "\n");
}

void unlink(bool asJSON) {
    reserveStandardOutput();
    OnTheAir surroundings(AirOptions(), OnTheAir::Connections::none);
    surroundings.requireSettings();
    const auto device = surroundings.device();
    const std::string name = device ? device->getName() : "";
    if (device) {
        TarnelManager::shared().unlink();
        surroundings.loop().runUntil([&] { return !surroundings.device(); }, std::chrono::seconds(5));
    }
    if (asJSON) {
        writeOutput(text(JSON::Object{{"unlinked", device ? JSON(name) : JSON()}}) + "\n");
    } else {
        writeOutput(device ? "Unlinked: " + printable(name) + "\n" : std::string("No glasses were linked\n"));
    }
}

} // namespace

void addLink(CLI::App& app, Action& action) {
    auto options = std::make_shared<LinkOptions>();
    auto* command = app.add_subcommand("link", "Make a pair of glasses the one that commands use");
    command->formatter(usage("Usage: tarnel link [NAME|ADDRESS|IDENTIFIER] [--seconds N]"));
    command->add_option("GLASSES", options->wanted, "Which, as tarnel scan tells them; not needed for the only pair")
        ->type_name("");
    command->add_option("--seconds", options->seconds, "How long to look for them at most, 0.1 to 3600 (default 10)")
        ->type_name("N")
        ->check(CLI::Range(0.1, 3600.0).description(""));
    command->add_flag("--json", options->asJSON, "Describe them in JSON");
    addAir(command, {options, &options->air});
    command->footer(
        "Where several pairs are around, they are listed, and on a terminal one is asked for. The link is\n"
        "kept until tarnel unlink or the next tarnel link, and commands connect the glasses by themselves.");
    command->callback([options, &action] { action = [options] { linkGlasses(*options); }; });
}

void addUnlink(CLI::App& app, Action& action) {
    auto asJSON = std::make_shared<bool>(false);
    auto* command = app.add_subcommand("unlink", "Forget the linked glasses");
    command->formatter(usage("Usage: tarnel unlink"));
    command->add_flag("--json", *asJSON, "Tell which in JSON");
    command->footer("All that tarnel has stored goes with the link. The system's bond with the glasses stays.");
    command->callback([asJSON, &action] { action = [asJSON] { unlink(*asJSON); }; });
}

} // namespace tarnel::command
