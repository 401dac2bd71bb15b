#include <TarnelLinux/desktop/NotificationMonitor.hpp>
#include <TarnelLinux/desktop/Text.hpp>

#include <systemd/sd-bus.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string_view>
#include <utility>

namespace tarnel::desktop {
namespace {

constexpr const char* notifySignature = "susssasa{sv}i";

struct Release {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using MessagePointer = std::unique_ptr<sd_bus_message, Release>;

/// What is watched. The bus lets answers and signals of the daemon alone pass.
constexpr std::array<const char*, 7> rules{
    "type='method_call',path='/org/freedesktop/Notifications',interface='org.freedesktop.Notifications',"
    "member='Notify'",
    "type='method_call',path='/org/freedesktop/Notifications',interface='org.freedesktop.Notifications',"
    "member='CloseNotification'",
    "type='method_return',sender='org.freedesktop.Notifications'",
    "type='error',sender='org.freedesktop.Notifications'",
    "type='signal',sender='org.freedesktop.Notifications',path='/org/freedesktop/Notifications',"
    "interface='org.freedesktop.Notifications',member='NotificationClosed'",
    "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',member='NameOwnerChanged',"
    "arg0='org.freedesktop.Notifications'",
    nullptr,
};

std::string_view textOf(const char* text) {
    return text ? text : "";
}

std::optional<std::string> readString(sd_bus_message* message) {
    const char* text = nullptr;
    if (sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, static_cast<void*>(&text)) <= 0) {
        return std::nullopt;
    }
    return displayable(textOf(text));
}

std::optional<std::uint32_t> readNumber(sd_bus_message* message) {
    std::uint32_t number = 0;
    if (sd_bus_message_read_basic(message, SD_BUS_TYPE_UINT32, &number) <= 0) {
        return std::nullopt;
    }
    return number;
}

/// Reads the value of a hint, or passes over it when it is none that counts. False when the message is broken.
bool readHint(sd_bus_message* message, std::string_view name, WatchedNotification& notification) {
    const char* held = nullptr;
    if (sd_bus_message_peek_type(message, nullptr, &held) <= 0) {
        return false;
    }
    const std::string_view type = textOf(held);
    const bool isText = type == "s" && (name == "desktop-entry" || name == "category");
    const bool isUrgency = type == "y" && name == "urgency";
    const bool isTransience = type == "b" && name == "transient";
    if (!isText && !isUrgency && !isTransience) {
        return sd_bus_message_skip(message, "v") >= 0;
    }
    if (sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, held) <= 0) {
        return false;
    }
    if (isText) {
        auto text = readString(message);
        if (!text) {
            return false;
        }
        (name == "category" ? notification.category : notification.desktopEntry) = std::move(*text);
    } else if (isUrgency) {
        std::uint8_t urgency = 0;
        if (sd_bus_message_read_basic(message, SD_BUS_TYPE_BYTE, &urgency) <= 0) {
            return false;
        }
        notification.urgency = static_cast<WatchedNotification::Urgency>(std::min<std::uint8_t>(urgency, 2));
    } else {
        int isTransient = 0;
        if (sd_bus_message_read_basic(message, SD_BUS_TYPE_BOOLEAN, &isTransient) <= 0) {
            return false;
        }
        notification.isTransient = isTransient != 0;
    }
    return sd_bus_message_exit_container(message) >= 0;
}

bool readHints(sd_bus_message* message, WatchedNotification& notification) {
    if (sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{sv}") < 0) {
        return false;
    }
    int entered = 0;
    while ((entered = sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, "sv")) > 0) {
        const char* name = nullptr;
        if (sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, static_cast<void*>(&name)) <= 0 ||
            !readHint(message, textOf(name), notification) || sd_bus_message_exit_container(message) < 0) {
            return false;
        }
    }
    return entered == 0;
}

