#pragma once

#include <cstddef>

/// Sizes of LVGL's binary font format, which what reads and what writes it share. Published with lv_font_conv, as its
/// font format.
namespace tarnel {

inline constexpr int bitsInByte = 8;
inline constexpr std::size_t sectionHeaderBytes = 8; ///< length and tag
inline constexpr std::size_t headBytes = 48;         ///< the whole "head" section
inline constexpr std::size_t subtableBytes = 16;     ///< of a "cmap" section
/// The count has 9 bits in LVGL's loader.
inline constexpr std::size_t maximumSubtables = 511;

} // namespace tarnel
