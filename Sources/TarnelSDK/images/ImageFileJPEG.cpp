#include <TarnelSDK/images/ImageCodec.hpp>
#include <TarnelSDK/images/Orientation.hpp>

#include <cstdio>
// libjpeg's header needs <cstdio> before it.
#include <jerror.h>
#include <jpeglib.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <string>
#include <utility>

namespace tarnel {

namespace {

/// A progressive picture has about ten scans; a hostile one has thousands, each of which goes over all pixels.
constexpr int maximumScanCount = 100;

constexpr int exifMarker = JPEG_APP0 + 1;

/// One libjpeg decompressor and what its callbacks leave behind.
///
/// libjpeg reports an error by `fail`, which jumps. Every call into it is made by a step, a member function that `run`
/// enters; a step holds no object with a destructor, so that nothing is skipped when it is left by a jump. Memory is
/// set aside between steps.
class JPEGDecoder {
public:
    explicit JPEGDecoder(ByteView data) {
        jpeg_.err = jpeg_std_error(&errors_);
        errors_.error_exit = fail;
        errors_.emit_message = notice;
        jpeg_.client_data = this;
        source_.next_input_byte = data.data();
        source_.bytes_in_buffer = data.size();
        source_.init_source = [](j_decompress_ptr) {};
        source_.fill_input_buffer = refuseToFill;
        source_.skip_input_data = skip;
        source_.resync_to_restart = jpeg_resync_to_restart;
        source_.term_source = [](j_decompress_ptr) {};
        progress_.progress_monitor = watchScans;
    }
    ~JPEGDecoder() { jpeg_destroy_decompress(&jpeg_); }
    JPEGDecoder(const JPEGDecoder&) = delete;
    JPEGDecoder& operator=(const JPEGDecoder&) = delete;

    ImageResult decode(std::string_view name, const ImageLimits& limits) {
        if (!run(&JPEGDecoder::readHeader)) {
            return damagedImage(name, "JPEG", endsEarly_, message_.data());
        }
        if (auto error = checkClaimedSize(name, jpeg_.image_width, jpeg_.image_height, limits)) {
            return *std::move(error);
        }
        const int orientation = savedOrientation();
        const bool isGray = jpeg_.jpeg_color_space == JCS_GRAYSCALE;
        const std::size_t width = jpeg_.image_width;
        const std::size_t height = jpeg_.image_height;
        pixels_.resize(width * height * (isGray ? 1 : 4));
        if (!run(&JPEGDecoder::readPixels)) {
            return damagedImage(name, "JPEG", endsEarly_, message_.data());
        }
        const Image image(static_cast<int>(width), static_cast<int>(height),
                          isGray ? PixelFormat::gray8 : PixelFormat::rgba8, std::move(pixels_));
        return upright(image, orientation);
    }

private:
    static JPEGDecoder& self(j_common_ptr jpeg) { return *static_cast<JPEGDecoder*>(jpeg->client_data); }

    bool run(void (JPEGDecoder::*step)()) {
        if (setjmp(jump_) != 0) {
            return false;
        }
        (this->*step)();
        return true;
    }

    [[noreturn]] static void fail(j_common_ptr jpeg) {
        jpeg->err->format_message(jpeg, self(jpeg).message_.data());
        std::longjmp(self(jpeg).jump_, 1);
    }

    /// libjpeg goes on after damage, with grey where pixels are missing. Here damage ends the decoding; only notices
    /// that leave the pixels whole are passed over.
    static void notice(j_common_ptr jpeg, int level) {
        if (level >= 0) {
            return;
        }
        switch (jpeg->err->msg_code) {
        case JWRN_ADOBE_XFORM:
        case JWRN_EXTRANEOUS_DATA:
        case JWRN_JFIF_MAJOR:
        case JWRN_NOT_SEQUENTIAL:
        case JWRN_TOO_MUCH_DATA:
            return;
        default:
            fail(jpeg);
        }
    }

