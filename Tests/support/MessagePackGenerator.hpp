#pragma once

#include <TarnelSDK/messagepack/MessagePackValue.hpp>

#include <rapidcheck.h>

#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace tarnel::test {

/// Numbers of which many lie at the borders of the formats.
inline rc::Gen<std::int64_t> borderInteger() {
    return rc::gen::map(rc::gen::tuple(rc::gen::inRange(0, 64), rc::gen::inRange(-2, 3), rc::gen::arbitrary<bool>()),
                        [](const auto& drawn) {
                            const auto [shift, step, negative] = drawn;
                            const auto number = (std::uint64_t{1} << shift) + static_cast<std::uint64_t>(step);
                            return static_cast<std::int64_t>(negative ? 0 - number : number);
                        });
}

inline rc::Gen<std::string> utf8Text() {
    return rc::gen::map(
        rc::gen::pair(rc::gen::container<std::vector<std::string>>(
                          rc::gen::element<std::string>("a", "7", "ü", "€", "👓", "\xF4\x8F\xBF\xBF")),
                      rc::gen::weightedElement<std::size_t>({{6, 0}, {1, 24}, {1, 30}, {1, 255}, {1, 65534}})),
        [](const auto& drawn) {
            std::string text(drawn.second, 'x');
            for (const auto& piece : drawn.first) {
                text += piece;
            }
            return text;
        });
}

/// Values of every case, nested up to `depth` deep, without NaN (which is unequal to itself) and with map keys that
/// differ.
inline rc::Gen<MessagePackValue> messagePackValue(int depth = 3) {
    using Value = MessagePackValue;
    const auto bytes = rc::gen::container<Bytes>(rc::gen::arbitrary<std::uint8_t>());
    const auto scalar = rc::gen::oneOf(
        rc::gen::just(Value()), rc::gen::construct<Value>(rc::gen::arbitrary<bool>()),
        rc::gen::construct<Value>(borderInteger()),
        rc::gen::map(borderInteger(), [](std::int64_t number) { return Value(static_cast<std::uint64_t>(number)); }),
        rc::gen::construct<Value>(rc::gen::arbitrary<float>()), rc::gen::construct<Value>(rc::gen::arbitrary<double>()),
        rc::gen::construct<Value>(utf8Text()), rc::gen::construct<Value>(bytes),
        rc::gen::map(rc::gen::tuple(rc::gen::arbitrary<std::int8_t>(), bytes, rc::gen::inRange<std::size_t>(0, 18)),
                     [](const auto& drawn) {
                         Bytes data = std::get<1>(drawn);
                         data.resize(data.size() / 2 + std::get<2>(drawn));
                         return Value(std::get<0>(drawn), std::move(data));
                     }));
    if (depth == 0) {
        return scalar;
    }
    const auto inner = rc::gen::lazy([depth] { return messagePackValue(depth - 1); });
    const auto array = rc::gen::construct<Value>(rc::gen::scale(0.2, rc::gen::container<Value::Array>(inner)));
    const auto map = rc::gen::map(
        rc::gen::scale(0.2, rc::gen::container<std::vector<std::pair<Value, Value>>>(rc::gen::pair(inner, inner))),
        [](std::vector<std::pair<Value, Value>> entries) {
            Value::Map result;
            for (auto& [key, value] : entries) {
                result.set(std::move(key), std::move(value));
            }
            return Value(std::move(result));
        });
    return rc::gen::weightedOneOf<Value>({{4, scalar}, {1, array}, {1, map}});
}

} // namespace tarnel::test

/// How a counterexample is shown.
namespace tarnel {
inline void showValue(const MessagePackValue& value, std::ostream& out) {
    out << value.description();
}
} // namespace tarnel
