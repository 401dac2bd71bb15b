#include "ShowCommand.hpp"

#include "Failure.hpp"
#include "Files.hpp"
#include "Frames.hpp"
#include "JSON.hpp"
#include "Placement.hpp"
#include "Shown.hpp"

#include <TarnelSDK/display/Canvas.hpp>
#include <TarnelSDK/images/Dither.hpp>

#include <cstdio>

namespace tarnel::command {
namespace {

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

} // namespace

void show(const ShowOptions& options) {
    const Outputs outputs{options.frame, options.simulation.trace, options.asJSON};
    requireUsable(options);
    requireUsable(outputs);
    reserveStandardOutput();
    const auto frame = options.frame ? std::optional<OutputFile>(*options.frame) : std::nullopt;
    const Image picture = readPicture(options.picture);
    auto placed = place(picture, options.at, options.fit);
    if (isDithered(picture, options.dither)) {
        placed.picture = ditherToLevels(placed.picture);
    }
    if (placed.isCut) {
        std::fputs("tarnel: the picture is larger than the display, so only its top left part is shown; --fit shows "
                   "all of it\n",
                   stderr);
    }

    Simulation simulation(options.simulation);
    simulation.link();
    const Transfer transferred = transfer(simulation, Layout::canvas, [&](Tarnel& device) {
        device.canvas.drawBackground(placed.picture, placed.place.x, placed.place.y, false);
        device.canvas.commit();
    });
    simulation.requireTrace();
    if (frame) {
        frame->store(pngOf(imageOf(simulation.glasses().frame())));
    }
    writeSummary(report(options, placed, transferred, outputs), outputs);
}

} // namespace tarnel::command
