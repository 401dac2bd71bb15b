#include <TarnelSDK/images/Luminance.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>

namespace tarnel {

void luminanceOfRow(const Image& image, int y, std::span<std::uint8_t> out) {
    const ByteView row = image.row(y);
    const auto width = static_cast<std::size_t>(image.width());
    precondition(out.size() >= width, "there is room for the luminance of a row");
    switch (image.format()) {
    case PixelFormat::gray8:
        std::copy(row.begin(), row.end(), out.begin());
        break;
    case PixelFormat::grayAlpha8:
        for (std::size_t x = 0; x < width; ++x) {
            out[x] = row[2 * x];
        }
        break;
    case PixelFormat::rgba8:
        for (std::size_t x = 0; x < width; ++x) {
            out[x] = luminance(row[4 * x], row[4 * x + 1], row[4 * x + 2], row[4 * x + 3]);
        }
        break;
    }
}

} // namespace tarnel
