#include <TarnelSDK/foundation/UTF8.hpp>
#include <TarnelSDK/glyphs/CharacterFilter.hpp>

#include <algorithm>
#include <array>

namespace tarnel {
namespace {

struct Range {
    char32_t first;
    char32_t last;
};

/// Controls from U+007F on, and what Unicode 15 lists as Default_Ignorable_Code_Point and a font does not draw as a
/// blank of some width. The display would draw a box for one that its font lacks.
constexpr std::array invisibleRanges{
    Range{0x7F, 0x9F},       Range{0xAD, 0xAD},       Range{0x34F, 0x34F},     Range{0x61C, 0x61C},
    Range{0x17B4, 0x17B5},   Range{0x180B, 0x180F},   Range{0x200B, 0x200F},   Range{0x2028, 0x202E},
    Range{0x2060, 0x206F},   Range{0xFE00, 0xFE0F},   Range{0xFEFF, 0xFEFF},   Range{0xFFF9, 0xFFFB},
    Range{0x1BCA0, 0x1BCA3}, Range{0x1D173, 0x1D17A}, Range{0xE0000, 0xE0FFF},
};

bool isInvisible(char32_t codePoint) {
    return std::any_of(invisibleRanges.begin(), invisibleRanges.end(),
                       [codePoint](const Range& range) { return codePoint >= range.first && codePoint <= range.last; });
}

constexpr char32_t replacementCharacter = U'\uFFFD';

} // namespace

TextCharacters charactersOfText(std::string_view text) {
    auto codePoints = decodeUTF8(text);
    if (!isValidUTF8(text)) {
        std::erase(codePoints, replacementCharacter);
    }
    std::replace(codePoints.begin(), codePoints.end(), U'\t', U' ');
    std::sort(codePoints.begin(), codePoints.end());
    codePoints.erase(std::unique(codePoints.begin(), codePoints.end()), codePoints.end());

    TextCharacters characters;
    for (const char32_t codePoint : codePoints) {
        if (codePoint >= U' ') {
            (isInvisible(codePoint) ? characters.invisible : characters.drawn).push_back(codePoint);
        }
    }
    return characters;
}

} // namespace tarnel
