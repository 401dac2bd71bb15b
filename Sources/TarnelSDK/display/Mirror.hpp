#pragma once

#include <TarnelSDK/images/Geometry.hpp>
#include <TarnelSDK/images/Image.hpp>

namespace tarnel {

/// A local picture of what was drawn: 8-bit grey, black at first. Its vertical axis points up, so a place is given by
/// the bottom left corner, counted from the bottom left of the picture. What lies outside is cut off.
class Mirror {
public:
    Mirror(int width, int height);

    /// Draws a `gray8` image with its bottom left corner at (x, y).
    void draw(const Image& image, int x, int y);

    /// Makes the rectangle black; its origin is its bottom left corner.
    void clear(const Rect& rect);

    /// A copy, rows from the top as every image.
    Image image() const;

private:
    int width_;
    int height_;
    Bytes pixels_;
};

} // namespace tarnel
