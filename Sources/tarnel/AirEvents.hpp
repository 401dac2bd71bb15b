#pragma once

#include "JSON.hpp"
#include "ObservedBluetooth.hpp"

#include <TarnelSDK/link/IncomingManager.hpp>

#include <functional>
#include <mutex>

namespace tarnel::command {

/// What passes below the SDK, as JSON objects with "event": the radio's state, connections with the reasons for which
/// they fail and end, and every message of the glasses, also those that the SDK does not know. Any thread.
class AirEvents final : public BluetoothObserver {
public:
    using Emit = std::function<void(JSON::Object event)>;

    /// `emit` is called on any thread.
    explicit AirEvents(Emit emit) : emit_(std::move(emit)) {}

    void stateChanged(platform::CentralState state) override;
    void connecting(const UUID& peripheral) override;
    void connected(const UUID& peripheral) override;
    void connectionFailed(const UUID& peripheral, const Error& error) override;
    void attemptFailed(const UUID& peripheral, const platform::BluetoothError& error) override;
    void disconnected(const UUID& peripheral, const Error& error) override;
    void received(const UUID& characteristic, ByteView value) override;

private:
    const Emit emit_;
    std::mutex mutex_; ///< of what follows
    IncomingManager incoming_;
};

} // namespace tarnel::command
