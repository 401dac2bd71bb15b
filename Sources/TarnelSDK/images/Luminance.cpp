#include <TarnelSDK/images/Luminance.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>

namespace tarnel {

std::uint8_t luminance(std::uint8_t red, std::uint8_t green, std::uint8_t blue, std::uint8_t alpha) {
    constexpr std::uint32_t one = 100 * 255;
    const std::uint32_t weighted = (30U * red + 59U * green + 11U * blue) * alpha;
    return static_cast<std::uint8_t>((weighted + one / 2) / one);
}

void luminanceOfRow(const Image& image, int y, std::span<std::uint8_t> out) {
    const ByteView row = image.row(y);
    const std::size_t step = image.bytesPerPixel();
    precondition(out.size() * step >= row.size(), "there is room for the luminance of a row");
    switch (image.format()) {
    case PixelFormat::gray8:
        std::copy(row.begin(), row.end(), out.begin());
        break;
    case PixelFormat::grayAlpha8:
        for (std::size_t at = 0; at < row.size(); at += step) {
            out[at / step] = row[at];
        }
        break;
    case PixelFormat::rgba8:
        for (std::size_t at = 0; at < row.size(); at += step) {
            out[at / step] = luminance(row[at], row[at + 1], row[at + 2], row[at + 3]);
        }
        break;
    }
}

} // namespace tarnel
