#pragma once

#include <TarnelSDK/images/ImageError.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <string_view>

namespace tarnel {

/// Decodes the device image format made by `toTNImage` into a picture of what the glasses show.
///
/// `rgba8`: the grey of level i is i/3 of full brightness (00, 55, AA, FF; with 1 bit 00, FF), whatever colours the
/// palette holds; alpha is the palette's. Another colour format, or data shorter or longer than its header says, is an
/// error. `name` is what the error message calls the data.
ImageResult imageFromTNImage(ByteView data, std::string_view name = "the device image");

} // namespace tarnel
