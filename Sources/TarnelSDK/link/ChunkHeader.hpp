#pragma once

#include <TarnelSDK/platform/Precondition.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace tarnel {

/// The byte before each chunk of a framed message: bits 0 to 6 carry the message's id, bit 7 says that more chunks of
/// the same message follow.
class ChunkHeader {
public:
    /// Size of a header on the air, in bytes.
    static constexpr std::size_t LENGTH = 1;

    /// Empty when `id` is greater than 127.
    static constexpr std::optional<ChunkHeader> make(int id, bool moreData) {
        if (id > 127) {
            return std::nullopt;
        }
        return ChunkHeader(id, moreData);
    }

    /// Takes a received byte apart; any byte is a header.
    explicit constexpr ChunkHeader(std::uint8_t byte) : id_(byte & 127), moreData_((byte & 128) != 0) {}

    constexpr int id() const { return id_; }
    constexpr bool hasMoreData() const { return moreData_; }

    /// REQUIRES: the id is not negative.
    std::array<std::uint8_t, LENGTH> data() const {
        const int byte = id_ + (moreData_ ? 128 : 0);
        precondition(byte >= 0 && byte <= 255, "a chunk header fits in a byte");
        return {static_cast<std::uint8_t>(byte)};
    }

private:
    constexpr ChunkHeader(int id, bool moreData) : id_(id), moreData_(moreData) {}

    int id_;
    bool moreData_;
};

} // namespace tarnel
