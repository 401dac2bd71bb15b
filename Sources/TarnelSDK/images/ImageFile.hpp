#pragma once

#include <TarnelSDK/images/ImageError.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string_view>
#include <variant>

namespace tarnel {

/// What a picture may claim to be before any memory is set aside for it.
struct ImageLimits {
    int side = 32'768;
    std::size_t pixels = 64 * 1024 * 1024;
};

/// The longest file that `readImage` takes, in bytes.
inline constexpr std::size_t maximumImageFileSize = 256 * 1024 * 1024;

/// Reads a PNG or JPEG file, told apart by content. See `decodeImage`.
ImageResult readImage(const std::filesystem::path& path, const ImageLimits& limits = {});

/// Decodes PNG (any colour type and depth, interlaced or not) or JPEG (baseline or progressive; grey, YCbCr, RGB, CMYK,
/// YCCK). Grey pictures without transparency become `gray8`, all others `rgba8`; 16-bit samples are scaled to 8, gamma
/// and colour profiles are not applied, and an Exif orientation is: the picture is upright.
///
/// Any bytes are safe to give. A file that is cut off or damaged is an error, not half a picture. `name` is what the
/// error message calls the data.
ImageResult decodeImage(ByteView data, std::string_view name = "the picture", const ImageLimits& limits = {});

/// A PNG file in memory: `gray8` as grey, `grayAlpha8` (divided by its alpha) as grey with alpha, `rgba8` as RGBA.
/// An empty picture is an error.
std::variant<Bytes, ImageError> encodePNG(const Image& image);

/// Writes a PNG file, replacing one that exists. Gives the error, if any; no half-written file is left then.
std::optional<ImageError> writePNG(const std::filesystem::path& path, const Image& image);

} // namespace tarnel
