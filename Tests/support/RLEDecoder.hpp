#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <cstddef>
#include <optional>

namespace tarnel::test {

/// Takes run-length-encoded bytes apart, as a receiver that trusts nothing would: empty for a chunk that is cut short,
/// for a header without meaning, and for a count in a wider form than it needs.
inline std::optional<Bytes> decodeRLE(ByteView in) {
    Bytes out;
    std::size_t at = 0;
    const auto left = [&] { return in.size() - at; };
    while (at < in.size()) {
        const std::uint8_t header = in[at++];
        const bool isRun = header >= 0x80;
        std::size_t width = 0;
        if (header == 0x00 || header == 0x80) {
            width = 2;
        } else if (header == 0x7F || header == 0xFF) {
            width = 4;
        }
        std::size_t count = header % 0x80;
        if (width > 0) {
            if (left() < width) {
                return std::nullopt;
            }
            count = 0;
            for (std::size_t i = width; i-- > 0;) {
                count = count * 256 + in[at + i];
            }
            at += width;
        }
        const std::size_t least = width == 4 ? 65536 : width == 2 ? 127 : isRun ? 3 : 1;
        if (count < least || left() < (isRun ? 1 : count)) {
            return std::nullopt;
        }
        if (isRun) {
            out.insert(out.end(), count, in[at++]);
        } else {
            for (std::size_t i = 0; i < count; ++i) {
                out.push_back(in[at++]);
            }
        }
    }
    return out;
}

} // namespace tarnel::test
