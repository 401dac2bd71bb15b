#pragma once

#include <TarnelSDK/images/Geometry.hpp>
#include <TarnelSDK/images/Image.hpp>

#include <optional>

namespace tarnel::command {

/// A picture at its place on the display, wholly on it.
struct PlacedPicture {
    Image picture;
    Point place;
    bool isCut = false; ///< a part that would lie off the display was left out
};

/// Without `fit`: the part of the picture, from its top left, that is on the display when its top left corner is at
/// `at`, (0, 0) when left out. With `fit`: the whole picture as large as fits right of and below `at`, or on the whole
/// display and centred. REQUIRES: `at` lies on the display.
PlacedPicture place(const Image& picture, std::optional<Point> at, bool fit);

} // namespace tarnel::command
