#include "ProgressBar.hpp"

#include "Text.hpp"

#include <algorithm>
#include <array>
#include <cstdio>

namespace tarnel::command {
namespace {

constexpr std::size_t barWidth = 30;

} // namespace

std::string progressLine(std::uint64_t sent, std::uint64_t total, std::chrono::duration<double> elapsed) {
    const double done = static_cast<double>(sent) / static_cast<double>(total);
    const auto filled = static_cast<std::size_t>(done * static_cast<double>(barWidth));
    std::string line = "[" + std::string(filled, '#') + std::string(barWidth - filled, '-') + "]  " +
                       std::to_string(static_cast<int>(done * 100)) + " %, " + grouped(sent) + " of " + grouped(total) +
                       " bytes";
    if (sent > 0) {
        std::array<char, 32> left{};
        std::snprintf(left.data(), left.size(), ", %.1f s left", elapsed.count() * (1 - done) / done);
        line += left.data();
    }
    return line;
}

void ProgressBar::update(std::uint64_t sent, std::chrono::duration<double> elapsed) {
    if (total_ == 0) {
        return;
    }
    line_.show(progressLine(std::min(sent, total_), total_, elapsed));
}

} // namespace tarnel::command
