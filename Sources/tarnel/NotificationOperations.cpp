#include "Bridge.hpp"
#include "HostNotificationJSON.hpp"
#include "Operations.hpp"
#include "Simulation.hpp"

#include <TarnelGlasses/SimulatedWorld.hpp>
#include <TarnelSDK/device/Tarnel.hpp>

#include <cstdint>

namespace tarnel::command {
namespace {

using glasses::SimulatedGlasses;
using platform::NotificationAction;

constexpr const char* softwareUpdateKey = "isSoftwareUpdate";

constexpr Cases<NotificationAction, 3> actions{{
    {"default", NotificationAction::default_},
    {"dismiss", NotificationAction::dismiss},
    {"other", NotificationAction::other},
}};

MemoryUserNotifications& notifications(Bridge& bridge) {
    return bridge.simulation().world().userNotifications();
}

JSON sendNotification(Bridge& bridge, const Arguments& arguments) {
    std::optional<Value::Dictionary> userInfo;
    if (arguments.has(softwareUpdateKey)) {
        userInfo = Value::Dictionary{{softwareUpdateKey, arguments.boolean(softwareUpdateKey)}};
    }
    bridge.device()->_sendNotification(arguments.text("title"), arguments.text("message"), userInfo);
    return nullptr;
}

JSON shownOnHost(Bridge& bridge, const Arguments&) {
    JSON::Array list;
    for (const auto& [request, options] : notifications(bridge).shown()) {
        list.emplace_back(JSON::Object{{"identifier", request.identifier},
                                       {"title", request.content.title},
                                       {"message", request.content.body},
                                       {"category", request.content.categoryIdentifier},
                                       {"isQuiet", isQuiet(options)}});
    }
    return list;
}

JSON answerOnHost(Bridge& bridge, const Arguments& arguments) {
    const auto list = notifications(bridge).shown();
    if (list.empty()) {
        throw Failure("no notification is shown");
    }
    const auto identifier = arguments.has("identifier") ? arguments.text("identifier") : list.back().request.identifier;
    bool isShown = false;
    switch (arguments.choice("action", actions)) {
    case NotificationAction::default_:
        isShown = notifications(bridge).tap(identifier);
        break;
    case NotificationAction::dismiss:
        isShown = notifications(bridge).dismiss(identifier);
        break;
    case NotificationAction::other:
        isShown = notifications(bridge).choose(identifier);
        break;
    }
    if (!isShown) {
        throw Failure(R"(no notification with this identifier is shown; "notifications.shown" lists them)");
    }
    return nullptr;
}

JSON readOnGlasses(Bridge& bridge, const Arguments&) {
    JSON::Array list;
    for (const auto& notification : bridge.simulation().glasses().notifications()) {
        list.emplace_back(membersOf(notification));
    }
    return list;
}

/// The wearer answers a notification.
Operation wearerOperation(const char* name, const char* about, void (SimulatedGlasses::*verb)(std::uint32_t)) {
    return {name,
            {parameter::integer("uid", 0, UINT32_MAX)},
            about,
            [verb](Bridge& bridge, const Arguments& arguments) -> JSON {
                (bridge.simulation().glasses().*verb)(static_cast<std::uint32_t>(arguments.integer("uid")));
                return nullptr;
            }};
}

} // namespace

std::vector<Operation> notificationOperations() {
    using namespace parameter;
    return {
        {"sendNotification",
         {string("title"), string("message"), optional(boolean(softwareUpdateKey))},
         "Shows a notification on the host, 0.3 seconds later. One of a software update, when it is opened or "
         "dismissed, has the version told as an event \"property\".",
         sendNotification},
        {"notifications.shown", {}, "Gives what the host shows and nobody has answered.", shownOnHost},
        {"notifications.respond",
         {choice("action", actions), optional(string("identifier"))},
         "The user answers a notification on the host, the newest when no identifier is given.",
         answerOnHost},
        {"glasses.notifications",
         {},
         "Gives the host's notifications as the glasses have read them, which \"bluetooth.setAncsAuthorized\" lets "
         "them.",
         readOnGlasses},
        wearerOperation("glasses.openNotification", "The wearer opens a notification, the default action.",
                        &SimulatedGlasses::openNotification),
        wearerOperation("glasses.clearNotification", "The wearer clears a notification, which dismisses it.",
                        &SimulatedGlasses::clearNotification),
    };
}

} // namespace tarnel::command
