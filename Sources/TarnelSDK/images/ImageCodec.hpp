#pragma once

#include <TarnelSDK/images/ImageFile.hpp>

#include <string>

// What `decodeImage` does for each file format. The data starts with the format's signature; `name` is for messages.
namespace tarnel {

ImageResult decodePNG(ByteView data, std::string_view name, const ImageLimits& limits);
ImageResult decodeJPEG(ByteView data, std::string_view name, const ImageLimits& limits);

/// An error when a file's header claims more than the limits allow.
std::optional<ImageError> checkClaimedSize(std::string_view name, std::size_t width, std::size_t height,
                                           const ImageLimits& limits);

/// The error of a file that cannot be decoded to its end. `detail` is the decoder's own word for it; with `endsEarly`
/// the decoder ran out of data.
ImageError damagedImage(std::string_view name, std::string_view format, bool endsEarly, std::string_view detail);

} // namespace tarnel
