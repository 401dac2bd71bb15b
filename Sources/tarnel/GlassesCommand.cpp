#include "Commands.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "GlassesSession.hpp"
#include "Operation.hpp"
#include "Options.hpp"
#include "SimulationOptions.hpp"
#include "Terminal.hpp"
#include "Window.hpp"

#include <memory>
#include <string>

namespace tarnel::command {
namespace {

using glasses::LvglVersion;

constexpr Cases<LvglVersion, 3> lvglNames{{
    {"8.2", LvglVersion::v8_2},
    {"8.3", LvglVersion::v8_3_11},
    {"8.4", LvglVersion::v8_4},
}};

constexpr std::string_view events = R"(
On a terminal each key is a command; otherwise each line of standard input is one, and the end of the input ends
nothing. What happens is told line by line, with --json as
  {"event": "state", "radio": "ready", "isPublished": true, "isAdvertising": true, "failure": null}
      "radio": also "noService", "forbidden", "noAdapter", "poweredOff", "unsupported"
  {"event": "connected", "address": "AA:BB:CC:DD:EE:FF", "name": "Phone", "isBonded": false}
  {"event": "bonded", "address": ...}   {"event": "bondLost"}   {"event": "disconnected"}
  {"event": "subscribed", "characteristic": uuid, "value": true}
  {"event": "message", "bytes": 23, "value": message}   as in tarnel message --help
  {"event": "error", "code": 1, "text": ...}   what the glasses refused
  {"event": "notification", "uid": 1, "application": ..., "title": ..., "message": ..., "isSilent": false}
      with --notifications; again when it is another   {"event": "notificationGone", "uid": 1}
  {"event": "frame", "file": "frame.png", "isDark": false}   with --frame, when the file is there
  {"event": "command", "text": "tap 1"}   {"event": "refused", "line": ..., "text": ...}
What keeps the glasses off the air in the beginning ends the command; later they come back by themselves.
While it runs the adapter has the glasses' name, and the Bluetooth service asks this command when a device pairs.)";

struct GlassesCommandOptions : GlassesSessionOptions {
    bool isOnAir = false;
};

void runGlasses(const GlassesCommandOptions& options) {
    if (!options.isOnAir) {
        throw UsageError("on which air? Give --air");
    }
    if (options.isShown && options.asJSON) {
        throw UsageError("standard output takes the display or JSON; give --show or --json");
    }
    if (options.isShown && !Terminal::isOutput()) {
        throw UsageError("--show draws in a terminal, and standard output is none; --frame writes what the glasses "
                         "show to a picture file");
    }
    if (options.frame == "-" || options.trace == "-") {
        throw UsageError("standard output takes what happens; give --frame and --trace a file");
    }
    requireDifferentFiles({{"--frame", options.frame}, {"--trace", options.trace}});
    if (options.inWindow) {
        requireWindow();
    }
    std::make_shared<GlassesSession>(options)->run();
}

void addWhatTheyAre(CLI::App* command, const std::shared_ptr<GlassesCommandOptions>& options) {
    addGlassesOptions(command, {options, &options->glasses}, command->option_defaults()->get_group());
    addChoice<LvglVersion>(
        command, "--lvgl", lvglNames, [options](LvglVersion version) { options->glasses.lvglVersion = version; },
        "Whose loader reads fonts (default 8.3)");
    command->add_option("--serial", options->glasses.serialNumber, "Their serial number")->type_name("TEXT");
}

} // namespace

void addGlasses(CLI::App& app, Action& action) {
    auto options = std::make_shared<GlassesCommandOptions>();
    auto* command = app.add_subcommand("glasses", "Make this machine a pair of glasses, for any host to connect to");
    command->formatter(
        usage("Usage: tarnel glasses --air [--adapter hci1] [--show] [--window] [--json] [--frame OUT.png]"));
    command->add_flag("--air", options->isOnAir, "On the air of a Bluetooth adapter (BlueZ)");
    command
        ->add_option_function<std::string>(
            "--adapter", [options](const std::string& adapter) { options->air.adapter = adapter; },
            "Its name or address (default one that is on)")
        ->type_name("hciN|ADDRESS");
    addWhatTheyAre(command, options);
    command->add_flag("--notifications", options->air.readsNotifications,
                      "Read the notifications that the host shares, and pair with it where it asks for that");
    command->add_flag("--show", options->isShown, "Draw the display in the terminal; standard output must be one");
    command->add_flag("--window", options->inWindow, "Show them in a window; closing it ends the command");
    command->add_option("--frame", options->frame, "A picture file that follows the display, up to ten times a second")
        ->type_name("OUT.png");
    command->add_option("--trace", options->trace, "Write each value that crosses the air, as in tarnel play --help")
        ->type_name("FILE");
    command->add_flag("--json", options->asJSON, "Tell what happens in JSON");
    command->footer("Keys, and the same as lines:\n" + std::string(WearerCommands::help) + std::string(events));
    command->callback([options, &action] { action = [options] { runGlasses(*options); }; });
}

} // namespace tarnel::command
