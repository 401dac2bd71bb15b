#pragma once

#include "Commands.hpp"

#include <functional>
#include <optional>
#include <string>

namespace tarnel::command {

struct DoctorOptions {
    std::optional<std::string> adapter;
    bool asJSON = false;
};

/// Declares the command, which calls `diagnose`.
void addDoctor(CLI::App& app, Action& action, std::function<void(const DoctorOptions&)> diagnose);

} // namespace tarnel::command
