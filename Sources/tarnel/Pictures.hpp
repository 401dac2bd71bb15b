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

/// The longest side of an image in the device image format, whose header has 11 bits for it.
inline constexpr int longestObjectSide = 2047;

/// Reads a picture that the glasses are to keep, an image object or an icon.
Image readObjectPicture(const std::string& path);

/// As `readPicture`, of bytes that were read from `name`.
Image pictureFromBytes(ByteView bytes, const std::string& name);

/// Whether this picture is to be dithered.
bool isDithered(const Image& picture, Dither dither);

Bytes pngOf(const Image& picture);

} // namespace tarnel::command
