#include "Bridge.hpp"
#include "Commands.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "Frames.hpp"
#include "JSON.hpp"
#include "LineReader.hpp"
#include "Operations.hpp"
#include "Options.hpp"
#include "Pictures.hpp"
#include "Surroundings.hpp"
#include "Text.hpp"

#include <optional>
#include <string>

namespace tarnel::command {
namespace {

struct PlayOptions {
    std::string scene = "-";          ///< "-" for standard input
    bool links = true;                ///< links the glasses before the first line
    bool logs = false;                ///< log lines are events
    std::optional<std::string> frame; ///< file to write at the end
    SurroundingsOptions surroundings;
};

/// The next line, while time goes by on the air.
std::optional<LineReader::Line> nextLine(LineReader& reader, Surroundings& surroundings) {
    while (!reader.hasNext()) {
        surroundings.awaitInput(reader.descriptor());
        reader.read();
    }
    return reader.next();
}

void answerLines(LineReader& reader, Surroundings& surroundings, Bridge& bridge) {
    for (std::uint64_t number = 1; const auto line = nextLine(reader, surroundings); ++number) {
        const JSON answer =
            line->isTooLong
                ? JSON(JSON::Object{{"line", number},
                                    {"error", "the line is longer than the " + grouped(LineReader::maximumLength) +
                                                  " bytes that are taken"}})
                : bridge.answer(number, line->text);
        bridge.requireOutput();
        surroundings.requireTrace();
        writeOutput(text(answer) + "\n");
    }
}

/// Drives glasses by lines of JSON.
void play(const PlayOptions& options) {
    if (options.frame && !options.surroundings.isSimulated) {
        throw UsageError("--frame is for --simulated: what real glasses show cannot be read back");
    }
    if (options.frame == "-" || options.surroundings.trace == "-") {
        throw UsageError("standard output takes the answers; give --frame and --trace a file");
    }
    requireDifferentFiles(
        {{"SCENE", options.scene}, {"--frame", options.frame}, {"--trace", options.surroundings.trace}});
    reserveStandardOutput();
    LineReader reader(options.scene);
    const auto frame = options.frame ? std::optional<OutputFile>(*options.frame) : std::nullopt;
    const auto surroundings = Surroundings::make(options.surroundings);
    Bridge bridge(*surroundings, options.logs);
    surroundings->run();
    if (options.links) {
        surroundings->connect();
    }
    answerLines(reader, *surroundings, bridge);

    std::exception_ptr failure;
    try {
        surroundings->waitUntilIdle();
        if (const auto device = surroundings->device(); device && device->isConnected.value()) {
            surroundings->awaitReceipt();
        }
    } catch (const Failure&) {
        failure = std::current_exception();
    }
    bridge.requireOutput();
    surroundings->requireTrace();
    storeFrame(frame, *surroundings);
    if (failure) {
        std::rethrow_exception(failure);
    }
}

constexpr std::string_view playHelp = R"(Each line of the scene is one operation and its arguments:
  {"op": "setLayout", "layout": "canvas", "timeout": 180, "hideStatusBar": false}
  {"op": "drawBackground", "image": "photo.png", "x": 0, "y": 0, "shouldCommitImmediately": true}
and is answered in order, as soon as it is carried out, by
  {"line": 1, "result": null}  or  {"line": 1, "error": "what and what to do"}, after which the bridge goes on.
A result of null does not say that something is shown: as in the SDK, what the glasses cannot take (not connected, no
layout set) is dropped. Draw when "isConnected" becomes true.
Events come as they happen, those that an operation leads to at once before its answer:
  {"event": "tap", "value": 1}   also "power_btn", "disp_timeout"
  {"event": "property", "key": "led", "value": 50}   any other message of the glasses
  {"event": "deviceStateChanged", "state": "connected"}
  {"event": "isConnected", "value": true}   also "isBluetoothEnabled", "isReady", "isScanning", "isLinked",
      "batteryLevel", "batteryChargeStatus", "firmwareError"
  {"event": "scanned", "device": identifier, "name": "Brenlo Glasses"}
  {"event": "currentDeviceChange", "device": uuid}   also "linked", "bluetoothPoweredOn", "scannedPeripheralChange",
      "didUpdateANCSAuthorization", "PEER_REMOVED_PAIRING_INFO"
  {"event": "log", "message": line}   with --log
Simulated, time passes only in "wait" and "idle"; on the air it passes as it does, and events come between lines. The
end of the scene is one more "idle" and, on the air, the glasses' answer that they have it all; then the frame is
written. What was shown goes with the connection, so a scene on the air "wait"s for as long as it is to be seen.
A line has at most 1,048,576 bytes. Bytes in messages are written as in tarnel message --help.

Operations:
)";

} // namespace

void addPlay(CLI::App& app, Action& action) {
    auto options = std::make_shared<PlayOptions>();
    auto* command = app.add_subcommand("play", "Drive the glasses by lines of JSON, from any language");
    command->formatter(usage("Usage: tarnel play [SCENE|-] [--trace FILE]\n"
                             "       tarnel play [SCENE|-] --simulated [--frame OUT.png]"));
    command->add_option("SCENE", options->scene, "A file of operations; - or nothing for standard input")
        ->type_name("");
    command->add_flag_callback(
        "--no-link", [options] { options->links = false; },
        "Leave it to the scene to scan for and link the glasses, or to wait for those linked");
    command->add_flag("--log", options->logs, "The SDK's log lines are events too");
    command->add_option("--frame", options->frame, "Write what the display of simulated glasses shows at the end")
        ->type_name("OUT.png");
    command->add_flag("--json")->description("Does nothing: the output is JSON");
    addSurroundings(command, {options, &options->surroundings}, Uses::aLink);
    command->footer(std::string(playHelp) + operationsHelp());
    command->callback([options, &action] { action = [options] { play(*options); }; });
}

} // namespace tarnel::command
