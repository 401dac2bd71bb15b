#include <TarnelSDK/device/DeviceHosts.hpp>
#include <TarnelSDK/device/NotificationNames.hpp>
#include <TarnelSDK/device/Tarnel.hpp>
#include <TarnelSDK/foundation/Log.hpp>

#include <chrono>
#include <cstdint>
#include <cstdio>

namespace tarnel {
namespace {

constexpr auto notificationDelay = std::chrono::milliseconds(300);
constexpr const char* fallbackCategory = "com.brenlo.glasses";
constexpr const char* softwareUpdateKey = "isSoftwareUpdate";
constexpr std::int64_t unknownVersion = 1;

std::string category() {
    return platform::Platform::current().services().application->bundleIdentifier().value_or(fallbackCategory);
}

bool isOfSoftwareUpdate(const platform::UserNotificationContent& content) {
    if (!content.userInfo || content.categoryIdentifier != category()) {
        return false;
    }
    const auto found = content.userInfo->find(softwareUpdateKey);
    return found != content.userInfo->end() && found->second.boolean().value_or(false);
}

void print(const std::string& error) {
    std::puts(error.c_str());
}

} // namespace

void Tarnel::sendNotification(const std::string& title, const std::string& message) {
    _sendNotification(title, message, std::nullopt);
}

void Tarnel::_sendNotification(const std::string& title, const std::string& message,
                               const std::optional<Value::Dictionary>& userInfo) {
    log("scheduling notification", {"_sendNotification(title:message:userInfo:)", "Tarnel"});
    const auto& notifications = platform::Platform::current().services().userNotifications;
    if (!notifications) {
        print("There is no service for user notifications.");
        return;
    }
    notifications->add(
        {.identifier = UUID::random().string(),
         .content = {.title = title, .body = message, .categoryIdentifier = category(), .userInfo = userInfo},
         .delay = notificationDelay},
        [](const std::optional<std::string>& error) {
            if (error) {
                print(*error);
            }
        });
}

void Tarnel::willPresent(const platform::UserNotificationRequest&,
                         const std::function<void(platform::PresentationOptions)>& completionHandler) {
    completionHandler(platform::PresentationOptions::list);
}

void Tarnel::didReceive(const platform::NotificationResponse& response,
                        const std::function<void()>& completionHandler) {
    const bool isSeen = response.action == platform::NotificationAction::default_ ||
                        response.action == platform::NotificationAction::dismiss;
    const auto registry = platform::Provided<DeviceRegistry>::get();
    if (registry && isSeen && isOfSoftwareUpdate(response.request.content)) {
        if (const auto device = registry->currentDevice(); device && device->isConnected.value()) {
            auto& platform = platform::Platform::current();
            const auto stored = platform.services().userDefaults->object(NotificationName::version).integer();
            platform.notificationCenter().post({NotificationName::version,
                                                device,
                                                {{NotificationName::version, Value(stored.value_or(unknownVersion))}}});
        }
    }
    completionHandler();
}

} // namespace tarnel
