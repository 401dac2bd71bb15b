#pragma once

#include <string>
#include <string_view>

namespace tarnel {

/// What a font for a text is to hold, each in ascending order and without repetitions.
struct TextCharacters {
    std::u32string drawn;
    /// Without ink and without width: joiners, direction marks, variation selectors and the like.
    std::u32string invisible;
};

/// The characters of a text, UTF-8. Left out are controls, which the display acts on or ignores, and ill-formed bytes;
/// a tab needs the space, which is drawn twice as wide for it.
TextCharacters charactersOfText(std::string_view text);

} // namespace tarnel
