#include <TarnelLinux/desktop/Text.hpp>
#include <TarnelSDK/foundation/UTF8.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <optional>
#include <utility>

namespace tarnel::desktop {
namespace {

/// How far the end of an element or a reference is looked for, in bytes.
constexpr std::size_t longestElement = 2'048;
constexpr std::size_t longestReference = 10;

/// What stands for the element that begins here, and the length of the element; nothing where none does.
std::optional<std::pair<std::string_view, std::size_t>> elementAt(std::string_view text) {
    constexpr std::array<std::string_view, 6> names{"b", "i", "u", "a", "img", "br"};
    const std::size_t end = text.substr(0, longestElement).find('>');
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    std::string_view inside = text.substr(1, end - 1);
    if (inside.starts_with('/')) {
        inside.remove_prefix(1);
    }
    const auto nameEnd =
        std::find_if(inside.begin(), inside.end(), [](unsigned char letter) { return std::isalpha(letter) == 0; });
    const auto name = inside.substr(0, static_cast<std::size_t>(nameEnd - inside.begin()));
    const bool isNameWhole = nameEnd == inside.end() || *nameEnd == ' ' || *nameEnd == '/';
    if (!isNameWhole || std::find(names.begin(), names.end(), name) == names.end()) {
        return std::nullopt;
    }
    return std::pair(std::string_view(name == "br" ? "\n" : ""), end + 1);
}

std::optional<char32_t> numbered(std::string_view digits) {
    const int base = digits.starts_with('x') || digits.starts_with('X') ? 16 : 10;
    digits.remove_prefix(base == 16 ? 1 : 0);
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number, base);
    const bool isSurrogate = number >= 0xD800 && number <= 0xDFFF;
    if (error != std::errc() || end != digits.data() + digits.size() || number == 0 || number > 0x10FFFF ||
        isSurrogate) {
        return std::nullopt;
    }
    return static_cast<char32_t>(number);
}

/// The same of the reference to a character (XML 1.0, sections 4.1 and 4.6).
std::optional<std::pair<char32_t, std::size_t>> referenceAt(std::string_view text) {
    constexpr std::array<std::pair<std::string_view, char32_t>, 5> names{
        {{"amp", U'&'}, {"lt", U'<'}, {"gt", U'>'}, {"quot", U'"'}, {"apos", U'\''}}};
    const std::size_t end = text.substr(0, longestReference).find(';');
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    const auto inside = text.substr(1, end - 1);
    for (const auto& [name, character] : names) {
        if (inside == name) {
            return std::pair(character, end + 1);
        }
    }
    if (const auto character = inside.starts_with('#') ? numbered(inside.substr(1)) : std::nullopt) {
        return std::pair(*character, end + 1);
    }
    return std::nullopt;
}

} // namespace

std::string displayable(std::string_view text) {
    constexpr char32_t delete_ = 0x7F;
    constexpr std::size_t longestCodePoint = 4;
    const bool isCut = text.size() > longestText;
    if (isCut) {
        std::size_t end = longestText;
        const std::size_t least = end - longestCodePoint;
        while (end > least && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
            --end;
        }
        text = text.substr(0, end);
    }
    auto codePoints = decodeUTF8(text);
    for (char32_t& codePoint : codePoints) {
        if ((codePoint < U' ' && codePoint != U'\n' && codePoint != U'\t') || codePoint == delete_) {
            codePoint = U' ';
        }
    }
    return encodeUTF8(codePoints);
}

std::string escaped(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (const char character : text) {
        switch (character) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        default:
            result += character;
        }
    }
    return result;
}

std::string withoutMarkup(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        std::size_t taken = 1;
        if (const auto element = text.front() == '<' ? elementAt(text) : std::nullopt) {
            result += element->first;
            taken = element->second;
        } else if (const auto reference = text.front() == '&' ? referenceAt(text) : std::nullopt) {
            result += encodeUTF8(std::u32string_view(&reference->first, 1));
            taken = reference->second;
        } else {
            result += text.front();
        }
        text.remove_prefix(taken);
    }
    return result;
}

} // namespace tarnel::desktop
