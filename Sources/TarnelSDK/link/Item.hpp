#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <cstddef>
#include <mutex>
#include <optional>

namespace tarnel {

/// How an outgoing message is queued and framed.
enum class ItemType {
    data,        ///< ordinary message
    noHeader,    ///< ordinary message whose chunks go out without a header
    replaceable, ///< dropped while an older one still waits
    control,     ///< ordinary message
    longwrite,   ///< waits until nothing else is queued
};

/// Whether the chunks of such a message carry a `ChunkHeader`.
constexpr bool shouldChunk(ItemType type) {
    return type != ItemType::noHeader;
}

/// An active outgoing message, which is sent chunk by chunk. Two items are the same only when they are one object.
///
/// Shared by the queue that it is active in and whoever sends it. May be used on any thread.
class Item {
public:
    /// `id` is the transfer slot that carries the message.
    Item(int id, std::optional<Bytes> data, ItemType type);
    Item(const Item&) = delete;
    Item& operator=(const Item&) = delete;

    int id() const { return id_; }
    ItemType type() const { return type_; }
    /// The whole message.
    const std::optional<Bytes>& data() const { return data_; }

    /// How many bytes have been cut into chunks.
    std::size_t position() const;

    /// How many bytes have not.
    std::size_t pendingByteCount() const;

    bool hasMoreChunks() const;

    /// Cuts the next chunk, without header: as much as fits in one write now
    /// (`OutgoingManager::maximumWriteValueLength`), nothing of it when the message is exhausted. Empty for an item
    /// without data.
    std::optional<Bytes> getNextChunk();

private:
    const int id_;
    const std::optional<Bytes> data_;
    const ItemType type_;
    mutable std::mutex mutex_;
    std::size_t position_ = 0;
};

} // namespace tarnel
