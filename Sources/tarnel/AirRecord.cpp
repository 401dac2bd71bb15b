#include "AirRecord.hpp"

#include "Failure.hpp"

#include <algorithm>
#include <utility>

namespace tarnel::command {
namespace {

/// Devices that are kept; more are not around one machine.
constexpr std::size_t mostHeard = 1000;

using Kind = glasses::GattTraceEvent::Kind;

} // namespace

AirRecord::AirRecord(const std::optional<std::string>& trace, std::function<void()> changed)
    : changed_(std::move(changed)) {
    if (trace) {
        trace_.emplace(*trace);
    }
}

Traffic AirRecord::traffic() const {
    const std::lock_guard lock(mutex_);
    return traffic_;
}

Attempt AirRecord::attempt() const {
    const std::lock_guard lock(mutex_);
    return attempt_;
}

platform::CentralState AirRecord::state() const {
    const std::lock_guard lock(mutex_);
    return state_;
}

std::vector<Heard> AirRecord::heard() const {
    const std::lock_guard lock(mutex_);
    return heard_;
}

void AirRecord::requireTrace() const {
    const std::lock_guard lock(mutex_);
    if (traceFailure_) {
        std::rethrow_exception(traceFailure_);
    }
}

void AirRecord::note(const std::function<void()>& change, const std::function<void(BluetoothObserver&)>& tell) {
    {
        const std::lock_guard lock(mutex_);
        change();
    }
    if (follower_) {
        tell(*follower_);
    }
    changed_();
}

void AirRecord::failed(const Error& error) {
    attempt_.lastFailure = error ? error->description : "the connection was ended here";
    attempt_.lastFailureAt = now();
}

void AirRecord::attemptFailed(const UUID& peripheral, const platform::BluetoothError& error) {
    note([&] { failed(error); }, [&](auto& follower) { follower.attemptFailed(peripheral, error); });
}

void AirRecord::stateChanged(platform::CentralState state) {
    const auto change = [&] {
        traffic_.losses += state_ == platform::CentralState::poweredOn ? 1U : 0U;
        state_ = state;
    };
    note(change, [&](auto& follower) { follower.stateChanged(state); });
}

void AirRecord::discovered(const platform::PeripheralPointer& peripheral,
                           const platform::AdvertisementData& advertisement, int rssi) {
    const auto keep = [&] {
        const auto known = std::find_if(heard_.begin(), heard_.end(), [&](const Heard& other) {
            return other.peripheral->identifier() == peripheral->identifier();
        });
        if (known != heard_.end()) {
            *known = {peripheral, advertisement, rssi};
        } else if (heard_.size() < mostHeard) {
            heard_.push_back({peripheral, advertisement, rssi});
        }
    };
    note(keep, [&](auto& follower) { follower.discovered(peripheral, advertisement, rssi); });
}

void AirRecord::connecting(const UUID& peripheral) {
    const auto begin = [&] {
        if (!attempt_.since) {
            attempt_.since = now();
        }
    };
    note(begin, [&](auto& follower) { follower.connecting(peripheral); });
}

void AirRecord::connected(const UUID& peripheral) {
    note([&] { attempt_.since.reset(); }, [&](auto& follower) { follower.connected(peripheral); });
}

void AirRecord::connectionFailed(const UUID& peripheral, const Error& error) {
    note([&] { failed(error); }, [&](auto& follower) { follower.connectionFailed(peripheral, error); });
}

void AirRecord::disconnected(const UUID& peripheral, const Error& error) {
    const auto lose = [&] {
        ++traffic_.losses;
        failed(error);
        attempt_.since = now();
    };
    note(lose, [&](auto& follower) { follower.disconnected(peripheral, error); });
}

void AirRecord::written(const UUID& characteristic, ByteView value, platform::WriteType type) {
    const auto count = [&] {
        ++traffic_.writes;
        traffic_.writtenBytes += value.size();
        trace(type == platform::WriteType::withResponse ? Kind::write : Kind::writeWithoutResponse, characteristic,
              value);
    };
    note(count, [&](auto& follower) { follower.written(characteristic, value, type); });
}

void AirRecord::received(const UUID& characteristic, ByteView value) {
    const auto count = [&] {
        ++traffic_.received;
        traffic_.receivedBytes += value.size();
        trace(Kind::notify, characteristic, value);
    };
    note(count, [&](auto& follower) { follower.received(characteristic, value); });
}

void AirRecord::trace(Kind kind, const UUID& characteristic, ByteView value) {
    traffic_.last = now();
    if (!trace_ || traceFailure_) {
        return;
    }
    try {
        trace_->write({traffic_.last, kind, characteristic, Bytes(value.begin(), value.end())});
    } catch (const Failure&) {
        traceFailure_ = std::current_exception();
    }
}

} // namespace tarnel::command
