#include "MessageJSON.hpp"

#include "Failure.hpp"
#include "Text.hpp"

#include <TarnelSDK/messagepack/Unpack.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace tarnel::command {
namespace {

constexpr std::string_view binaryKey = "$binary";
constexpr std::string_view extendedKey = "$extended";
constexpr std::string_view mapKey = "$map";
constexpr std::string_view floatKey = "$float";
constexpr std::string_view float32Key = "$float32";

/// Halfway from the largest float to the power of two after it: what is smaller is rounded to a finite float.
constexpr double firstBeyondFloat = 0x1.ffffffp+127;

JSON form(std::string_view key, JSON value) {
    return JSON::Object{{std::string(key), std::move(value)}};
}

bool isReserved(std::string_view key) {
    return key.starts_with('$');
}

std::string_view nameOfNonFinite(double number) {
    return std::isnan(number) ? "nan" : number < 0 ? "-inf" : "inf";
}

std::optional<double> nonFinite(const JSON& value) {
    const auto* name = value.string();
    if (!name) {
        return std::nullopt;
    }
    if (*name == "nan") {
        return std::numeric_limits<double>::quiet_NaN();
    }
    if (*name == "inf" || *name == "-inf") {
        return (*name == "inf" ? 1 : -1) * std::numeric_limits<double>::infinity();
    }
    return std::nullopt;
}

/// The double of the shortest digits that read back as this float.
double shortest(float number) {
    std::array<char, 32> digits{};
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    double value = 0;
    std::from_chars(digits.data(), written.ptr, value);
    return value;
}

bool isTextKeyed(const MessagePackMap& map) {
    return std::all_of(map.begin(), map.end(), [](const auto& entry) {
        const auto* key = std::get_if<std::string>(&entry.key.storage());
        return key && !isReserved(*key);
    });
}

struct MessageWriter {
    JSON operator()(std::monostate) const { return nullptr; }
    JSON operator()(bool value) const { return value; }
    JSON operator()(std::int64_t value) const { return value; }
    JSON operator()(std::uint64_t value) const { return value; }
    JSON operator()(float value) const {
        return form(float32Key, std::isfinite(value) ? JSON(shortest(value)) : JSON(nameOfNonFinite(double{value})));
    }
    JSON operator()(double value) const {
        return std::isfinite(value) ? JSON(value) : form(floatKey, nameOfNonFinite(value));
    }
    JSON operator()(const std::string& value) const { return value; }
    JSON operator()(const Bytes& value) const { return form(binaryKey, base64(value)); }
    JSON operator()(const MessagePackExtended& value) const {
        return form(extendedKey, JSON::Array{std::int64_t{value.type}, base64(value.data)});
    }
    JSON operator()(const MessagePackValue::Array& value) const {
        JSON::Array elements;
        elements.reserve(value.size());
        std::transform(value.begin(), value.end(), std::back_inserter(elements),
                       [](const MessagePackValue& element) { return toJSON(element); });
        return elements;
    }
    JSON operator()(const MessagePackMap& value) const {
        if (!isTextKeyed(value)) {
            JSON::Array pairs;
            for (const auto& [key, element] : value) {
                pairs.emplace_back(JSON::Array{toJSON(key), toJSON(element)});
            }
            return form(mapKey, std::move(pairs));
        }
        JSON::Object members;
        for (const auto& [key, element] : value) {
            members.emplace_back(std::get<std::string>(key.storage()), toJSON(element));
        }
        return members;
    }
};

struct ValueWriter {
    JSON operator()(std::monostate) const { return nullptr; }
    JSON operator()(const Value::Array& value) const {
        JSON::Array elements;
        std::transform(value.begin(), value.end(), std::back_inserter(elements),
                       [](const Value& element) { return toJSON(element); });
        return elements;
    }
    JSON operator()(const Value::Dictionary& value) const {
        JSON::Object members;
        for (const auto& [key, element] : value) {
            members.emplace_back(key, toJSON(element));
        }
        return members;
    }
    template <typename Scalar>
    JSON operator()(const Scalar& value) const {
        return MessageWriter()(value);
    }
};

/// Reads one value; `depth` is how many arrays and maps it lies in.
MessagePackValue read(const JSON& value, std::size_t depth);

/// Throws unless one more array or map may lie in `depth` others.
void requireRoom(std::size_t depth) {
    if (depth >= deepestNesting) {
        throw Failure("a message is nested at most " + std::to_string(deepestNesting) + " deep");
    }
}

Bytes readBase64(const JSON& value, std::string_view key) {
    const auto* text = value.string();
    auto bytes = text ? bytesFromBase64(*text) : std::nullopt;
    if (!bytes) {
        throw Failure("\"" + std::string(key) + "\" takes its bytes as base64 text with padding, e.g. \"AAEC\"");
    }
    return *std::move(bytes);
}

MessagePackValue readExtended(const JSON& value) {
    const auto* pair = value.array();
    const auto* type = pair && pair->size() == 2 ? pair->front().integer() : nullptr;
    if (!type || !std::in_range<std::int8_t>(*type)) {
        throw Failure("\"$extended\" takes [type, base64] with a type of -128...127");
    }
    return {static_cast<std::int8_t>(*type), readBase64(pair->back(), extendedKey)};
}

MessagePackValue readMap(const JSON& value, std::size_t depth) {
    requireRoom(depth);
    const auto* pairs = value.array();
    if (!pairs) {
        throw Failure("\"$map\" takes an array of [key, value] pairs");
    }
    MessagePackMap map;
    for (const JSON& element : *pairs) {
        const auto* pair = element.array();
        if (!pair || pair->size() != 2) {
            throw Failure("\"$map\" takes an array of [key, value] pairs");
        }
        auto key = read(pair->front(), depth + 1);
        if (map.contains(key)) {
            throw Failure("the key " + text(pair->front()) + " occurs twice in one \"$map\"");
        }
        map.set(std::move(key), read(pair->back(), depth + 1));
    }
    return map;
}

MessagePackValue readFloat(const JSON& value) {
    if (const auto number = nonFinite(value)) {
        return *number;
    }
    throw Failure("\"$float\" takes \"nan\", \"inf\" or \"-inf\"; any other number is written as it is");
}

MessagePackValue readFloat32(const JSON& value) {
    auto number = nonFinite(value);
    if (const auto* fraction = std::get_if<double>(&value.storage())) {
        number = *fraction;
    } else if (const auto* integer = value.integer()) {
        number = static_cast<double>(*integer);
    }
    if (!number || (std::isfinite(*number) && std::abs(*number) >= firstBeyondFloat)) {
        throw Failure("\"$float32\" takes a number within a 32-bit float, or \"nan\", \"inf\" or \"-inf\"");
    }
    return static_cast<float>(*number);
}

MessagePackValue readObject(const JSON::Object& object, std::size_t depth) {
    if (object.size() == 1) {
        const auto& [key, value] = object.front();
        if (key == binaryKey) {
            return readBase64(value, binaryKey);
        }
        if (key == extendedKey) {
            return readExtended(value);
        }
        if (key == mapKey) {
            return readMap(value, depth);
        }
        if (key == floatKey) {
            return readFloat(value);
        }
        if (key == float32Key) {
            return readFloat32(value);
        }
    }
    requireRoom(depth);
    MessagePackMap map;
    for (const auto& [key, value] : object) {
        if (isReserved(key)) {
            throw Failure("keys that begin with \"$\" are reserved; a map that has " + text(key) +
                          " is written {\"$map\": [[key, value], ...]}");
        }
        map.set(key, read(value, depth + 1));
    }
    return map;
}

MessagePackValue readArray(const JSON::Array& array, std::size_t depth) {
    requireRoom(depth);
    MessagePackValue::Array elements;
    elements.reserve(array.size());
    for (const JSON& element : array) {
        elements.push_back(read(element, depth + 1));
    }
    return elements;
}

struct MessageReader {
    std::size_t depth;
    MessagePackValue operator()(const JSON::Array& array) const { return readArray(array, depth); }
    MessagePackValue operator()(const JSON::Object& object) const { return readObject(object, depth); }
    template <typename Scalar>
    MessagePackValue operator()(const Scalar& scalar) const {
        return scalar;
    }
};

MessagePackValue read(const JSON& value, std::size_t depth) {
    return std::visit(MessageReader{depth}, value.storage());
}

} // namespace

const std::string_view messageJSONHelp =
    R"(JSON stands for MessagePack as it reads: null, booleans, texts, arrays, objects with text keys; a number without
fraction and exponent is an integer (exact over the whole 64-bit ranges), any other a 64-bit float. The rest:
  {"$binary": "AAEC"}              bytes, in base64
  {"$extended": [5, "AAEC"]}       an extension: its type (-128...127) and bytes
  {"$map": [[1, "a"], [2, "b"]]}   a map whose keys are not all text
  {"$float": "nan"}                a 64-bit float that JSON cannot write: "nan", "inf", "-inf"
  {"$float32": 0.5}                a 32-bit float; also of "nan", "inf", "-inf"
A key that begins with "$" is reserved for these. A map that has such a key is written with "$map":
  {"$map": [["$binary", "no bytes"]]}
A key that occurs twice is an error.)";

JSON toJSON(const MessagePackValue& message) {
    return std::visit(MessageWriter(), message.storage());
}

JSON toJSON(const Value& value) {
    return std::visit(ValueWriter(), value.storage());
}

MessagePackValue messageFromJSON(const JSON& value) {
    return read(value, 0);
}

} // namespace tarnel::command
