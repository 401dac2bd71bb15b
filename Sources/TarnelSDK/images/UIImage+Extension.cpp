#include <TarnelSDK/images/Luminance.hpp>
#include <TarnelSDK/images/UIImage+Extension.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <array>
#include <utility>

namespace tarnel {

namespace {

std::uint8_t nearestLevel(std::uint8_t gray) {
    return static_cast<std::uint8_t>(std::min((gray + 0x20) / 0x40, 3) * 0x40);
}

/// Where in a pixel its sampled byte stands.
std::size_t sampleOffset(const Image& image) {
    return image.bitsPerPixel() == 8 ? 0 : 1;
}

/// Collects the top bits of bytes, from the most significant bit of each byte on.
class BitPacker {
public:
    BitPacker(int bitsPerSample, std::size_t capacity) : bitsPerSample_(bitsPerSample) { bytes_.reserve(capacity); }

    void append(std::uint8_t sample) {
        current_ |= (sample >> (8 - bitsPerSample_)) << (8 - bitsPerSample_ - used_);
        used_ += bitsPerSample_;
        if (used_ == 8) {
            endByte();
        }
    }

    /// Appends a byte that is partly filled, if there is one.
    void endByte() {
        if (used_ > 0) {
            bytes_.push_back(static_cast<std::uint8_t>(current_));
            current_ = 0;
            used_ = 0;
        }
    }

    Bytes take() { return std::move(bytes_); }

private:
    int bitsPerSample_;
    Bytes bytes_;
    int current_ = 0;
    int used_ = 0;
};

ByteView palette(int bpp) {
    static constexpr std::array<std::uint8_t, 8> black_white = {0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF};
    static constexpr std::array<std::uint8_t, 16> greens = {0x00, 0x00, 0x00, 0x00, 0x00, 0x40, 0x00, 0xFF,
                                                            0x00, 0x80, 0x00, 0xFF, 0x00, 0xC0, 0x00, 0xFF};
    return bpp == 1 ? ByteView(black_white) : ByteView(greens);
}

/// The first and last of `count` lines that hold a difference.
template <typename Differs>
std::optional<std::pair<int, int>> differingLines(int count, Differs differs) {
    int first = 0;
    while (first < count && !differs(first)) {
        ++first;
    }
    if (first == count) {
        return std::nullopt;
    }
    int last = count - 1;
    while (!differs(last)) {
        --last;
    }
    return std::pair(first, last);
}

} // namespace

std::optional<Image> convertToGrayScale_OLD(const Image& image) {
    if (image.isEmpty()) {
        return std::nullopt;
    }
    const auto width = static_cast<std::size_t>(image.width());
    Bytes pixels(width * static_cast<std::size_t>(image.height()));
    for (int y = 0; y < image.height(); ++y) {
        luminanceOfRow(image, y, std::span(pixels).subspan(static_cast<std::size_t>(y) * width, width));
    }
    return Image(image.width(), image.height(), PixelFormat::gray8, std::move(pixels));
}

std::optional<Image> convertToGrayScale(const Image& image) {
    std::optional<Image> gray = convertToGrayScale_OLD(image);
    if (!gray || image.format() == PixelFormat::grayAlpha8) {
        return gray;
    }
    const ByteView full = gray->data();
    Bytes levels(full.size());
    std::transform(full.begin(), full.end(), levels.begin(), nearestLevel);
    return Image(image.width(), image.height(), PixelFormat::gray8, std::move(levels));
}

std::optional<Bytes> convertToLvglImg(const Image& image, int bpp, bool padRow) {
    if (bpp != 1 && bpp != 2 && bpp != 4 && bpp != 8) {
        return std::nullopt;
    }
    const auto bits = static_cast<std::size_t>(bpp);
    const std::size_t bytesPerRow = (static_cast<std::size_t>(image.width()) * bits + 7) / 8;
    BitPacker packer(bpp, bytesPerRow * static_cast<std::size_t>(image.height()));
    const std::size_t step = image.bytesPerPixel();
    for (int y = 0; y < image.height(); ++y) {
        const ByteView row = image.row(y);
        for (std::size_t at = sampleOffset(image); at < row.size(); at += step) {
            packer.append(row[at]);
        }
        if (padRow) {
            packer.endByte();
        }
    }
    packer.endByte();
    return packer.take();
}

std::optional<Bytes> packArray(const Image& image, int bpp) {
    return convertToLvglImg(image, bpp, false);
}

std::optional<Bytes> toTNImage(const Image& image, int bpp) {
    if (bpp != 1 && bpp != 2) {
        return std::nullopt;
    }
    const std::optional<Image> gray = convertToGrayScale(image);
    const std::optional<Bytes> packed = gray ? convertToLvglImg(*gray, bpp, true) : std::nullopt;
    if (!packed) {
        return std::nullopt;
    }
    const int width = image.width();
    const int height = image.height();
    precondition(width < 2048, "a device image is less than 2048 pixels wide");
    const ByteView colors = palette(bpp);
    Bytes result = {static_cast<std::uint8_t>(bpp == 1 ? 7 : 8), static_cast<std::uint8_t>(width * 4),
                    static_cast<std::uint8_t>(height % 8 * 32 + width / 64), static_cast<std::uint8_t>(height / 8)};
    result.reserve(result.size() + colors.size() + packed->size());
    result.insert(result.end(), colors.begin(), colors.end());
    result.insert(result.end(), packed->begin(), packed->end());
    return result;
}

std::optional<Rect> differenceRect(const Image& a, const Image& b) {
    if (a.width() != b.width() || a.height() != b.height() || a.bitsPerPixel() != b.bitsPerPixel() ||
        a.bytesPerRow() != b.bytesPerRow() || a.isEmpty() || b.isEmpty()) {
        return std::nullopt;
    }
    const std::size_t step = a.bytesPerPixel();
    const std::size_t first = step == 4 ? 0 : sampleOffset(a);
    const std::size_t count = step == 4 ? 3 : 1;
    const auto pixelDiffers = [&](int x, int y) {
        const std::size_t at = static_cast<std::size_t>(x) * step + first;
        const ByteView left = a.row(y).subspan(at, count);
        return !std::equal(left.begin(), left.end(), b.row(y).subspan(at, count).begin());
    };
    const auto rows = differingLines(a.height(), [&](int y) {
        for (int x = 0; x < a.width(); ++x) {
            if (pixelDiffers(x, y)) {
                return true;
            }
        }
        return false;
    });
    if (!rows) {
        return std::nullopt;
    }
    const auto [top, bottom] = *rows;
    const auto columns = differingLines(a.width(), [&, top = top, bottom = bottom](int x) {
        for (int y = top; y <= bottom; ++y) {
            if (pixelDiffers(x, y)) {
                return true;
            }
        }
        return false;
    });
    const auto [left, right] = *columns;
    return Rect{left, top, right - left + 1, bottom - top + 1};
}

} // namespace tarnel
