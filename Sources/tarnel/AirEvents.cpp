#include "AirEvents.hpp"

#include "BluetoothNames.hpp"
#include "MessageJSON.hpp"
#include "Text.hpp"

#include <TarnelSDK/device/GATTIdentifiers.hpp>
#include <TarnelSDK/link/ChunkHeader.hpp>
#include <TarnelSDK/messagepack/Unpack.hpp>

namespace tarnel::command {
namespace {

JSON::Object failure(const char* event, const std::optional<platform::BluetoothError>& error) {
    return {{"event", event}, {"reason", error ? JSON(error->description) : JSON()}};
}

} // namespace

void AirEvents::stateChanged(platform::CentralState state) {
    emit_({{"event", "bluetooth"}, {"value", nameOf(state, centralStates)}});
}

void AirEvents::connecting(const UUID&) {
    emit_({{"event", "connecting"}});
}

void AirEvents::connected(const UUID&) {
    emit_({{"event", "connected"}});
}

void AirEvents::connectionFailed(const UUID&, const Error& error) {
    emit_(failure("connectionFailed", error));
}

void AirEvents::attemptFailed(const UUID&, const platform::BluetoothError& error) {
    emit_(failure("attemptFailed", error));
}

void AirEvents::disconnected(const UUID&, const Error& error) {
    {
        const std::lock_guard lock(mutex_);
        incoming_.clear();
    }
    emit_(failure("disconnected", error));
}

void AirEvents::received(const UUID& characteristic, ByteView value) {
    if (characteristic != GATTIdentifiers::GATT_IN_CHARACTERISTIC_UUID || value.empty()) {
        return;
    }
    std::optional<Bytes> message;
    {
        const std::lock_guard lock(mutex_);
        const ChunkHeader header(value[0]);
        incoming_.append(header.id(), value.subspan(ChunkHeader::LENGTH));
        if (!header.hasMoreData()) {
            message = incoming_.finish(header.id());
        }
    }
    if (!message) {
        return;
    }
    try {
        emit_({{"event", "message"}, {"value", toJSON(unpackFirst(*message))}});
    } catch (const MessagePackError&) {
        emit_({{"event", "message"}, {"unreadable", hexadecimal(*message)}});
    }
}

} // namespace tarnel::command
