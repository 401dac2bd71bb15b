#pragma once

#include <TarnelSDK/platform/Application.hpp>
#include <TarnelSDK/platform/UserNotifications.hpp>
#include <TarnelSDK/schedulers/NotificationDelivery.hpp>
#include <TarnelSDK/schedulers/SharedUserNotifications.hpp>

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

/// A notification service whose user is the test or the simulation. It holds the newest `mostKept` of what is shown.
///
/// Called on any thread. The delegate, the audience and all completions are called on `queue`, which also measures the
/// delays.
class MemoryUserNotifications : public SharedUserNotifications,
                                public std::enable_shared_from_this<MemoryUserNotifications> {
public:
    static constexpr std::size_t mostKept = 256;

    struct Shown {
        platform::UserNotificationRequest request;
        /// What the delegate chose; empty when the application was not in front or has no delegate.
        std::optional<platform::PresentationOptions> options;
    };

    static std::shared_ptr<MemoryUserNotifications> make(std::shared_ptr<platform::Queue> queue,
                                                         const std::shared_ptr<platform::Application>& application);

    void setDelegate(std::weak_ptr<platform::UserNotificationDelegate> delegate) override;
    void add(platform::UserNotificationRequest request, AddCompletion completion) override;
    void setAudience(std::weak_ptr<NotificationAudience> audience) override;
    void respond(const std::string& identifier, platform::NotificationAction action) override;

    /// From now on requests are refused with this text; empty: no more.
    void setError(std::optional<std::string> error);

    /// Not shown yet, in the order of their requests.
    std::vector<platform::UserNotificationRequest> pending() const;
    /// Shown and not answered, oldest first.
    std::vector<Shown> shown() const;
    /// How many responses the delegate has acknowledged.
    std::size_t acknowledged() const;

    /// What the user does with a notification that is shown; it is gone then. False when none has the identifier.
    bool tap(const std::string& identifier);
    bool dismiss(const std::string& identifier);
    bool choose(const std::string& identifier);

    class Key {
        friend class MemoryUserNotifications;
        Key() = default;
    };
    MemoryUserNotifications(Key, std::shared_ptr<platform::Queue> queue);

private:
    void show(platform::UserNotificationRequest request, std::optional<platform::PresentationOptions> options);
    bool answer(const std::string& identifier, platform::NotificationAction action);
    void tellAudience(std::function<void(NotificationAudience&)> news);

    const std::shared_ptr<platform::Queue> queue_;
    std::shared_ptr<NotificationDelivery> delivery_;
    mutable std::mutex mutex_; ///< of what follows; held for no callback
    std::weak_ptr<NotificationAudience> audience_;
    std::optional<std::string> error_;
    std::vector<Shown> shown_;
    std::size_t acknowledged_ = 0;
};

} // namespace tarnel
