#include "CommandLine.hpp"

#include "DemoCommand.hpp"
#include "DisplayNames.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "FontCommand.hpp"
#include "ImageCommand.hpp"
#include "MessageCommand.hpp"
#include "MessageJSON.hpp"
#include "Operations.hpp"
#include "PlayCommand.hpp"
#include "ShowCommand.hpp"
#include "TextCommand.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <functional>
#include <iostream>
#include <map>

namespace tarnel::command {
namespace {

/// What the arguments ask for, set while they are read and run after.
using Action = std::function<void()>;

constexpr int succeeded = 0;
constexpr int failed = 1;
constexpr int calledWrongly = 2;

const std::map<std::string, Dither> ditherNames{{"auto", Dither::automatic}, {"on", Dither::on}, {"off", Dither::off}};

const std::map<std::string, glasses::AdvertisingMode> advertisingNames{
    {"normal", glasses::AdvertisingMode::normal},
    {"other", glasses::AdvertisingMode::otherManufacturerData},
    {"none", glasses::AdvertisingMode::noManufacturerData},
    {"update", glasses::AdvertisingMode::update}};

/// The usual help under a usage line of one's own.
class HelpFormatter : public CLI::Formatter {
public:
    explicit HelpFormatter(std::string usage) : usage_(std::move(usage)) {}
    std::string make_usage(const CLI::App*, std::string) const override { return usage_ + "\n"; }

private:
    std::string usage_;
};

std::shared_ptr<HelpFormatter> usage(std::string text) {
    return std::make_shared<HelpFormatter>(std::move(text));
}

template <typename T>
CLI::Option* addChoice(CLI::App* app, const std::string& name, const std::map<std::string, T>& choices,
                       std::function<void(T)> set, const std::string& description) {
    std::vector<std::string> names;
    names.reserve(choices.size());
    for (const auto& [choice, value] : choices) {
        names.push_back(choice);
    }
    return app
        ->add_option_function<std::string>(
            name, [&choices, set](const std::string& choice) { set(choices.at(choice)); }, description)
        ->type_name(CLI::detail::join(names, "|"))
        ->check(CLI::IsMember(names).description(""));
}

void addMessage(CLI::App& app, Action& action) {
    auto* message = app.add_subcommand("message", "Messages of the glasses: JSON to MessagePack and back");
    message->formatter(usage("Usage: tarnel message encode|decode ..."));
    message->require_subcommand(0, 1);
    message->footer(std::string(messageJSONHelp));

    auto encoding = std::make_shared<MessageEncodeOptions>();
    auto* encode = message->add_subcommand("encode", "JSON to the bytes of a message");
    encode->formatter(usage("Usage: tarnel message encode [JSON|-] [--hex|--json] [-o FILE]"));
    encode->add_option("JSON", encoding->json, "The message; - or nothing for standard input")->type_name("");
    encode->add_option("-o,--output", encoding->output, "Where the bytes go instead of standard output")
        ->type_name("FILE");
    auto* hex = encode->add_flag("--hex", encoding->asHexadecimal,
                                 "Write hexadecimal digits and a line feed (always so on a terminal)");
    encode->add_flag("--json", encoding->asJSON, R"(Write {"bytes": count, "hex": digits})")->excludes(hex);
    encode->footer(std::string(messageJSONHelp));
    encode->callback([encoding, &action] { action = [encoding] { encodeMessage(*encoding); }; });

    auto decoding = std::make_shared<MessageDecodeOptions>();
    auto* decode = message->add_subcommand("decode", "The bytes of one or more messages to JSON, a line each");
    decode->formatter(usage("Usage: tarnel message decode [FILE|-] | --hex DIGITS"));
    auto* file = decode->add_option("FILE", decoding->file, "The bytes; - or nothing for standard input");
    file->type_name("");
    decode->add_option("--hex", decoding->hexadecimal, "The bytes in hexadecimal digits, instead of a file")
        ->type_name("DIGITS")
        ->excludes(file);
    decode->add_flag("--json")->description("Does nothing: the output is JSON");
    decode->footer(std::string(messageJSONHelp));
    decode->callback([decoding, &action] { action = [decoding] { decodeMessages(*decoding); }; });
}

void addImage(CLI::App& app, Action& action) {
    auto options = std::make_shared<ImageOptions>();
    auto* image = app.add_subcommand("image", "Picture files to the device image format and back");
    image->formatter(usage("Usage: tarnel image PICTURE [--bpp 1|2] [--dither auto|on|off] -o OUT.bin\n"
                           "       tarnel image OUT.bin -o PICTURE.png"));
    image->add_option("INPUT", options->input, "A PNG or JPEG file, or a device image; - for standard input")
        ->required()
        ->type_name("");
    image->add_option("-o,--output", options->output, "The file to write; - for standard output")
        ->required()
        ->type_name("FILE");
    image->add_option("--bpp", options->bpp, "Bits per pixel of the device image (default 2)")
        ->type_name("1|2")
        ->check(CLI::IsMember({1, 2}).description(""));
    addChoice<Dither>(
        image, "--dither", ditherNames, [options](Dither dither) { options->dither = dither; },
        "Mix the four levels to in-between greys, auto: in photographs (default off: the nearest level)");
    image->add_flag("--json", options->asJSON, "Describe the result in JSON");
    image->footer("A device image is an LVGL image: header, palette, rows of pixels padded to bytes. Read back, its\n"
                  "levels are greys in equal steps from black to white, and level 0 is transparent as in its palette.");
    image->callback([options, &action] { action = [options] { convertImage(*options); }; });
}

void addFont(CLI::App& app, Action& action) {
    auto making = std::make_shared<FontOptions>();
    auto dumping = std::make_shared<FontDumpOptions>();
    auto* font = app.add_subcommand("font", "The font that the glasses get with a text, and what one holds");
    font->formatter(usage("Usage: tarnel font TEXT [--size N] [--locale TAG] -o OUT.bin\n"
                          "       tarnel font --dump FONT.bin"));
    auto* text = font->add_option("TEXT", making->text, "The characters of the font; - for standard input");
    text->type_name("");
    auto* output = font->add_option("-o,--output", making->output, "The file to write; - for standard output");
    output->type_name("FILE");
    auto* size = font->add_option("--size", making->size, "Of the font in pixels, 8 to 96 (default 28)")
                     ->type_name("N")
                     ->check(CLI::Range(8, 96).description(""));
    auto* locale = font->add_option("--locale", making->locale,
                                    "Language whose forms of Han characters are drawn, e.g. ja or zh-TW (default: the "
                                    "environment's)")
                       ->type_name("TAG");
    auto* dump = font->add_option("--dump", dumping->font, "List what a font holds; - for standard input")
                     ->type_name("FILE")
                     ->excludes(text)
                     ->excludes(output)
                     ->excludes(size)
                     ->excludes(locale);
    font->add_flag_callback(
        "--json", [making, dumping] { making->asJSON = dumping->asJSON = true; }, "Describe the result in JSON");
    font->footer(
        "A font is an LVGL binary font of 1 bit a pixel. It holds exactly the characters of the text, the space "
        "for a tab.\nThe glasses draw a box for a character that no font of this system has. "
        "Documentation/Fonts.md describes the bytes.");
    font->callback([making, dumping, text, output, dump, &action] {
        if (dump->count() > 0) {
            action = [dumping] { dumpFont(*dumping); };
            return;
        }
        if (text->count() == 0 || output->count() == 0) {
            throw UsageError("tarnel font takes a TEXT and -o OUT.bin, or --dump FONT.bin");
        }
        action = [making] { makeFont(*making); };
    });
}

std::uint64_t seedFromText(const std::string& digits) {
    std::uint64_t seed = 0;
    const char* end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, seed);
    if (read.ec != std::errc() || read.ptr != end) {
        throw CLI::ValidationError("--seed", "takes a number of 0...18446744073709551615");
    }
    return seed;
}

void addSimulation(CLI::App* command, const std::shared_ptr<SimulationOptions>& simulation) {
    const std::string group = "Simulated glasses";
    command->add_flag("--simulated", simulation->isSimulated, "Use simulated glasses, in virtual time (needed for now)")
        ->group(group);
    command
        ->add_option_function<std::string>(
            "--seed", [simulation](const std::string& digits) { simulation->seed = seedFromText(digits); },
            "The run: the same number gives the same (default 1)")
        ->type_name("N")
        ->group(group);
    command
        ->add_option("--protocol", simulation->glasses.protocolVersion,
                     "1: writes with response only; 2: without too (default)")
        ->type_name("1|2")
        ->check(CLI::IsMember({1, 2}).description(""))
        ->group(group);
    command->add_option("--mtu", simulation->link.mtu, "ATT MTU in bytes, 23 to 517 (default 498)")
        ->type_name("N")
        ->check(CLI::Range(23, 517).description(""))
        ->group(group);
    command
        ->add_option_function<int>(
            "--interval",
            [simulation](int milliseconds) {
                simulation->link.connectionInterval = std::chrono::milliseconds(milliseconds);
            },
            "Connection interval in milliseconds, 8 to 1000 (default 15)")
        ->type_name("N")
        ->check(CLI::Range(8, 1000).description(""))
        ->group(group);
    command->add_option("--buffer", simulation->link.bufferDepth, "Writes that the host buffers, 1 to 1000 (default 8)")
        ->type_name("N")
        ->check(CLI::Range(1, 1000).description(""))
        ->group(group);
    addChoice<glasses::AdvertisingMode>(
        command, "--advertising", advertisingNames,
        [simulation](glasses::AdvertisingMode mode) { simulation->glasses.advertisingMode = mode; },
        "What manufacturer data they advertise: as usual (default), of another mode, none; or update mode")
        ->group(group);
    command->add_flag("--pairing", simulation->glasses.requiresPairing, "They need a bond")->group(group);
    command->add_option("--name", simulation->glasses.name, "Their name")->type_name("TEXT")->group(group);
    command->add_option("--battery", simulation->glasses.batteryLevel, "Per cent (default 80)")
        ->type_name("N")
        ->check(CLI::Range(0, 100).description(""))
        ->group(group);
    command->add_flag("--charging", simulation->glasses.isCharging, "The battery charges")->group(group);
    command
        ->add_option("--trace", simulation->trace,
                     "Write each value that crosses the air as a line of JSON: \"time\" in seconds,\n\"direction\" "
                     "(\"write\", \"write_no_response\", \"notify\"), \"characteristic\", \"value\" in hexadecimal")
        ->type_name("FILE");
}

template <typename T, std::size_t count>
std::map<std::string, T> choicesOf(const Cases<T, count>& cases) {
    return {cases.begin(), cases.end()};
}

std::optional<Point> pointFromText(const std::string& text) {
    const auto comma = std::find(text.begin(), text.end(), ',');
    Point point;
    const auto isNumber = [](std::string_view digits, int& number) {
        const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
        return result.ec == std::errc() && result.ptr == digits.data() + digits.size();
    };
    const bool isPoint =
        comma != text.end() && isNumber({text.begin(), comma}, point.x) && isNumber({comma + 1, text.end()}, point.y);
    return isPoint ? std::optional(point) : std::nullopt;
}

void addShow(CLI::App& app, Action& action) {
    auto options = std::make_shared<ShowOptions>();
    auto simulation = std::make_shared<SimulationOptions>();
    auto* command = app.add_subcommand("show", "Show a picture on the glasses");
    command->formatter(usage("Usage: tarnel show PICTURE [--at X,Y] [--fit] --simulated --frame OUT.png"));
    command->add_option("PICTURE", options->picture, "A PNG or JPEG file; - for standard input")
        ->required()
        ->type_name("");
    command
        ->add_option_function<std::string>(
            "--at",
            [options](const std::string& text) {
                options->at = pointFromText(text);
                if (!options->at) {
                    throw CLI::ValidationError("--at", "takes X,Y in pixels, e.g. 20,40");
                }
            },
            "Place of the picture's top left corner, 0,0 to 639,479 (default 0,0; with --fit centred)")
        ->type_name("X,Y");
    command->add_flag("--fit", options->fit, "Scale the picture to the room right of and below that place");
    addChoice<Dither>(
        command, "--dither", ditherNames, [options](Dither dither) { options->dither = dither; },
        "Mix the four levels to in-between greys (default auto: in photographs)");
    command->add_option("--frame", options->frame, "Write what the display then shows; - for standard output")
        ->type_name("OUT.png");
    command->add_flag("--json", options->asJSON, "Describe the result in JSON");
    addSimulation(command, simulation);
    command->footer(
        "What lies right of and below the display is left out. The frame is 640 x 480 pixels, its levels 0 to 3 "
        "the greens\n0, 85, 170 and 255.");
    command->callback([options, simulation, &action] {
        options->simulation = *simulation;
        action = [options] { show(*options); };
    });
}

const std::map<std::string, Layout> textLayoutNames{
    {"left", Layout::textBottomLeftAlign}, {"center", Layout::textBottomCenterAlign}, {"canvas", Layout::canvas}};
const auto colorNames = choicesOf(colors);
const auto alignmentNames = choicesOf(textAlignments);
const auto wrapModeNames = choicesOf(textWrapModes);
const auto anchorNames = choicesOf(anchors);

/// Of the glasses' coordinates.
constexpr int farthestOffset = 32'767;
constexpr const char* labelGroup = "The label of layout canvas";

void addLabelOptions(CLI::App* command, const std::shared_ptr<TextOptions>& options) {
    const auto set = [options](auto TextArguments::*field) {
        return [options, field](auto value) {
            options->label.*field = value;
            options->saysLabel = true;
        };
    };
    addChoice<Anchor>(command, "--anchor", anchorNames, set(&TextArguments::anchor),
                      "From where its place counts (default center)")
        ->group(labelGroup);
    command
        ->add_option_function<std::string>(
            "--at",
            [options](const std::string& text) {
                const auto point = pointFromText(text);
                if (!point || std::abs(std::int64_t{point->x}) > farthestOffset ||
                    std::abs(std::int64_t{point->y}) > farthestOffset) {
                    throw CLI::ValidationError("--at", "takes X,Y in pixels, e.g. 20,-40");
                }
                options->label.xOffset = point->x;
                options->label.yOffset = point->y;
                options->saysLabel = true;
            },
            "Its place from there (default 0,0)")
        ->type_name("X,Y")
        ->group(labelGroup);
    addChoice<Color>(command, "--color", colorNames, set(&TextArguments::textColor), "Its level (default white)")
        ->group(labelGroup);
    addChoice<TextAlignment>(command, "--align", alignmentNames, set(&TextArguments::textAlignment),
                             "How its lines stand in it (default auto)")
        ->group(labelGroup);
    addChoice<TextWrapMode>(command, "--wrap", wrapModeNames, set(&TextArguments::wrapMode),
                            "What happens to text that is wider (default wrap)")
        ->group(labelGroup);
    for (const auto& [name, field] :
         {std::pair("--width", &TextArguments::width), std::pair("--height", &TextArguments::height)}) {
        command
            ->add_option_function<int>(name, set(field),
                                       "In pixels, -1 as the text needs, up to the display's (default)")
            ->type_name("N")
            ->check(CLI::Range(-1, farthestOffset).description(""))
            ->group(labelGroup);
    }
}

void addText(CLI::App& app, Action& action) {
    auto options = std::make_shared<TextOptions>();
    auto simulation = std::make_shared<SimulationOptions>();
    auto* command = app.add_subcommand("text", "Show a text on the glasses");
    command->formatter(usage("Usage: tarnel text TEXT [--layout left|center|canvas] --simulated --frame OUT.png"));
    command->add_option("TEXT", options->text, "UTF-8; - for standard input")->required()->type_name("");
    addChoice<Layout>(
        command, "--layout", textLayoutNames, [options](Layout layout) { options->layout = layout; },
        "A line at the bottom of the display, left or center, or a label (default canvas)");
    command->add_option("--size", options->size, "Of the font in pixels, 8 to 96 (default 28)")
        ->type_name("N")
        ->check(CLI::Range(8, 96).description(""));
    command->add_option("--font", options->font, "An installed family or a font file that goes before the usual fonts")
        ->type_name("FAMILY|FILE");
    command->add_option("--locale", options->locale, "The user's language, e.g. ja-JP (default en-US)")
        ->type_name("TAG");
    command->add_option("--frame", options->frame, "Write what the display then shows; - for standard output")
        ->type_name("OUT.png");
    command->add_flag("--json", options->asJSON, "Describe the result in JSON");
    addLabelOptions(command, options);
    addSimulation(command, simulation);
    command->footer("The text goes with a font of exactly its characters: the glasses have none of their own. The "
                    "frame is as that of\ntarnel show.");
    command->callback([options, simulation, &action] {
        options->simulation = *simulation;
        action = [options] { showText(*options); };
    });
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
Time passes only in "wait" and "idle". The end of the scene is one more "idle"; then the frame is written.
A line has at most 1,048,576 bytes. Bytes in messages are written as in tarnel message --help.

Operations:
)";

void addDemo(CLI::App& app, Action& action) {
    auto options = std::make_shared<DemoOptions>();
    auto simulation = std::make_shared<SimulationOptions>();
    auto* command = app.add_subcommand("demo", "Show a scene of all that the display can");
    command->formatter(usage("Usage: tarnel demo [PICTURE] --simulated --frame OUT.png --animation OUT.gif"));
    command->add_option("PICTURE", options->picture, "A PNG or JPEG file in place of the photograph that comes along")
        ->type_name("");
    command->add_option("--frame", options->frame, "Write what the display shows")->type_name("OUT.png");
    command->add_option("--animation", options->animation, "Write what it shows from then on, as an animated picture")
        ->type_name("OUT.gif");
    command->add_option("--seconds", options->seconds, "Length of the animated picture, 0.1 to 60 (default 6)")
        ->type_name("N")
        ->check(CLI::Range(0.1, 60.0).description(""));
    command->add_flag("--json", options->asJSON, "Describe the transfer in JSON");
    addSimulation(command, simulation);
    command->callback([options, simulation, &action] {
        options->simulation = *simulation;
        action = [options] { demo(*options); };
    });
}

void addPlay(CLI::App& app, Action& action) {
    auto options = std::make_shared<PlayOptions>();
    auto simulation = std::make_shared<SimulationOptions>();
    auto* command = app.add_subcommand("play", "Drive the glasses by lines of JSON, from any language");
    command->formatter(usage("Usage: tarnel play [SCENE|-] --simulated [--frame OUT.png] [--trace FILE]"));
    command->add_option("SCENE", options->scene, "A file of operations; - or nothing for standard input")
        ->type_name("");
    command->add_flag_callback(
        "--no-link", [options] { options->links = false; }, "Leave it to the scene to scan for and link the glasses");
    command->add_flag("--log", options->logs, "The SDK's log lines are events too");
    command->add_option("--frame", options->frame, "Write what the display shows at the end")->type_name("OUT.png");
    command->add_flag("--json")->description("Does nothing: the output is JSON");
    addSimulation(command, simulation);
    command->footer(std::string(playHelp) + operationsHelp());
    command->callback([options, simulation, &action] {
        options->simulation = *simulation;
        action = [options] { play(*options); };
    });
}

std::string helpOf(const CLI::App& command) {
    return command.get_formatter()->make_help(&command, command.get_name(), CLI::AppFormatMode::Normal);
}

/// The command that words name, the program itself for none.
const CLI::App& commandNamed(const CLI::App& app, const std::vector<std::string>& words) {
    const CLI::App* command = &app;
    for (const auto& word : words) {
        const auto commands =
            command->get_subcommands([&](const CLI::App* other) { return other->get_name() == word; });
        if (commands.empty()) {
            throw UsageError("there is no command \"" + word + "\"");
        }
        command = commands.front();
    }
    return *command;
}

void addHelp(CLI::App& app, Action& action) {
    auto words = std::make_shared<std::vector<std::string>>();
    auto* help = app.add_subcommand("help", "The help of a command");
    help->formatter(usage("Usage: tarnel help [COMMAND...]"));
    help->add_option("COMMAND", *words, "E.g. message encode")->type_name("");
    help->callback(
        [&app, words, &action] { action = [&app, words] { writeOutput(helpOf(commandNamed(app, *words))); }; });
}

/// "tarnel message encode", as far as the words were understood.
std::string calledCommand(const CLI::App& app) {
    std::string words = app.get_name();
    const CLI::App* command = &app;
    for (auto called = command->get_subcommands(); !called.empty(); called = command->get_subcommands()) {
        command = called.front();
        words += " " + command->get_name();
    }
    return words;
}

std::string oneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

std::string seeHelp(const CLI::App& app) {
    return "; see " + calledCommand(app) + " --help";
}

int report(const std::string& what, int status) {
    std::cerr << "tarnel: " << what << '\n';
    return status;
}

} // namespace