/// The arguments of "Notify".
std::optional<WatchedNotification> readNotification(sd_bus_message* message) {
    if (sd_bus_message_has_signature(message, notifySignature) <= 0) {
        return std::nullopt;
    }
    WatchedNotification notification;
    auto application = readString(message);
    const auto replaced = readNumber(message);
    const auto icon = readString(message);
    auto summary = readString(message);
    const auto body = readString(message);
    if (!application || !replaced || !icon || !summary || !body || sd_bus_message_skip(message, "as") < 0 ||
        !readHints(message, notification)) {
        return std::nullopt;
    }
    notification.sender = textOf(sd_bus_message_get_sender(message));
    notification.applicationName = std::move(*application);
    notification.summary = std::move(*summary);
    notification.body = displayable(withoutMarkup(*body));
    return notification;
}

std::string reasonOf(int error) {
    return std::string(" (") + std::strerror(-error) + ").";
}

} // namespace

void NotificationMonitor::CloseBus::operator()(sd_bus* bus) const {
    sd_bus_close_unref(bus);
}

NotificationMonitor::NotificationMonitor(bluez::EventLoop& loop, Options options, Listener& listener)
    : loop_(loop), options_(std::move(options)), listener_(listener) {}

NotificationMonitor::~NotificationMonitor() {
    loop_.setSource({});
}

void NotificationMonitor::begin() {
    int error = open();
    if (error < 0) {
        return end("The notifications of other programs are not shared: no session bus runs" + reasonOf(error));
    }
    error = becomeMonitor();
    if (error < 0) {
        return end("The notifications of other programs are not shared: the session bus fails" + reasonOf(error));
    }
    loop_.setSource({[this] { return prepare(); }, [this] { dispatch(); }});
}

/// A negative error number when there is no bus.
int NotificationMonitor::open() {
    sd_bus* opened = nullptr;
    if (!options_.busAddress) {
        const int error = sd_bus_open_user(&opened);
        bus_.reset(opened);
        return error;
    }
    int error = sd_bus_new(&opened);
    bus_.reset(opened);
    if (error >= 0) {
        error = sd_bus_set_address(opened, options_.busAddress->c_str());
    }
    if (error >= 0) {
        error = sd_bus_set_bus_client(opened, 1);
    }
    return error < 0 ? error : sd_bus_start(opened);
}

int NotificationMonitor::becomeMonitor() {
    constexpr std::uint32_t noFlags = 0;
    sd_bus_message* made = nullptr;
    int error = sd_bus_message_new_method_call(bus_.get(), &made, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                               "org.freedesktop.DBus.Monitoring", "BecomeMonitor");
    const MessagePointer call(made);
    if (error >= 0) {
        auto texts = rules;
        error =
            sd_bus_message_append_strv(made, const_cast<char**>(texts.data())); // NOLINT: taken as it is, not changed
    }
    if (error >= 0) {
        error = sd_bus_message_append_basic(made, SD_BUS_TYPE_UINT32, &noFlags);
    }
    if (error < 0) {
        return error;
    }
    const auto handle = [](sd_bus_message* answer, void* self, sd_bus_error*) {
        static_cast<NotificationMonitor*>(self)->answered(answer);
        return 1;
    };
    return sd_bus_call_async(bus_.get(), nullptr, made, handle, this,
                             static_cast<std::uint64_t>(options_.patience.count()));
}

void NotificationMonitor::answered(sd_bus_message* answer) {
    if (const auto* const error = sd_bus_message_get_error(answer)) {
        const std::string detail = displayable(textOf(error->message ? error->message : error->name));
        // Inside the dispatching of the bus, which must not go meanwhile.
        return loop_.post([this, detail] {
            end("The notifications of other programs are not shared: the session bus refuses to be watched (" + detail +
                ").");
        });
    }
    isMonitor_ = true;
}

