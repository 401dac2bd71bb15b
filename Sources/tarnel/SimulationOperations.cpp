#include "Bridge.hpp"
#include "Files.hpp"
#include "Frames.hpp"
#include "MessageJSON.hpp"
#include "Operations.hpp"
#include "Pictures.hpp"
#include "Simulation.hpp"
#include "Text.hpp"

#include <TarnelGlasses/SimulatedWorld.hpp>
#include <TarnelSDK/messagepack/Pack.hpp>

#include <chrono>

namespace tarnel::command {
namespace {

using glasses::AdvertisingMode;
using glasses::SimulatedGlasses;
using platform::ApplicationState;
using platform::CentralState;

constexpr std::int64_t mostRefusals = 1'000'000;

constexpr Cases<AdvertisingMode, 4> advertisingModes{{
    {"normal", AdvertisingMode::normal},
    {"otherManufacturerData", AdvertisingMode::otherManufacturerData},
    {"noManufacturerData", AdvertisingMode::noManufacturerData},
    {"update", AdvertisingMode::update},
}};

constexpr Cases<SimulatedGlasses::Direction, 2> directions{{
    {"toGlasses", SimulatedGlasses::Direction::toGlasses},
    {"toHost", SimulatedGlasses::Direction::toHost},
}};

constexpr Cases<CentralState, 5> centralStates{{
    {"poweredOn", CentralState::poweredOn},
    {"poweredOff", CentralState::poweredOff},
    {"unauthorized", CentralState::unauthorized},
    {"unsupported", CentralState::unsupported},
    {"resetting", CentralState::resetting},
}};

constexpr Cases<ApplicationState, 3> applicationStates{{
    {"active", ApplicationState::active},
    {"inactive", ApplicationState::inactive},
    {"background", ApplicationState::background},
}};

/// An operation that moves the glasses and gives nothing.
template <typename Move>
Operation move(const char* name, std::vector<Parameter> parameters, const char* about, Move move) {
    return {name, std::move(parameters), about, [move](Bridge& bridge, const Arguments& arguments) -> JSON {
                move(bridge.simulation().glasses(), arguments);
                return nullptr;
            }};
}

/// A verb of the glasses without arguments.
Operation verb(const char* name, const char* about, void (SimulatedGlasses::*operation)()) {
    return move(name, {}, about, [operation](SimulatedGlasses& pair, const Arguments&) { (pair.*operation)(); });
}

JSON send(Bridge& bridge, const Arguments& arguments) {
    const auto message = messageFromJSON(arguments.json("message"));
    if (const auto* map = message.dictionaryValue(); map && !map->empty()) {
        if (const auto key = map->begin()->key.stringValue()) {
            bridge.events().watch(*key);
        }
    }
    bridge.simulation().glasses().send(pack(message));
    return nullptr;
}

JSON stall(Bridge& bridge, const Arguments& arguments) {
    auto& simulation = bridge.simulation();
    if (!arguments.has("seconds")) {
        simulation.glasses().stall();
        simulation.setStalled(platform::Duration::max());
        return nullptr;
    }
    const auto duration =
        std::chrono::duration_cast<platform::Duration>(std::chrono::duration<double>(arguments.number("seconds")));
    simulation.glasses().stall(duration);
    simulation.setStalled(simulation.now() + duration);
    return nullptr;
}

JSON resume(Bridge& bridge, const Arguments&) {
    bridge.simulation().glasses().resume();
    bridge.simulation().setStalled(std::nullopt);
    return nullptr;
}

JSON frame(Bridge& bridge, const Arguments& arguments) {
    OutputFile(arguments.text("to")).store(pngOf(imageOf(bridge.simulation().glasses().frame())));
    return nullptr;
}

JSON state(Bridge& bridge, const Arguments&) {
    const auto& pair = bridge.simulation().glasses();
    const auto owner = pair.controlOwner();
    const auto time = pair.time();
    const auto counters = pair.counters();
    JSON::Array errors;
    for (const auto& error : pair.errors()) {
        errors.emplace_back(JSON::Array{static_cast<int>(error.code), error.text});
    }
    return JSON::Object{
        {"isConnected", pair.isConnected()},
        {"isBonded", pair.isBonded()},
        {"isAdvertising", pair.isAdvertising()},
        {"isDisplayOn", pair.isDisplayOn()},
        {"controlOwner", owner ? JSON(*owner) : JSON()},
        {"layout", pair.layout()},
        {"hidesStatusBar", pair.hidesStatusBar()},
        {"time", time ? JSON(*time) : JSON()},
        {"receivedCount", std::uint64_t{pair.receivedCount()}},
        {"errors", std::move(errors)},
        {"connections", std::uint64_t{counters.connections}},
        {"writes", std::uint64_t{counters.writes}},
        {"writesWithoutResponse", std::uint64_t{counters.writesWithoutResponse}},
        {"notifications", std::uint64_t{counters.notifications}},
        {"refusedWrites", std::uint64_t{counters.refusedWrites}},
        {"lostWrites", std::uint64_t{counters.lostWrites}},
        {"bytesReceived", std::uint64_t{counters.bytesReceived}},
    };
}

std::vector<Operation> glassesOperations() {
    using namespace parameter;
    return {
        move("glasses.tap", {integer("value")}, "The wearer taps.",
             [](SimulatedGlasses& pair, const Arguments& arguments) { pair.tap(arguments.integer("value")); }),
        move("glasses.powerButton", {integer("value")}, "The wearer presses the power button.",
             [](SimulatedGlasses& pair, const Arguments& arguments) { pair.powerButton(arguments.integer("value")); }),
        verb("glasses.requestTime", "The glasses ask for the time.", &SimulatedGlasses::requestTime),
        move("glasses.takeControl", {string("application")}, "Another application takes the display.",
             [](SimulatedGlasses& pair, const Arguments& arguments) {
                 pair.takeControl(arguments.text("application"));
             }),
        verb("glasses.displayTimeout", "The display goes dark.", &SimulatedGlasses::displayTimeout),
        move("glasses.setBattery", {integer("level", 0, 100), boolean("charging")},
             "The battery is at so many per cent.",
             [](SimulatedGlasses& pair, const Arguments& arguments) {
                 pair.setBattery(static_cast<int>(arguments.integer("level")), arguments.boolean("charging"));
             }),
        {"glasses.send", {json("message")}, "The glasses send a message, as of `tarnel message encode`.", send},
        move("glasses.notifyValue", {bytes("value")}, "The glasses send one value, header byte included.",
             [](SimulatedGlasses& pair, const Arguments& arguments) {
                 pair.notifyValue(bytesFromHexadecimal(arguments.text("value")).value_or(Bytes()));
             }),
        move("glasses.setName", {string("name")}, "The glasses change their name.",
             [](SimulatedGlasses& pair, const Arguments& arguments) { pair.setName(arguments.text("name")); }),
        move("glasses.setAdvertisingMode", {choice("mode", advertisingModes)}, "What the glasses advertise.",
             [](SimulatedGlasses& pair, const Arguments& arguments) {
                 pair.setAdvertisingMode(arguments.choice("mode", advertisingModes));
             }),
        verb("glasses.changeServices", "The glasses say that their services changed.",
             &SimulatedGlasses::changeServices),
        {"glasses.frame", {path("to")}, "Writes what the display shows to a PNG file, its levels in green.", frame},
        {"glasses.state", {}, "Gives what is known of the simulated glasses.", state},
    };
}

std::vector<Operation> faults() {
    using namespace parameter;
    return {
        verb("glasses.dropConnection", "The glasses end the connection.", &SimulatedGlasses::dropConnection),
        move("glasses.refuseWrite", {optional(integer("count", 1, mostRefusals))},
             "The next write, or so many, is refused, or lost when it has no response.",
             [](SimulatedGlasses& pair, const Arguments& arguments) {
                 pair.refuseWrite(arguments.has("count") ? static_cast<std::size_t>(arguments.integer("count")) : 1);
             }),
        verb("glasses.loseBond", "The glasses forget the host.", &SimulatedGlasses::loseBond),
        {"glasses.stall",
         {optional(number("seconds", 0, secondsOfDay))},
         "Nothing crosses the air for so long, or until \"glasses.resume\".",
         stall},
        {"glasses.resume", {}, "The air carries again.", resume},
        move("glasses.truncateChunk", {optional(choice("direction", directions))},
             "Only half of the next value arrives; to the glasses when no direction is given.",
             [](SimulatedGlasses& pair, const Arguments& arguments) {
                 pair.truncateChunk(arguments.has("direction") ? arguments.choice("direction", directions)
                                                               : SimulatedGlasses::Direction::toGlasses);
             }),
        verb("glasses.reset", "The glasses start anew.", &SimulatedGlasses::reset),
        verb("glasses.leaveRange", "The glasses are carried away.", &SimulatedGlasses::leaveRange),
        verb("glasses.enterRange", "The glasses are back.", &SimulatedGlasses::enterRange),
    };
}

std::vector<Operation> hostOperations() {
    using namespace parameter;
    return {
        {"bluetooth.setState",
         {choice("state", centralStates)},
         "The Bluetooth of the simulated host is switched.",
         [](Bridge& bridge, const Arguments& arguments) -> JSON {
             bridge.simulation().world().bluetooth().setState(arguments.choice("state", centralStates));
             return nullptr;
         }},
        {"bluetooth.setAcceptsPairing",
         {boolean("accepts")},
         "The user's answer when pairing is asked for.",
         [](Bridge& bridge, const Arguments& arguments) -> JSON {
             bridge.simulation().world().bluetooth().setAcceptsPairing(arguments.boolean("accepts"));
             return nullptr;
         }},
        {"bluetooth.forgetBond",
         {},
         "The user removes the bond with the glasses.",
         [](Bridge& bridge, const Arguments&) -> JSON {
             auto& simulation = bridge.simulation();
             simulation.world().bluetooth().forgetBond(simulation.glasses().identifier());
             return nullptr;
         }},
        {"bluetooth.setAncsAuthorized",
         {boolean("authorized")},
         "Whether the user lets the glasses see notifications.",
         [](Bridge& bridge, const Arguments& arguments) -> JSON {
             auto& simulation = bridge.simulation();
             simulation.world().bluetooth().setAncsAuthorized(simulation.glasses().identifier(),
                                                              arguments.boolean("authorized"));
             return nullptr;
         }},
        {"application.setState",
         {choice("state", applicationStates)},
         "The application comes to the front or goes to the background.",
         [](Bridge& bridge, const Arguments& arguments) -> JSON {
             bridge.simulation().world().application().setState(arguments.choice("state", applicationStates));
             return nullptr;
         }},
    };
}

} // namespace

std::vector<Operation> simulationOperations() {
    auto all = glassesOperations();
    for (const auto& group : {faults(), hostOperations()}) {
        all.insert(all.end(), group.begin(), group.end());
    }
    return all;
}

} // namespace tarnel::command