    static boolean refuseToFill(j_decompress_ptr jpeg) {
        self(reinterpret_cast<j_common_ptr>(jpeg)).endsEarly_ = true;
        ERREXIT(jpeg, JERR_INPUT_EOF);
        return FALSE;
    }

    static void skip(j_decompress_ptr jpeg, long count) {
        if (count <= 0) {
            return;
        }
        if (static_cast<std::size_t>(count) > jpeg->src->bytes_in_buffer) {
            refuseToFill(jpeg);
        }
        jpeg->src->next_input_byte += count;
        jpeg->src->bytes_in_buffer -= static_cast<std::size_t>(count);
    }

    static void watchScans(j_common_ptr jpeg) {
        if (reinterpret_cast<j_decompress_ptr>(jpeg)->input_scan_number > maximumScanCount) {
            std::snprintf(self(jpeg).message_.data(), self(jpeg).message_.size(), "more than %d scans",
                          maximumScanCount);
            std::longjmp(self(jpeg).jump_, 1);
        }
    }

    void readHeader() {
        jpeg_create_decompress(&jpeg_);
        jpeg_.src = &source_;
        jpeg_.progress = &progress_;
        jpeg_save_markers(&jpeg_, exifMarker, 0xFFFF);
        jpeg_read_header(&jpeg_, TRUE);
    }

    int savedOrientation() const {
        static constexpr std::array<std::uint8_t, 6> prefix = {'E', 'x', 'i', 'f', 0, 0};
        for (auto* marker = jpeg_.marker_list; marker; marker = marker->next) {
            const ByteView block(marker->data, marker->data_length);
            if (marker->marker == exifMarker && block.size() > prefix.size() &&
                std::equal(prefix.begin(), prefix.end(), block.begin())) {
                return exifOrientation(block);
            }
        }
        return 1;
    }

    void readPixels() {
        const bool isInk = jpeg_.jpeg_color_space == JCS_CMYK || jpeg_.jpeg_color_space == JCS_YCCK;
        if (jpeg_.jpeg_color_space == JCS_GRAYSCALE) {
            jpeg_.out_color_space = JCS_GRAYSCALE;
        } else {
            jpeg_.out_color_space = isInk ? JCS_CMYK : JCS_EXT_RGBA;
        }
        jpeg_start_decompress(&jpeg_);
        const std::size_t bytesPerRow =
            static_cast<std::size_t>(jpeg_.output_width) * static_cast<std::size_t>(jpeg_.output_components);
        while (jpeg_.output_scanline < jpeg_.output_height) {
            JSAMPROW row = pixels_.data() + jpeg_.output_scanline * bytesPerRow;
            jpeg_read_scanlines(&jpeg_, &row, 1);
            if (isInk) {
                inkToLight(row);
            }
        }
        jpeg_finish_decompress(&jpeg_);
    }

    /// Cyan, magenta, yellow and black in place to red, green, blue and alpha. Adobe's programs store inks inverted,
    /// which is what their marker tells.
    void inkToLight(JSAMPROW row) const {
        const auto light = [this](JSAMPLE ink) { return jpeg_.saw_Adobe_marker ? ink : MAXJSAMPLE - ink; };
        for (JDIMENSION x = 0; x < jpeg_.output_width; ++x, row += 4) {
            const int black = light(row[3]);
            for (int channel = 0; channel < 3; ++channel) {
                row[channel] = static_cast<JSAMPLE>((light(row[channel]) * black + MAXJSAMPLE / 2) / MAXJSAMPLE);
            }
            row[3] = MAXJSAMPLE;
        }
    }

    jpeg_decompress_struct jpeg_{};
    jpeg_error_mgr errors_{};
    jpeg_source_mgr source_{};
    jpeg_progress_mgr progress_{};
    std::jmp_buf jump_{};
    std::array<char, JMSG_LENGTH_MAX> message_{};
    bool endsEarly_ = false;
    Bytes pixels_;
};

} // namespace

ImageResult decodeJPEG(ByteView data, std::string_view name, const ImageLimits& limits) {
    return JPEGDecoder(data).decode(name, limits);
}

} // namespace tarnel
