#include <TarnelSDK/ancs/OwnNotifications.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <utility>

namespace tarnel::ancs {
namespace {

constexpr const char* openLabel = "Open";
constexpr const char* clearLabel = "Clear";

/// Tells an application's own notifications from those of others with the same name.
std::string keyOf(const std::string& identifier) {
    return "own " + identifier;
}

} // namespace

std::shared_ptr<OwnNotifications> OwnNotifications::make(const std::shared_ptr<SharedUserNotifications>& notifications,
                                                         std::shared_ptr<NotificationProvider> provider,
                                                         std::shared_ptr<const platform::Application> application,
                                                         std::shared_ptr<const platform::Clock> clock,
                                                         std::string applicationName) {
    precondition(notifications && provider && application && clock, "shared notifications have all that they are of");
    auto made = std::make_shared<OwnNotifications>(Key(), notifications, std::move(provider), std::move(application),
                                                   std::move(clock), std::move(applicationName));
    notifications->setAudience(made);
    return made;
}

OwnNotifications::OwnNotifications(Key, std::weak_ptr<SharedUserNotifications> notifications,
                                   std::shared_ptr<NotificationProvider> provider,
                                   std::shared_ptr<const platform::Application> application,
                                   std::shared_ptr<const platform::Clock> clock, std::string applicationName)
    : notifications_(std::move(notifications)), provider_(std::move(provider)), application_(std::move(application)),
      clock_(std::move(clock)), applicationName_(std::move(applicationName)) {}

void OwnNotifications::shown(const platform::UserNotificationRequest& request, bool isQuiet) {
    const auto identifier = application_->bundleIdentifier().value_or(request.content.categoryIdentifier);
    provider_->add(keyOf(request.identifier),
                   {.appIdentifier = identifier,
                    .appName = applicationName_.empty() ? identifier : applicationName_,
                    .title = request.content.title,
                    .subtitle = {},
                    .message = request.content.body,
                    .date = clock_->localTime(clock_->now()),
                    .isSilent = isQuiet,
                    .positiveLabel = openLabel,
                    .negativeLabel = clearLabel,
                    .perform = [weak = notifications_, name = request.identifier](Action action) {
                        if (const auto notifications = weak.lock()) {
                            notifications->respond(name, action == Action::positive
                                                             ? platform::NotificationAction::default_
                                                             : platform::NotificationAction::dismiss);
                        }
                    }});
}

void OwnNotifications::gone(const std::string& identifier) {
    provider_->remove(keyOf(identifier));
}

} // namespace tarnel::ancs
