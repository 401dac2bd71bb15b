#include "Commands.hpp"
#include "DisplayNames.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "Frames.hpp"
#include "JSON.hpp"
#include "Options.hpp"
#include "Pictures.hpp"
#include "Placement.hpp"
#include "Shown.hpp"
#include "Surroundings.hpp"

#include <TarnelSDK/display/Canvas.hpp>
#include <TarnelSDK/images/Dither.hpp>
#include <TarnelSDK/images/Geometry.hpp>

#include <cstdio>
#include <optional>
#include <string>

namespace tarnel::command {
namespace {

struct ShowOptions {
    std::string picture; ///< "-" for standard input
    std::optional<Point> at;
    bool fit = false;
    Dither dither = Dither::automatic;
    std::optional<std::string> frame; ///< file to write
    bool asJSON = false;
    SurroundingsOptions surroundings;
};

void requireUsable(const ShowOptions& options) {
    if (options.at &&
        (options.at->x < 0 || options.at->x >= Canvas::WIDTH || options.at->y < 0 || options.at->y >= Canvas::HEIGHT)) {
        throw UsageError("--at takes a place on the display: X,Y of 0,0 to " + std::to_string(Canvas::WIDTH - 1) + "," +
                         std::to_string(Canvas::HEIGHT - 1));
    }
}

std::string report(const ShowOptions& options, const PlacedPicture& placed, const Transfer& transfer,
                   const Outputs& outputs) {
    if (options.asJSON) {
        JSON::Object object{{"picture", options.picture},
                            {"x", placed.place.x},
                            {"y", placed.place.y},
                            {"width", placed.picture.width()},
                            {"height", placed.picture.height()}};
        append(object, transfer, outputs);
        return text(object) + "\n";
    }
    return "Shown at " + std::to_string(placed.place.x) + "," + std::to_string(placed.place.y) + ", " +
           std::to_string(placed.picture.width()) + " x " + std::to_string(placed.picture.height()) +
           " pixels: " + description(transfer) + "\n";
}

/// Shows a picture on the glasses.
void show(const ShowOptions& options) {
    const Outputs outputs{.frame = options.frame,
                          .trace = options.surroundings.trace,
                          .asJSON = options.asJSON,
                          .isSimulated = options.surroundings.isSimulated};
    requireUsable(options);
    requireUsable(outputs);
    reserveStandardOutput();
    const auto frame = options.frame ? std::optional<OutputFile>(*options.frame) : std::nullopt;
    const Image picture = readPicture(options.picture);
    auto placed = place(picture, options.at, options.fit);
    if (isDithered(picture, options.dither)) {
        placed.picture = ditherToLevels(placed.picture);
    }

    const auto surroundings = Surroundings::make(options.surroundings);
    surroundings->connect();
    if (placed.isCut) {
        std::fputs("tarnel: the picture is larger than the display, so only its top left part is shown; --fit shows "
                   "all of it\n",
                   stderr);
    }
    const auto draw = [&](Tarnel& device) {
        device.canvas.drawBackground(placed.picture, placed.place.x, placed.place.y, false);
        device.canvas.commit();
    };
    const Transfer transferred = transfer(*surroundings, Layout::canvas, draw);
    surroundings->requireTrace();
    storeFrame(frame, *surroundings);
    writeSummary(report(options, placed, transferred, outputs), outputs);
    linger(*surroundings, Layout::canvas, draw);
}

} // namespace

void addShow(CLI::App& app, Action& action) {
    auto options = std::make_shared<ShowOptions>();
    auto* command = app.add_subcommand("show", "Show a picture on the glasses");
    command->formatter(usage("Usage: tarnel show PICTURE [--at X,Y] [--fit]\n"
                             "       tarnel show PICTURE --simulated --frame OUT.png"));
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
        command, "--dither", dithers, [options](Dither dither) { options->dither = dither; },
        "Mix the four levels to in-between greys (default auto: in photographs)");
    command
        ->add_option("--frame", options->frame,
                     "Write what the display of simulated glasses then shows; - for standard output")
        ->type_name("OUT.png");
    command->add_flag("--json", options->asJSON, "Describe the result in JSON");
    addSurroundings(command, {options, &options->surroundings}, Uses::aDisplay);
    command->footer(
        "What lies right of and below the display is left out. The frame is 640 x 480 pixels, its levels 0 to 3 "
        "the greens\n0, 85, 170 and 255.");
    command->callback([options, &action] { action = [options] { show(*options); }; });
}

} // namespace tarnel::command
