#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

/// A table of localised texts by key.
using StringTable = std::map<std::string, std::string, std::less<>>;

/// Where and why a text is no string table.
struct StringTableError {
    std::size_t line = 0; ///< from 1
    std::string description;
};

struct StringTableResult {
    StringTable table; ///< empty on an error
    std::optional<StringTableError> error;
};

/// The largest file that is read, in bytes.
constexpr std::size_t largestStringTable = 1 << 20;

/// Reads entries `"key" = "value";` in UTF-8, with or without a byte order mark, between which stand white space and
/// comments (`/* */`, not nested, and `//` to the end of the line). A key may go without quotes where it consists of
/// ASCII letters, digits and `_ - . $ /`. In quotes, a backslash begins \\ \" \' \n \r \t or \U and four hexadecimal
/// digits, a UTF-16 unit (a pair of surrogates is one character); line breaks stand for themselves. Of equal keys the
/// last one counts. Takes time and memory in proportion to the text.
StringTableResult parseStringTable(std::string_view text);

/// Reads a file; nothing when there is none.
std::optional<StringTableResult> readStringTable(const std::filesystem::path& file);

} // namespace tarnel