int run(int argc, const char* const* argv) {
    // A reader that has seen enough ends the program, also where its parent ignores the signal.
    std::signal(SIGPIPE, SIG_DFL);

    CLI::App app("Drives smart glasses over Bluetooth Low Energy.", "tarnel");
    Action action;
    app.formatter(usage("Usage: tarnel COMMAND [ARGUMENTS]"));
    app.require_subcommand(0, 1);
    app.set_version_flag("--version", "tarnel " TARNEL_VERSION);
    addShow(app, action);
    addText(app, action);
    addPlay(app, action);
    addDemo(app, action);
    addMessage(app, action);
    addImage(app, action);
    addFont(app, action);
    addHelp(app, action);
    app.footer(
        "Exit status: 0 done, 1 failed (one line on standard error says what and what to do), 2 called wrongly.");

    try {
        app.parse(argc, argv);
        if (!action) {
            throw UsageError("which command?");
        }
        action();
        return succeeded;
    } catch (const CLI::CallForHelp&) {
        writeOutput(app.help());
        return succeeded;
    } catch (const CLI::CallForVersion& version) {
        writeOutput(version.what() + std::string("\n"));
        return succeeded;
    } catch (const CLI::ParseError& error) {
        return report(oneLine(error.what()) + seeHelp(app), calledWrongly);
    } catch (const UsageError& error) {
        return report(error.what() + seeHelp(app), calledWrongly);
    } catch (const Failure& error) {
        return report(error.what(), failed);
    } catch (const std::bad_alloc&) {
        return report("out of memory", failed);
    }
}

} // namespace tarnel::command
