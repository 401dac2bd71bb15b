#include "SimulationOptions.hpp"

#include "Options.hpp"

#include <charconv>

namespace tarnel::command {
namespace {

constexpr const char* simulatedGroup = "Simulated glasses";

constexpr Cases<glasses::AdvertisingMode, 4> advertisingNames{{
    {"normal", glasses::AdvertisingMode::normal},
    {"other", glasses::AdvertisingMode::otherManufacturerData},
    {"none", glasses::AdvertisingMode::noManufacturerData},
    {"update", glasses::AdvertisingMode::update},
}};

std::uint64_t seedFromText(const std::string& digits) {
    std::uint64_t seed = 0;
    const char* end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, seed);
    if (read.ec != std::errc() || read.ptr != end) {
        throw CLI::ValidationError("--seed", "takes a number of 0...18446744073709551615");
    }
    return seed;
}

void addLink(CLI::App* command, const std::shared_ptr<SimulationOptions>& simulation) {
    command->add_option("--mtu", simulation->link.mtu, "ATT MTU in bytes, 23 to 517 (default 498)")
        ->type_name("N")
        ->check(CLI::Range(23, 517).description(""))
        ->group(simulatedGroup);
    command
        ->add_option_function<int>(
            "--interval",
            [simulation](int milliseconds) {
                simulation->link.connectionInterval = std::chrono::milliseconds(milliseconds);
            },
            "Connection interval in milliseconds, 8 to 1000 (default 15)")
        ->type_name("N")
        ->check(CLI::Range(8, 1000).description(""))
        ->group(simulatedGroup);
    command->add_option("--buffer", simulation->link.bufferDepth, "Writes that the host buffers, 1 to 1000 (default 8)")
        ->type_name("N")
        ->check(CLI::Range(1, 1000).description(""))
        ->group(simulatedGroup);
}

} // namespace

void addGlassesOptions(CLI::App* command, const std::shared_ptr<glasses::GlassesOptions>& glasses,
                       const std::string& group) {
    command->add_option("--name", glasses->name, "Their name (default " + glasses->name + ")")
        ->type_name("TEXT")
        ->group(group);
    command
        ->add_option("--protocol", glasses->protocolVersion, "1: writes with response only; 2: without too (default)")
        ->type_name("1|2")
        ->check(CLI::IsMember({1, 2}).description(""))
        ->group(group);
    command->add_flag("--pairing", glasses->requiresPairing, "They need a bond")->group(group);
    addChoice<glasses::AdvertisingMode>(
        command, "--advertising", advertisingNames,
        [glasses](glasses::AdvertisingMode mode) { glasses->advertisingMode = mode; },
        "What manufacturer data they advertise: as usual (default), of another mode, none; or update mode")
        ->group(group);
    command->add_option("--battery", glasses->batteryLevel, "Per cent (default 80)")
        ->type_name("N")
        ->check(CLI::Range(0, 100).description(""))
        ->group(group);
    command->add_flag("--charging", glasses->isCharging, "The battery charges")->group(group);
}

void addSimulation(CLI::App* command, const std::shared_ptr<SimulationOptions>& simulation, CLI::Option* simulated) {
    command
        ->add_option_function<std::string>(
            "--seed", [simulation](const std::string& digits) { simulation->seed = seedFromText(digits); },
            "The run: the same number gives the same (default 1)")
        ->type_name("N")
        ->group(simulatedGroup);
    addGlassesOptions(command, {simulation, &simulation->glasses}, simulatedGroup);
    addLink(command, simulation);
    for (auto* option : command->get_options([simulated](const CLI::Option* other) {
             return other->get_group() == simulatedGroup && other != simulated;
         })) {
        option->needs(simulated);
    }
}

} // namespace tarnel::command
