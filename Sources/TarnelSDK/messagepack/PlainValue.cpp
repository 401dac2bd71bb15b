#include <TarnelSDK/messagepack/PlainValue.hpp>

namespace tarnel {
namespace {

std::string plainKey(const MessagePackValue& key) {
    if (auto text = key.stringValue()) {
        return std::move(*text);
    }
    if (const auto number = key.int64Value()) {
        return std::to_string(*number);
    }
    if (const auto number = key.uint64Value()) {
        return std::to_string(*number);
    }
    return key.description();
}

struct Converter {
    Value operator()(std::monostate) const { return {}; }
    Value operator()(bool value) const { return value; }
    Value operator()(std::int64_t value) const { return value; }
    Value operator()(std::uint64_t value) const { return value; }
    Value operator()(float value) const { return double{value}; }
    Value operator()(double value) const { return value; }
    Value operator()(const std::string& value) const { return value; }
    Value operator()(const Bytes& value) const { return value; }
    Value operator()(const MessagePackValue::Array& value) const {
        Value::Array elements;
        elements.reserve(value.size());
        for (const auto& element : value) {
            elements.push_back(toPlainValue(element));
        }
        return elements;
    }
    Value operator()(const MessagePackValue::Map& value) const {
        Value::Dictionary entries;
        for (const auto& [key, element] : value) {
            entries.insert_or_assign(plainKey(key), toPlainValue(element));
        }
        return entries;
    }
    Value operator()(const MessagePackValue::Extended& value) const { return value.data; }
};

} // namespace

Value toPlainValue(const MessagePackValue& value) {
    return std::visit(Converter(), value.storage());
}

} // namespace tarnel
