#pragma once

#include "Failure.hpp"
#include "JSON.hpp"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarnel::command {

class Bridge;

/// As long as an operation may let time pass.
inline constexpr std::int64_t secondsOfDay = 86'400;

/// One argument that an operation of the bridge takes.
struct Parameter {
    enum class Kind { boolean, integer, number, text, path, paths, choice, choices, bytes, json };

    std::string name;
    Kind kind;
    bool isRequired = true;
    std::int64_t minimum = INT64_MIN; ///< of an integer or number
    std::int64_t maximum = INT64_MAX;
    std::vector<std::string> choices{};

    /// "an integer, 0...100".
    std::string description() const;
    /// Why this value is none for the parameter; empty when it is one.
    std::string objection(const JSON& value) const;
};

/// Names of the cases of an enumeration.
template <typename T, std::size_t count>
using Cases = std::array<std::pair<const char*, T>, count>;

namespace parameter {

Parameter boolean(std::string name);
Parameter integer(std::string name, std::int64_t minimum = INT64_MIN, std::int64_t maximum = INT64_MAX);
Parameter number(std::string name, std::int64_t minimum, std::int64_t maximum);
Parameter string(std::string name);
/// A file; "-" is none.
Parameter path(std::string name);
/// An array of such.
Parameter paths(std::string name);
/// Hexadecimal digits.
Parameter bytes(std::string name);
Parameter json(std::string name);

template <typename T, std::size_t count>
Parameter choice(std::string name, const Cases<T, count>& cases) {
    Parameter made{std::move(name), Parameter::Kind::choice};
    for (const auto& entry : cases) {
        made.choices.emplace_back(entry.first);
    }
    return made;
}

/// An array of such, no longer than there are cases.
template <typename T, std::size_t count>
Parameter choices(std::string name, const Cases<T, count>& cases) {
    Parameter made = choice(std::move(name), cases);
    made.kind = Parameter::Kind::choices;
    return made;
}

Parameter optional(Parameter parameter);

} // namespace parameter

/// The arguments of one call, each of the kind that its parameter says.
class Arguments {
public:
    explicit Arguments(const JSON::Object& members) : members_(members) {}

    bool has(std::string_view name) const { return find(name) != nullptr; }
    const JSON* find(std::string_view name) const;

    /// The following are of arguments that were given. REQUIRES: the parameter is of that kind.
    bool boolean(std::string_view name) const { return *required(name).boolean(); }
    std::int64_t integer(std::string_view name) const { return *required(name).integer(); }
    double number(std::string_view name) const;
    const std::string& text(std::string_view name) const { return *required(name).string(); }
    const JSON& json(std::string_view name) const { return required(name); }
    /// Of `paths` and `choices`.
    std::vector<std::string> texts(std::string_view name) const;

    template <typename T, std::size_t count>
    T choice(std::string_view name, const Cases<T, count>& cases) const {
        for (const auto& [caseName, value] : cases) {
            if (text(name) == caseName) {
                return value;
            }
        }
        return cases.front().second;
    }

private:
    const JSON& required(std::string_view name) const;

    const JSON::Object& members_;
};

template <typename T, std::size_t count>
const char* nameOf(T value, const Cases<T, count>& cases) {
    for (const auto& [name, other] : cases) {
        if (other == value) {
            return name;
        }
    }
    return "unknown";
}

/// What a line of the bridge can ask for.
struct Operation {
    std::string name;
    std::vector<Parameter> parameters;
    std::string about; ///< one line; says what the result is unless it is null
    std::function<JSON(Bridge&, const Arguments&)> perform;

    /// "drawBackground {image: a file, ...}".
    std::string signature() const;

    /// Throws `Failure` unless these members of a line, "op" left out, are arguments of this operation.
    void check(const JSON::Object& members) const;
};

} // namespace tarnel::command
