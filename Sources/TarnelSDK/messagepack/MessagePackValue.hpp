#pragma once

#include <TarnelSDK/messagepack/MessagePackMap.hpp>
#include <TarnelSDK/platform/Bytes.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace tarnel {

/// What is held by a MessagePack extension: an application's type number and bytes.
struct MessagePackExtended {
    std::int8_t type = 0;
    Bytes data;
    friend bool operator==(const MessagePackExtended&, const MessagePackExtended&) = default;
};

/// Integers that are numbers: neither booleans nor characters.
template <typename T>
concept MessagePackInteger =
    std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, wchar_t> &&
    !std::same_as<T, char8_t> && !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

/// One MessagePack value: what every message between phone and glasses is made of.
///
/// Converts from what it holds, so that a message reads
///     MessagePackValue::map({{"time", 5}, {"label", MessagePackValue::map({{"text", "Grüße"}})}})
/// Values of different cases are unequal, except that an `int` and an `uint` of the same number are equal. Texts are
/// UTF-8. Accessors that return a pointer give null where the case does not fit; the pointer is the value's own.
class MessagePackValue {
public:
    /// The cases, in the order of the alternatives of `Storage`.
    enum class Type : std::uint8_t { bool_, int_, uint, float_, double_, string, binary, array, map, extended, nil };

    using Array = std::vector<MessagePackValue>;
    using Map = MessagePackMap;
    using Extended = MessagePackExtended;
    using Storage = std::variant<bool, std::int64_t, std::uint64_t, float, double, std::string, Bytes, Array, Map,
                                 Extended, std::monostate>;

    MessagePackValue() : storage_(std::monostate()) {}
    MessagePackValue(std::nullptr_t) : MessagePackValue() {}
    MessagePackValue(std::monostate) : MessagePackValue() {}
    template <std::same_as<bool> Boolean>
    MessagePackValue(Boolean value) : storage_(value) {}
    template <MessagePackInteger Integer>
    MessagePackValue(Integer value) : storage_(widened(value)) {}
    MessagePackValue(float value) : storage_(value) {}
    MessagePackValue(double value) : storage_(value) {}
    MessagePackValue(std::string value) : storage_(std::move(value)) {}
    MessagePackValue(std::string_view value) : storage_(std::string(value)) {}
    MessagePackValue(const char* value) : storage_(std::string(value)) {}
    /// REQUIRES: an ASCII character.
    MessagePackValue(char value);
    /// REQUIRES: a Unicode scalar value.
    MessagePackValue(char32_t value);
    MessagePackValue(Bytes value) : storage_(std::move(value)) {}
    MessagePackValue(Array value) : storage_(std::move(value)) {}
    MessagePackValue(Map value) : storage_(std::move(value)) {}
    MessagePackValue(Extended value) : storage_(std::move(value)) {}
    MessagePackValue(std::int8_t type, Bytes data) : storage_(Extended{type, std::move(data)}) {}

    static MessagePackValue array(std::initializer_list<MessagePackValue> elements) { return Array(elements); }
    static MessagePackValue map(std::initializer_list<Map::Entry> entries) { return Map(entries); }

    Type type() const { return static_cast<Type>(storage_.index()); }
    const Storage& storage() const { return storage_; }

    /// Elements of an `array` or entries of a `map`.
    std::optional<std::size_t> count() const;

    /// The element of an `array`, null past its end. REQUIRES: index >= 0.
    template <MessagePackInteger Index>
    const MessagePackValue* operator[](Index index) const {
        precondition(!std::cmp_less(index, 0), "the index of an element is not negative");
        return element(static_cast<std::uint64_t>(index));
    }

    /// The value of a key of a `map`, null when it is absent.
    const MessagePackValue* operator[](const MessagePackValue& key) const;
    const MessagePackValue* operator[](const char* key) const { return (*this)[MessagePackValue(key)]; }

    bool isNil() const { return type() == Type::nil; }

    /// An `int` or `uint` whose number the result type can hold.
    std::optional<std::int64_t> integerValue() const { return exactly<std::int64_t>(); }
    std::optional<std::int64_t> int64Value() const { return exactly<std::int64_t>(); }
    std::optional<std::int64_t> intValue() const { return exactly<std::int64_t>(); }
    std::optional<std::int8_t> int8Value() const { return exactly<std::int8_t>(); }
    std::optional<std::int16_t> int16Value() const { return exactly<std::int16_t>(); }
    std::optional<std::int32_t> int32Value() const { return exactly<std::int32_t>(); }
    std::optional<std::uint64_t> unsignedIntegerValue() const { return exactly<std::uint64_t>(); }
    std::optional<std::uint64_t> uint64Value() const { return exactly<std::uint64_t>(); }
    std::optional<std::uint64_t> uintValue() const { return exactly<std::uint64_t>(); }
    std::optional<std::uint8_t> uint8Value() const { return exactly<std::uint8_t>(); }
    std::optional<std::uint16_t> uint16Value() const { return exactly<std::uint16_t>(); }
    std::optional<std::uint32_t> uint32Value() const { return exactly<std::uint32_t>(); }

    std::optional<bool> boolValue() const;
    /// A `float`, or a `double` that a `float` holds exactly.
    std::optional<float> floatValue() const;
    /// A `double`, or a `float` other than NaN.
    std::optional<double> doubleValue() const;
    /// A `string`, or a `binary` that is valid UTF-8.
    std::optional<std::string> stringValue() const;
    /// A `binary`, or the data of an `extended`.
    std::optional<Bytes> dataValue() const;
    const Array* arrayValue() const { return std::get_if<Array>(&storage_); }
    const Map* dictionaryValue() const { return std::get_if<Map>(&storage_); }
    const Extended* extendedValue() const { return std::get_if<Extended>(&storage_); }
    std::optional<std::int8_t> extendedType() const;

    /// The case with its payload in parentheses, for logs: `map([string(k): uint(1)])`, `binary(0aff)`, `nil`.
    std::string description() const;

    /// Equal values hash alike. Containers hash by their count alone, so this suits no table of hostile keys.
    std::size_t hash() const;

    friend bool operator==(const MessagePackValue& left, const MessagePackValue& right);

private:
    template <typename Integer>
    static Storage widened(Integer value) {
        if constexpr (std::is_signed_v<Integer>) {
            return static_cast<std::int64_t>(value);
        } else {
            return static_cast<std::uint64_t>(value);
        }
    }

    template <typename Integer>
    std::optional<Integer> exactly() const {
        if (const auto* number = std::get_if<std::int64_t>(&storage_); number && std::in_range<Integer>(*number)) {
            return static_cast<Integer>(*number);
        }
        if (const auto* number = std::get_if<std::uint64_t>(&storage_); number && std::in_range<Integer>(*number)) {
            return static_cast<Integer>(*number);
        }
        return std::nullopt;
    }

    const MessagePackValue* element(std::uint64_t index) const;

    Storage storage_;
};

struct MessagePackMap::Entry {
    MessagePackValue key;
    MessagePackValue value;
};

} // namespace tarnel

template <>
struct std::hash<tarnel::MessagePackValue> {
    std::size_t operator()(const tarnel::MessagePackValue& value) const { return value.hash(); }
};
