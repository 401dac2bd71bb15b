#include "Commands.hpp"
#include "Failure.hpp"
#include "Missing.hpp"
#include "Options.hpp"

namespace tarnel::command {

void addGlasses(CLI::App& app, Action& action) {
    auto* command = app.add_subcommand("glasses", "Make this machine a pair of glasses, for any host to connect to");
    command->formatter(usage("Usage: tarnel glasses --air"));
    command->allow_extras();
    command->footer("Does nothing: " + std::string(noBluetoothText) + ".");
    command->callback([&action] { action = [] { throw Failure(noBluetoothText); }; });
}

} // namespace tarnel::command
