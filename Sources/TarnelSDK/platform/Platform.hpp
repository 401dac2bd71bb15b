#pragma once

#include <TarnelSDK/platform/Application.hpp>
#include <TarnelSDK/platform/Bluetooth.hpp>
#include <TarnelSDK/platform/Clock.hpp>
#include <TarnelSDK/platform/NotificationCenter.hpp>
#include <TarnelSDK/platform/Queue.hpp>
#include <TarnelSDK/platform/Random.hpp>
#include <TarnelSDK/platform/UserDefaults.hpp>
#include <TarnelSDK/platform/UserNotifications.hpp>

#include <memory>
#include <mutex>
#include <typeindex>
#include <unordered_map>
#include <vector>

namespace tarnel::platform {

/// Everything from outside the process that the SDK uses. All but the last are required.
struct Services {
    std::shared_ptr<Scheduler> scheduler;
    std::shared_ptr<Clock> clock;
    std::shared_ptr<Random> random;
    std::shared_ptr<Application> application;
    std::shared_ptr<UserDefaults> userDefaults;
    std::shared_ptr<BluetoothProvider> bluetooth;
    std::shared_ptr<UserNotifications> userNotifications = nullptr; ///< empty: nothing can be shown to the user
};

/// The installed platform: its services, and the process-wide objects of the SDK that live on it.
///
/// Installed once, before the SDK is touched, and torn down whole; a new one may then be installed and starts from
/// nothing. `install` and `tearDown` are called on the main thread, the rest on any.
class Platform {
public:
    /// REQUIRES: none is installed, and every required service is present.
    static void install(Services services);

    /// Shuts the scheduler down, then destroys the shared objects, last made first, then lets go of the services.
    /// REQUIRES: one is installed; called outside every queue.
    static void tearDown();

    static bool isInstalled();

    /// REQUIRES: a platform is installed.
    static Platform& current();

    const Services& services() const { return services_; }
    NotificationCenter& notificationCenter() { return notificationCenter_; }

    /// The one object of type T on this platform, made by `T::make()` (a `std::shared_ptr<T>`) when first asked for.
    template <typename T>
    std::shared_ptr<T> shared() {
        const std::lock_guard lock(mutex_);
        const std::type_index type(typeid(T));
        if (const auto found = shared_.find(type); found != shared_.end()) {
            return std::static_pointer_cast<T>(found->second);
        }
        std::shared_ptr<T> made = T::make();
        shared_.emplace(type, made);
        order_.push_back(type);
        return made;
    }

    // For `Provided`.
    void provide(std::type_index interface, std::weak_ptr<void> implementation);
    std::shared_ptr<void> provided(std::type_index interface) const;

    /// Only `install` has the key.
    class Key {
        friend class Platform;
        Key() = default;
    };
    Platform(Key, Services services);
    ~Platform();
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;

private:
    Services services_;
    NotificationCenter notificationCenter_;
    /// Held while a shared object is made, which may ask for others.
    std::recursive_mutex mutex_;
    std::unordered_map<std::type_index, std::shared_ptr<void>> shared_;
    std::vector<std::type_index> order_;
    /// Taken last: no other lock is taken under it.
    mutable std::mutex providedMutex_;
    std::unordered_map<std::type_index, std::weak_ptr<void>> provided_;
};

/// How a lower room reaches what a higher room does for it: the lower room declares `Interface`, the higher room
/// provides an implementation, which it owns. Called on any thread, whatever locks it holds.
template <typename Interface>
class Provided {
public:
    static void provide(std::weak_ptr<Interface> implementation) {
        Platform::current().provide(typeid(Interface), std::move(implementation));
    }

    /// Empty when nothing is provided (any more).
    static std::shared_ptr<Interface> get() {
        return std::static_pointer_cast<Interface>(Platform::current().provided(typeid(Interface)));
    }
};

} // namespace tarnel::platform
