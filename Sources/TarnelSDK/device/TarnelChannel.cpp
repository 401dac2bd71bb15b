#include <TarnelSDK/device/Tarnel.hpp>
#include <TarnelSDK/foundation/Data+Extensions.hpp>
#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/link/ChunkHeader.hpp>

#include <string>
#include <utility>

namespace tarnel {

void Tarnel::sendData(Bytes data, ItemType type) {
    if (logEnabled()) {
        log("writing msgPack: " + hexEncodedString(data), {"sendData(data:type:)", "Tarnel"});
    }
    // Taken before the question, so that a message never outlives the session that it was meant for.
    const auto outgoing = outgoingManager();
    if (!isAuthenticated()) {
        return;
    }
    outgoing->add(std::move(data), false, type);
    continueChannel();
}

void Tarnel::sendData(Bytes data) {
    sendData(std::move(data), ItemType::control);
}

void Tarnel::sendTextData(Bytes data) {
    sendData(std::move(data), ItemType::replaceable);
}

void Tarnel::continueChannel() {
    const std::lock_guard lock(channelMutex_);
    if (channelState_ != ChannelState::writing) {
        nextState();
    }
}

void Tarnel::resetChannel() {
    auto incoming = std::make_shared<IncomingManager>();
    auto outgoing = std::make_shared<OutgoingManager>(centralQueue_);
    channelState_ = ChannelState::idle;
    pendingRead_ = false;
    const std::lock_guard lock(mutex_);
    incomingManager_.swap(incoming);
    outgoingManager_.swap(outgoing);
    hasControl_ = false;
}

void Tarnel::nextState() {
    const std::lock_guard lock(channelMutex_);
    if (!isAuthenticated()) {
        channelState_ = ChannelState::idle;
        return;
    }
    const bool hasItems = outgoingManager()->hasItems();
    const bool readsFirst = channelState_ == ChannelState::writing;
    if (pendingRead_ && (readsFirst || !hasItems)) {
        read();
    } else if (hasItems) {
        scheduleWrite();
    } else {
        channelState_ = ChannelState::idle;
    }
}

void Tarnel::read() {
    channelState_ = ChannelState::reading;
    platform::PeripheralPointer peripheral;
    platform::CharacteristicPointer characteristic;
    {
        const std::lock_guard lock(mutex_);
        peripheral = peripheral_;
        characteristic = outCharacteristic_;
    }
    if (!peripheral || !characteristic) {
        log("ERROR missing out characteristic or peripheral", {"read()", "Tarnel"});
        return;
    }
    log("Reading from the device", {"read()", "Tarnel"});
    pendingRead_ = false;
    peripheral->readValue(characteristic);
}

void Tarnel::acknowledgeRead() {
    {
        const std::lock_guard lock(mutex_);
        if (!peripheral_ || !outCharacteristic_) {
            return;
        }
    }
    log("sending Read ack", {"peripheral(_:didUpdateValueFor:error:)", "Peripheral"});
    const std::lock_guard lock(channelMutex_);
    pendingRead_ = false;
}

void Tarnel::scheduleWrite() {
    if (isWriteScheduled_) {
        return;
    }
    isWriteScheduled_ = true;
    writingQueue_->async([weak = weak_from_this()] {
        if (const auto device = weak.lock()) {
            device->write();
        }
    });
}

void Tarnel::write() {
    Step step;
    {
        // One step with `mayWrite`: otherwise a second write would be scheduled in between.
        const std::lock_guard channelLock(channelMutex_);
        isWriteScheduled_ = false;
        {
            const std::lock_guard lock(mutex_);
            step = {peripheral_, outCharacteristic_, outgoingManager_, protocolVersion_};
        }
        if (!mayWrite(step)) {
            return;
        }
    }
    if (auto chunk = nextChunk(step)) {
        writeLater(step, std::move(*chunk));
    }
}

bool Tarnel::mayWrite(const Step& step) {
    if (!step.peripheral || !step.characteristic || step.peripheral->state() != platform::PeripheralState::connected) {
        return false;
    }
    if (step.protocolVersion >= 2 && !step.peripheral->canSendWriteWithoutResponse()) {
        channelState_ = ChannelState::idle;
        log("peripheral write buffer full", {"write()", "Tarnel"});
        return false;
    }
    channelState_ = ChannelState::writing;
    return true;
}

void Tarnel::writeLater(const Step& step, Bytes chunk) {
    centralQueue_->async([weak = weak_from_this(), step, chunk = std::move(chunk)] {
        if (const auto device = weak.lock()) {
            device->writeChunks(step, chunk);
        }
    });
}

std::optional<Bytes> Tarnel::nextChunk(const Step& step) {
    if (const auto item = step.outgoing->next()) {
        return prepareChunk(*step.outgoing, item);
    }
    log("nothing in the QUEUE!!!", {"write()", "Tarnel"});
    const std::lock_guard lock(channelMutex_);
    if (isCurrent(step)) {
        nextState();
    }
    return std::nullopt;
}

std::optional<Bytes> Tarnel::followingChunk(const Step& step) {
    {
        const std::lock_guard lock(channelMutex_);
        if (!isCurrent(step)) {
            return std::nullopt;
        }
        if (pendingRead_ || !isAuthenticated() || !step.outgoing->hasItems()) {
            nextState();
            return std::nullopt;
        }
        if (!mayWrite(step)) {
            return std::nullopt;
        }
    }
    return nextChunk(step);
}

void Tarnel::writeChunks(const Step& step, std::optional<Bytes> chunk) {
    // The queue's other blocks wait no longer than for this many.
    constexpr int chunksInARow = 32;
    for (int written = 0; chunk && isCurrent(step); ++written) {
        if (written == chunksInARow) {
            return writeLater(step, std::move(*chunk));
        }
        if (logEnabled()) {
            log("to the device: " + std::to_string(chunk->size()) +
                    " bytes, with protocol: " + std::to_string(step.protocolVersion),
                {"write()", "Tarnel"});
        }
        if (step.protocolVersion < 2) {
            return step.peripheral->writeValue(*chunk, step.characteristic, platform::WriteType::withResponse);
        }
        // The next step follows the write itself, so that it sees what the write left of the platform's buffer.
        step.peripheral->writeValue(*chunk, step.characteristic, platform::WriteType::withoutResponse);
        chunk = followingChunk(step);
    }
}

std::optional<Bytes> Tarnel::prepareChunk(OutgoingManager& outgoing, const std::shared_ptr<Item>& item) {
    const auto payload = item->getNextChunk();
    if (!payload) {
        return std::nullopt;
    }
    const bool hasMore = item->hasMoreChunks();
    const auto header = ChunkHeader::make(item->id(), hasMore);
    if (!header || item->id() < 0) {
        return std::nullopt;
    }
    Bytes chunk;
    chunk.reserve(ChunkHeader::LENGTH + payload->size());
    if (shouldChunk(item->type())) {
        chunk.push_back(header->data()[0]);
    }
    chunk.insert(chunk.end(), payload->begin(), payload->end());
    if (!hasMore) {
        if (const auto current = outgoing.getCurrentItem()) {
            outgoing.remove(current);
        }
    }
    return chunk;
}

void Tarnel::recieveChunk(ByteView data) {
    constexpr const char* operation = "recieveChunk(data:)";
    if (data.empty()) {
        return;
    }
    const ChunkHeader header(data[0]);
    const ByteView payload = data.subspan(ChunkHeader::LENGTH);
    if (logEnabled()) {
        log("Recieved Chunk: " + hexEncodedString(data), {operation, "Tarnel"});
        log("> MessageID: " + std::to_string(header.id()), {operation, "Tarnel"});
        log(std::string("> HasMore: ") + (header.hasMoreData() ? "true" : "false"), {operation, "Tarnel"});
        log("> MessageSize: " + std::to_string(payload.size()), {operation, "Tarnel"});
    }
    std::shared_ptr<IncomingManager> incoming;
    {
        const std::lock_guard lock(mutex_);
        incoming = incomingManager_;
    }
    incoming->append(header.id(), payload);
    if (header.hasMoreData()) {
        return;
    }
    if (const auto message = incoming->finish(header.id())) {
        recieve(*message);
    }
}

} // namespace tarnel
