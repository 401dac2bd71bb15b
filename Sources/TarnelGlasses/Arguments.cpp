#include <TarnelGlasses/Arguments.hpp>

#include <algorithm>

namespace tarnel::glasses {

namespace {

template <typename T>
T require(std::optional<T> value, const char* what) {
    if (!value) {
        throw CommandFailure(std::string("no ") + what);
    }
    return std::move(*value);
}

} // namespace

std::pair<std::string, Value> requireCommand(const Value& value) {
    const auto* dictionary = value.dictionary();
    if (dictionary == nullptr || dictionary->size() != 1) {
        throw CommandFailure("not one command");
    }
    return *dictionary->begin();
}

void requireNil(const Value& value) {
    if (!value.isNull()) {
        throw CommandFailure("takes no value");
    }
}

const Value::Array& requireArray(const Value& value) {
    const auto* array = value.array();
    if (array == nullptr) {
        throw CommandFailure("no array");
    }
    return *array;
}

const Value::Array& requireArray(const Value& value, std::initializer_list<std::size_t> counts) {
    const auto& array = requireArray(value);
    if (std::find(counts.begin(), counts.end(), array.size()) == counts.end()) {
        throw CommandFailure("wrong count");
    }
    return array;
}

bool requireBool(const Value& value) {
    return require(value.boolean(), "boolean");
}

std::int64_t requireInteger(const Value& value, std::int64_t least, std::int64_t most) {
    const auto number = require(value.integer(), "integer");
    if (number < least || number > most) {
        throw CommandFailure("out of range");
    }
    return number;
}

std::string requireText(const Value& value) {
    return require(value.string(), "text");
}

Bytes requireBinary(const Value& value) {
    return require(value.bytes(), "binary");
}

LvglImage requireImage(const Value& value) {
    auto image = LvglImage::decode(requireBinary(value));
    if (const auto* reason = std::get_if<std::string>(&image)) {
        throw CommandFailure(*reason);
    }
    return std::get<LvglImage>(std::move(image));
}

} // namespace tarnel::glasses
