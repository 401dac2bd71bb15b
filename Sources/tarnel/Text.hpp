#pragma once

#include <TarnelSDK/platform/Bytes.hpp>
#include <TarnelSDK/platform/Queue.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel::command {

/// RFC 4648, section 4, with padding.
std::string base64(ByteView bytes);
/// Empty for text that is not exactly what `base64` writes for some bytes.
std::optional<Bytes> bytesFromBase64(std::string_view text);

/// Two lower-case digits a byte.
std::string hexadecimal(ByteView bytes);
/// Either letter case, white space between bytes allowed; empty for anything else.
std::optional<Bytes> bytesFromHexadecimal(std::string_view text);

/// Whether a character could move or change something on a terminal: the controls of ASCII and of ISO 6429 above it,
/// line separators, and what changes the direction of writing.
bool changesTerminal(char32_t character);

/// The text as it may be written to a terminal: "?" for every character that could move or change something there, and
/// U+FFFD for what is not UTF-8.
std::string printable(std::string_view text);

/// The first `most` characters, and "..." where there are more; U+FFFD for what is not UTF-8.
std::string shortened(std::string_view text, std::size_t most);

/// As many of the first characters as surely fit into the columns of a terminal: all from U+1100 on count as wide.
std::string fitted(std::string_view text, std::size_t columns);

/// "1,234,567".
std::string grouped(std::uint64_t number);

constexpr double inSeconds(platform::Duration duration) {
    return std::chrono::duration<double>(duration).count();
}

} // namespace tarnel::command
