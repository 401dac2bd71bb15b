#pragma once

#include <TarnelSDK/messagepack/MessagePackValue.hpp>
#include <TarnelSDK/messagepack/Unpack.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <map>
#include <vector>

namespace tarnel::test {

/// Joins framed chunks into the messages that they carry, in the order in which these were completed.
inline std::vector<MessagePackValue> joinedMessages(const std::vector<Bytes>& chunks) {
    std::map<int, Bytes> partial;
    std::vector<MessagePackValue> messages;
    for (const auto& chunk : chunks) {
        auto& message = partial[chunk.at(0) & 0x7F];
        message.insert(message.end(), chunk.begin() + 1, chunk.end());
        if ((chunk[0] & 0x80) == 0) {
            messages.push_back(unpackFirst(message));
            message.clear();
        }
    }
    return messages;
}

/// The messages whose only key is `key`.
inline std::vector<MessagePackValue> valuesOf(const std::vector<MessagePackValue>& messages, const char* key) {
    std::vector<MessagePackValue> values;
    for (const auto& message : messages) {
        if (const auto* value = message[key]) {
            values.push_back(*value);
        }
    }
    return values;
}

} // namespace tarnel::test
