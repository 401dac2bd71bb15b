#pragma once

#include <TarnelSDK/images/Geometry.hpp>
#include <TarnelSDK/images/Image.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <optional>

namespace tarnel {

/// Reduces a picture to the four levels of the display: a `gray8` image of the values 00, 40, 80 and C0, whose top two
/// bits are the level.
///
/// Luminance is 0.3 R + 0.59 G + 0.11 B over black; the nearest value is taken, so the level rises at 20, 60 and A0.
/// `grayAlpha8` takes `convertToGrayScale_OLD` instead. An empty image gives nothing.
std::optional<Image> convertToGrayScale(const Image& image);

/// Redraws a picture into plain 8-bit grey over black, without reducing it. An empty image gives nothing.
std::optional<Image> convertToGrayScale_OLD(const Image& image);

/// Packs the top `bpp` bits of each pixel, row by row, from the most significant bit of each byte; `bpp` is 1, 2, 4 or
/// 8, anything else gives nothing. With `padRow` every row starts on a byte. There is no header.
///
/// An 8-bit pixel gives its only byte, a longer one its second: for `rgba8` green, for `grayAlpha8` alpha. Convert to
/// grey first to pack what is seen.
std::optional<Bytes> convertToLvglImg(const Image& image, int bpp, bool padRow);

/// `convertToLvglImg` without row padding.
std::optional<Bytes> packArray(const Image& image, int bpp);

/// The device image format: an LVGL image header (colour format 7 for 1 bit, 8 for 2 bits), a palette of 2 or 4 entries
/// whose entry 0 is transparent, and the grey picture's rows, padded to bytes. A `bpp` other than 1 and 2, or an empty
/// image, gives nothing.
///
/// REQUIRES: the width is below 2048. The height is stored modulo 2048.
std::optional<Bytes> toTNImage(const Image& image, int bpp);

/// The smallest rectangle that holds every pixel in which the two differ; nothing when none does, or when width,
/// height, pixel length or row length are not the same. 8-bit pixels are compared whole, `rgba8` without alpha,
/// `grayAlpha8` by its second byte, alpha, which is the one that is packed.
std::optional<Rect> differenceRect(const Image& a, const Image& b);

/// Scales to `size`, or with `maintainAspect` to the largest size of the same proportions within it, at least one pixel
/// each way. Reduction averages areas, enlargement interpolates bicubically, colours weighted by their alpha. The pixel
/// format stays. An empty image or size gives an empty image.
Image resize(const Image& image, Size size, bool maintainAspect);

/// Scales to that width or height, the other side following in proportion, from 1 up to 32,768 pixels.
Image resizeMaintainAspectWithWidth(const Image& image, int width);
Image resizeMaintainAspectWithHeight(const Image& image, int height);

/// The part of the image inside `rect`; an empty image when there is none.
Image crop(const Image& image, const Rect& rect);

/// The image moved right by x and down by y within its own size. What is uncovered is transparent, in `gray8` black.
Image offset(const Image& image, int x, int y);

/// The image clipped to a rounded rectangle with smooth edges. The radius is in pixels, at most half the shorter side;
/// one that is not above 0 changes nothing. `gray8` becomes `rgba8`, as the corners are transparent.
Image roundedCorners(const Image& image, double radius);

} // namespace tarnel
