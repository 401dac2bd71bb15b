#include "Commands.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "Options.hpp"
#include "Scan.hpp"

#include <chrono>

namespace tarnel::command {
namespace {

struct ScanOptions {
    double seconds = 10;
    bool asJSON = false;
    AirOptions air;
};

/// Tells of each pair of glasses as it is found.
void scan(const ScanOptions& options) {
    reserveStandardOutput();
    OnTheAir surroundings(options.air, OnTheAir::Connections::held);
    const Scan scan(surroundings);
    const auto time = std::chrono::duration_cast<platform::Duration>(std::chrono::duration<double>(options.seconds));
    std::size_t told = 0;
    const auto tell = [&] {
        const auto all = scan.found();
        for (; told < all.size(); ++told) {
            const auto& glasses = all[told];
            writeOutput((options.asJSON ? text(toJSON(glasses)) : description(glasses)) + "\n");
        }
        return false;
    };
    try {
        surroundings.loop().runUntil(tell, time);
    } catch (const Interrupted&) {
        // The user has seen enough.
        return;
    }
    if (told == 0) {
        throw Failure(nothingFoundText(time));
    }
}

} // namespace

void addScan(CLI::App& app, Action& action) {
    auto options = std::make_shared<ScanOptions>();
    auto* command = app.add_subcommand("scan", "List the glasses that are around");
    command->formatter(usage("Usage: tarnel scan [--seconds N] [--json]"));
    command->add_option("--seconds", options->seconds, "For how long, 0.1 to 3600 (default 10)")
        ->type_name("N")
        ->check(CLI::Range(0.1, 3600.0).description(""));
    command->add_flag(
        "--json", options->asJSON,
        "A line of JSON each: \"name\", \"identifier\", \"address\", \"rssi\" in dBm, \"linked\", \"inUse\", "
        "\"updateMode\"");
    addAdapter(command, {options, &options->air});
    command->footer(
        "Each pair is told once, as soon as it is found. Glasses that another program of this machine has\n"
        "connected are not heard: they are told as in use. Ctrl-C ends the scan. No glasses: exit status 1.");
    command->callback([options, &action] { action = [options] { scan(*options); }; });
}

} // namespace tarnel::command
