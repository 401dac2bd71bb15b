#pragma once

#include <TarnelSDK/images/Image.hpp>

namespace tarnel {

/// Reduces a picture to the four levels by error diffusion (Floyd-Steinberg, rows in alternating direction), so that
/// areas keep their brightness: a `gray8` image of the values 00, 40, 80 and C0, which `convertToGrayScale` leaves
/// unchanged.
///
/// A level stands for the brightness at which the display shows it: level i for the grey value 85 i. White is level 3
/// throughout, and a grey between two levels becomes a mixture of the two that emits the same light. For photographs; a
/// drawing is clearer without.
Image ditherToLevels(const Image& image);

/// Whether a picture has the soft gradations of a photograph, for which dithering pays: false for line drawings, text,
/// logos, and screenshots of few flat tones.
bool looksLikePhotograph(const Image& image);

} // namespace tarnel
