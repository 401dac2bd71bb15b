#include <TarnelSDK/foundation/UTF8.hpp>
#include <TarnelSDK/messagepack/MessagePackValue.hpp>

#include <cmath>
#include <limits>
#include <sstream>

namespace tarnel {
namespace {

/// Boost's way of joining two hashes.
std::size_t combined(std::size_t seed, std::size_t hash) {
    return seed ^ (hash + 0x9E3779B9U + (seed << 6) + (seed >> 2));
}

template <typename T>
std::size_t hashOf(const T& value) {
    return std::hash<T>{}(value);
}

std::size_t hashOf(const Bytes& bytes) {
    return hashOf(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

struct Hasher {
    template <typename T>
    std::size_t operator()(const T& value) const {
        return hashOf(value);
    }
    std::size_t operator()(std::int64_t value) const { return hashOf(static_cast<std::uint64_t>(value)); }
    std::size_t operator()(const MessagePackValue::Array& value) const { return hashOf(value.size()); }
    std::size_t operator()(const MessagePackValue::Map& value) const { return hashOf(value.size()); }
    std::size_t operator()(const MessagePackValue::Extended& value) const {
        return combined(hashOf(value.type), hashOf(value.data));
    }
    std::size_t operator()(std::monostate) const { return 0; }
};

struct Equality {
    template <typename T>
    bool operator()(const T& left, const T& right) const {
        return left == right;
    }
    bool operator()(std::int64_t left, std::uint64_t right) const { return std::cmp_equal(left, right); }
    bool operator()(std::uint64_t left, std::int64_t right) const { return std::cmp_equal(left, right); }
    template <typename T, typename U>
    bool operator()(const T&, const U&) const {
        return false;
    }
};

struct Describer {
    std::ostringstream& out;

    void operator()(bool value) const { out << "bool(" << (value ? "true" : "false") << ')'; }
    void operator()(std::int64_t value) const { out << "int(" << value << ')'; }
    void operator()(std::uint64_t value) const { out << "uint(" << value << ')'; }
    void operator()(float value) const { out << "float(" << value << ')'; }
    void operator()(double value) const { out << "double(" << value << ')'; }
    void operator()(const std::string& value) const { out << "string(" << value << ')'; }
    void operator()(const Bytes& value) const {
        out << "binary(";
        hexadecimal(value);
        out << ')';
    }
    void operator()(const MessagePackValue::Array& value) const {
        out << "array([";
        const char* separator = "";
        for (const auto& element : value) {
            out << separator;
            std::visit(*this, element.storage());
            separator = ", ";
        }
        out << "])";
    }
    void operator()(const MessagePackValue::Map& value) const {
        out << "map([";
        const char* separator = "";
        for (const auto& [key, element] : value) {
            out << separator;
            std::visit(*this, key.storage());
            out << ": ";
            std::visit(*this, element.storage());
            separator = ", ";
        }
        out << "])";
    }
    void operator()(const MessagePackValue::Extended& value) const {
        out << "extended(" << int{value.type} << ", ";
        hexadecimal(value.data);
        out << ')';
    }
    void operator()(std::monostate) const { out << "nil"; }

    void hexadecimal(const Bytes& bytes) const {
        constexpr const char* digits = "0123456789abcdef";
        for (const auto byte : bytes) {
            out << digits[byte >> 4] << digits[byte & 0x0F];
        }
    }
};

std::string encodedUTF8(char32_t scalar) {
    const auto continuation = [scalar](int shift) { return static_cast<char>(0x80 | (scalar >> shift & 0x3F)); };
    if (scalar < 0x80) {
        return {static_cast<char>(scalar)};
    }
    if (scalar < 0x800) {
        return {static_cast<char>(0xC0 | scalar >> 6), continuation(0)};
    }
    if (scalar < 0x10000) {
        return {static_cast<char>(0xE0 | scalar >> 12), continuation(6), continuation(0)};
    }
    return {static_cast<char>(0xF0 | scalar >> 18), continuation(12), continuation(6), continuation(0)};
}

} // namespace

MessagePackValue::MessagePackValue(char value) : storage_(std::string(1, value)) {
    precondition(static_cast<unsigned char>(value) < 0x80, "a character is ASCII");
}

MessagePackValue::MessagePackValue(char32_t value) : storage_(std::monostate()) {
    precondition(value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF), "a character is a Unicode scalar value");
    storage_ = encodedUTF8(value);
}

std::optional<std::size_t> MessagePackValue::count() const {
    if (const auto* elements = arrayValue()) {
        return elements->size();
    }
    if (const auto* entries = dictionaryValue()) {
        return entries->size();
    }
    return std::nullopt;
}

const MessagePackValue* MessagePackValue::element(std::uint64_t index) const {
    const auto* elements = arrayValue();
    return elements && index < elements->size() ? &(*elements)[static_cast<std::size_t>(index)] : nullptr;
}

const MessagePackValue* MessagePackValue::operator[](const MessagePackValue& key) const {
    const auto* entries = dictionaryValue();
    return entries ? entries->find(key) : nullptr;
}

std::optional<bool> MessagePackValue::boolValue() const {
    const auto* value = std::get_if<bool>(&storage_);
    return value ? std::optional(*value) : std::nullopt;
}

std::optional<float> MessagePackValue::floatValue() const {
    if (const auto* value = std::get_if<float>(&storage_)) {
        return *value;
    }
    if (const auto* value = std::get_if<double>(&storage_)) {
        // Out of range the conversion has no defined result, infinities aside.
        if (std::isfinite(*value) && std::abs(*value) > double{std::numeric_limits<float>::max()}) {
            return std::nullopt;
        }
        const auto narrow = static_cast<float>(*value);
        if (double{narrow} == *value) {
            return narrow;
        }
    }
    return std::nullopt;
}

std::optional<double> MessagePackValue::doubleValue() const {
    if (const auto* value = std::get_if<double>(&storage_)) {
        return *value;
    }
    if (const auto* value = std::get_if<float>(&storage_); value && !std::isnan(*value)) {
        return *value;
    }
    return std::nullopt;
}

std::optional<std::string> MessagePackValue::stringValue() const {
    if (const auto* value = std::get_if<std::string>(&storage_)) {
        return *value;
    }
    if (const auto* value = std::get_if<Bytes>(&storage_); value && isValidUTF8(*value)) {
        return std::string(value->begin(), value->end());
    }
    return std::nullopt;
}

std::optional<Bytes> MessagePackValue::dataValue() const {
    if (const auto* value = std::get_if<Bytes>(&storage_)) {
        return *value;
    }
    if (const auto* value = extendedValue()) {
        return value->data;
    }
    return std::nullopt;
}

std::optional<std::int8_t> MessagePackValue::extendedType() const {
    const auto* value = extendedValue();
    return value ? std::optional(value->type) : std::nullopt;
}

std::string MessagePackValue::description() const {
    std::ostringstream out;
    std::visit(Describer{out}, storage_);
    return out.str();
}

std::size_t MessagePackValue::hash() const {
    return std::visit(Hasher(), storage_);
}

bool operator==(const MessagePackValue& left, const MessagePackValue& right) {
    return std::visit(Equality(), left.storage_, right.storage_);
}

} // namespace tarnel
