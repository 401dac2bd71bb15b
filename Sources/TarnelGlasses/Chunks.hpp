#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <array>
#include <cstddef>
#include <optional>
#include <vector>

namespace tarnel::glasses {

/// Joins the chunks of messages. A chunk is a header byte (message id in bits 0 to 6; bit 7: more follows) and payload.
class ChunkJoiner {
public:
    explicit ChunkJoiner(std::size_t maximumMessageSize) : maximum_(maximumMessageSize) {}

    struct Message {
        Bytes bytes; ///< cut off behind the maximum
        bool isTooLong = false;
    };

    /// Takes one chunk, and gives the message that it completes. An empty chunk is no chunk.
    std::optional<Message> add(ByteView chunk);

    /// Forgets the messages that are not complete.
    void clear();

private:
    std::size_t maximum_;
    std::array<Message, 128> pending_;
};

/// Cuts messages into chunks, each message with an id of its own.
class ChunkCutter {
public:
    /// Chunks of at most `maximumLength` bytes, the chunks of the messages taking turns. REQUIRES: maximumLength > 1.
    std::vector<Bytes> cut(const std::vector<Bytes>& messages, std::size_t maximumLength);

private:
    std::uint8_t nextId_ = 0;
};

} // namespace tarnel::glasses
