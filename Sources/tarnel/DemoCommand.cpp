#include "Animation.hpp"
#include "Commands.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "Frames.hpp"
#include "JSON.hpp"
#include "Options.hpp"
#include "Pictures.hpp"
#include "Resources.hpp"
#include "Shown.hpp"
#include "Simulation.hpp"
#include "Window.hpp"

#include <TarnelSDK/display/Canvas.hpp>
#include <TarnelSDK/glyphs/Font.hpp>
#include <TarnelSDK/images/Dither.hpp>
#include <TarnelSDK/images/UIImage+Extension.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <optional>
#include <string>

namespace tarnel::command {
namespace {

struct DemoOptions {
    std::optional<std::string> picture;   ///< "-" for standard input; nothing for the photograph that comes along
    std::optional<std::string> frame;     ///< picture file to write
    std::optional<std::string> animation; ///< animated picture file to write
    double seconds = 6;                   ///< length of the animated picture
    bool asJSON = false;
    bool inWindow = false;
    SurroundingsOptions surroundings;
};

using std::chrono::milliseconds;

/// Where the photograph lies, and what is drawn over it.
constexpr Rect photographArea{232, 12, 396, 297};
constexpr Rect captionArea{248, 245, 364, 52};

/// The height of the labels' letters, and from one label to the next, in pixels.
constexpr int labelSize = 26;
constexpr int labelStep = 63;

struct Label {
    const char* text;
    Color color;
};

constexpr std::array<Label, 6> labels{{
    {"Grüße, Zoë!", Color::white},
    {"Привет!", Color::mid},
    {"Γειά σου!", Color::white},
    {"你好，世界", Color::mid},
    {"こんにちは", Color::white},
    {"안녕하세요", Color::mid},
}};

constexpr const char* ticker = "Text in any script 😀 👍 ☕ The glasses hold no fonts: what they draw is sent.   ";

std::string photographFile() {
    const auto installed = installedResources();
    const std::filesystem::path file = installed ? *installed / "photograph.jpg" : TARNEL_DEMO_PICTURE;
    std::error_code error;
    if (std::filesystem::is_regular_file(file, error)) {
        return file.string();
    }
    throw Failure("the photograph that comes along is not there; name a picture: tarnel demo PICTURE");
}

/// The picture as large as fits into the area, from its upper left corner.
Image fitted(const Image& picture, const Rect& area) {
    return ditherToLevels(resize(picture, {area.width, area.height}, true));
}

void drawBackground(Canvas& canvas, const Image& picture) {
    const Image photograph = fitted(picture, photographArea);
    const Rect& area = photographArea;
    canvas.clearBackground();
    canvas.drawRect({.x = area.x - 4,
                     .y = area.y - 4,
                     .width = photograph.width() + 8,
                     .height = photograph.height() + 8,
                     .cornerRadius = 6,
                     .borderWidth = 2,
                     .borderColor = Color::mid});
    canvas.drawBackground(photograph, area.x, area.y, false);

    const Rect& caption = captionArea;
    canvas.drawRect({.x = caption.x,
                     .y = caption.y,
                     .width = caption.width,
                     .height = caption.height,
                     .cornerRadius = 14,
                     .borderWidth = 2,
                     .borderColor = Color::white,
                     .fillColor = Color::black,
                     .corners = {.topRight = false, .bottomLeft = false}});
    AttributedString text;
    text.append("Tarnel", {Font::system(30, FontWeight::bold), UIColor::gray(1)});
    text.append("SDK ", {Font::system(30), UIColor::gray(1)});
    text.append("on the air", {Font::system(20), UIColor::gray(0.5)});
    canvas.drawStaticText(text, caption.x + 14, caption.y + 6);
    canvas.drawLine({.x1 = 12.0, .y1 = 418, .x2 = 627, .y2 = 418, .lineWidth = 2, .color = Color::dim});
    for (const double x : {560.0, 580.0, 600.0}) {
        canvas.drawLine({.x1 = x - 8, .y1 = 286, .x2 = x + 8, .y2 = 256, .lineWidth = 3, .color = Color::white});
    }
}

/// A ring that beats: two of its states.
std::array<Image, 2> heartbeat() {
    const auto ring = [](int size, std::uint8_t gray, std::uint8_t core) {
        constexpr Rect area{0, 0, 64, 64};
        const int at = (area.width - size) / 2;
        const auto drawn = drawShape(RoundedRectangle{.rect = {at, at, size, size},
                                                      .cornerRadius = size / 2.0,
                                                      .borderWidth = 5,
                                                      .borderGray = gray,
                                                      .fillGray = core},
                                     area);
        return drawn->image;
    };
    return {ring(40, 255, 64), ring(60, 128, 0)};
}

void drawObjects(Tarnel& device, const Image& picture) {
    Canvas& canvas = device.canvas;
    device.glypher.setFontSize(labelSize);
    for (std::size_t i = 0; i < labels.size(); ++i) {
        canvas.createText(
            labels[i].text,
            {.textColor = labels[i].color, .xOffset = 16, .yOffset = 12 + labelStep * static_cast<int>(i)});
    }
    canvas.createText(
        ticker,
        {.anchor = Anchor::bottomCenter, .yOffset = -14, .width = 600, .wrapMode = TextWrapMode::scrollCircular});
    const Image round = roundedCorners(fitted(picture, {0, 0, 102, 76}), 38);
    canvas.createImage(round, {.anchor = Anchor::topLeft, .xOffset = 526, .yOffset = 328});
    const auto frames = heartbeat();
    canvas.createAnimation(frames, {.anchor = Anchor::topLeft, .xOffset = 446, .yOffset = 334, .duration = 800});
}

std::string report(const DemoOptions& options, const Transfer& transfer, const Outputs& outputs) {
    if (!options.asJSON) {
        return "Shown: " + description(transfer) + "\n";
    }
    JSON::Object object;
    append(object, transfer, outputs);
    object.emplace_back("animation", outputs.animation ? JSON(*outputs.animation) : JSON());
    return text(object) + "\n";
}

/// What the display shows in the time to come.
std::vector<TimedFrame> record(Simulation& simulation, double seconds) {
    // LVGL moves what it shows every 30 ms; every second of these steps is smooth enough.
    constexpr milliseconds step{60};
    std::vector<TimedFrame> frames;
    const auto end =
        simulation.now() + std::chrono::duration_cast<platform::Duration>(std::chrono::duration<double>(seconds));
    while (simulation.now() < end) {
        auto frame = simulation.glasses().frame();
        if (!frames.empty() && frames.back().frame == frame) {
            frames.back().duration += step;
        } else {
            frames.push_back({std::move(frame), step});
        }
        simulation.advance(step);
    }
    return frames;
}

/// Shows a scene of all that the display can: a photograph with shapes and static text over it, labels in many scripts,
/// an image and an animation.
void demo(const DemoOptions& options) {
    const Outputs outputs{.frame = options.frame,
                          .trace = options.surroundings.trace,
                          .asJSON = options.asJSON,
                          .animation = options.animation,
                          .isSimulated = options.surroundings.isSimulated};
    if (outputs.isSimulated && !options.frame && !options.animation && !options.surroundings.trace &&
        !options.inWindow) {
        throw UsageError("give --window, --frame FILE, --animation FILE or --trace FILE: simulated glasses are seen in "
                         "no other way");
    }
    if (options.inWindow && !outputs.isSimulated) {
        throw UsageError("--window is for --simulated: what real glasses show cannot be read back");
    }
    const bool hasOutput = options.frame || options.animation || options.surroundings.trace;
    if (hasOutput || !options.inWindow) {
        requireUsable(outputs);
    }
    if (!std::isfinite(options.seconds)) {
        throw UsageError("--seconds takes a number of 0.1 to 60");
    }
    if (options.inWindow) {
        requireWindow();
    }
    reserveStandardOutput();
    const auto frame = options.frame ? std::optional<OutputFile>(*options.frame) : std::nullopt;
    const auto animation = options.animation ? std::optional<OutputFile>(*options.animation) : std::nullopt;
    const Image picture = readPicture(options.picture ? *options.picture : photographFile());

    const auto surroundings = Surroundings::make(options.surroundings);
    surroundings->connect();
    const auto draw = [&](Tarnel& device) {
        drawBackground(device.canvas, picture);
        drawObjects(device, picture);
        device.canvas.commit();
    };
    const Transfer transferred = transfer(*surroundings, Layout::canvas, draw);
    surroundings->requireTrace();
    storeFrame(frame, *surroundings);
    if (auto* simulation = surroundings->simulation(); animation && simulation) {
        animation->store(gifOf(record(*simulation, options.seconds)));
    }
    writeSummary(report(options, transferred, outputs), outputs);
    if (auto* simulation = surroundings->simulation(); simulation && options.inWindow) {
        showWindow(*simulation);
    }
    linger(*surroundings, Layout::canvas, draw);
}

} // namespace

void addDemo(CLI::App& app, Action& action) {
    auto options = std::make_shared<DemoOptions>();
    auto* command = app.add_subcommand("demo", "Show a scene of all that the display can");
    command->formatter(usage("Usage: tarnel demo [PICTURE]\n"
                             "       tarnel demo [PICTURE] --simulated --window\n"
                             "       tarnel demo [PICTURE] --simulated --frame OUT.png --animation OUT.gif"));
    command->add_option("PICTURE", options->picture, "A PNG or JPEG file in place of the photograph that comes along")
        ->type_name("");
    command->add_option("--frame", options->frame, "Write what the display of simulated glasses shows")
        ->type_name("OUT.png");
    command->add_option("--animation", options->animation, "Write what it shows from then on, as an animated picture")
        ->type_name("OUT.gif");
    command->add_option("--seconds", options->seconds, "Length of the animated picture, 0.1 to 60 (default 6)")
        ->type_name("N")
        ->check(CLI::Range(0.1, 60.0).description(""));
    command->add_flag("--window", options->inWindow, "Show the simulated glasses in a window, until it is closed");
    command->add_flag("--json", options->asJSON, "Describe the transfer in JSON");
    addSurroundings(command, {options, &options->surroundings}, Uses::aDisplay);
    command->callback([options, &action] { action = [options] { demo(*options); }; });
}

} // namespace tarnel::command
