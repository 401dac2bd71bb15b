#include "Commands.hpp"
#include "DisplayNames.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "Fonts.hpp"
#include "Frames.hpp"
#include "Options.hpp"
#include "Pictures.hpp"
#include "Shown.hpp"
#include "Surroundings.hpp"
#include "Text.hpp"

#include <TarnelSDK/device/DeviceTypes.hpp>
#include <TarnelSDK/display/Canvas.hpp>
#include <TarnelSDK/display/LVGLSlotManager.hpp>
#include <TarnelSDK/foundation/UTF8.hpp>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel::command {
namespace {

struct TextOptions {
    std::string text; ///< "-" for standard input
    Layout layout = Layout::canvas;
    std::optional<double> size;      ///< pixels
    std::optional<std::string> font; ///< a family or a file
    TextArguments label{.anchor = Anchor::center};
    /// Whether anything was said of the label, which other layouts do not have.
    bool saysLabel = false;
    std::optional<std::string> frame; ///< file to write
    bool asJSON = false;
    SurroundingsOptions surroundings;
};

/// Far more than a message takes.
constexpr std::size_t longestText = 64 * 1024;

std::string textOf(const TextOptions& options) {
    std::string text = options.text;
    if (text == "-") {
        const Bytes bytes = readFile("-", longestText);
        text.assign(bytes.begin(), bytes.end());
        if (text.ends_with('\n')) {
            text.pop_back();
        }
    }
    if (!isValidUTF8(text)) {
        throw Failure("the text is not UTF-8");
    }
    if (text.find('\0') != std::string::npos) {
        throw Failure("the text has a character of the number 0");
    }
    return text;
}

/// Makes sure that the glasses can draw any of it.
void requireFont(Tarnel& device, const std::string& text, const std::string& locale) {
    const bool isBlank = std::all_of(text.begin(), text.end(), [](char character) {
        return std::string_view(" \t\n\r").find(character) != std::string_view::npos;
    });
    const auto font = isBlank ? std::nullopt : device.glypher.toBinFont(text, locale);
    if (!isBlank && !font) {
        throw Failure("no font has the characters of the text; install one that does or give it with --font");
    }
    constexpr std::size_t restOfTheMessage = 100;
    const std::size_t size = text.size() + (font ? font->size() : 0) + restOfTheMessage;
    if (size > DisplayDevice::MAX_PAYLOAD_SIZE) {
        throw Failure("the text and its font take " + grouped(size) + " bytes, and the glasses take " +
                      grouped(DisplayDevice::MAX_PAYLOAD_SIZE) +
                      "; show less text, fewer different characters or a smaller --size");
    }
}

/// A text that is wider than the display is wrapped, unless something else was said.
TextArguments labelOf(const TextOptions& options, const std::string& text) {
    constexpr int margin = 20;
    TextArguments label = options.label;
    if (label.wrapMode == TextWrapMode::default_) {
        if (label.width < 0 && TextProperties{.text = text}.estimatedSize().width > Canvas::WIDTH - 2 * margin) {
            label.width = Canvas::WIDTH - 2 * margin;
        }
        if (label.width >= 0) {
            label.wrapMode = TextWrapMode::wrap;
        }
    }
    return label;
}

void drawText(Tarnel& device, const TextOptions& options, const std::string& text) {
    if (options.layout == Layout::canvas) {
        device.canvas.createText(text, labelOf(options, text));
        device.canvas.commit();
    } else {
        device.sendText(text);
    }
}

std::string report(const TextOptions& options, const std::string& shown, const Transfer& transfer,
                   const Outputs& outputs) {
    if (!options.asJSON) {
        return "Shown: " + description(transfer) + "\n";
    }
    JSON::Object object{{"text", shown}};
    append(object, transfer, outputs);
    return text(object) + "\n";
}

/// Shows a text on the glasses.
void showText(const TextOptions& options) {
    const Outputs outputs{.frame = options.frame,
                          .trace = options.surroundings.trace,
                          .asJSON = options.asJSON,
                          .isSimulated = options.surroundings.isSimulated};
    requireUsable(outputs);
    if (options.layout != Layout::canvas && options.saysLabel) {
        throw UsageError("--anchor, --at, --color, --align, --wrap, --width and --height are for --layout canvas");
    }
    reserveStandardOutput();
    const auto frame = options.frame ? std::optional<OutputFile>(*options.frame) : std::nullopt;
    const std::string text = textOf(options);

    const auto surroundings = Surroundings::make(options.surroundings);
    surroundings->connect();
    {
        const auto device = surroundings->device();
        if (options.size) {
            device->glypher.setFontSize(*options.size);
        }
        if (options.font) {
            device->setCustomFontForAllText(fontNamed(*options.font, device->glypher.fontSize()));
        }
        requireFont(*device, text, platform::Platform::current().services().application->locale());
    }
    const auto draw = [&](Tarnel& device) { drawText(device, options, text); };
    const Transfer transferred = transfer(*surroundings, options.layout, draw);
    surroundings->requireTrace();
    storeFrame(frame, *surroundings);
    writeSummary(report(options, text, transferred, outputs), outputs);
    linger(*surroundings, options.layout, draw);
}

constexpr Cases<Layout, 3> textLayouts{{
    {"left", Layout::textBottomLeftAlign},
    {"center", Layout::textBottomCenterAlign},
    {"canvas", Layout::canvas},
}};

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
    addChoice<Anchor>(command, "--anchor", anchors, set(&TextArguments::anchor),
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
    addChoice<Color>(command, "--color", colors, set(&TextArguments::textColor), "Its level (default white)")
        ->group(labelGroup);
    addChoice<TextAlignment>(command, "--align", textAlignments, set(&TextArguments::textAlignment),
                             "How its lines stand in it (default auto)")
        ->group(labelGroup);
    addChoice<TextWrapMode>(command, "--wrap", textWrapModes, set(&TextArguments::wrapMode),
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

} // namespace

void addText(CLI::App& app, Action& action) {
    auto options = std::make_shared<TextOptions>();
    auto* command = app.add_subcommand("text", "Show a text on the glasses");
    command->formatter(usage("Usage: tarnel text TEXT [--layout left|center|canvas]\n"
                             "       tarnel text TEXT --simulated --frame OUT.png"));
    command->add_option("TEXT", options->text, "UTF-8; - for standard input")->required()->type_name("");
    addChoice<Layout>(
        command, "--layout", textLayouts, [options](Layout layout) { options->layout = layout; },
        "A line at the bottom of the display, left or center, or a label (default canvas)");
    command->add_option("--size", options->size, "Of the font in pixels, 8 to 96 (default 28)")
        ->type_name("N")
        ->check(CLI::Range(8, 96).description(""));
    command->add_option("--font", options->font, "An installed family or a font file that goes before the usual fonts")
        ->type_name("FAMILY|FILE");
    command
        ->add_option("--locale", options->surroundings.locale,
                     "The user's language, e.g. ja-JP (default: the environment's, en-US when "
                     "simulated)")
        ->type_name("TAG");
    command
        ->add_option("--frame", options->frame,
                     "Write what the display of simulated glasses then shows; - for standard output")
        ->type_name("OUT.png");
    command->add_flag("--json", options->asJSON, "Describe the result in JSON");
    addLabelOptions(command, options);
    addSurroundings(command, {options, &options->surroundings}, Uses::aDisplay);
    command->footer("The text goes with a font of exactly its characters: the glasses have none of their own. The "
                    "frame is as that of\ntarnel show.");
    command->callback([options, &action] { action = [options] { showText(*options); }; });
}

} // namespace tarnel::command
