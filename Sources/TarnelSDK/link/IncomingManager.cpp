#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/link/IncomingManager.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

namespace tarnel {

void IncomingManager::append(int id, ByteView data) {
    precondition(id >= 0 && id <= 127, "an incoming message has an id in 0...127");
    auto& message = dataArray_.try_emplace(id, Bytes()).first->second;
    if (!message) {
        return;
    }
    if (data.size() > MAX_MESSAGE_SIZE - message->size()) {
        message.reset();
        log("Message too long, dropped", {"append(id:data:)"});
        return;
    }
    message->insert(message->end(), data.begin(), data.end());
}

std::optional<Bytes> IncomingManager::finish(int id) {
    auto node = dataArray_.extract(id);
    return node ? std::move(node.mapped()) : std::nullopt;
}

void IncomingManager::clear() {
    dataArray_.clear();
}

} // namespace tarnel
