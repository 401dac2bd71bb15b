#include "DoctorOptions.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "JSON.hpp"
#include "Missing.hpp"

namespace tarnel::command {

void addDoctor(CLI::App& app, Action& action) {
    addDoctor(app, action, [](const DoctorOptions& options) {
        if (options.asJSON) {
            const JSON::Object check{
                {"check", "build"}, {"result", "problem"}, {"text", noBluetoothText}, {"remedy", nullptr}};
            writeOutput(text(JSON::Object{{"ok", false}, {"checks", JSON::Array{check}}}) + "\n");
        }
        throw Failure(noBluetoothText);
    });
}

} // namespace tarnel::command
