#include "PlayCommand.hpp"

#include "Bridge.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "Frames.hpp"
#include "JSON.hpp"
#include "LineReader.hpp"
#include "Pictures.hpp"
#include "Text.hpp"

namespace tarnel::command {
namespace {

void answerLines(LineReader& reader, Simulation& simulation, Bridge& bridge) {
    for (std::uint64_t number = 1; const auto line = reader.next(); ++number) {
        const JSON answer =
            line->isTooLong
                ? JSON(JSON::Object{{"line", number},
                                    {"error", "the line is longer than the " + grouped(LineReader::maximumLength) +
                                                  " bytes that are taken"}})
                : bridge.answer(number, line->text);
        bridge.requireOutput();
        simulation.requireTrace();
        writeOutput(text(answer) + "\n");
    }
}

} // namespace

void play(const PlayOptions& options) {
    if (options.frame == "-" || options.simulation.trace == "-") {
        throw UsageError("standard output takes the answers; give --frame and --trace a file");
    }
    if (options.frame && options.frame == options.simulation.trace) {
        throw UsageError("--frame and --trace take different files");
    }
    reserveStandardOutput();
    LineReader reader(options.scene);
    const auto frame = options.frame ? std::optional<OutputFile>(*options.frame) : std::nullopt;
    Simulation simulation(options.simulation);
    Bridge bridge(simulation, options.logs);
    simulation.run();
    if (options.links) {
        simulation.link();
    }
    answerLines(reader, simulation, bridge);

    std::exception_ptr failure;
    try {
        simulation.waitUntilIdle();
    } catch (const Failure&) {
        failure = std::current_exception();
    }
    bridge.requireOutput();
    simulation.requireTrace();
    if (frame) {
        frame->store(pngOf(imageOf(simulation.glasses().frame())));
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

} // namespace tarnel::command
