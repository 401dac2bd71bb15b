#include <TarnelSDK/images/ImageCodec.hpp>
#include <TarnelSDK/images/Orientation.hpp>

#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace tarnel {

namespace {

/// One libpng structure and what its callbacks leave behind.
///
/// libpng reports an error by jumping. Every call into it is made by a step, a member function that `run` enters; a
/// step holds no object with a destructor, so that nothing is skipped when it is left by a jump. Memory is set aside
/// between steps.
class PNGCodec {
public:
    PNGCodec(const PNGCodec&) = delete;
    PNGCodec& operator=(const PNGCodec&) = delete;

protected:
    PNGCodec() = default;
    ~PNGCodec() = default;

    template <typename Codec>
    bool run(Codec& codec, void (Codec::*step)()) {
        if (!png || !info || setjmp(png_jmpbuf(png)) != 0) {
            return false;
        }
        (codec.*step)();
        return true;
    }

    static void fail(png_structp png, png_const_charp message) {
        auto& self = *static_cast<PNGCodec*>(png_get_error_ptr(png));
        std::snprintf(self.message_, sizeof self.message_, "%s", message);
        png_longjmp(png, 1);
    }
    static void warn(png_structp /*png*/, png_const_charp /*message*/) {}

    /// libpng's own words for the last error.
    std::string_view message() const { return message_; }

    png_structp png = nullptr;
    png_infop info = nullptr;

private:
    char message_[200] = "not enough memory";
};

class PNGDecoder : public PNGCodec {
public:
    explicit PNGDecoder(ByteView data) : data_(data) {
        png = png_create_read_struct(PNG_LIBPNG_VER_STRING, static_cast<PNGCodec*>(this), fail, warn);
        info = png ? png_create_info_struct(png) : nullptr;
    }
    ~PNGDecoder() { png_destroy_read_struct(&png, &info, nullptr); }

    ImageResult decode(std::string_view name, const ImageLimits& limits) {
        if (!run(*this, &PNGDecoder::readHeader)) {
            return damagedImage(name, "PNG", endsEarly_, message());
        }
        if (auto error = checkClaimedSize(name, width_, height_, limits)) {
            return *std::move(error);
        }
        if (!run(*this, &PNGDecoder::chooseFormat)) {
            return damagedImage(name, "PNG", endsEarly_, message());
        }
        const std::size_t bytesPerRow = width_ * (format_ == PixelFormat::gray8 ? 1 : 4);
        pixels_.resize(bytesPerRow * height_);
        rows_.reserve(height_);
        for (std::size_t y = 0; y < height_; ++y) {
            rows_.push_back(pixels_.data() + y * bytesPerRow);
        }
        if (!run(*this, &PNGDecoder::readPixels)) {
            return damagedImage(name, "PNG", endsEarly_, message());
        }
        const Image image(static_cast<int>(width_), static_cast<int>(height_), format_, std::move(pixels_));
        return upright(image, orientation());
    }

private:
    static void give(png_structp png, png_bytep out, std::size_t length) {
        auto& self = *static_cast<PNGDecoder*>(png_get_io_ptr(png));
        if (length > self.data_.size()) {
            self.endsEarly_ = true;
            png_error(png, "the data ends early");
        }
        std::copy_n(self.data_.begin(), length, out);
        self.data_ = self.data_.subspan(length);
    }

    void readHeader() {
        png_set_read_fn(png, this, give);
        // The limits of the caller are checked against the header, with a better message.
        png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
        png_read_info(png, info);
        width_ = png_get_image_width(png, info);
        height_ = png_get_image_height(png, info);
    }

    void chooseFormat() {
        const int type = png_get_color_type(png, info);
        const bool isTransparent = (type & PNG_COLOR_MASK_ALPHA) != 0 || png_get_valid(png, info, PNG_INFO_tRNS) != 0;
        png_set_scale_16(png);
        png_set_expand(png);
        if (type == PNG_COLOR_TYPE_GRAY && !isTransparent) {
            format_ = PixelFormat::gray8;
        } else {
            format_ = PixelFormat::rgba8;
            png_set_gray_to_rgb(png);
            png_set_add_alpha(png, 0xFF, PNG_FILLER_AFTER);
        }
        png_set_interlace_handling(png);
        png_read_update_info(png, info);
        if (png_get_rowbytes(png, info) != width_ * (format_ == PixelFormat::gray8 ? 1 : 4)) {
            png_error(png, "an unknown pixel format");
        }
    }

