#include "Tarnel.hpp"

#include <jpeglib.h>
#include <png.h>

#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace tarnel::test {
namespace {

template <typename Color>
Pixels made(int width, int height, Color color) {
    Pixels pixels{width, height, {}};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const auto gray = static_cast<std::uint8_t>(color(x, y));
            pixels.rgb.insert(pixels.rgb.end(), {gray, gray, gray});
        }
    }
    return pixels;
}

} // namespace

Pixels readPNG(const std::string& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) {
        throw std::runtime_error(path + ": " + image.message);
    }
    image.format = PNG_FORMAT_RGB;
    Pixels pixels{static_cast<int>(image.width), static_cast<int>(image.height), Bytes(PNG_IMAGE_SIZE(image))};
    const png_color black{0, 0, 0};
    if (!png_image_finish_read(&image, &black, pixels.rgb.data(), 0, nullptr)) {
        throw std::runtime_error(path + ": " + image.message);
    }
    return pixels;
}

void writePNG(const std::string& path, const Pixels& pixels) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(pixels.width);
    image.height = static_cast<png_uint_32>(pixels.height);
    image.format = PNG_FORMAT_RGB;
    if (!png_image_write_to_file(&image, path.c_str(), 0, pixels.rgb.data(), 0, nullptr)) {
        throw std::runtime_error(path + ": " + image.message);
    }
}

void writeJPEG(const std::string& path, const Pixels& pixels) {
    constexpr int quality = 92;
    jpeg_compress_struct encoder{};
    jpeg_error_mgr errors{};
    encoder.err = jpeg_std_error(&errors);
    jpeg_create_compress(&encoder);
    std::FILE* file = std::fopen(path.c_str(), "wb");
    jpeg_stdio_dest(&encoder, file);
    encoder.image_width = static_cast<JDIMENSION>(pixels.width);
    encoder.image_height = static_cast<JDIMENSION>(pixels.height);
    encoder.input_components = 3;
    encoder.in_color_space = JCS_RGB;
    jpeg_set_defaults(&encoder);
    jpeg_set_quality(&encoder, quality, TRUE);
    jpeg_start_compress(&encoder, TRUE);
    Bytes row(static_cast<std::size_t>(pixels.width) * 3);
    while (encoder.next_scanline < encoder.image_height) {
        const auto start = pixels.rgb.begin() + static_cast<std::ptrdiff_t>(encoder.next_scanline * row.size());
        std::copy(start, start + static_cast<std::ptrdiff_t>(row.size()), row.begin());
        JSAMPROW pointer = row.data();
        jpeg_write_scanlines(&encoder, &pointer, 1);
    }
    jpeg_finish_compress(&encoder);
    jpeg_destroy_compress(&encoder);
    std::fclose(file);
}

Pixels photograph(int width, int height) {
    std::uint32_t state = 1;
    return made(width, height, [&](int x, int y) {
        state = state * 1664525 + 1013904223;
        const double grain = static_cast<double>(state >> 24) / 16 - 8;
        const double soft = 128 + 90 * std::sin(x * 0.013) * std::cos(y * 0.017) + (x > y ? 20 : -20);
        return std::min(255.0, std::max(0.0, soft + grain));
    });
}

Pixels checkerboard(int width, int height) {
    return made(width, height, [](int x, int y) { return (x / 16 + y / 16) % 2 == 0 ? 255 : 0; });
}

} // namespace tarnel::test
