#include <TarnelGlasses/Chunks.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::glasses {

namespace {

constexpr std::uint8_t moreFollows = 0x80;
constexpr std::uint8_t idBits = 0x7f;

} // namespace

std::optional<ChunkJoiner::Message> ChunkJoiner::add(ByteView chunk) {
    if (chunk.empty()) {
        return std::nullopt;
    }
    auto& message = pending_[chunk[0] & idBits];
    const auto payload = chunk.subspan(1);
    const auto taken = std::min(payload.size(), maximum_ - message.bytes.size());
    message.bytes.insert(message.bytes.end(), payload.begin(), payload.begin() + static_cast<std::ptrdiff_t>(taken));
    message.isTooLong = message.isTooLong || taken < payload.size();
    if ((chunk[0] & moreFollows) != 0) {
        return std::nullopt;
    }
    return std::exchange(message, {});
}

void ChunkJoiner::clear() {
    pending_.fill({});
}

std::vector<Bytes> ChunkCutter::cut(const std::vector<Bytes>& messages, std::size_t maximumLength) {
    precondition(maximumLength > 1, "a chunk has room for payload");
    struct Cut {
        ByteView rest;
        std::uint8_t id;
        bool isDone = false;
    };
    std::vector<Cut> cuts;
    for (const auto& message : messages) {
        cuts.push_back({message, nextId_});
        nextId_ = (nextId_ + 1) & idBits;
    }

    std::vector<Bytes> chunks;
    for (bool isAnyLeft = true; isAnyLeft;) {
        isAnyLeft = false;
        for (auto& cut : cuts) {
            if (cut.isDone) {
                continue;
            }
            const auto payload = cut.rest.first(std::min(cut.rest.size(), maximumLength - 1));
            cut.rest = cut.rest.subspan(payload.size());
            cut.isDone = cut.rest.empty();
            isAnyLeft = isAnyLeft || !cut.isDone;
            Bytes chunk{static_cast<std::uint8_t>(cut.id | (cut.isDone ? 0 : moreFollows))};
            chunk.insert(chunk.end(), payload.begin(), payload.end());
            chunks.push_back(std::move(chunk));
        }
    }
    return chunks;
}

} // namespace tarnel::glasses
