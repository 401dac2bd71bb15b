#pragma once

#include <TarnelSDK/images/Geometry.hpp>
#include <TarnelSDK/images/Image.hpp>

#include <cstdint>

namespace tarnel {

/// A local picture of what was drawn: 8-bit grey, black at first. Its vertical axis points up, so a place is given by
/// the bottom left corner, counted from the bottom left of the picture. What lies outside is cut off.
class Mirror {
public:
    Mirror(int width, int height);

    /// Draws a `gray8` image with its bottom left corner at (x, y).
    void draw(const Image& image, int x, int y);

    /// Draws an image of any format over what is there, as transparent as it is, with its bottom left corner at (x, y).
    void blend(const Image& image, int x, int y);

    /// Makes the rectangle grey, from 0, black, to 255; its origin is its bottom left corner.
    void fill(const Rect& rect, std::uint8_t gray);
    void clear(const Rect& rect) { fill(rect, 0); }

    /// A copy, rows from the top as every image.
    Image image() const;

private:
    int width_;
    int height_;
    Bytes pixels_;
};

} // namespace tarnel
