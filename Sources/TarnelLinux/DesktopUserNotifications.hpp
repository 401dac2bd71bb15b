#pragma once

#include <TarnelLinux/desktop/Text.hpp>
#include <TarnelSDK/platform/Application.hpp>
#include <TarnelSDK/platform/UserNotifications.hpp>
#include <TarnelSDK/schedulers/NotificationDelivery.hpp>
#include <TarnelSDK/schedulers/SharedUserNotifications.hpp>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace tarnel {

struct DesktopNotificationOptions {
    /// What the desktop calls the application; its bundle identifier when empty.
    std::string applicationName = {};
    /// The D-Bus address of the bus that the notification service is on; the session's bus when empty.
    std::optional<std::string> busAddress = std::nullopt;
    /// How long the service may take to start, or to answer.
    std::chrono::milliseconds patience = std::chrono::seconds(25);
    /// Told, on the desktop's thread, the bus name of the connection that notifications are sent on, before the first
    /// one is; again when the connection is another.
    std::function<void(const std::string& busName)> connected = nullptr;
};

/// Notifications through the desktop's notification service (org.freedesktop.Notifications, Desktop
/// Notifications 1.2). The first notification that is shown connects to the session bus and starts one thread.
///
/// The completion of `add` is called when the service has taken the notification or cannot: no session bus, no service,
/// no answer in time. A click on the notification is the default action, closing it by hand its dismissal; a
/// notification that expires stays answerable for as long as the desktop keeps it. What was shown is remembered by this
/// object alone, the newest `mostKept` of it: responses after a restart of the application or of the service are not
/// reported.
///
/// In front, the delegate's options mean: `banner` a usual notification, one that the desktop does not keep without
/// `list`; `list` alone one of low urgency, which desktops list without a banner; without either nothing is shown.
/// There is no sound without `sound`. `badge` has no counterpart. Text is cut after `longestText` bytes, ill-formed
/// UTF-8 and control characters are replaced.
class DesktopUserNotifications final : public SharedUserNotifications,
                                       public std::enable_shared_from_this<DesktopUserNotifications> {
public:
    static constexpr std::size_t mostKept = 256;
    static constexpr std::size_t longestText = desktop::longestText;

    /// The delegate is called on `queue`, which also measures the delays.
    static std::shared_ptr<DesktopUserNotifications> make(std::shared_ptr<platform::Queue> queue,
                                                          std::shared_ptr<platform::Application> application,
                                                          DesktopNotificationOptions options = {});
    /// Ends the connection. What is not shown yet is dropped, completions included. Any thread, also within a
    /// completion or what else is called on the desktop's thread: nothing is called any more after that.
    ~DesktopUserNotifications() override;
    DesktopUserNotifications(const DesktopUserNotifications&) = delete;
    DesktopUserNotifications& operator=(const DesktopUserNotifications&) = delete;

    void setDelegate(std::weak_ptr<platform::UserNotificationDelegate> delegate) override;
    void add(platform::UserNotificationRequest request, AddCompletion completion) override;
    /// The audience is called on the desktop's thread.
    void setAudience(std::weak_ptr<NotificationAudience> audience) override;
    /// Takes the notification off the desktop, too.
    void respond(const std::string& identifier, platform::NotificationAction action) override;

    class Key {
        friend class DesktopUserNotifications;
        Key() = default;
    };
    DesktopUserNotifications(Key, std::shared_ptr<platform::Queue> queue,
                             std::shared_ptr<platform::Application> application, DesktopNotificationOptions options);

private:
    class Desk;

    void present(platform::UserNotificationRequest request, std::optional<platform::PresentationOptions> options,
                 AddCompletion completion);
    std::shared_ptr<Desk> desk();

    const std::shared_ptr<platform::Queue> queue_;
    const std::shared_ptr<platform::Application> application_;
    const DesktopNotificationOptions options_;
    std::shared_ptr<NotificationDelivery> delivery_;
    std::mutex mutex_; ///< of what follows
    std::weak_ptr<NotificationAudience> audience_;
    std::shared_ptr<Desk> desk_;
};

} // namespace tarnel
