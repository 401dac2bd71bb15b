#include "Operation.hpp"

#include "Text.hpp"

#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <cmath>

namespace tarnel::command {
namespace {

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const auto& word : words) {
        text += (text.empty() ? "\"" : ", \"") + word + "\"";
    }
    return text;
}

std::string range(std::int64_t minimum, std::int64_t maximum) {
    if (minimum == INT64_MIN && maximum == INT64_MAX) {
        return "";
    }
    return " " + std::to_string(minimum) + "..." + std::to_string(maximum);
}

std::optional<double> numberOf(const JSON& value) {
    if (const auto* integer = value.integer()) {
        return static_cast<double>(*integer);
    }
    if (const auto* number = std::get_if<double>(&value.storage())) {
        return *number;
    }
    return std::nullopt;
}

bool fits(const Parameter& parameter, const JSON& value);

bool everyElementFits(Parameter parameter, Parameter::Kind kind, const JSON& value) {
    parameter.kind = kind;
    const auto* elements = value.array();
    return elements && std::all_of(elements->begin(), elements->end(),
                                   [&](const JSON& element) { return fits(parameter, element); });
}

bool fits(const Parameter& parameter, const JSON& value) {
    const auto* text = value.string();
    switch (parameter.kind) {
    case Parameter::Kind::boolean:
        return value.boolean() != nullptr;
    case Parameter::Kind::integer: {
        const auto* integer = value.integer();
        return integer && *integer >= parameter.minimum && *integer <= parameter.maximum;
    }
    case Parameter::Kind::number: {
        const auto number = numberOf(value);
        return number && *number >= static_cast<double>(parameter.minimum) &&
               *number <= static_cast<double>(parameter.maximum);
    }
    case Parameter::Kind::text:
        return text != nullptr;
    case Parameter::Kind::path:
        return text && !text->empty() && *text != "-" && text->find('\0') == std::string::npos;
    case Parameter::Kind::choice:
        return text && std::find(parameter.choices.begin(), parameter.choices.end(), *text) != parameter.choices.end();
    case Parameter::Kind::paths:
        return everyElementFits(parameter, Parameter::Kind::path, value);
    case Parameter::Kind::choices:
        return everyElementFits(parameter, Parameter::Kind::choice, value) &&
               value.array()->size() <= parameter.choices.size();
    case Parameter::Kind::bytes:
        return text && !bytesFromHexadecimal(*text).value_or(Bytes()).empty();
    case Parameter::Kind::json:
        return true;
    }
    return false;
}

/// A value as it is told back, which may have been very long.
std::string inQuotes(const JSON& value) {
    constexpr std::size_t longest = 60;
    const std::string whole = text(value);
    return whole.size() <= longest ? whole : value.kind();
}

} // namespace

std::string Parameter::description() const {
    switch (kind) {
    case Kind::boolean:
        return "true or false";
    case Kind::integer:
        return "an integer" + range(minimum, maximum);
    case Kind::number:
        return "a number" + range(minimum, maximum);
    case Kind::text:
        return "text";
    case Kind::path:
        return "a file";
    case Kind::paths:
        return "a list of files";
    case Kind::choices:
        return "a list of " + joined(choices);
    case Kind::choice:
        return (choices.size() > 1 ? "one of " : "") + joined(choices);
    case Kind::bytes:
        return "hexadecimal digits";
    case Kind::json:
        break;
    }
    return "any JSON message";
}

std::string Parameter::objection(const JSON& value) const {
    return fits(*this, value) ? "" : "\"" + name + "\" is " + description() + ", not " + inQuotes(value);
}

namespace parameter {

Parameter boolean(std::string name) {
    return {std::move(name), Parameter::Kind::boolean};
}

Parameter integer(std::string name, std::int64_t minimum, std::int64_t maximum) {
    return {std::move(name), Parameter::Kind::integer, true, minimum, maximum};
}

Parameter number(std::string name, std::int64_t minimum, std::int64_t maximum) {
    return {std::move(name), Parameter::Kind::number, true, minimum, maximum};
}

Parameter string(std::string name) {
    return {std::move(name), Parameter::Kind::text};
}

Parameter path(std::string name) {
    return {std::move(name), Parameter::Kind::path};
}

Parameter paths(std::string name) {
    return {std::move(name), Parameter::Kind::paths};
}

Parameter bytes(std::string name) {
    return {std::move(name), Parameter::Kind::bytes};
}

Parameter json(std::string name) {
    return {std::move(name), Parameter::Kind::json};
}

Parameter optional(Parameter parameter) {
    parameter.isRequired = false;
    return parameter;
}

} // namespace parameter

const JSON* Arguments::find(std::string_view name) const {
    const auto found = std::find_if(members_.begin(), members_.end(),
                                    [&](const JSON::Member& member) { return member.first == name; });
    return found == members_.end() ? nullptr : &found->second;
}

const JSON& Arguments::required(std::string_view name) const {
    const JSON* value = find(name);
    precondition(value != nullptr, "an argument that is read was given");
    return *value;
}

double Arguments::number(std::string_view name) const {
    return numberOf(required(name)).value_or(0);
}

std::vector<std::string> Arguments::texts(std::string_view name) const {
    std::vector<std::string> texts;
    for (const JSON& element : *required(name).array()) {
        texts.push_back(*element.string());
    }
    return texts;
}

std::string Operation::signature() const {
    std::string text = name;
    for (const auto& parameter : parameters) {
        text += (&parameter == parameters.data() ? " {" : ", ") + parameter.name + ": " + parameter.description() +
                (parameter.isRequired ? "" : " (optional)");
    }
    return text + (parameters.empty() ? "" : "}");
}

void Operation::check(const JSON::Object& members) const {
    for (const auto& [key, value] : members) {
        const auto found = std::find_if(parameters.begin(), parameters.end(),
                                        [&key = key](const Parameter& parameter) { return parameter.name == key; });
        if (found == parameters.end()) {
            throw Failure("there is no argument " + inQuotes(key) + "; it is " + signature());
        }
        if (const auto objection = found->objection(value); !objection.empty()) {
            throw Failure(objection);
        }
    }
    const Arguments arguments(members);
    for (const auto& parameter : parameters) {
        if (parameter.isRequired && !arguments.has(parameter.name)) {
            throw Failure("the argument \"" + parameter.name + "\" is missing: " + parameter.description());
        }
    }
}

} // namespace tarnel::command
