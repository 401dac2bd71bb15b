#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <cstddef>
#include <map>
#include <optional>

namespace tarnel {

/// Joins the payloads of received chunks into messages, apart by message id.
///
/// Owned by its device; called on the queue that delivers the peripheral's values, without a lock of its own.
class IncomingManager {
public:
    /// The longest message that is joined, in bytes, far more than the glasses send. What grows longer is dropped
    /// whole, so that a sender gone wrong takes up a bounded amount of memory.
    static constexpr std::size_t MAX_MESSAGE_SIZE = 1024 * 1024;

    /// Adds a payload, which may be empty, to the message `id`. REQUIRES: 0 <= id <= 127.
    void append(int id, ByteView data);

    /// Ends the message `id` and gives it; empty when nothing of it came or it was too long.
    std::optional<Bytes> finish(int id);

    /// Forgets all partial messages.
    void clear();

private:
    /// Partial messages by id; without bytes are those too long, until they end.
    std::map<int, std::optional<Bytes>> dataArray_;
};

} // namespace tarnel
