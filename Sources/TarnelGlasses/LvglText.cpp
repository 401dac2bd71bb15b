#include <TarnelGlasses/LvglText.hpp>

#include <algorithm>
#include <optional>

namespace tarnel::glasses {

namespace {

bool isLineEnd(std::uint32_t codePoint) {
    return codePoint == '\n' || codePoint == '\r';
}

bool isBreak(std::uint32_t codePoint) {
    constexpr std::uint32_t firstHan = 0x4E00;
    constexpr std::uint32_t lastHan = 0x9FA5;
    constexpr std::string_view breaks = " ,.;:-_";
    return (codePoint >= firstHan && codePoint <= lastHan) ||
           (codePoint < 0x80 && breaks.find(static_cast<char>(codePoint)) != std::string_view::npos);
}

struct Word {
    std::size_t length = 0; ///< in bytes
    int width = 0;
};

/// The word at the beginning of `text`: up to a line end or break character, which are not part of it unless they are
/// its first character. It is empty when it does not fit together with what follows it; `isForced` then leaves the
/// characters that fit.
Word nextWord(const LvglFont& font, std::string_view text, int room, bool isForced) {
    Word word;
    int width = 0;
    for (std::size_t position = 0; position < text.size();) {
        const auto start = position;
        const auto codePoint = nextLvglCodePoint(text, position);
        width += font.advance(codePoint);
        const bool fits = width <= room;
        const bool isEnd = isLineEnd(codePoint) || isBreak(codePoint);
        if (fits && (!isEnd || start == 0)) {
            word.width = width;
        }
        if (!fits) {
            return isForced ? Word{start, word.width} : Word{};
        }
        if (isEnd) {
            const bool isPair = codePoint == '\r' && position < text.size() && text[position] == '\n';
            word.length = start == 0 || isPair ? position : start;
            return word;
        }
        word.length = position;
    }
    return word;
}

/// The length in bytes of the line at the beginning of `text`, which is not empty.
std::size_t nextLine(const LvglFont& font, std::string_view text, int room, LvglBreaking breaking) {
    if (breaking == LvglBreaking::newlines) {
        const auto end = text.find_first_of("\r\n");
        return end == std::string_view::npos ? text.size() : end + 1;
    }
    std::size_t length = 0;
    while (length < text.size() && room > 0) {
        const auto word = nextWord(font, text.substr(length), room, length == 0);
        room -= word.width;
        length += word.length;
        if (word.length == 0 || isLineEnd(static_cast<unsigned char>(text.front()))) {
            break;
        }
        if (length < text.size() && isLineEnd(static_cast<unsigned char>(text[length]))) {
            return length + 1;
        }
    }
    if (length == 0) {
        nextLvglCodePoint(text, length);
    }
    return length;
}

} // namespace

std::uint32_t nextLvglCodePoint(std::string_view text, std::size_t& position) {
    const auto byte = [&](std::size_t index) {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : 0U;
    };
    const auto first = byte(position++);
    if (first < 0x80) {
        return first;
    }
    int following = 0;
    std::uint32_t codePoint = 0;
    if ((first & 0xE0U) == 0xC0U) {
        following = 1;
        codePoint = first & 0x1FU;
    } else if ((first & 0xF0U) == 0xE0U) {
        following = 2;
        codePoint = first & 0x0FU;
    } else if ((first & 0xF8U) == 0xF0U) {
        following = 3;
        codePoint = first & 0x07U;
    }
    for (int i = 0; i < following; ++i) {
        const auto next = byte(position);
        if ((next & 0xC0U) != 0x80U) {
            return 0;
        }
        codePoint = codePoint << 6 | (next & 0x3FU);
        ++position;
    }
    return codePoint;
}

int lvglTextWidth(const LvglFont& font, std::string_view text) {
    int width = 0;
    for (std::size_t position = 0; position < text.size();) {
        width += font.advance(nextLvglCodePoint(text, position));
    }
    return width;
}

std::vector<LvglLine> breakLvglLines(const LvglFont& font, std::string_view text, int width, LvglBreaking breaking) {
    std::vector<LvglLine> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const auto end = begin + nextLine(font, text.substr(begin), width, breaking);
        lines.push_back({begin, end, lvglTextWidth(font, text.substr(begin, end - begin))});
        begin = end;
    }
    return lines;
}

LvglSize measureLvglText(const LvglFont& font, std::string_view text, int width, LvglBreaking breaking) {
    const auto lines = breakLvglLines(font, text, width, breaking);
    auto count = std::max<std::size_t>(lines.size(), 1);
    if (!text.empty() && isLineEnd(static_cast<unsigned char>(text.back()))) {
        ++count;
    }
    LvglSize size{0, static_cast<int>(count) * font.lineHeight()};
    for (const auto& line : lines) {
        size.width = std::max(size.width, line.width);
    }
    return size;
}

} // namespace tarnel::glasses
