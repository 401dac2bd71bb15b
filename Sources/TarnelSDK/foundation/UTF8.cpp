#include <TarnelSDK/foundation/UTF8.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <optional>

namespace tarnel {
namespace {

/// What may follow a lead byte: how many continuation bytes, and the range of the first of them.
struct Sequence {
    std::size_t continuations;
    std::uint8_t first;
    std::uint8_t last;
};

constexpr Sequence invalid{0, 1, 0};

constexpr Sequence sequence(std::uint8_t lead) {
    if (lead < 0x80) {
        return {0, 0, 0};
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return invalid;
    }
    if (lead < 0xE0) {
        return {1, 0x80, 0xBF};
    }
    if (lead < 0xF0) {
        return {2, static_cast<std::uint8_t>(lead == 0xE0 ? 0xA0 : 0x80),
                static_cast<std::uint8_t>(lead == 0xED ? 0x9F : 0xBF)};
    }
    return {3, static_cast<std::uint8_t>(lead == 0xF0 ? 0x90 : 0x80),
            static_cast<std::uint8_t>(lead == 0xF4 ? 0x8F : 0xBF)};
}

/// Takes one code point off the front, or nothing for the maximal part that is ill-formed. REQUIRES: not empty.
std::optional<char32_t> takeCodePoint(ByteView& bytes) {
    const std::uint8_t lead = bytes[0];
    const Sequence expected = sequence(lead);
    bytes = bytes.subspan(1);
    if (expected.continuations == 0) {
        return expected.first > expected.last ? std::nullopt : std::optional<char32_t>(lead);
    }
    char32_t codePoint = lead & (0x3FU >> expected.continuations);
    std::uint8_t first = expected.first;
    std::uint8_t last = expected.last;
    for (std::size_t i = 0; i < expected.continuations; ++i) {
        if (bytes.empty() || bytes[0] < first || bytes[0] > last) {
            return std::nullopt;
        }
        codePoint = codePoint << 6 | (bytes[0] & 0x3FU);
        bytes = bytes.subspan(1);
        first = 0x80;
        last = 0xBF;
    }
    return codePoint;
}

ByteView bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

} // namespace

bool isValidUTF8(ByteView bytes) {
    while (!bytes.empty()) {
        if (!takeCodePoint(bytes)) {
            return false;
        }
    }
    return true;
}

bool isValidUTF8(std::string_view text) {
    return isValidUTF8(bytesOf(text));
}

std::u32string decodeUTF8(std::string_view text) {
    std::u32string codePoints;
    codePoints.reserve(text.size());
    for (ByteView rest = bytesOf(text); !rest.empty();) {
        codePoints.push_back(takeCodePoint(rest).value_or(U'\uFFFD'));
    }
    return codePoints;
}

std::string encodeUTF8(std::u32string_view codePoints) {
    std::string text;
    const auto add = [&text](char32_t bits) { text.push_back(static_cast<char>(bits)); };
    const auto addContinuation = [&](char32_t codePoint, unsigned shift) {
        add(0x80U | ((codePoint >> shift) & 0x3FU));
    };
    for (const char32_t codePoint : codePoints) {
        precondition(codePoint < 0xD800 || (codePoint > 0xDFFF && codePoint <= 0x10FFFF),
                     "a character is a Unicode scalar value");
        if (codePoint < 0x80) {
            add(codePoint);
        } else if (codePoint < 0x800) {
            add(0xC0U | codePoint >> 6);
            addContinuation(codePoint, 0);
        } else if (codePoint < 0x10000) {
            add(0xE0U | codePoint >> 12);
            addContinuation(codePoint, 6);
            addContinuation(codePoint, 0);
        } else {
            add(0xF0U | codePoint >> 18);
            addContinuation(codePoint, 12);
            addContinuation(codePoint, 6);
            addContinuation(codePoint, 0);
        }
    }
    return text;
}

} // namespace tarnel
