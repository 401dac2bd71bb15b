#pragma once

#include <TarnelGlasses/Radio.hpp>
#include <TarnelGlasses/SimulatedBluetooth.hpp>
#include <TarnelGlasses/SimulatedGlasses.hpp>
#include <TarnelSDK/ancs/NotificationProvider.hpp>
#include <TarnelSDK/ancs/OwnNotifications.hpp>
#include <TarnelSDK/platform/Platform.hpp>
#include <TarnelSDK/schedulers/MemoryUserDefaults.hpp>
#include <TarnelSDK/schedulers/MemoryUserNotifications.hpp>
#include <TarnelSDK/schedulers/SettableApplication.hpp>
#include <TarnelSDK/schedulers/SimulatedRandom.hpp>
#include <TarnelSDK/schedulers/SimulatedScheduler.hpp>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace tarnel::glasses {

struct WorldOptions {
    std::uint64_t seed = 1;
    LinkModel link = {};
    platform::CentralState bluetooth = platform::CentralState::poweredOn;
    std::optional<std::string> bundleIdentifier = "org.example.application";
};

/// A host, its Bluetooth and the glasses around it, in virtual time. As long as it exists its platform is installed.
///
/// Made, used and destroyed on one thread, outside every queue. Objects of the SDK that the test holds must be gone
/// before it, and before `relaunch`.
class SimulatedWorld {
public:
    explicit SimulatedWorld(const WorldOptions& options = {});
    ~SimulatedWorld();
    SimulatedWorld(const SimulatedWorld&) = delete;
    SimulatedWorld& operator=(const SimulatedWorld&) = delete;

    const WorldOptions& options() const { return options_; }
    SimulatedScheduler& scheduler() { return *scheduler_; }
    Radio& radio() { return *radio_; }
    SimulatedBluetooth& bluetooth() { return *bluetooth_; }
    MemoryUserDefaults& userDefaults() { return *userDefaults_; }
    SettableApplication& application() { return *application_; }
    /// The application's notifications, which glasses can read that `bluetooth().setAncsAuthorized` allows to.
    MemoryUserNotifications& userNotifications() { return *userNotifications_; }
    /// To share others than the application's.
    ancs::NotificationProvider& notificationProvider() { return *notificationProvider_; }
    SimulatedRandom& random() { return *random_; }

    /// One more pair of glasses within range. One whose identifier is not given gets one of its own: that of
    /// `GlassesOptions`, or where a pair has had it the next one.
    std::shared_ptr<SimulatedGlasses> addGlasses(GlassesOptions options = {});

    /// Runs what may run now, without moving time.
    void run() { scheduler_->run(); }
    void advance(platform::Duration duration) { scheduler_->advance(duration); }
    bool runUntil(const std::function<bool()>& condition, platform::Duration limit = std::chrono::minutes(1)) {
        return scheduler_->runUntil(condition, limit);
    }

    /// Ends the application and starts it again: the platform is torn down and a new one installed. Stored settings,
    /// the host's Bluetooth with its bonds, the glasses and the time go on.
    void relaunch();

private:
    void install();
    UUID freshIdentifier() const;

    WorldOptions options_;
    std::shared_ptr<SimulatedScheduler> scheduler_;
    std::shared_ptr<SimulatedRandom> random_;
    std::shared_ptr<MemoryUserDefaults> userDefaults_;
    std::shared_ptr<SettableApplication> application_;
    std::shared_ptr<MemoryUserNotifications> userNotifications_;
    std::shared_ptr<Radio> radio_;
    std::shared_ptr<ancs::NotificationProvider> notificationProvider_;
    std::shared_ptr<ancs::OwnNotifications> sharedNotifications_;
    std::shared_ptr<SimulatedBluetooth> bluetooth_;
    std::set<UUID> identifiers_; ///< of all glasses there have been
};

} // namespace tarnel::glasses
