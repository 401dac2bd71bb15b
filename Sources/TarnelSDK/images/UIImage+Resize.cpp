#include <TarnelSDK/images/UIImage+Extension.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <utility>
#include <vector>

namespace tarnel {

namespace {

/// What one target pixel takes along one axis: the weights, whose sum is 1, of source pixels from `first` on.
struct Taps {
    std::size_t first = 0;
    std::vector<float> weights;
};

/// Cubic convolution with a = -1/2. Keys, "Cubic Convolution Interpolation for Digital Image Processing", 1981.
double cubic(double distance) {
    const double x = std::abs(distance);
    if (x < 1) {
        return (1.5 * x - 2.5) * x * x + 1;
    }
    return x < 2 ? ((-0.5 * x + 2.5) * x - 4) * x + 2 : 0;
}

/// The share of each source pixel that the target pixel covers.
Taps areaTaps(int at, int from, int to) {
    const double scale = static_cast<double>(from) / to;
    const double start = at * scale;
    const double end = std::min<double>((at + 1) * scale, from);
    const int first = static_cast<int>(start);
    const int last = std::min(static_cast<int>(std::ceil(end)), from);
    Taps taps{static_cast<std::size_t>(first), {}};
    for (int pixel = first; pixel < last; ++pixel) {
        const double covered = std::min<double>(pixel + 1, end) - std::max<double>(pixel, start);
        taps.weights.push_back(static_cast<float>(covered / (end - start)));
    }
    return taps;
}

/// The four source pixels around the target pixel's centre; those beyond an edge count as the edge's pixel.
Taps cubicTaps(int at, int from, int to) {
    const double center = (at + 0.5) * from / to - 0.5;
    const int base = static_cast<int>(std::floor(center));
    const int first = std::clamp(base - 1, 0, from - 1);
    const int last = std::clamp(base + 2, 0, from - 1);
    Taps taps{static_cast<std::size_t>(first), std::vector<float>(static_cast<std::size_t>(last - first) + 1)};
    for (int pixel = base - 1; pixel <= base + 2; ++pixel) {
        const auto index = static_cast<std::size_t>(std::clamp(pixel, first, last) - first);
        taps.weights[index] += static_cast<float>(cubic(center - pixel));
    }
    return taps;
}

std::vector<Taps> tapsOfAxis(int from, int to) {
    std::vector<Taps> axis;
    axis.reserve(static_cast<std::size_t>(to));
    for (int at = 0; at < to; ++at) {
        axis.push_back(to < from ? areaTaps(at, from, to) : cubicTaps(at, from, to));
    }
    return axis;
}

/// One row as numbers from 0 to 255, colours multiplied by their alpha.
void loadRow(const Image& image, int y, std::vector<float>& out) {
    const ByteView row = image.row(y);
    std::copy(row.begin(), row.end(), out.begin());
    if (image.format() == PixelFormat::rgba8) {
        for (std::size_t at = 0; at < out.size(); at += 4) {
            const float alpha = out[at + 3] / 255;
            for (std::size_t channel = 0; channel < 3; ++channel) {
                out[at + channel] *= alpha;
            }
        }
    }
}

/// Turns a row made by weighting `loadRow`'s back into bytes. Interpolation may overshoot, so values are clamped,
/// colours to their alpha.
void storeRow(const std::vector<float>& row, PixelFormat format, Bytes& out) {
    const auto byte = [](float value) {
        return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0F, 255.0F)));
    };
    switch (format) {
    case PixelFormat::gray8:
        std::transform(row.begin(), row.end(), std::back_inserter(out), byte);
        break;
    case PixelFormat::grayAlpha8:
        for (std::size_t at = 0; at < row.size(); at += 2) {
            out.push_back(byte(std::min(row[at], row[at + 1])));
            out.push_back(byte(row[at + 1]));
        }
        break;
    case PixelFormat::rgba8:
        for (std::size_t at = 0; at < row.size(); at += 4) {
            const float alpha = row[at + 3] / 255;
            for (std::size_t channel = 0; channel < 3; ++channel) {
                out.push_back(alpha > 0 ? byte(row[at + channel] / alpha) : std::uint8_t{0});
            }
            out.push_back(byte(row[at + 3]));
        }
        break;
    }
}

/// The row narrowed or widened: `channels` numbers a pixel.
void scaleRow(const std::vector<float>& row, const std::vector<Taps>& columns, std::size_t channels, float* out) {
    for (const Taps& taps : columns) {
        for (std::size_t channel = 0; channel < channels; ++channel) {
            float sum = 0;
            for (std::size_t tap = 0; tap < taps.weights.size(); ++tap) {
                sum += taps.weights[tap] * row[(taps.first + tap) * channels + channel];
            }
            *out++ = sum;
        }
    }
}

Image scaledTo(const Image& image, Size size) {
    const std::size_t channels = image.bytesPerPixel();
    const std::vector<Taps> columns = tapsOfAxis(image.width(), size.width);
    const std::vector<Taps> rows = tapsOfAxis(image.height(), size.height);
    const std::size_t length = static_cast<std::size_t>(size.width) * channels;

    // Target rows take runs of source rows in order. Each source row is scaled once and kept while a later target row
    // may still need it: the last one when averaging, the last four when interpolating.
    constexpr std::size_t kept = 4;
    std::vector<float> ring(kept * length);
    std::vector<float> source(static_cast<std::size_t>(image.width()) * channels);
    std::vector<float> target(length);
    Bytes pixels;
    pixels.reserve(length * static_cast<std::size_t>(size.height));
    std::size_t scaledRows = 0;
    for (const Taps& taps : rows) {
        std::fill(target.begin(), target.end(), 0.0F);
        for (std::size_t tap = 0; tap < taps.weights.size(); ++tap) {
            const std::size_t y = taps.first + tap;
            float* const row = &ring[y % kept * length];
            if (y == scaledRows) {
                loadRow(image, static_cast<int>(y), source);
                scaleRow(source, columns, channels, row);
                ++scaledRows;
            }
            for (std::size_t at = 0; at < length; ++at) {
                target[at] += taps.weights[tap] * row[at];
            }
        }
        storeRow(target, image.format(), pixels);
    }
    return Image(size.width, size.height, image.format(), std::move(pixels));
}

int proportional(int side, int to, int from) {
    constexpr std::int64_t longest = 32'768;
    return static_cast<int>(std::clamp<std::int64_t>((std::int64_t{side} * to + from / 2) / from, 1, longest));
}

/// The largest size with the image's proportions within `size`.
Size fitted(const Image& image, Size size) {
    const bool widthLimits = std::int64_t{size.width} * image.height() <= std::int64_t{size.height} * image.width();
    return widthLimits ? Size{size.width, proportional(image.height(), size.width, image.width())}
                       : Size{proportional(image.width(), size.height, image.height()), size.height};
}

} // namespace

Image resize(const Image& image, Size size, bool maintainAspect) {
    if (image.isEmpty() || size.isEmpty()) {
        return {};
    }
    const Size target = maintainAspect ? fitted(image, size) : size;
    return target == Size{image.width(), image.height()} ? image : scaledTo(image, target);
}

Image resizeMaintainAspectWithWidth(const Image& image, int width) {
    if (image.isEmpty() || width <= 0) {
        return {};
    }
    return resize(image, {width, proportional(image.height(), width, image.width())}, false);
}

Image resizeMaintainAspectWithHeight(const Image& image, int height) {
    if (image.isEmpty() || height <= 0) {
        return {};
    }
    return resize(image, {proportional(image.width(), height, image.height()), height}, false);
}

} // namespace tarnel
