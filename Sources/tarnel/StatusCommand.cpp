#include "BluetoothNames.hpp"
#include "Commands.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "OnTheAir.hpp"
#include "Options.hpp"
#include "Text.hpp"

#include <array>
#include <chrono>
#include <cstdio>

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

/// Everything that is known of the linked glasses.
JSON::Object stateOf(OnTheAir& surroundings) {
    const auto device = surroundings.device();
    const auto attempt = surroundings.record().attempt();
    const auto ago = [&](const std::optional<platform::Duration>& time) {
        return time ? JSON(inSeconds(surroundings.now() - *time)) : JSON();
    };
    JSON::Object object{{"bluetooth", nameOf(surroundings.record().state(), centralStates)},
                        {"linked", device != nullptr}};
    if (!device) {
        return object;
    }
    const auto identifier = device->peripheralID();
    const int battery = device->batteryLevel.value();
    object.emplace_back("name", device->getName());
    object.emplace_back("identifier", identifier ? JSON(identifier->string()) : JSON());
    object.emplace_back("address", identifier ? orNull(NativePlatform::addressOf(*identifier)) : JSON());
    object.emplace_back("connected", device->isConnected.value());
    object.emplace_back("state", name(device->state()));
    object.emplace_back("battery", battery < 0 ? JSON() : JSON(battery));
    object.emplace_back("charging", battery < 0 ? JSON() : JSON(device->batteryChargeStatus.value()));
    object.emplace_back("firmware", orNull(firmwareOf(*device)));
    object.emplace_back("revision", rawValue(device->revision()));
    object.emplace_back("connectingForSeconds", ago(attempt.since));
    object.emplace_back("lastFailure", orNull(attempt.lastFailure));
    object.emplace_back("lastFailureSecondsAgo", ago(attempt.lastFailureAt));
    return object;
}

std::string shown(const JSON& value) {
    if (const auto* words = value.string()) {
        return printable(*words);
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
            lines += line + shown(*value) + "\n";
        }
    }
    return lines;
}

/// Waits until the glasses have told of their battery and settings, as far as they do.
void awaitReport(OnTheAir& surroundings) {
    const auto device = surroundings.device();
    surroundings.loop().runUntil([&] { return device->batteryLevel.value() >= 0 && firmwareOf(*device).has_value(); },
                                 reportLimit);
}

void status(const StatusOptions& options) {
    reserveStandardOutput();
    OnTheAir surroundings(options.air);
    std::exception_ptr failure;
    try {
        surroundings.connect();
        awaitReport(surroundings);
    } catch (const Failure&) {
        failure = std::current_exception();
    }
    const auto state = stateOf(surroundings);
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
    command->add_flag("--json", options->asJSON, "In JSON; what is not known is null");
    addAir(command, {options, &options->air});
    command->footer("Exit status: 0 when they are connected, 1 when they are not or none are linked, which is told all "
                    "the same.");
    command->callback([options, &action] { action = [options] { status(*options); }; });
}

} // namespace tarnel::command
