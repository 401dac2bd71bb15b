#pragma once

#include <TarnelSDK/platform/Queue.hpp>
#include <TarnelSDK/platform/Value.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

/// Notifications that the user sees on the host, and that the host may share with the glasses.
namespace tarnel::platform {

struct UserNotificationContent {
    std::string title; ///< UTF-8, as is all text here
    std::string body;
    std::string categoryIdentifier;
    std::optional<Value::Dictionary> userInfo = std::nullopt; ///< comes back as it went in

    friend bool operator==(const UserNotificationContent&, const UserNotificationContent&) = default;
};

struct UserNotificationRequest {
    std::string identifier; ///< a request with the identifier of an earlier one takes its place
    UserNotificationContent content;
    Duration delay{}; ///< until the notification is shown, once

    friend bool operator==(const UserNotificationRequest&, const UserNotificationRequest&) = default;
};

/// How a notification is shown that arrives while the application is in front; values are combined with |.
enum class PresentationOptions : std::uint32_t {
    none = 0,
    badge = 1,
    sound = 2,
    list = 8,
    banner = 16,
};

constexpr PresentationOptions operator|(PresentationOptions left, PresentationOptions right) {
    return static_cast<PresentationOptions>(static_cast<std::uint32_t>(left) | static_cast<std::uint32_t>(right));
}

enum class NotificationAction {
    default_, ///< the user opened the notification
    dismiss,  ///< the user put it away
    other,    ///< any further choice that the platform offers
};

struct NotificationResponse {
    NotificationAction action = NotificationAction::default_;
    UserNotificationRequest request;
};

/// Is asked about notifications and told what the user does with them: on the main queue, never inside a call. Each
/// completion handler is called once; on which thread is the delegate's choice.
class UserNotificationDelegate {
public:
    virtual ~UserNotificationDelegate() = default;
    virtual void willPresent(const UserNotificationRequest& notification,
                             const std::function<void(PresentationOptions)>& completionHandler) = 0;
    virtual void didReceive(const NotificationResponse& response, const std::function<void()>& completionHandler) = 0;
};

/// The host's user-notification service. Any thread; no call blocks.
class UserNotifications {
public:
    /// Empty on success, else what went wrong. Called once, on any thread, never inside the call that it ends.
    using AddCompletion = std::function<void(const std::optional<std::string>& error)>;

    virtual ~UserNotifications() = default;

    /// The delegate is held weakly; without one nothing is reported, and a notification is shown in full.
    virtual void setDelegate(std::weak_ptr<UserNotificationDelegate> delegate) = 0;
    virtual void add(UserNotificationRequest request, AddCompletion completion) = 0;
};

} // namespace tarnel::platform
