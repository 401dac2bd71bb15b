#pragma once

#include "ObservedBluetooth.hpp"
#include "Surroundings.hpp"
#include "TraceWriter.hpp"

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::command {

/// A device that was heard.
struct Heard {
    platform::PeripheralPointer peripheral; ///< of the platform, not of the SDK's central
    platform::AdvertisementData advertisement;
    int rssi = 0; ///< dBm
};

/// How a connection stands.
struct Attempt {
    std::optional<platform::Duration> since = std::nullopt; ///< when it was first asked for; empty when it is not
    std::optional<std::string> lastFailure = std::nullopt;  ///< why it failed or ended
    std::optional<platform::Duration> lastFailureAt = std::nullopt;
};

/// Keeps what passed between the SDK and Bluetooth. Any thread.
class AirRecord final : public BluetoothObserver {
public:
    using Clock = std::chrono::steady_clock;

    /// Throws `Failure` when the trace cannot be written. `changed` is called after everything that is noted.
    AirRecord(const std::optional<std::string>& trace, std::function<void()> changed);

    /// Who else is to be told of all. Called before the record is shared.
    void setFollower(std::shared_ptr<BluetoothObserver> follower) { follower_ = std::move(follower); }

    platform::Duration now() const { return Clock::now() - start_; }
    Traffic traffic() const;
    Attempt attempt() const;
    platform::CentralState state() const;
    std::vector<Heard> heard() const;
    /// Throws `Failure` when the trace could not be written.
    void requireTrace() const;

    void stateChanged(platform::CentralState state) override;
    void discovered(const platform::PeripheralPointer& peripheral, const platform::AdvertisementData& advertisement,
                    int rssi) override;
    void connecting(const UUID& peripheral) override;
    void connected(const UUID& peripheral) override;
    void connectionFailed(const UUID& peripheral, const Error& error) override;
    void attemptFailed(const UUID& peripheral, const platform::BluetoothError& error) override;
    void disconnected(const UUID& peripheral, const Error& error) override;
    void written(const UUID& characteristic, ByteView value, platform::WriteType type) override;
    void received(const UUID& characteristic, ByteView value) override;

private:
    void note(const std::function<void()>& change, const std::function<void(BluetoothObserver&)>& tell);
    void trace(glasses::GattTraceEvent::Kind kind, const UUID& characteristic, ByteView value);
    void failed(const Error& error);

    const Clock::time_point start_ = Clock::now();
    const std::function<void()> changed_;
    std::shared_ptr<BluetoothObserver> follower_;

    mutable std::mutex mutex_; ///< of all below
    Traffic traffic_;
    Attempt attempt_;
    platform::CentralState state_ = platform::CentralState::unknown;
    std::vector<Heard> heard_;
    std::optional<TraceWriter> trace_;
    std::exception_ptr traceFailure_;
};

} // namespace tarnel::command
