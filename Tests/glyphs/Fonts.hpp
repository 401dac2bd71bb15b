#pragma once

#include <TarnelSDK/glyphs/Font.hpp>

#include <filesystem>

namespace tarnel::test {

// Debian's fonts-noto-core and fonts-noto-cjk.
inline const std::filesystem::path notoSans = "/usr/share/fonts/truetype/noto/NotoSans-Regular.ttf";
inline const std::filesystem::path notoSansCJK = "/usr/share/fonts/opentype/noto/NotoSansCJK-Regular.ttc";

} // namespace tarnel::test
