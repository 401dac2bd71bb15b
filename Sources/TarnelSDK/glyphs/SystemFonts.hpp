#pragma once

#include <TarnelSDK/glyphs/Font.hpp>

#include <optional>
#include <span>
#include <string>

namespace tarnel {

/// The first font of `getReplacementFonts` that has a glyph for the code point, found without opening the fonts before
/// it; nothing when no installed font has one. Called on any thread.
std::optional<Font> replacementFont(char32_t codePoint, std::span<const std::string> languages, double size,
                                    FontWeight weight = FontWeight::regular);

} // namespace tarnel
