#pragma once

#include <TarnelGlasses/Frame.hpp>

#include <array>
#include <cstdint>
#include <string>
#include <variant>

namespace tarnel::glasses {

/// A picture in LVGL 8's indexed format, 1 or 2 bits a pixel, an immutable value: a header of 4 bytes, a palette, rows
/// of whole bytes.
class LvglImage {
public:
    struct Colour {
        std::uint8_t blue = 0;
        std::uint8_t green = 0;
        std::uint8_t red = 0;
        std::uint8_t alpha = 0;

        friend bool operator==(const Colour&, const Colour&) = default;
    };

    /// The picture, or why the bytes are none. All bytes that it needs must be there, and no more.
    static std::variant<LvglImage, std::string> decode(ByteView file);

    int width() const { return width_; }
    int height() const { return height_; }
    int bitsPerPixel() const { return bitsPerPixel_; }
    /// REQUIRES: the pixel lies in the picture.
    const Colour& at(int x, int y) const;

    /// LVGL's image objects draw nothing of a picture that is one pixel wide or high.
    bool isDrawnByObjects() const { return width_ > 1 && height_ > 1; }

    /// Draws it as an image object would, its top left corner at (x, y).
    void draw(Frame& frame, int x, int y) const;

private:
    LvglImage() = default;

    int width_ = 0;
    int height_ = 0;
    int bitsPerPixel_ = 1;
    std::array<Colour, 4> palette_{};
    Bytes pixels_;
};

/// The level that this green is shown as: 0x00 is 0, 0x40 is 1, 0x80 is 2, from 0xC0 on 3, each with what lies around
/// it.
std::uint8_t levelOfGreen(std::uint8_t green);

} // namespace tarnel::glasses
