#include <TarnelSDK/foundation/UTF8.hpp>

#include <algorithm>

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

} // namespace

bool isValidUTF8(ByteView bytes) {
    while (!bytes.empty()) {
        const Sequence expected = sequence(bytes[0]);
        bytes = bytes.subspan(1);
        if (expected.continuations == 0) {
            if (expected.first > expected.last) {
                return false;
            }
            continue;
        }
        if (bytes.size() < expected.continuations || bytes[0] < expected.first || bytes[0] > expected.last) {
            return false;
        }
        const ByteView rest = bytes.subspan(1, expected.continuations - 1);
        if (!std::all_of(rest.begin(), rest.end(), [](std::uint8_t byte) { return (byte & 0xC0) == 0x80; })) {
            return false;
        }
        bytes = bytes.subspan(expected.continuations);
    }
    return true;
}

bool isValidUTF8(std::string_view text) {
    return isValidUTF8(ByteView(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

} // namespace tarnel
