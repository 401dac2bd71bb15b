#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarnel::desktop {

/// In bytes, beyond which `displayable` cuts.
inline constexpr std::size_t longestText = 16'384;

/// What a D-Bus string and a desktop can take: well-formed UTF-8 of at most about `longestText` bytes, without control
/// characters but line feeds and tabs.
std::string displayable(std::string_view text);

/// Plain text as the markup of the Desktop Notifications 1.2.
std::string escaped(std::string_view text);

/// The plain text of what may be such markup: its elements are left out, references to characters resolved. What is
/// neither stays as it is, since programs send plain text too.
std::string withoutMarkup(std::string_view text);

} // namespace tarnel::desktop
