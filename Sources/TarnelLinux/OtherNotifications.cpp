#include <TarnelLinux/OtherNotifications.hpp>
#include <TarnelLinux/bluez/EventLoop.hpp>
#include <TarnelLinux/desktop/NotificationMonitor.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string_view>
#include <utility>
#include <vector>

namespace tarnel {

using desktop::NotificationDaemon;
using desktop::NotificationMonitor;
using desktop::WatchedNotification;

namespace {

constexpr const char* nameless = "unknown";

/// Tells the desktop's notifications from those of others with the same name.
std::string keyOf(std::uint32_t id) {
    return "desktop " + std::to_string(id);
}

/// The categories of the Desktop Notifications 1.2 that glasses know: "email.arrived" is of "email".
ancs::Category categoryOf(std::string_view category) {
    constexpr std::array<std::pair<std::string_view, ancs::Category>, 4> known{{
        {"email", ancs::Category::email},
        {"im", ancs::Category::social},
        {"call.unanswered", ancs::Category::missedCall},
        {"call", ancs::Category::incomingCall},
    }};
    for (const auto& [name, kind] : known) {
        if (category == name || (category.starts_with(name) && category[name.size()] == '.')) {
            return kind;
        }
    }
    return ancs::Category::other;
}

ancs::Notification sharedOf(const WatchedNotification& watched, const platform::LocalTime& now) {
    const auto& name = watched.applicationName;
    const auto& entry = watched.desktopEntry;
    ancs::Notification shared;
    shared.appIdentifier = !entry.empty() ? entry : !name.empty() ? name : nameless;
    shared.appName = name.empty() ? shared.appIdentifier : name;
    shared.title = watched.summary;
    shared.message = watched.body;
    shared.date = now;
    shared.category = categoryOf(watched.category);
    shared.isSilent = watched.urgency == WatchedNotification::Urgency::low;
    shared.isImportant = watched.urgency == WatchedNotification::Urgency::critical;
    return shared;
}

} // namespace

/// Used on its own thread, save for `leaveOut`.
class OtherNotifications::Watch final : public NotificationMonitor::Listener,
                                        public std::enable_shared_from_this<Watch> {
public:
    Watch(std::shared_ptr<ancs::NotificationProvider> provider, std::shared_ptr<const platform::Clock> clock,
          OtherNotificationsOptions options)
        : provider_(std::move(provider)), clock_(std::move(clock)), ended_(std::move(options.ended)),
          monitor_(loop_, {.busAddress = std::move(options.busAddress), .patience = options.patience}, *this) {
        loop_.post([this] { monitor_.begin(); });
    }
    ~Watch() override { loop_.end(); }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    /// It lives until the task that called this is done.
    void end() { loop_.end(shared_from_this()); }

    void leaveOut(std::string busName) {
        const std::lock_guard lock(mutex_);
        own_ = std::move(busName);
    }

    void shown(std::uint32_t id, const WatchedNotification& notification) override {
        forget(id);
        if (isOwn(notification)) {
            return;
        }
        if (kept_.size() == mostKept) {
            kept_.erase(kept_.begin());
        }
        kept_.push_back({id, notification.isTransient});
        provider_->add(keyOf(id), sharedOf(notification, clock_->localTime(clock_->now())));
    }
    void closed(std::uint32_t id, NotificationDaemon::ClosedReason reason) override {
        const auto found = find(id);
        if (found == kept_.end() || (reason == NotificationDaemon::ClosedReason::expired && !found->isTransient)) {
            return;
        }
        kept_.erase(found);
        provider_->remove(keyOf(id));
    }
    void gone() override {
        for (const auto& lost : std::exchange(kept_, {})) {
            provider_->remove(keyOf(lost.id));
        }
    }
    void ended(const std::string& why) override {
        if (ended_) {
            ended_(why);
        } else {
            std::puts(why.c_str());
        }
    }

private:
    struct Kept {
        std::uint32_t id = 0;
        bool isTransient = false;
    };

    std::vector<Kept>::iterator find(std::uint32_t id) {
        return std::find_if(kept_.begin(), kept_.end(), [&](const Kept& kept) { return kept.id == id; });
    }
    void forget(std::uint32_t id) {
        if (const auto found = find(id); found != kept_.end()) {
            kept_.erase(found);
        }
    }
    bool isOwn(const WatchedNotification& notification) {
        const std::lock_guard lock(mutex_);
        return notification.sender == own_;
    }

    const std::shared_ptr<ancs::NotificationProvider> provider_;
    const std::shared_ptr<const platform::Clock> clock_;
    const std::function<void(const std::string&)> ended_;
    std::vector<Kept> kept_; ///< oldest first
    std::mutex mutex_;       ///< of what follows
    std::string own_;
    bluez::EventLoop loop_;
    NotificationMonitor monitor_;
};

OtherNotifications::OtherNotifications(std::shared_ptr<ancs::NotificationProvider> provider,
                                       std::shared_ptr<const platform::Clock> clock, OtherNotificationsOptions options)
    : watch_((precondition(provider && clock, "shared notifications have all that they are of"),
              std::make_shared<Watch>(std::move(provider), std::move(clock), std::move(options)))) {}

OtherNotifications::~OtherNotifications() {
    watch_->end();
}

void OtherNotifications::leaveOut(std::string busName) {
    watch_->leaveOut(std::move(busName));
}

} // namespace tarnel
