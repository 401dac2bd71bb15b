#include <TarnelSDK/foundation/UTF8.hpp>
#include <TarnelSDK/ui/StringTable.hpp>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

namespace tarnel {
namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view whiteSpace = " \t\r\n\v\f";
constexpr std::string_view bareCharacters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.$/";
constexpr std::size_t digitsOfUnit = 4;

constexpr bool isHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

constexpr bool isLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

std::optional<char32_t> hexadecimal(char digit) {
    if (digit >= '0' && digit <= '9') {
        return static_cast<char32_t>(digit - '0');
    }
    if (digit >= 'a' && digit <= 'f') {
        return static_cast<char32_t>(digit - 'a' + 10);
    }
    if (digit >= 'A' && digit <= 'F') {
        return static_cast<char32_t>(digit - 'A' + 10);
    }
    return std::nullopt;
}

class Parser {
public:
    explicit Parser(std::string_view text) : text_(text) {}

    StringTableResult parse() {
        StringTable table;
        while (skipBlanks() && position_ < text_.size()) {
            auto key = readKey();
            if (!key || !expect('=') || !skipBlanks()) {
                break;
            }
            auto value = readQuoted();
            if (!value || !expect(';')) {
                break;
            }
            table.insert_or_assign(std::move(*key), std::move(*value));
        }
        if (!failure_) {
            return {std::move(table), std::nullopt};
        }
        const auto end = text_.begin() + static_cast<std::ptrdiff_t>(position_);
        const auto line = static_cast<std::size_t>(std::count(text_.begin(), end, '\n')) + 1;
        return {{}, StringTableError{line, failure_}};
    }

private:
    bool fail(const char* description) {
        failure_ = description;
        return false;
    }

    bool startsWith(std::string_view what) const { return text_.substr(position_).starts_with(what); }

    /// White space and comments. False when a comment does not end.
    bool skipBlanks() {
        for (;;) {
            position_ = std::min(text_.find_first_not_of(whiteSpace, position_), text_.size());
            if (startsWith("//")) {
                position_ = std::min(text_.find('\n', position_), text_.size());
            } else if (startsWith("/*")) {
                const auto end = text_.find("*/", position_ + 2);
                if (end == std::string_view::npos) {
                    return fail("a comment does not end");
                }
                position_ = end + 2;
            } else {
                return true;
            }
        }
    }

    bool expect(char character) {
        if (!skipBlanks()) {
            return false;
        }
        if (position_ == text_.size() || text_[position_] != character) {
            return fail(character == '=' ? "= is missing" : "; is missing");
        }
        ++position_;
        return true;
    }

    std::optional<std::string> readKey() {
        if (text_[position_] == '"') {
            return readQuoted();
        }
        const auto end = std::min(text_.find_first_not_of(bareCharacters, position_), text_.size());
        std::string key(text_.substr(position_, end - position_));
        if (key.empty()) {
            fail("a key is missing");
            return std::nullopt;
        }
        position_ = end;
        return key;
    }

    std::optional<std::string> readQuoted() {
        if (!startsWith("\"")) {
            fail("a text in quotes is missing");
            return std::nullopt;
        }
        ++position_;
        std::string result;
        for (;;) {
            const auto end = text_.find_first_of("\"\\", position_);
            if (end == std::string_view::npos) {
                fail("a text does not end");
                return std::nullopt;
            }
            result += text_.substr(position_, end - position_);
            position_ = end + 1;
            if (text_[end] == '"') {
                return result;
            }
            if (!readEscape(result)) {
                return std::nullopt;
            }
        }
    }

    /// What follows a backslash.
    bool readEscape(std::string& result) {
        if (position_ == text_.size()) {
            return fail("a text does not end");
        }
        switch (text_[position_++]) {
        case 'n':
            result += '\n';
            return true;
        case 'r':
            result += '\r';
            return true;
        case 't':
            result += '\t';
            return true;
        case '"':
            result += '"';
            return true;
        case '\'':
            result += '\'';
            return true;
        case '\\':
            result += '\\';
            return true;
        case 'U':
        case 'u':
            return readCharacter(result);
        default:
            return fail("an unknown escape");
        }
    }

    bool readCharacter(std::string& result) {
        auto unit = readUnit();
        if (unit && isHighSurrogate(*unit) && (startsWith("\\U") || startsWith("\\u"))) {
            position_ += 2;
            const auto low = readUnit();
            unit = low && isLowSurrogate(*low) ? std::optional(0x10000 + ((*unit - 0xD800) * 0x400) + (*low - 0xDC00))
                                               : std::nullopt;
        }
        if (!unit || isHighSurrogate(*unit) || isLowSurrogate(*unit)) {
            return fail("an escape that is no character");
        }
        result += encodeUTF8(std::u32string(1, *unit));
        return true;
    }

    std::optional<char32_t> readUnit() {
        char32_t unit = 0;
        for (std::size_t count = 0; count < digitsOfUnit; ++count) {
            const auto digit = position_ < text_.size() ? hexadecimal(text_[position_]) : std::nullopt;
            if (!digit) {
                return std::nullopt;
            }
            unit = unit * 16 + *digit;
            ++position_;
        }
        return unit;
    }

    const std::string_view text_;
    std::size_t position_ = 0;
    const char* failure_ = nullptr;
};

} // namespace

StringTableResult parseStringTable(std::string_view text) {
    if (text.starts_with(byteOrderMark)) {
        text.remove_prefix(byteOrderMark.size());
    }
    if (!isValidUTF8(text)) {
        return {{}, StringTableError{1, "the text is not UTF-8"}};
    }
    return Parser(text).parse();
}

std::optional<StringTableResult> readStringTable(const std::filesystem::path& file) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) {
        return std::nullopt;
    }
    std::ifstream stream(file, std::ios::binary);
    std::string text(largestStringTable + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (stream.bad() || !(stream || stream.eof())) {
        return StringTableResult{{}, StringTableError{1, "the file cannot be read"}};
    }
    text.resize(static_cast<std::size_t>(stream.gcount()));
    if (text.size() > largestStringTable) {
        return StringTableResult{{}, StringTableError{1, "the file is too large"}};
    }
    return parseStringTable(text);
}

} // namespace tarnel
