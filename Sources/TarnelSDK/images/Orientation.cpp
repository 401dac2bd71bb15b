#include <TarnelSDK/images/Orientation.hpp>

#include <libexif/exif-data.h>

#include <algorithm>
#include <memory>
#include <utility>

namespace tarnel {

namespace {

struct Unreference {
    void operator()(ExifData* data) const { exif_data_unref(data); }
};

} // namespace

int exifOrientation(ByteView exif) {
    const std::unique_ptr<ExifData, Unreference> data(
        exif_data_new_from_data(exif.data(), static_cast<unsigned int>(exif.size())));
    if (!data) {
        return 1;
    }
    const ExifEntry* const entry = exif_content_get_entry(data->ifd[EXIF_IFD_0], EXIF_TAG_ORIENTATION);
    if (!entry || entry->format != EXIF_FORMAT_SHORT || entry->components < 1 || entry->size < 2) {
        return 1;
    }
    const int orientation = exif_get_short(entry->data, exif_data_get_byte_order(data.get()));
    return orientation >= 1 && orientation <= 8 ? orientation : 1;
}

Image upright(const Image& image, int orientation) {
    if (orientation <= 1 || orientation > 8) {
        return image;
    }
    // Exif 2.32, tag 0112: which edges of the picture the stored first row and first column are.
    const bool swapsAxes = orientation >= 5;
    const bool fromRight = orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
    const bool fromBottom = orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
    const int width = swapsAxes ? image.height() : image.width();
    const int height = swapsAxes ? image.width() : image.height();
    const std::size_t step = image.bytesPerPixel();
    Bytes pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * step);
    auto out = pixels.begin();
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int column = swapsAxes ? y : x;
            const int line = swapsAxes ? x : y;
            const int sourceX = fromRight ? image.width() - 1 - column : column;
            const int sourceY = fromBottom ? image.height() - 1 - line : line;
            out = std::copy_n(image.row(sourceY).begin() + sourceX * static_cast<std::ptrdiff_t>(step), step, out);
        }
    }
    return Image(width, height, image.format(), std::move(pixels));
}

} // namespace tarnel
