#pragma once

#include <any>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tarnel::platform {

using UserInfo = std::map<std::string, std::any>;

struct Notification {
    std::string name;
    std::shared_ptr<void> object; ///< the sender; may be empty
    UserInfo userInfo;
};

/// Keeps an observer registered; ends the registration when destroyed. May outlive the centre.
class [[nodiscard]] Observation {
public:
    Observation() = default;
    explicit Observation(std::shared_ptr<void> registration) : registration_(std::move(registration)) {}

private:
    std::shared_ptr<void> registration_;
};

/// In-process registry of named events. Any operation may be called on any thread; observers run synchronously on the
/// posting thread, in the order of their registration, and may register, end registrations and post in turn.
class NotificationCenter {
public:
    using Observer = std::function<void(const Notification&)>;

    /// Calls `observer` for each notification `name`, as long as the returned handle lives. With a `sender` only that
    /// object's notifications are delivered. A notification being posted on another thread while the handle ends may
    /// still reach the observer.
    Observation observe(std::string name, Observer observer, const std::shared_ptr<void>& sender = nullptr);

    void post(const Notification& notification);

private:
    struct Registration;
    std::mutex mutex_;
    std::vector<std::weak_ptr<Registration>> registrations_;
};

} // namespace tarnel::platform
