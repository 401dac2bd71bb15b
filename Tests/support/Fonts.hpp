#pragma once

#include <TarnelSDK/glyphs/Font.hpp>

#include <filesystem>

namespace tarnel::test {

inline const std::filesystem::path notoSans = TARNEL_FONT_SANS;
inline const std::filesystem::path notoSansCJK = TARNEL_FONT_CJK;
/// The font of the emoji, or where there is none another that has some.
inline const std::filesystem::path emoji = TARNEL_FONT_EMOJI;

} // namespace tarnel::test
