#include "Commands.hpp"
#include "Failure.hpp"
#include "Options.hpp"

namespace tarnel::command {

void addDoctor(CLI::App& app, Action& action) {
    auto* command = app.add_subcommand("doctor", "Find out why Bluetooth does not work");
    command->formatter(usage("Usage: tarnel doctor"));
    command->callback([&action] {
        action = [] {
            throw Failure(
                "this tarnel was built without Bluetooth, for which it needs SQLite and sdbus-c++ 1.2 when it "
                "is built");
        };
    });
}

} // namespace tarnel::command
