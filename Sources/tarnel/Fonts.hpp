#pragma once

#include <TarnelSDK/glyphs/Font.hpp>

#include <string>

/// The fonts that arguments name. All throw `Failure`.
namespace tarnel::command {

/// The font file, or the font of the installed family of that name: what has a "/" or ends like a font file is a file.
Font fontNamed(const std::string& name, double size);

/// The system's own.
Font systemFont(double size);

} // namespace tarnel::command