bluez::EventLoop::Source::Poll NotificationMonitor::prepare() {
    if (!bus_) {
        return {};
    }
    bluez::EventLoop::Source::Poll poll{.descriptor = sd_bus_get_fd(bus_.get()),
                                        .events = static_cast<short>(std::max(sd_bus_get_events(bus_.get()), 0))};
    std::uint64_t due = UINT64_MAX; // in microseconds of the monotonic clock
    if (sd_bus_get_timeout(bus_.get(), &due) > 0 && due != UINT64_MAX) {
        const auto now =
            std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now().time_since_epoch());
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(std::chrono::microseconds(due) - now);
        constexpr std::chrono::milliseconds longest = std::chrono::minutes(1);
        poll.milliseconds = static_cast<int>(std::clamp(wait, std::chrono::milliseconds(0), longest).count());
    }
    return poll;
}

void NotificationMonitor::dispatch() {
    while (bus_ && !loop_.hasEnded()) {
        sd_bus_message* taken = nullptr;
        const int result = sd_bus_process(bus_.get(), &taken);
        const MessagePointer message(taken);
        if (result < 0) {
            return end("The notifications of other programs are not shared any more: the session bus is gone" +
                       reasonOf(result));
        }
        if (result == 0) {
            return;
        }
        if (message && isMonitor_) {
            received(taken);
        }
    }
}

void NotificationMonitor::received(sd_bus_message* message) {
    std::uint8_t type = 0;
    sd_bus_message_get_type(message, &type);
    switch (type) {
    case SD_BUS_MESSAGE_METHOD_CALL:
        return callSeen(message);
    case SD_BUS_MESSAGE_METHOD_RETURN:
        return answerSeen(message, false);
    case SD_BUS_MESSAGE_METHOD_ERROR:
        return answerSeen(message, true);
    case SD_BUS_MESSAGE_SIGNAL:
        return signalSeen(message);
    default:
        return;
    }
}

void NotificationMonitor::callSeen(sd_bus_message* message) {
    Call call{
        .sender = std::string(textOf(sd_bus_message_get_sender(message))), .number = 0, .notification = {}, .id = 0};
    if (sd_bus_message_get_cookie(message, &call.number) < 0) {
        return;
    }
    if (textOf(sd_bus_message_get_member(message)) == "Notify") {
        call.notification = readNotification(message);
        if (!call.notification) {
            return;
        }
    } else {
        const auto id = readNumber(message);
        if (!id) {
            return;
        }
        call.id = *id;
    }
    if (calls_.size() == mostUnderWay) {
        calls_.pop_front();
    }
    calls_.push_back(std::move(call));
}

void NotificationMonitor::answerSeen(sd_bus_message* message, bool isError) {
    std::uint64_t number = 0;
    if (sd_bus_message_get_reply_cookie(message, &number) < 0) {
        return;
    }
    const auto caller = textOf(sd_bus_message_get_destination(message));
    const auto found = std::find_if(calls_.begin(), calls_.end(),
                                    [&](const Call& call) { return call.number == number && call.sender == caller; });
    if (found == calls_.end()) {
        return;
    }
    const Call call = std::move(*found);
    calls_.erase(found);
    if (isError) {
        return;
    }
    if (!call.notification) {
        return listener_.closed(call.id, NotificationDaemon::ClosedReason::withdrawn);
    }
    if (const auto id = readNumber(message)) {
        listener_.shown(*id, *call.notification);
    }
}

void NotificationMonitor::signalSeen(sd_bus_message* message) {
    const auto member = textOf(sd_bus_message_get_member(message));
    if (member == "NotificationClosed") {
        const auto id = readNumber(message);
        const auto reason = readNumber(message);
        if (id && reason) {
            listener_.closed(*id, static_cast<NotificationDaemon::ClosedReason>(*reason));
        }
    } else if (member == "NameOwnerChanged") {
        const auto name = readString(message);
        const auto before = readString(message);
        if (name && before && !before->empty()) {
            calls_.clear();
            listener_.gone();
        }
    }
}

void NotificationMonitor::end(const std::string& why) {
    if (isMonitor_) {
        listener_.gone();
    }
    isMonitor_ = false;
    bus_.reset();
    calls_.clear();
    if (!loop_.hasEnded()) {
        listener_.ended(why);
    }
}

} // namespace tarnel::desktop
