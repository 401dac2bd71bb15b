#pragma once

#include "BridgeEvents.hpp"
#include "JSON.hpp"
#include "Operation.hpp"
#include "Surroundings.hpp"

#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel::command {

/// Carries out lines of JSON on the SDK, and writes to standard output what the SDK tells. On the main thread only. See
/// `tarnel play --help`.
class Bridge {
public:
    /// The surroundings outlive the bridge.
    Bridge(Surroundings& surroundings, bool logs);

    /// The answer to a line. The events that happen meanwhile have been written when this returns.
    JSON answer(std::uint64_t number, std::string_view line);

    /// Writes an event. What fails is thrown by `requireOutput`.
    void emit(JSON::Object event);
    /// Throws `Failure` when an event could not be written.
    void requireOutput() const;

    // What operations use. They throw `Failure`.

    Surroundings& surroundings() { return surroundings_; }
    /// A failure on the air.
    Simulation& simulation();
    BridgeEvents& events() { return *events_; }

    /// The linked glasses; a failure when there are none.
    std::shared_ptr<Tarnel> device() const;

    /// Has this done on the main thread, while there is a bridge. Any thread.
    static void later(std::function<void()> task);

    /// Glasses that a scan has found, which may then be asked for by their identifier.
    void found(const platform::PeripheralPointer& peripheral);
    /// The glasses with this identifier, or those found last.
    platform::PeripheralPointer scanned(const std::optional<std::string>& identifier) const;

    void relaunch();

private:
    JSON perform(std::string_view line);

    Surroundings& surroundings_;
    bool logs_;
    std::exception_ptr outputFailure_;
    std::unique_ptr<BridgeEvents> events_;
    std::map<std::string, platform::PeripheralPointer> scanned_;
    platform::PeripheralPointer lastScanned_;
};

} // namespace tarnel::command
