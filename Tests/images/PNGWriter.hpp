#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <zlib.h>

#include <array>
#include <cstddef>
#include <initializer_list>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

namespace tarnel::test {

inline Bytes pixel(std::initializer_list<int> samples) {
    Bytes bytes;
    for (const int sample : samples) {
        bytes.push_back(static_cast<std::uint8_t>(sample));
    }
    return bytes;
}

inline void appendBigEndian(Bytes& out, unsigned long value, int byteCount) {
    for (int i = byteCount - 1; i >= 0; --i) {
        out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
}

inline Bytes pngChunk(std::string_view type, const Bytes& content) {
    Bytes checked(type.begin(), type.end());
    checked.insert(checked.end(), content.begin(), content.end());
    Bytes chunk;
    appendBigEndian(chunk, content.size(), 4);
    chunk.insert(chunk.end(), checked.begin(), checked.end());
    appendBigEndian(chunk, crc32(0, checked.data(), static_cast<uInt>(checked.size())), 4);
    return chunk;
}

/// A TIFF block with nothing but an orientation.
inline Bytes tiffWithOrientation(int orientation, bool isBigEndian) {
    const auto value = static_cast<std::uint8_t>(orientation);
    if (isBigEndian) {
        return {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 0x01, 0x12, 0, 3, 0, 0, 0, 1, 0, value, 0, 0, 0, 0, 0, 0};
    }
    return {'I', 'I', 42, 0, 8, 0, 0, 0, 1, 0, 0x12, 0x01, 3, 0, 1, 0, 0, 0, value, 0, 0, 0, 0, 0, 0, 0};
}

/// Writes PNG files of every kind, straight from the file format's definition (ISO/IEC 15948).
struct PNGWriter {
    static constexpr int gray = 0;
    static constexpr int rgb = 2;
    static constexpr int palette = 3;
    static constexpr int grayAlpha = 4;
    static constexpr int rgba = 6;

    int width = 1;
    int height = 1;
    int depth = 8;
    int colorType = gray;
    bool isInterlaced = false;
    Bytes palette_ = {};
    Bytes transparency = {};
    /// A whole chunk, put before the pixels.
    Bytes extraChunk = {};

    /// `samples(x, y)` gives the samples of a pixel at the file's depth.
    template <typename Samples>
    Bytes write(Samples samples) const {
        Bytes file = writeHeaderOnly();
        file.insert(file.end(), extraChunk.begin(), extraChunk.end());
        append(file, "PLTE", palette_);
        append(file, "tRNS", transparency);
        append(file, "IDAT", deflated(scanlines(samples)));
        const Bytes end = pngChunk("IEND", {});
        file.insert(file.end(), end.begin(), end.end());
        return file;
    }

    Bytes writeHeaderOnly() const {
        Bytes header;
        appendBigEndian(header, static_cast<unsigned long>(width), 4);
        appendBigEndian(header, static_cast<unsigned long>(height), 4);
        for (const int field : {depth, colorType, 0, 0, isInterlaced ? 1 : 0}) {
            header.push_back(static_cast<std::uint8_t>(field));
        }
        Bytes file = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
        append(file, "IHDR", header);
        return file;
    }

private:
    static void append(Bytes& file, std::string_view type, const Bytes& content) {
        if (!content.empty()) {
            const Bytes chunk = pngChunk(type, content);
            file.insert(file.end(), chunk.begin(), chunk.end());
        }
    }

    static Bytes deflated(const Bytes& bytes) {
        uLongf length = compressBound(static_cast<uLong>(bytes.size()));
        Bytes out(length);
        if (compress(out.data(), &length, bytes.data(), static_cast<uLong>(bytes.size())) != Z_OK) {
            throw std::runtime_error("zlib");
        }
        out.resize(length);
        return out;
    }

    /// The pixels of the whole picture, or of the seven passes of Adam7, each row with filter 0.
    template <typename Samples>
    Bytes scanlines(Samples samples) const {
        struct Pass {
            int x, y, stepX, stepY;
        };
        static constexpr std::array<Pass, 7> adam7 = {
            {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4}, {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}}};
        Bytes out;
        for (const Pass& pass :
             isInterlaced ? std::vector<Pass>(adam7.begin(), adam7.end()) : std::vector<Pass>{{0, 0, 1, 1}}) {
            for (int y = pass.y; y < height && pass.x < width; y += pass.stepY) {
                out.push_back(0);
                unsigned int bits = 0;
                int bitCount = 0;
                for (int x = pass.x; x < width; x += pass.stepX) {
                    for (const unsigned int sample : samples(x, y)) {
                        if (depth >= 8) {
                            appendBigEndian(out, sample, depth / 8);
                            continue;
                        }
                        bits = bits << depth | sample;
                        bitCount += depth;
                        if (bitCount == 8) {
                            out.push_back(static_cast<std::uint8_t>(bits));
                            bits = 0;
                            bitCount = 0;
                        }
                    }
                }
                if (bitCount > 0) {
                    out.push_back(static_cast<std::uint8_t>(bits << (8 - bitCount)));
                }
            }
        }
        return out;
    }
};

} // namespace tarnel::test
