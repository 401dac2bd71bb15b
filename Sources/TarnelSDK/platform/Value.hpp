#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tarnel {

/// A plain value as stored in user defaults and reported by the glasses: nothing, a boolean, a number, text, bytes, or
/// an array or dictionary of such. An unsigned number is held as `std::int64_t` where it fits.
class Value {
public:
    using Array = std::vector<Value>;
    using Dictionary = std::map<std::string, Value>;
    using Storage =
        std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, std::string, Bytes, Array, Dictionary>;

    Value() = default;
    Value(bool value) : storage_(value) {}
    Value(int value) : storage_(std::int64_t{value}) {}
    Value(std::int64_t value) : storage_(value) {}
    Value(std::uint64_t value) {
        if (value <= INT64_MAX) {
            storage_ = static_cast<std::int64_t>(value);
        } else {
            storage_ = value;
        }
    }
    Value(double value) : storage_(value) {}
    Value(std::string value) : storage_(std::move(value)) {}
    Value(const char* value) : storage_(std::string(value)) {}
    Value(Bytes value) : storage_(std::move(value)) {}
    Value(Array value) : storage_(std::move(value)) {}
    Value(Dictionary value) : storage_(std::move(value)) {}

    bool isNull() const { return std::holds_alternative<std::monostate>(storage_); }
    std::optional<bool> boolean() const { return get<bool>(); }
    std::optional<std::int64_t> integer() const { return get<std::int64_t>(); }
    std::optional<std::string> string() const { return get<std::string>(); }
    std::optional<Bytes> bytes() const { return get<Bytes>(); }
    const Array* array() const { return std::get_if<Array>(&storage_); }
    const Dictionary* dictionary() const { return std::get_if<Dictionary>(&storage_); }
    const Storage& storage() const { return storage_; }

    /// One line for logs: text in quotes and escaped, bytes in hexadecimal, [..] and {..} for arrays and dictionaries.
    std::string description() const;

    friend bool operator==(const Value&, const Value&) = default;

private:
    template <typename T>
    std::optional<T> get() const {
        if (const auto* value = std::get_if<T>(&storage_)) {
            return *value;
        }
        return std::nullopt;
    }

    Storage storage_;
};

} // namespace tarnel
