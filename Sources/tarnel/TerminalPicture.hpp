#pragma once

#include <TarnelGlasses/Frame.hpp>

#include <string>

namespace tarnel::command {

/// A frame for a terminal of so many columns and rows, centred, as large as fits without changing its shape: two pixels
/// a character, one above the other, in four greens ("▀" and the colour sequences of ISO 8613-6). Lines end in "\r\n".
std::string terminalPicture(const glasses::Frame& frame, int columns, int rows);

} // namespace tarnel::command
