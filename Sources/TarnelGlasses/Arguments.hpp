#pragma once

#include <TarnelGlasses/LvglImage.hpp>
#include <TarnelSDK/platform/Value.hpp>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <utility>

/// Readers of the values of commands. Each throws `CommandFailure` when the value is something else.
namespace tarnel::glasses {

/// Why a command cannot be carried out; ends in a "cmp_err" with code 2.
struct CommandFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Thrown for a command that the firmware does not have; ends in a "cmp_err" with code 1.
struct UnknownCommand {
    std::string name;
};

/// The name and argument of a command, a map with one entry.
std::pair<std::string, Value> requireCommand(const Value& value);
void requireNil(const Value& value);
const Value::Array& requireArray(const Value& value);
/// An array with one of these numbers of elements.
const Value::Array& requireArray(const Value& value, std::initializer_list<std::size_t> counts);
bool requireBool(const Value& value);
std::int64_t requireInteger(const Value& value, std::int64_t least, std::int64_t most);
std::string requireText(const Value& value);
Bytes requireBinary(const Value& value);
/// Binary that is a picture in the device's format.
LvglImage requireImage(const Value& value);

} // namespace tarnel::glasses
