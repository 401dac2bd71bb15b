#pragma once

#include "JSON.hpp"
#include "Surroundings.hpp"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

/// What the commands have in common that show something and leave a frame.
namespace tarnel::command {

struct Transfer {
    std::size_t bytes = 0;
    std::size_t chunks = 0;
    platform::Duration time{};
    int protocolVersion = 0;
};

struct Outputs {
    std::optional<std::string> frame;
    std::optional<std::string> trace;
    bool asJSON = false;
    std::optional<std::string> animation = std::nullopt;
    bool isSimulated = false;

    bool takeStandardOutput() const { return frame == "-" || trace == "-" || animation == "-"; }
};

/// Throws `UsageError` when outputs would meet in one file, are none, or are of glasses whose display cannot be seen.
void requireUsable(const Outputs& outputs);

/// Takes the display with the layout, lets `draw` queue what is to be shown, and waits until the glasses have it.
/// Throws `Failure` when they refuse it or go away.
Transfer transfer(Surroundings& surroundings, Layout layout, const std::function<void(Tarnel&)>& draw);

/// Leaves it shown for as long as the user wants, and shows it again when the glasses were away meanwhile.
void linger(Surroundings& surroundings, Layout layout, const std::function<void(Tarnel&)>& draw);

/// The members that tell of a transfer and its outputs.
void append(JSON::Object& object, const Transfer& transfer, const Outputs& outputs);
/// "1,234 bytes in 5 chunks, 0.06 s".
std::string description(const Transfer& transfer);

/// Writes the line that sums up, to standard error when standard output is taken.
void writeSummary(const std::string& summary, const Outputs& outputs);

} // namespace tarnel::command
