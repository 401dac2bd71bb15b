#pragma once

#include <TarnelSDK/platform/Bytes.hpp>
#include <TarnelSDK/platform/Queue.hpp>
#include <TarnelSDK/platform/UUID.hpp>

#include <functional>

namespace tarnel::glasses {

/// One value that crossed the air.
struct GattTraceEvent {
    enum class Kind { write, writeWithoutResponse, notify };

    platform::Duration time{}; ///< when it reached the other side, on the radio's time
    Kind kind = Kind::write;
    UUID characteristic;
    Bytes value;
};

/// Called on the radio's queue, in the order in which the values arrive.
using GattTraceObserver = std::function<void(const GattTraceEvent&)>;

} // namespace tarnel::glasses
