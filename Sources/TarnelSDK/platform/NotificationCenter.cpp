#include <TarnelSDK/platform/NotificationCenter.hpp>

#include <algorithm>

namespace tarnel::platform {

struct NotificationCenter::Registration {
    std::string name;
    Observer observer;
    bool hasSender = false;
    std::weak_ptr<void> sender;

    bool accepts(const Notification& notification) const {
        if (name != notification.name) {
            return false;
        }
        // A sender that is gone must not be taken for a notification's missing one.
        return !hasSender || (notification.object && sender.lock() == notification.object);
    }
};

Observation NotificationCenter::observe(std::string name, Observer observer, const std::shared_ptr<void>& sender) {
    auto registration =
        std::make_shared<Registration>(Registration{std::move(name), std::move(observer), sender != nullptr, sender});
    const std::lock_guard lock(mutex_);
    std::erase_if(registrations_, [](const auto& entry) { return entry.expired(); });
    registrations_.push_back(registration);
    return Observation(std::move(registration));
}

void NotificationCenter::post(const Notification& notification) {
    std::vector<std::weak_ptr<Registration>> snapshot;
    {
        const std::lock_guard lock(mutex_);
        snapshot = registrations_;
    }
    for (const auto& entry : snapshot) {
        if (const auto registration = entry.lock(); registration && registration->accepts(notification)) {
            registration->observer(notification);
        }
    }
}

} // namespace tarnel::platform
