#include "BluetoothNames.hpp"
#include "Commands.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "OnTheAir.hpp"
#include "Options.hpp"
#include "Text.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <string_view>
#include <utility>

namespace tarnel::command {
namespace {

/// How long a connected pair may take to tell of itself.
constexpr auto reportLimit = std::chrono::seconds(3);

struct StatusOptions {
    bool asJSON = false;
    AirOptions air;
};

std::optional<std::string> firmwareOf(const Tarnel& device) {
    if (const auto number = device.getIntProperty(Property::version)) {
        return std::to_string(*number);
    }
    return device.getStringProperty(Property::version);
}

/// Everything that is known of the linked glasses, under the same keys always.
JSON::Object stateOf(OnTheAir& surroundings) {
    const auto device = surroundings.device();
    const auto identifier = device ? device->peripheralID() : std::nullopt;
    const auto attempt = surroundings.record().attempt();
    const auto ago = [&](const std::optional<platform::Duration>& time) {
        return time ? JSON(inSeconds(surroundings.now() - *time)) : JSON();
    };
    const bool hasTold = device && device->batteryLevel.value() >= 0;
    return {{"bluetooth", nameOf(surroundings.record().state(), centralStates)},
            {"linked", device != nullptr},
            {"name", device ? JSON(device->getName()) : JSON()},
            {"identifier", identifier ? JSON(identifier->string()) : JSON()},
            {"address", identifier ? orNull(NativePlatform::addressOf(*identifier)) : JSON()},
            {"connected", device && device->isConnected.value()},
            {"state", device ? JSON(name(device->state())) : JSON()},
            {"battery", hasTold ? JSON(device->batteryLevel.value()) : JSON()},
            {"charging", hasTold ? JSON(device->batteryChargeStatus.value()) : JSON()},
            {"firmware", device ? orNull(firmwareOf(*device)) : JSON()},
            {"revision", device ? JSON(rawValue(device->revision())) : JSON()},
            {"connectingForSeconds", ago(attempt.since)},
            {"lastFailure", orNull(attempt.lastFailure)},
            {"lastFailureSecondsAgo", ago(attempt.lastFailureAt)}};
}

/// What the states of Bluetooth and of the glasses mean to a reader.
std::string_view wordsOf(std::string_view state) {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 13> words{
        {{"unknown", "not known"},
         {"resetting", "starting anew"},
         {"unsupported", "no adapter"},
         {"unauthorized", "not for this user"},
         {"poweredOff", "switched off, or its service does not run"},
         {"poweredOn", "on"},
         {"bluetoothNotAuthorized", "this user may not use Bluetooth"},
         {"bluetoothOff", "Bluetooth is off"},
         {"scanning", "looked for"},
         {"notConnected", "not connected"},
         {"notBonded", "not paired"},
         {"notBondedNoInput", "not paired"},
         {"authenticationFailed", "the pairing is no longer valid"}}};
    const auto* const found =
        std::find_if(words.begin(), words.end(), [&](const auto& entry) { return entry.first == state; });
    return found == words.end() ? state : found->second;
}

std::string shown(std::string_view key, const JSON& value) {
    if (const auto* text = value.string()) {
        const bool isState = key == "bluetooth" || key == "state" || key == "revision";
        return isState ? std::string(wordsOf(*text)) : printable(*text);
    }
    if (const auto* isTrue = value.boolean()) {
        return *isTrue ? "yes" : "no";
    }
    if (const auto* number = std::get_if<double>(&value.storage())) {
        std::array<char, 32> rounded{};
        std::snprintf(rounded.data(), rounded.size(), "%.1f", *number);
        return rounded.data();
    }
    return text(value);
}

/// A line for each that is known.
std::string linesOf(const JSON::Object& state) {
    const std::array<std::pair<const char*, const char*>, 14> labels{{{"linked", "Linked"},
                                                                      {"name", "Name"},
                                                                      {"address", "Address"},
                                                                      {"identifier", "Identifier"},
                                                                      {"bluetooth", "Bluetooth"},
                                                                      {"connected", "Connected"},
                                                                      {"state", "State"},
                                                                      {"connectingForSeconds", "Connecting for, s"},
                                                                      {"lastFailure", "Last failure"},
                                                                      {"lastFailureSecondsAgo", "Failed before, s"},
                                                                      {"battery", "Battery, %"},
                                                                      {"charging", "Charging"},
                                                                      {"firmware", "Firmware"},
                                                                      {"revision", "Revision"}}};
    constexpr std::size_t width = 20;
    std::string lines;
    const JSON object(state);
    for (const auto& [key, label] : labels) {
        const auto* value = object.find(key);
        if (value && !value->isNull()) {
            std::string line = std::string(label) + ":";
            line.resize(width, ' ');
            lines += line + shown(key, *value) + "\n";
        }
    }
    return lines;
}

/// What is known once the glasses have told of their battery and settings, as far as they do. The system ends a
/// connection seconds after the program that made it: where the glasses are found connected they may go while they
/// tell, and are waited for again.
JSON::Object reportOf(OnTheAir& surroundings) {
    surroundings.connect();
    const auto start = surroundings.now();
    while (true) {
        surroundings.awaitConnection({}, start);
        const auto device = surroundings.device();
        const auto losses = surroundings.traffic().losses;
        const auto isLost = [&] { return surroundings.traffic().losses != losses || !device->isConnected.value(); };
        const auto hasTold = [&] { return device->batteryLevel.value() >= 0 && firmwareOf(*device).has_value(); };
        surroundings.loop().runUntil([&] { return isLost() || hasTold(); }, reportLimit);
        auto state = stateOf(surroundings);
        if (!isLost()) {
            return state;
        }
    }
}

void status(const StatusOptions& options) {
    reserveStandardOutput();
    OnTheAir surroundings(options.air);
    std::exception_ptr failure;
    JSON::Object state;
    try {
        state = reportOf(surroundings);
    } catch (const Failure&) {
        failure = std::current_exception();
        state = stateOf(surroundings);
    }
    writeOutput(options.asJSON ? text(JSON(state)) + "\n" : linesOf(state));
    if (failure) {
        std::rethrow_exception(failure);
    }
}

} // namespace

void addStatus(CLI::App& app, Action& action) {
    auto options = std::make_shared<StatusOptions>();
    options->air.timeout = std::chrono::seconds(10);
    auto* command = app.add_subcommand("status", "Tell how the linked glasses are");
    command->formatter(usage("Usage: tarnel status [--timeout SECONDS] [--json]"));
    command->add_flag("--json", options->asJSON, "In JSON, always with the same members; what is not known is null");
    addAir(command, {options, &options->air});
    command->footer("Exit status: 0 when they are connected, 1 when they are not or none are linked, which is told all "
                    "the same.");
    command->callback([options, &action] { action = [options] { status(*options); }; });
}

} // namespace tarnel::command
