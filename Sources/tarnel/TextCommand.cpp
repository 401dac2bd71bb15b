#include "TextCommand.hpp"

#include "DisplayNames.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "Fonts.hpp"
#include "Frames.hpp"
#include "Pictures.hpp"
#include "Shown.hpp"
#include "Text.hpp"

#include <TarnelSDK/display/Canvas.hpp>
#include <TarnelSDK/foundation/UTF8.hpp>

#include <algorithm>
#include <string_view>

namespace tarnel::command {
namespace {

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

} // namespace

void showText(const TextOptions& options) {
    const Outputs outputs{options.frame, options.simulation.trace, options.asJSON};
    requireUsable(outputs);
    if (options.layout != Layout::canvas && options.saysLabel) {
        throw UsageError("--anchor, --at, --color, --align, --wrap, --width and --height are for --layout canvas");
    }
    reserveStandardOutput();
    const auto frame = options.frame ? std::optional<OutputFile>(*options.frame) : std::nullopt;
    const std::string text = textOf(options);

    Simulation simulation(options.simulation);
    auto& application = simulation.world().application();
    if (options.locale) {
        application.setLocale(*options.locale);
    }
    simulation.link();
    {
        const auto device = simulation.device();
        if (options.size) {
            device->glypher.setFontSize(*options.size);
        }
        if (options.font) {
            device->setCustomFontForAllText(fontNamed(*options.font, device->glypher.fontSize()));
        }
        requireFont(*device, text, application.locale());
    }
    const Transfer transferred =
        transfer(simulation, options.layout, [&](Tarnel& device) { drawText(device, options, text); });
    simulation.requireTrace();
    if (frame) {
        frame->store(pngOf(imageOf(simulation.glasses().frame())));
    }
    writeSummary(report(options, text, transferred, outputs), outputs);
}

} // namespace tarnel::command
