#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace tarnel::command {

/// A JSON value that keeps what JSON texts say: integers exactly, the order of an object's members, and the difference
/// between 1 and 1.0. Numbers from 0 on that fit are `std::int64_t`.
class JSON {
public:
    using Array = std::vector<JSON>;
    using Member = std::pair<std::string, JSON>;
    using Object = std::vector<Member>;
    using Storage = std::variant<std::nullptr_t, bool, std::int64_t, std::uint64_t, double, std::string, Array, Object>;

    JSON() = default;
    JSON(const JSON& other);
    JSON(JSON&& other) noexcept;
    JSON& operator=(const JSON& other);
    JSON& operator=(JSON&& other) noexcept;
    ~JSON();

    JSON(std::nullptr_t) {}
    JSON(bool value) : storage_(value) {}
    JSON(int value) : storage_(std::int64_t{value}) {}
    JSON(std::int64_t value) : storage_(value) {}
    JSON(std::uint64_t value) {
        if (value <= INT64_MAX) {
            storage_ = static_cast<std::int64_t>(value);
        } else {
            storage_ = value;
        }
    }
    JSON(double value) : storage_(value) {}
    JSON(std::string value) : storage_(std::move(value)) {}
    JSON(std::string_view value) : storage_(std::string(value)) {}
    JSON(const char* value) : storage_(std::string(value)) {}
    JSON(Array value) : storage_(std::move(value)) {}
    JSON(Object value) : storage_(std::move(value)) {}

    bool isNull() const { return std::holds_alternative<std::nullptr_t>(storage_); }
    const bool* boolean() const { return std::get_if<bool>(&storage_); }
    const std::int64_t* integer() const { return std::get_if<std::int64_t>(&storage_); }
    const std::string* string() const { return std::get_if<std::string>(&storage_); }
    const Array* array() const { return std::get_if<Array>(&storage_); }
    const Object* object() const { return std::get_if<Object>(&storage_); }
    Array* array() { return std::get_if<Array>(&storage_); }
    Object* object() { return std::get_if<Object>(&storage_); }
    const Storage& storage() const { return storage_; }

    /// The member of an object; null when this is no object or has no such member.
    const JSON* find(std::string_view key) const;

    /// "a number", "an object" and so on, for messages.
    const char* kind() const;

    friend bool operator==(const JSON&, const JSON&) = default;

private:
    Storage storage_;
};

/// How deep arrays and objects may be nested in a text that is read.
inline constexpr std::size_t maximumJSONDepth = 256;

/// Reads one JSON value (RFC 8259, UTF-8). Also an error: a key that occurs twice in an object, an integer outside the
/// 64-bit ranges, a number beyond the range of a double, deeper nesting than `maximumJSONDepth`.
///
/// Throws `Failure`.
JSON parseJSON(std::string_view text);

/// One line, without a line feed. Text that is no UTF-8 has its bad bytes replaced by U+FFFD.
std::string text(const JSON& value);

template <typename T>
JSON orNull(const std::optional<T>& value) {
    return value ? JSON(*value) : JSON();
}

} // namespace tarnel::command
