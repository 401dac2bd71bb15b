#include "SurroundingsOptions.hpp"

#include "Options.hpp"

namespace tarnel::command {
namespace {

constexpr const char* airGroup = "Glasses on the air";
constexpr double longestTimeout = 86'400;

CLI::Option* addSeconds(CLI::App* command, const std::string& name, std::chrono::duration<double>& seconds,
                        const std::string& description) {
    return command
        ->add_option_function<double>(
            name, [&seconds](double given) { seconds = std::chrono::duration<double>(given); }, description)
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, longestTimeout).description(""))
        ->group(airGroup);
}

} // namespace

void addAdapter(CLI::App* command, const std::shared_ptr<AirOptions>& options) {
    command
        ->add_option("--adapter", options->adapter,
                     "The Bluetooth adapter, by name or address (default: one that is switched on)")
        ->type_name("hciN|ADDRESS")
        ->group(airGroup);
}

void addAir(CLI::App* command, const std::shared_ptr<AirOptions>& options) {
    addAdapter(command, options);
    const auto seconds = static_cast<int>(options->timeout.count());
    addSeconds(command, "--timeout", options->timeout,
               "How long the glasses are waited for (default " + std::to_string(seconds) + ")");
}

void addSharing(CLI::App* command, const std::shared_ptr<AirOptions>& options) {
    command
        ->add_flag("--share-notifications", options->sharesNotifications,
                   "Let the glasses read this desktop's notifications meanwhile, those of all programs")
        ->group(airGroup);
}

void addSurroundings(CLI::App* command, const std::shared_ptr<SurroundingsOptions>& options, Uses uses) {
    auto* simulated = command->add_flag("--simulated", options->isSimulated,
                                        "Use simulated glasses, in virtual time, instead of the linked ones");
    simulated->group("Simulated glasses");
    addSimulation(command, {options, &options->simulation}, simulated);
    addAir(command, {options, &options->air});
    addSharing(command, {options, &options->air});
    if (uses == Uses::aDisplay) {
        addSeconds(command, "--for", options->air.shown,
                   "How long it is shown: with the connection the display goes dark (default 10)");
    }
    for (const auto* name : {"--adapter", "--timeout", "--for", "--share-notifications"}) {
        if (auto* option = command->get_option_no_throw(name)) {
            option->excludes(simulated);
        }
    }
    command
        ->add_option("--trace", options->trace,
                     "Write each value that crosses the air as a line of JSON: \"time\" in seconds,\n\"direction\" "
                     "(\"write\", \"write_no_response\", \"notify\"), \"characteristic\", \"value\" in hexadecimal")
        ->type_name("FILE");
}

} // namespace tarnel::command
