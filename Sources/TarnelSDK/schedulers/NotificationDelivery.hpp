#pragma once

#include <TarnelSDK/platform/Application.hpp>
#include <TarnelSDK/platform/UserNotifications.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

/// Whether these have that one; empty options have all.
bool contains(std::optional<platform::PresentationOptions> options, platform::PresentationOptions option);
/// Whether a notification presented like this can be seen at all; with empty options it is shown in full.
bool isSeen(std::optional<platform::PresentationOptions> options);
/// Whether it is listed without a banner.
bool isQuiet(std::optional<platform::PresentationOptions> options);

/// What every notification service has in common: requests wait for their delay and then, while the application is in
/// front, for the delegate; responses go to the delegate. Any thread; `queue` measures the delays, and the delegate and
/// `Present` are called on it, except that `Present` follows the delegate's answer on its thread.
class NotificationDelivery : public std::enable_shared_from_this<NotificationDelivery> {
public:
    using AddCompletion = platform::UserNotifications::AddCompletion;
    /// Shows it. The options are empty when the application is not in front or has no delegate. Owns the completion.
    using Present = std::function<void(platform::UserNotificationRequest request,
                                       std::optional<platform::PresentationOptions> options, AddCompletion completion)>;

    static std::shared_ptr<NotificationDelivery>
    make(std::shared_ptr<platform::Queue> queue, std::shared_ptr<platform::Application> application, Present present);

    void setDelegate(std::weak_ptr<platform::UserNotificationDelegate> delegate);

    /// The completion, which may be empty, is handed to `Present`; for a request that is replaced before that, it is
    /// called on the queue.
    void add(platform::UserNotificationRequest request, AddCompletion completion);

    /// Not presented yet, in the order of their requests.
    std::vector<platform::UserNotificationRequest> pending() const;

    /// Tells the delegate later; `acknowledged`, if any, runs when it is done with it.
    void respond(platform::NotificationResponse response, std::function<void()> acknowledged = nullptr);

    class Key {
        friend class NotificationDelivery;
        Key() = default;
    };
    NotificationDelivery(Key, std::shared_ptr<platform::Queue> queue,
                         std::shared_ptr<platform::Application> application, Present present);

private:
    struct Pending {
        platform::UserNotificationRequest request;
        AddCompletion completion;
    };

    void deliver(std::uint64_t number);
    std::shared_ptr<platform::UserNotificationDelegate> delegate() const;

    const std::shared_ptr<platform::Queue> queue_;
    const std::shared_ptr<platform::Application> application_;
    const Present present_;
    mutable std::mutex mutex_; ///< of what follows; held for no callback
    std::weak_ptr<platform::UserNotificationDelegate> delegate_;
    std::uint64_t requests_ = 0;
    std::map<std::uint64_t, Pending> pending_; ///< by the number of the request
};

} // namespace tarnel
