#pragma once

#include <TarnelGlasses/LvglFont.hpp>

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

/// How LVGL 8.3 takes UTF-8 text apart into code points and lines.
namespace tarnel::glasses {

/// The largest coordinate, and so the width of a line that is not limited.
inline constexpr int lvglMaximumCoordinate = 8191;

enum class LvglBreaking {
    words,    ///< at words, so that a line fits a width; CR LF is one line end
    newlines, ///< at line ends only, and CR LF is two
};

struct LvglLine {
    std::size_t begin = 0; ///< bytes of the text, line end included
    std::size_t end = 0;
    int width = 0; ///< with spaces at the end
};

struct LvglSize {
    int width = 0;
    int height = 0;
};

/// The code point at `position`, which moves behind it; 0 for bytes that are no UTF-8.
/// REQUIRES: position < text.size().
std::uint32_t nextLvglCodePoint(std::string_view text, std::size_t& position);

/// The width of text on one line.
int lvglTextWidth(const LvglFont& font, std::string_view text);

/// The lines of a text; none for an empty one. Each has one code point at least. A width of 0 or less makes each code
/// point a line.
std::vector<LvglLine> breakLvglLines(const LvglFont& font, std::string_view text, int width, LvglBreaking breaking);

/// The widest line, and the lines' height: one for an empty text, one more behind a line end at the end.
LvglSize measureLvglText(const LvglFont& font, std::string_view text, int width, LvglBreaking breaking);

} // namespace tarnel::glasses
