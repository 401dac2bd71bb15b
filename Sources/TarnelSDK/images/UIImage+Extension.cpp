#include <TarnelSDK/images/Luminance.hpp>
#include <TarnelSDK/images/UIImage+Extension.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <array>
#include <span>
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

/// Collects the top bits of samples, from the most significant bit of each byte on.
class BitPacker {
public:
    explicit BitPacker(std::size_t capacity) { bytes_.reserve(capacity); }

    /// The samples are the first of every `step` bytes.
    template <int bitsPerSample>
    void append(ByteView samples, std::size_t step) {
        constexpr int unused = 8 - bitsPerSample;
        std::size_t at = 0;
        if (used_ == 0) {
            constexpr std::size_t samplesPerByte = 8 / bitsPerSample;
            const std::size_t wholeBytes = (samples.size() + step - 1) / (samplesPerByte * step);
            bytes_.resize(bytes_.size() + wholeBytes);
            for (auto& byte : std::span(bytes_).last(wholeBytes)) {
                unsigned bits = 0;
                for (std::size_t i = 0; i < samplesPerByte; ++i, at += step) {
                    bits = bits << bitsPerSample | static_cast<unsigned>(samples[at]) >> unused;
                }
                byte = static_cast<std::uint8_t>(bits);
            }
        }
        for (; at < samples.size(); at += step) {
            current_ |= (samples[at] >> unused) << (unused - used_);
            used_ += bitsPerSample;
            if (used_ == 8) {
                endByte();
            }
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
    Bytes bytes_;
    int current_ = 0;
    int used_ = 0;
};

template <int bitsPerSample>
Bytes packed(const Image& image, bool padRow) {
    const std::size_t bytesPerRow = (static_cast<std::size_t>(image.width()) * bitsPerSample + 7) / 8;
    BitPacker packer(bytesPerRow * static_cast<std::size_t>(image.height()));
    for (int y = 0; y < image.height() && image.width() > 0; ++y) {
        packer.append<bitsPerSample>(image.row(y).subspan(sampleOffset(image)), image.bytesPerPixel());
        if (padRow) {
            packer.endByte();
        }
    }
    packer.endByte();
    return packer.take();
}

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
    switch (bpp) {
    case 1:
        return packed<1>(image, padRow);
    case 2:
        return packed<2>(image, padRow);
    case 4:
        return packed<4>(image, padRow);
    case 8:
        return packed<8>(image, padRow);
    default:
        return std::nullopt;
    }
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
