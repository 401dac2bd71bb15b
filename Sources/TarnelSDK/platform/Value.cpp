#include <TarnelSDK/platform/Value.hpp>

#include <array>
#include <charconv>
#include <type_traits>

namespace tarnel {
namespace {

constexpr const char* lowerHexDigits = "0123456789abcdef";

struct Describer {
    std::string& out;

    void operator()(std::monostate) const { out += "null"; }
    void operator()(bool value) const { out += value ? "true" : "false"; }
    template <typename Number>
    requires std::is_arithmetic_v<Number>
    void operator()(Number value) const {
        std::array<char, 32> text{};
        const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
        out.append(text.data(), end);
    }
    void operator()(const std::string& value) const {
        out += '"';
        for (const char c : value) {
            appendEscaped(c);
        }
        out += '"';
    }
    void operator()(const Bytes& value) const {
        out += '<';
        for (const auto byte : value) {
            appendHex(byte);
        }
        out += '>';
    }
    void operator()(const Value::Array& value) const {
        out += '[';
        const char* separator = "";
        for (const auto& element : value) {
            out += separator;
            std::visit(*this, element.storage());
            separator = ", ";
        }
        out += ']';
    }
    void operator()(const Value::Dictionary& value) const {
        out += '{';
        const char* separator = "";
        for (const auto& [key, element] : value) {
            out += separator;
            (*this)(key);
            out += ": ";
            std::visit(*this, element.storage());
            separator = ", ";
        }
        out += '}';
    }

private:
    void appendHex(std::uint8_t byte) const {
        out += lowerHexDigits[byte >> 4];
        out += lowerHexDigits[byte & 0x0F];
    }

    void appendEscaped(char c) const {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (const auto byte = static_cast<std::uint8_t>(c); byte < 0x20 || byte == 0x7F) {
                out += "\\x";
                appendHex(byte);
            } else {
                out += c;
            }
        }
    }
};

} // namespace

std::string Value::description() const {
    std::string out;
    std::visit(Describer{out}, storage_);
    return out;
}

} // namespace tarnel
