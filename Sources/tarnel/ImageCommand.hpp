#pragma once

#include "Pictures.hpp"

#include <optional>
#include <string>

namespace tarnel::command {

struct ImageOptions {
    std::string input; ///< "-" for standard input
    std::string output;
    std::optional<int> bpp; ///< 1 or 2
    std::optional<Dither> dither;
    bool asJSON = false;
};

/// A picture file to the device image format, or the other way: the input's first byte tells which.
void convertImage(const ImageOptions& options);

} // namespace tarnel::command
