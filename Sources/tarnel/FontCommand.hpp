#pragma once

#include <optional>
#include <string>

namespace tarnel::command {

struct FontOptions {
    std::string text; ///< "-" for standard input
    std::string output;
    std::optional<int> size;           ///< in pixels
    std::optional<std::string> locale; ///< BCP 47 tag; the environment's when empty
    bool asJSON = false;
};

/// The binary font that would be sent to the glasses with a text.
void makeFont(const FontOptions& options);

struct FontDumpOptions {
    std::string font; ///< "-" for standard input
    bool asJSON = false;
};

/// What a binary font holds, each glyph as rows of '#' and '.'.
void dumpFont(const FontDumpOptions& options);

} // namespace tarnel::command
