#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <string>
#include <string_view>

namespace tarnel {

/// Whether the bytes are well-formed UTF-8 (Unicode 15, table 3-7): no overlong form, no surrogate, nothing past
/// U+10FFFF, nothing cut short.
bool isValidUTF8(ByteView bytes);
bool isValidUTF8(std::string_view text);

/// The code points of the text, with U+FFFD for each maximal part that is ill-formed (Unicode 15, section 3.9).
std::u32string decodeUTF8(std::string_view text);

/// The code points as UTF-8. REQUIRES: no surrogate, and nothing past U+10FFFF.
std::string encodeUTF8(std::u32string_view codePoints);

} // namespace tarnel
