#include <TarnelSDK/link/ChunkHeader.hpp>
#include <TarnelSDK/link/IncomingManager.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>

namespace {

using tarnel::Bytes;
using tarnel::ByteView;
using tarnel::ChunkHeader;
using tarnel::IncomingManager;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// What must come of the chunks of one id: their bytes, or nothing once they are too many.
struct Expected {
    bool begun = false;
    bool tooLong = false;
    Bytes bytes;

    void append(ByteView payload) {
        begun = true;
        bytes.insert(bytes.end(), payload.begin(), payload.end());
        tooLong = tooLong || bytes.size() > IncomingManager::MAX_MESSAGE_SIZE;
        if (tooLong) {
            bytes = Bytes();
        }
    }
    std::optional<Bytes> finish() const { return begun && !tooLong ? std::optional(bytes) : std::nullopt; }
};

/// Takes the value's length off the input: 15 bits, little-endian, and whether the payload is repeated to make it 64
/// times as long, so that short inputs reach the longest message.
Bytes takeValue(ByteView& input) {
    if (input.size() < 2) {
        input = {};
        return {};
    }
    const unsigned word = input[0] + 256U * input[1];
    input = input.subspan(2);
    const ByteView value = input.first(std::min<std::size_t>(word & 0x7FFF, input.size()));
    input = input.subspan(value.size());
    Bytes bytes(value.begin(), value.end());
    if ((word & 0x8000) != 0 && bytes.size() > 1) {
        for (int times = 1; times < 64; ++times) {
            bytes.insert(bytes.end(), value.begin() + 1, value.end());
        }
    }
    return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    IncomingManager manager;
    std::array<Expected, 128> expected;
    ByteView input(data, size);
    while (!input.empty()) {
        const Bytes value = takeValue(input);
        if (value.empty()) {
            continue;
        }
        const ChunkHeader header(value.front());
        const ByteView payload = ByteView(value).subspan(ChunkHeader::LENGTH);
        auto& message = expected.at(static_cast<std::size_t>(header.id()));
        manager.append(header.id(), payload);
        message.append(payload);
        if (!header.hasMoreData()) {
            require(manager.finish(header.id()) == message.finish());
            message = {};
        }
    }
    for (int id = 0; id < 128; ++id) {
        require(manager.finish(id) == expected.at(static_cast<std::size_t>(id)).finish());
    }
    return 0;
}
