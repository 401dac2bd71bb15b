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
    platform::PeripheralPointer peripheral;
    platform::CharacteristicPointer characteristic;
    std::shared_ptr<OutgoingManager> outgoing;
    {
        const std::lock_guard channelLock(channelMutex_);
        isWriteScheduled_ = false;
        std::unique_lock lock(mutex_);
        peripheral = peripheral_;
        characteristic = outCharacteristic_;
        outgoing = outgoingManager_;
        const bool waitsForRoom = protocolVersion_ >= 2;
        lock.unlock();
        if (!peripheral || !characteristic || peripheral->state() != platform::PeripheralState::connected) {
            return;
        }
        if (waitsForRoom && !peripheral->canSendWriteWithoutResponse()) {
            channelState_ = ChannelState::idle;
            log("peripheral write buffer full", {"write()", "Tarnel"});
            return;
        }
        channelState_ = ChannelState::writing;
    }
    const auto item = outgoing->next();
    if (!item) {
        log("nothing in the QUEUE!!!", {"write()", "Tarnel"});
        nextState();
        return;
    }
    if (auto chunk = prepareChunk(*outgoing, item)) {
        writeChunk(peripheral, characteristic, outgoing, std::move(*chunk));
    }
}

void Tarnel::writeChunk(const platform::PeripheralPointer& peripheral,
                        const platform::CharacteristicPointer& characteristic,
                        const std::shared_ptr<OutgoingManager>& outgoing, Bytes chunk) {
    centralQueue_->async([weak = weak_from_this(), peripheral, characteristic, outgoing, chunk = std::move(chunk)] {
        const auto device = weak.lock();
        // A queue that has been replaced belongs to a session that is over; its chunks must not reach the next one.
        if (!device || device->outgoingManager() != outgoing) {
            return;
        }
        const int version = device->protocolVersion();
        log("to the device: " + std::to_string(chunk.size()) + " bytes, with protocol: " + std::to_string(version),
            {"write()", "Tarnel"});
        if (version < 2) {
            peripheral->writeValue(chunk, characteristic, platform::WriteType::withResponse);
            return;
        }
        // The next step follows the write itself, so that it sees what the write left of the platform's buffer.
        peripheral->writeValue(chunk, characteristic, platform::WriteType::withoutResponse);
        device->nextState();
    });
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
