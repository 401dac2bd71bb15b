#pragma once

#include "Operation.hpp"

#include <TarnelSDK/images/Geometry.hpp>

#include <CLI/CLI.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What commands declare their options with.
namespace tarnel::command {

/// The usual help under a usage line of one's own.
std::shared_ptr<CLI::FormatterBase> usage(std::string text);

/// An option that takes one of the names. REQUIRES: `choices` lives as long as the program.
template <typename T, std::size_t count>
CLI::Option* addChoice(CLI::App* command, const std::string& name, const Cases<T, count>& choices,
                       std::function<void(T)> set, const std::string& description) {
    std::vector<std::string> names;
    for (const auto& [choice, value] : choices) {
        names.emplace_back(choice);
    }
    const auto choose = [&choices, set = std::move(set)](const std::string& given) {
        for (const auto& [choice, value] : choices) {
            if (given == choice) {
                set(value);
            }
        }
    };
    return command->add_option_function<std::string>(name, choose, description)
        ->type_name(CLI::detail::join(names, "|"))
        ->check(CLI::IsMember(names).description(""));
}

/// "20,-40"; empty for anything else.
std::optional<Point> pointFromText(const std::string& text);

} // namespace tarnel::command
