#include "DoctorOptions.hpp"

#include "Options.hpp"

#include <memory>
#include <utility>

namespace tarnel::command {

void addDoctor(CLI::App& app, Action& action, std::function<void(const DoctorOptions&)> diagnose) {
    auto options = std::make_shared<DoctorOptions>();
    auto* command = app.add_subcommand("doctor", "Find out why Bluetooth does not work");
    command->formatter(usage("Usage: tarnel doctor [--adapter hciN|ADDRESS] [--json]"));
    command->add_option("--adapter", options->adapter, "The adapter that is to be used (default: any)")
        ->type_name("hciN|ADDRESS");
    command->add_flag("--json", options->asJSON,
                      "In JSON: \"ok\" and \"checks\", each with \"check\", \"result\" (\"ok\", \"problem\", \"not "
                      "checked\"), \"text\", \"remedy\"");
    command->footer(
        "Below each problem is the one command that mends it. An earlier problem may be the cause of later\n"
        "ones. Nothing is changed. Exit status: 0 without a problem, 1 with one.");
    command->callback(
        [options, diagnose = std::move(diagnose), &action] { action = [options, diagnose] { diagnose(*options); }; });
}

} // namespace tarnel::command
