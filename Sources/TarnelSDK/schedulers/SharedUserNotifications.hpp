#pragma once

#include <TarnelSDK/platform/UserNotifications.hpp>

#include <memory>
#include <string>

namespace tarnel {

/// Is told what the user sees of an application's notifications. On any thread, one call at a time, never inside a call
/// of the notifications' own operations.
class NotificationAudience {
public:
    virtual ~NotificationAudience() = default;
    /// `isQuiet` when it was listed without a banner. One with the identifier of an earlier one takes its place.
    virtual void shown(const platform::UserNotificationRequest& request, bool isQuiet) = 0;
    /// Answered, withdrawn, or lost.
    virtual void gone(const std::string& identifier) = 0;
};

/// Notifications that the user can see, and answer, elsewhere too. Any thread.
class SharedUserNotifications : public platform::UserNotifications {
public:
    /// Held weakly. Told of what is shown from now on.
    virtual void setAudience(std::weak_ptr<NotificationAudience> audience) = 0;
    /// The user answered elsewhere a notification that is shown: the delegate is told, and the notification is gone.
    virtual void respond(const std::string& identifier, platform::NotificationAction action) = 0;
};

} // namespace tarnel
