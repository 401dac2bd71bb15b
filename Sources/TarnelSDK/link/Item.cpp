#include <TarnelSDK/link/ChunkHeader.hpp>
#include <TarnelSDK/link/Item.hpp>
#include <TarnelSDK/link/OutgoingManager.hpp>

#include <algorithm>
#include <utility>

namespace tarnel {

Item::Item(int id, std::optional<Bytes> data, ItemType type) : id_(id), data_(std::move(data)), type_(type) {}

std::size_t Item::position() const {
    const std::lock_guard lock(mutex_);
    return position_;
}

std::size_t Item::pendingByteCount() const {
    return data_ ? data_->size() - position() : 0;
}

bool Item::hasMoreChunks() const {
    return pendingByteCount() > 0;
}

std::optional<Bytes> Item::getNextChunk() {
    if (!data_) {
        return std::nullopt;
    }
    const auto writeLength = static_cast<std::size_t>(OutgoingManager::maximumWriteValueLength());
    const std::size_t room = writeLength - (shouldChunk(type_) ? ChunkHeader::LENGTH : 0);

    const std::lock_guard lock(mutex_);
    const ByteView rest = ByteView(*data_).subspan(position_);
    const ByteView chunk = rest.first(std::min(rest.size(), room));
    position_ += chunk.size();
    return Bytes(chunk.begin(), chunk.end());
}

} // namespace tarnel
