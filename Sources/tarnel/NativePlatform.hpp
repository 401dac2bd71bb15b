#pragma once

#include "ObservedBluetooth.hpp"

#include <TarnelSDK/platform/UUID.hpp>
#include <TarnelSDK/schedulers/ThreadScheduler.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tarnel::command {

/// Under which the command's settings are kept, the linked glasses among them.
inline constexpr const char* applicationIdentifier = "com.brenlo.tarnel";

struct NativePlatformOptions {
    bool hasBluetooth = true; ///< without it, there is no central
    bool connects = true;     ///< connections are made, from the beginning
    std::optional<std::string> adapter;
    std::optional<std::string> locale; ///< the environment's when empty
    std::shared_ptr<BluetoothObserver> observer;
    /// Glasses can read the notifications that this machine's desktop shows; `sharingEnded` is told, on any thread, why
    /// they cannot, or no longer: a sentence for the user.
    bool sharesNotifications = false;
    std::function<void(const std::string& why)> sharingEnded;
    /// Told, on any thread, of a connection that could not be made and is tried again.
    std::function<void(const UUID& peripheral, const platform::BluetoothError&)> attemptFailed;
};

/// The platform of the machine that this runs on, installed as long as it lives.
class NativePlatform {
public:
    /// Whether one was built.
    static bool exists();
    /// Throws `Failure` where none was built.
    static std::unique_ptr<NativePlatform> install(NativePlatformOptions options);

    virtual ~NativePlatform() = default;
    virtual ThreadScheduler& scheduler() = 0;
    /// From now on connections are made.
    virtual void makeConnections() = 0;
    /// Why the stored settings cannot be read; empty when they can.
    virtual std::optional<std::string> settingsFailure() = 0;

    /// "AA:BB:CC:DD:EE:FF"; empty where the platform does not tell.
    static std::optional<std::string> addressOf(const UUID& peripheral);
};

} // namespace tarnel::command
