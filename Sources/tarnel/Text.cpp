#include "Text.hpp"

#include <TarnelSDK/foundation/UTF8.hpp>

#include <algorithm>
#include <cctype>

namespace tarnel::command {
namespace {

constexpr std::string_view base64Alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::optional<std::uint8_t> digit(char character) {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto lower = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    const auto value = digits.find(lower);
    if (value == std::string_view::npos) {
        return std::nullopt;
    }
    return static_cast<std::uint8_t>(value);
}

} // namespace

std::string base64(ByteView bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const auto group = bytes.subspan(at, std::min<std::size_t>(3, bytes.size() - at));
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            bits = bits << 8 | (i < group.size() ? group[i] : 0U);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            text += i <= group.size() ? base64Alphabet[bits >> (18 - 6 * i) & 0x3f] : '=';
        }
    }
    return text;
}

std::optional<Bytes> bytesFromBase64(std::string_view text) {
    Bytes bytes;
    bytes.reserve(text.size() / 4 * 3);
    std::uint32_t bits = 0;
    unsigned count = 0;
    for (const char character : text.substr(0, text.find('='))) {
        const auto value = base64Alphabet.find(character);
        if (value == std::string_view::npos) {
            return std::nullopt;
        }
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes.push_back(static_cast<std::uint8_t>(bits >> count & 0xff));
        }
    }
    // Wrong padding and bits left over would not come out again.
    if (base64(bytes) != text) {
        return std::nullopt;
    }
    return bytes;
}

std::string hexadecimal(ByteView bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const auto byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0xf];
    }
    return text;
}

std::optional<Bytes> bytesFromHexadecimal(std::string_view text) {
    Bytes bytes;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (std::isspace(static_cast<unsigned char>(text[at])) != 0) {
            continue;
        }
        const auto high = digit(text[at]);
        const auto low = at + 1 < text.size() ? digit(text[at + 1]) : std::nullopt;
        if (!high || !low) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<std::uint8_t>(*high << 4 | *low));
        ++at;
    }
    return bytes;
}

bool changesTerminal(char32_t character) {
    const auto isIn = [character](char32_t first, char32_t last) { return character >= first && character <= last; };
    const bool isControl = character < 0x20 || isIn(0x7F, 0x9F);
    const bool isDirection = character == 0x61C || isIn(0x200E, 0x200F) || isIn(0x2028, 0x202E) || isIn(0x2066, 0x2069);
    return isControl || isDirection;
}

std::string printable(std::string_view text) {
    auto characters = decodeUTF8(text);
    std::replace_if(characters.begin(), characters.end(), changesTerminal, U'?');
    return encodeUTF8(characters);
}

std::string shortened(std::string_view text, std::size_t most) {
    constexpr std::string_view ellipsis = "...";
    const auto characters = decodeUTF8(text);
    if (characters.size() <= most) {
        return encodeUTF8(characters);
    }
    return encodeUTF8(std::u32string_view(characters).substr(0, most)).append(ellipsis);
}

std::string fitted(std::string_view text, std::size_t columns) {
    constexpr char32_t firstWide = 0x1100;
    const auto characters = decodeUTF8(text);
    std::size_t taken = 0;
    const auto end = std::find_if(characters.begin(), characters.end(), [&](char32_t character) {
        taken += character < firstWide ? 1 : 2;
        return taken > columns;
    });
    return encodeUTF8({characters.begin(), end});
}

std::string grouped(std::uint64_t number) {
    const std::string digits = std::to_string(number);
    std::string text;
    for (std::size_t at = 0; at < digits.size(); ++at) {
        if (at > 0 && (digits.size() - at) % 3 == 0) {
            text += ',';
        }
        text += digits[at];
    }
    return text;
}

} // namespace tarnel::command