    void readPixels() {
        png_read_image(png, rows_.data());
        png_read_end(png, info);
    }

    int orientation() {
#ifdef PNG_eXIf_SUPPORTED
        if (run(*this, &PNGDecoder::readExif) && exif_) {
            static constexpr std::uint8_t prefix[] = {'E', 'x', 'i', 'f', 0, 0};
            Bytes block(std::begin(prefix), std::end(prefix));
            block.insert(block.end(), exif_, exif_ + exifLength_);
            return exifOrientation(block);
        }
#endif
        return 1;
    }

#ifdef PNG_eXIf_SUPPORTED
    void readExif() {
        if (png_get_eXIf_1(png, info, &exifLength_, &exif_) == 0) {
            exif_ = nullptr;
        }
    }

    png_uint_32 exifLength_ = 0;
    png_bytep exif_ = nullptr;
#endif

    ByteView data_;
    bool endsEarly_ = false;
    std::size_t width_ = 0;
    std::size_t height_ = 0;
    PixelFormat format_ = PixelFormat::gray8;
    Bytes pixels_;
    std::vector<png_bytep> rows_;
};

class PNGEncoder : public PNGCodec {
public:
    explicit PNGEncoder(const Image& image) : image_(image) {
        png = png_create_write_struct(PNG_LIBPNG_VER_STRING, static_cast<PNGCodec*>(this), fail, warn);
        info = png ? png_create_info_struct(png) : nullptr;
    }
    ~PNGEncoder() { png_destroy_write_struct(&png, &info); }

    std::variant<Bytes, ImageError> encode() {
        if (image_.isEmpty()) {
            return ImageError{"a picture without pixels cannot be written as PNG"};
        }
        if (!run(*this, &PNGEncoder::writeHeader)) {
            return failure();
        }
        for (int y = 0; y < image_.height(); ++y) {
            const ByteView row = image_.row(y);
            row_.assign(row.begin(), row.end());
            if (image_.format() == PixelFormat::grayAlpha8) {
                divideByAlpha();
            }
            if (!run(*this, &PNGEncoder::writeRow)) {
                return failure();
            }
        }
        if (!run(*this, &PNGEncoder::writeEnd)) {
            return failure();
        }
        return std::move(encoded_);
    }

private:
    ImageError failure() const { return {"the picture cannot be written as PNG (" + std::string(message()) + ")"}; }

    static void take(png_structp png, png_bytep data, std::size_t length) {
        auto& self = *static_cast<PNGEncoder*>(png_get_io_ptr(png));
        self.encoded_.insert(self.encoded_.end(), data, data + length);
    }
    static void flush(png_structp /*png*/) {}

    int colorType() const {
        switch (image_.format()) {
        case PixelFormat::gray8:
            return PNG_COLOR_TYPE_GRAY;
        case PixelFormat::grayAlpha8:
            return PNG_COLOR_TYPE_GRAY_ALPHA;
        case PixelFormat::rgba8:
            break;
        }
        return PNG_COLOR_TYPE_RGB_ALPHA;
    }

    void divideByAlpha() {
        for (std::size_t at = 0; at < row_.size(); at += 2) {
            const int alpha = row_[at + 1];
            row_[at] = static_cast<std::uint8_t>(alpha == 0 ? 0 : std::min((row_[at] * 255 + alpha / 2) / alpha, 255));
        }
    }

    void writeHeader() {
        png_set_write_fn(png, this, take, flush);
        png_set_IHDR(png, info, static_cast<png_uint_32>(image_.width()), static_cast<png_uint_32>(image_.height()), 8,
                     colorType(), PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png, info);
    }
    void writeRow() { png_write_row(png, row_.data()); }
    void writeEnd() { png_write_end(png, nullptr); }

    const Image& image_;
    Bytes row_;
    Bytes encoded_;
};

} // namespace

ImageResult decodePNG(ByteView data, std::string_view name, const ImageLimits& limits) {
    return PNGDecoder(data).decode(name, limits);
}

std::variant<Bytes, ImageError> encodePNG(const Image& image) {
    return PNGEncoder(image).encode();
}

} // namespace tarnel
