#pragma once

#include <TarnelSDK/images/Image.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

namespace tarnel {

/// The orientation, 1 to 8, that an Exif block (from "Exif\0\0" on) gives; 1, upright, when it gives none.
int exifOrientation(ByteView exif);

/// The picture turned and mirrored so that a picture of that orientation stands upright.
Image upright(const Image& image, int orientation);

} // namespace tarnel
