#include "ShowCommand.hpp"

#include "Failure.hpp"
#include "Files.hpp"
#include "Frames.hpp"
#include "JSON.hpp"
#include "Placement.hpp"
#include "ProgressBar.hpp"
#include "Text.hpp"

#include <TarnelSDK/display/Canvas.hpp>
#include <TarnelSDK/images/Dither.hpp>

#include <array>
#include <cstdio>

namespace tarnel::command {
namespace {

/// For how long the glasses leave their display to us, in seconds: longer than the slowest link takes for a picture.
constexpr unsigned displayTimeout = 24 * 60 * 60;

struct Transfer {
    std::size_t bytes = 0;
    std::size_t chunks = 0;
    std::chrono::duration<double> time{};
    int protocolVersion = 0;
};

void requireUsable(const ShowOptions& options) {
    if (options.at &&
        (options.at->x < 0 || options.at->x >= Canvas::WIDTH || options.at->y < 0 || options.at->y >= Canvas::HEIGHT)) {
        throw UsageError("--at takes a place on the display: X,Y of 0,0 to " + std::to_string(Canvas::WIDTH - 1) + "," +
                         std::to_string(Canvas::HEIGHT - 1));
    }
    if ((options.frame == "-") + (options.simulation.trace == "-") + options.asJSON > 1) {
        throw UsageError("standard output takes one of --frame -, --trace - and --json");
    }
    if (options.frame && options.frame == options.simulation.trace) {
        throw UsageError("--frame and --trace take different files");
    }
    if (!options.frame && !options.simulation.trace) {
        throw UsageError("give --frame FILE, --trace FILE or both: simulated glasses are seen in no other way");
    }
}

Transfer draw(Simulation& simulation, const PlacedPicture& placed) {
    const auto device = simulation.device();
    const Traffic before = simulation.traffic();
    const auto start = simulation.now();
    device->setLayout(Layout::canvas, displayTimeout, false);
    device->canvas.drawBackground(placed.picture, placed.place.x, placed.place.y, false);
    device->canvas.commit();
    {
        const std::size_t total = device->pendingByteCount();
        ProgressBar bar(total);
        simulation.waitUntilIdle([&] {
            const std::size_t left = device->pendingByteCount();
            bar.update(total - std::min(left, total), simulation.now() - start);
        });
    }
    if (const auto error = device->firmwareError.value()) {
        throw Failure("the glasses refused the picture: " + error->message);
    }
    const Traffic& after = simulation.traffic();
    return {after.writtenBytes - before.writtenBytes, after.writes - before.writes, after.last - start,
            device->protocolVersion()};
}

std::string report(const ShowOptions& options, const PlacedPicture& placed, const Transfer& transfer) {
    if (options.asJSON) {
        JSON::Object object{{"picture", options.picture},
                            {"x", placed.place.x},
                            {"y", placed.place.y},
                            {"width", placed.picture.width()},
                            {"height", placed.picture.height()},
                            {"protocolVersion", transfer.protocolVersion},
                            {"bytes", std::uint64_t{transfer.bytes}},
                            {"chunks", std::uint64_t{transfer.chunks}},
                            {"seconds", transfer.time.count()}};
        object.emplace_back("frame", options.frame ? JSON(*options.frame) : JSON());
        object.emplace_back("trace", options.simulation.trace ? JSON(*options.simulation.trace) : JSON());
        return text(object) + "\n";
    }
    std::array<char, 32> seconds{};
    std::snprintf(seconds.data(), seconds.size(), "%.2f", transfer.time.count());
    return "Shown at " + std::to_string(placed.place.x) + "," + std::to_string(placed.place.y) + ", " +
           std::to_string(placed.picture.width()) + " x " + std::to_string(placed.picture.height()) +
           " pixels: " + grouped(transfer.bytes) + " bytes in " + grouped(transfer.chunks) + " chunks, " +
           seconds.data() + " s\n";
}

} // namespace

void show(const ShowOptions& options) {
    requireUsable(options);
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
    const Transfer transfer = draw(simulation, placed);
    simulation.requireTrace();
    if (frame) {
        frame->store(pngOf(imageOf(simulation.glasses().frame())));
    }
    const std::string summary = report(options, placed, transfer);
    if (options.frame == "-" || options.simulation.trace == "-") {
        std::fputs(summary.c_str(), stderr);
    } else {
        writeOutput(summary);
    }
}

} // namespace tarnel::command
