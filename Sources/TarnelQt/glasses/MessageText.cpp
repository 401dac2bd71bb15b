#include <TarnelQt/glasses/MessageText.hpp>

#include <cstdio>
#include <string_view>
#include <type_traits>

namespace tarnel {
namespace {

constexpr std::size_t longestString = 60;
constexpr int deepest = 8;
constexpr const char* more = "…";

class Writer {
public:
    explicit Writer(std::size_t limit) : limit_(limit) {}

    void write(const Value& value, int depth = 0) {
        if (isFull()) {
            return;
        }
        std::visit([this, depth](const auto& stored) { writeStored(stored, depth); }, value.storage());
    }

    std::string take() { return std::move(text_); }

private:
    bool isFull() const { return text_.size() >= limit_; }

    template <typename T>
    void writeStored(const T& stored, int depth) {
        if constexpr (std::is_same_v<T, std::monostate>) {
            text_ += "null";
        } else if constexpr (std::is_same_v<T, bool>) {
            text_ += stored ? "true" : "false";
        } else if constexpr (std::is_same_v<T, double>) {
            char number[32];
            std::snprintf(number, sizeof number, "%g", stored);
            text_ += number;
        } else if constexpr (std::is_arithmetic_v<T>) {
            text_ += std::to_string(stored);
        } else if constexpr (std::is_same_v<T, std::string>) {
            writeString(stored);
        } else if constexpr (std::is_same_v<T, Bytes>) {
            text_ += "<" + std::to_string(stored.size()) + (stored.size() == 1 ? " byte>" : " bytes>");
        } else {
            writeContainer(stored, depth);
        }
    }

    void writeString(std::string_view string) {
        auto shown = string.substr(0, longestString);
        // Not in the middle of a UTF-8 sequence.
        while (shown.size() < string.size() && !shown.empty() &&
               (static_cast<unsigned char>(string[shown.size()]) & 0xC0U) == 0x80U) {
            shown.remove_suffix(1);
        }
        text_ += '"';
        for (const char character : shown) {
            if (character == '"' || character == '\\') {
                text_ += '\\';
            }
            text_ += static_cast<unsigned char>(character) < 0x20 ? ' ' : character;
        }
        text_ += shown.size() < string.size() ? "…\"" : "\"";
    }

    void writeContainer(const Value::Array& array, int depth) {
        text_ += '[';
        const char* between = "";
        for (const auto& element : array) {
            if (!next(between, depth)) {
                break;
            }
            write(element, depth + 1);
        }
        text_ += ']';
    }

    void writeContainer(const Value::Dictionary& dictionary, int depth) {
        text_ += '{';
        const char* between = "";
        for (const auto& [key, element] : dictionary) {
            if (!next(between, depth)) {
                break;
            }
            writeString(key);
            text_ += ": ";
            write(element, depth + 1);
        }
        text_ += '}';
    }

    /// Whether one more element is written.
    bool next(const char*& between, int depth) {
        text_ += between;
        between = ", ";
        if (isFull() || depth >= deepest) {
            text_ += more;
            return false;
        }
        return true;
    }

    const std::size_t limit_;
    std::string text_;
};

} // namespace

std::string messageText(const Value& value, std::size_t limit) {
    Writer writer(limit);
    writer.write(value);
    return writer.take();
}

} // namespace tarnel
