#pragma once

#include <TarnelSDK/ancs/NotificationProvider.hpp>
#include <TarnelSDK/platform/Application.hpp>
#include <TarnelSDK/platform/Clock.hpp>
#include <TarnelSDK/schedulers/SharedUserNotifications.hpp>

#include <memory>
#include <string>

namespace tarnel::ancs {

/// Shares an application's own notifications with glasses. On the glasses they can be opened, which is the default
/// action, and cleared, which dismisses them. Any thread.
class OwnNotifications final : public NotificationAudience, public std::enable_shared_from_this<OwnNotifications> {
public:
    /// `applicationName` is what the glasses call the application; its bundle identifier when empty. The notifications
    /// are held weakly; their audience is the object that is returned, for as long as the caller holds it.
    static std::shared_ptr<OwnNotifications> make(const std::shared_ptr<SharedUserNotifications>& notifications,
                                                  std::shared_ptr<NotificationProvider> provider,
                                                  std::shared_ptr<const platform::Application> application,
                                                  std::shared_ptr<const platform::Clock> clock,
                                                  std::string applicationName = {});

    void shown(const platform::UserNotificationRequest& request, bool isQuiet) override;
    void gone(const std::string& identifier) override;

    class Key {
        friend class OwnNotifications;
        Key() = default;
    };
    OwnNotifications(Key, std::weak_ptr<SharedUserNotifications> notifications,
                     std::shared_ptr<NotificationProvider> provider,
                     std::shared_ptr<const platform::Application> application,
                     std::shared_ptr<const platform::Clock> clock, std::string applicationName);

private:
    const std::weak_ptr<SharedUserNotifications> notifications_;
    const std::shared_ptr<NotificationProvider> provider_;
    const std::shared_ptr<const platform::Application> application_;
    const std::shared_ptr<const platform::Clock> clock_;
    const std::string applicationName_;
};

} // namespace tarnel::ancs
