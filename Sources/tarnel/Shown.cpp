#include "Shown.hpp"

#include "Failure.hpp"
#include "Files.hpp"
#include "Options.hpp"
#include "ProgressBar.hpp"
#include "Text.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <utility>
#include <vector>

namespace tarnel::command {
namespace {

/// For how long the glasses leave their display to us, in seconds: longer than the slowest link takes for a picture.
constexpr unsigned displayTimeout = 24 * 60 * 60;

std::vector<std::string> optionsOnStandardOutput(const Outputs& outputs) {
    std::vector<std::string> options;
    for (const auto& [option, file] :
         {std::pair{"--frame -", outputs.frame}, std::pair{"--animation -", outputs.animation},
          std::pair{"--trace -", outputs.trace}}) {
        if (file == "-") {
            options.emplace_back(option);
        }
    }
    if (outputs.asJSON) {
        options.emplace_back("--json");
    }
    return options;
}

} // namespace

void requireUsable(const Outputs& outputs) {
    requireDifferentFiles({{"--frame", outputs.frame}, {"--animation", outputs.animation}, {"--trace", outputs.trace}});
    if (const auto options = optionsOnStandardOutput(outputs); options.size() > 1) {
        throw UsageError("standard output takes one of " + CLI::detail::join(options, " and "));
    }
    if (!outputs.isSimulated && (outputs.frame || outputs.animation)) {
        throw UsageError(std::string(outputs.frame ? "--frame" : "--animation") +
                         " is for --simulated: what real glasses show cannot be read back");
    }
    if (outputs.isSimulated && !outputs.frame && !outputs.animation && !outputs.trace) {
        throw UsageError("give --frame FILE, --trace FILE or both: simulated glasses are seen in no other way");
    }
}

Transfer transfer(Surroundings& surroundings, Layout layout, const std::function<void(Tarnel&)>& draw) {
    const auto device = surroundings.device();
    const Traffic before = surroundings.traffic();
    const auto start = surroundings.now();
    device->setLayout(layout, displayTimeout, false);
    draw(*device);
    {
        const std::size_t total = device->pendingByteCount();
        ProgressBar bar(total);
        surroundings.waitUntilIdle([&] {
            const std::size_t left = device->pendingByteCount();
            bar.update(total - std::min(left, total), surroundings.now() - start);
        });
    }
    const Traffic after = surroundings.traffic();
    if (after.losses != before.losses) {
        throw Failure("the connection was lost before all was sent; bring the glasses near and try again");
    }
    surroundings.awaitReceipt();
    if (const auto error = device->firmwareError.value()) {
        throw Failure("the glasses refused it: " + error->message);
    }
    return {after.writtenBytes - before.writtenBytes, after.writes - before.writes, surroundings.traffic().last - start,
            device->protocolVersion()};
}

void linger(Surroundings& surroundings, Layout layout, const std::function<void(Tarnel&)>& draw) {
    surroundings.linger([&] {
        // Glasses begin empty.
        surroundings.device()->canvas.reset();
        transfer(surroundings, layout, draw);
    });
}

void append(JSON::Object& object, const Transfer& transfer, const Outputs& outputs) {
    object.emplace_back("protocolVersion", transfer.protocolVersion);
    object.emplace_back("bytes", std::uint64_t{transfer.bytes});
    object.emplace_back("chunks", std::uint64_t{transfer.chunks});
    object.emplace_back("seconds", inSeconds(transfer.time));
    object.emplace_back("frame", outputs.frame ? JSON(*outputs.frame) : JSON());
    object.emplace_back("trace", outputs.trace ? JSON(*outputs.trace) : JSON());
}

std::string description(const Transfer& transfer) {
    std::array<char, 32> time{};
    std::snprintf(time.data(), time.size(), "%.2f", inSeconds(transfer.time));
    return grouped(transfer.bytes) + " bytes in " + grouped(transfer.chunks) + " chunks, " + time.data() + " s";
}

void writeSummary(const std::string& summary, const Outputs& outputs) {
    if (outputs.takeStandardOutput()) {
        std::fputs(summary.c_str(), stderr);
    } else {
        writeOutput(summary);
    }
}

} // namespace tarnel::command
