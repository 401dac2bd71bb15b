#pragma once

#include <TarnelSDK/images/Image.hpp>

#include <string>
#include <variant>

namespace tarnel {

/// Why there is no picture: a sentence for the user that names the file or data, what is wrong with it and, where it
/// helps, what to do.
struct ImageError {
    std::string message;
};

/// A picture, or why there is none.
using ImageResult = std::variant<Image, ImageError>;

} // namespace tarnel
