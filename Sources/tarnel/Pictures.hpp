#pragma once

#include <TarnelSDK/images/Image.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <string>

/// The pictures that commands take. All throw `Failure`.
namespace tarnel::command {

/// Whether grey levels between those of the display are made by error diffusion.
enum class Dither {
    automatic, ///< for photographs
    on,
    off, ///< the nearest level
};

/// Reads a PNG or JPEG file; "-" is standard input.
Image readPicture(const std::string& path);

/// As `readPicture`, of bytes that were read from `name`.
Image pictureFromBytes(ByteView bytes, const std::string& name);

/// Whether this picture is to be dithered.
bool isDithered(const Image& picture, Dither dither);

Bytes pngOf(const Image& picture);

} // namespace tarnel::command
