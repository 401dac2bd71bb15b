#pragma once

#include "support/Command.hpp"

#include <TarnelSDK/platform/Bytes.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace tarnel::test {

/// Runs the `tarnel` command.
inline CommandResult runTarnel(std::vector<std::string> arguments, std::string_view input = {}) {
    arguments.insert(arguments.begin(), TARNEL_COMMAND);
    return runCommand(std::move(arguments), input);
}

inline std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::size_t start = 0;
    for (auto end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
        result.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    if (start < text.size()) {
        result.push_back(text.substr(start));
    }
    return result;
}

/// 8-bit RGB pixels, rows from the top.
struct Pixels {
    int width = 0;
    int height = 0;
    Bytes rgb;
};

Pixels readPNG(const std::string& path);
void writePNG(const std::string& path, const Pixels& pixels);
void writeJPEG(const std::string& path, const Pixels& pixels);

/// Soft areas, edges and grain, as in a photograph.
Pixels photograph(int width, int height);
/// Black and white squares of 16 pixels.
Pixels checkerboard(int width, int height);

/// The levels that the greens of a frame stand for; throws for a pixel that is no level's green.
Bytes levelsOfFrame(const std::string& path);

/// The levels, 640 x 480 of them, that the glasses showed last according to a trace, worked out without any code of the
/// SDK or the simulated glasses: chunks are joined, messages unpacked by another library, bands decompressed and drawn.
/// Values before `since` seconds are left out. Throws for a trace that makes no sense.
Bytes levelsOfTrace(const std::string& path, double since = 0);

struct TraceSummary {
    std::size_t writes = 0;
    std::size_t writesWithoutResponse = 0;
    std::size_t notifications = 0;
    std::size_t longestWrite = 0;
    bool isInOrder = true;
};
TraceSummary summaryOfTrace(const std::string& path);

} // namespace tarnel::test
