#include <TarnelLinux/DesktopUserNotifications.hpp>
#include <TarnelLinux/bluez/EventLoop.hpp>
#include <TarnelLinux/desktop/NotificationDaemon.hpp>
#include <TarnelLinux/desktop/Text.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

namespace tarnel {

using desktop::displayable;
using desktop::NotificationDaemon;
using platform::NotificationAction;
using platform::PresentationOptions;
using platform::UserNotificationRequest;

namespace {

constexpr const char* fallbackName = "TarnelSDK";

} // namespace

/// The desktop as the notifications meet it. Used on its own thread, save for `post` and `end`.
class DesktopUserNotifications::Desk final : public NotificationDaemon::Listener,
                                             public std::enable_shared_from_this<Desk> {
public:
    Desk(NotificationDaemon::Options options, std::weak_ptr<NotificationDelivery> delivery)
        : daemon_(loop_, std::move(options), *this), delivery_(std::move(delivery)) {}
    ~Desk() override { loop_.end(); }
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;

    /// Nothing is told any more. It lives until the task that called this is done.
    void end() { loop_.end(shared_from_this()); }

    void post(desktop::DesktopNotification notification, UserNotificationRequest request, AddCompletion completion) {
        loop_.post([weak = weak_from_this(), notification = std::move(notification), request = std::move(request),
                    completion = std::move(completion)]() mutable {
            if (const auto self = weak.lock()) {
                self->show({std::move(notification), std::move(request), std::move(completion)});
            }
        });
    }

    void invoked(std::uint32_t id, const std::string& action) override {
        respond(id, action == "default" ? NotificationAction::default_ : NotificationAction::other);
    }
    void closed(std::uint32_t id, NotificationDaemon::ClosedReason reason) override {
        switch (reason) {
        case NotificationDaemon::ClosedReason::dismissed:
            respond(id, NotificationAction::dismiss);
            break;
        case NotificationDaemon::ClosedReason::expired:
            break;
        case NotificationDaemon::ClosedReason::withdrawn:
        case NotificationDaemon::ClosedReason::undefined:
        default:
            forget(id);
        }
    }
    void gone() override {
        for (const auto& lost : std::exchange(shown_, {})) {
            tellGone(lost);
        }
    }

    void setAudience(std::weak_ptr<NotificationAudience> audience) {
        loop_.post([weak = weak_from_this(), audience = std::move(audience)]() mutable {
            if (const auto self = weak.lock()) {
                self->audience_ = std::move(audience);
            }
        });
    }

    void respondElsewhere(const std::string& identifier, NotificationAction action) {
        loop_.post([weak = weak_from_this(), identifier, action] {
            const auto self = weak.lock();
            if (!self) {
                return;
            }
            const auto found = self->find(identifier);
            if (found != self->shown_.end()) {
                self->daemon_.close(found->id);
                self->respond(found->id, action);
            }
        });
    }

private:
    struct Shown {
        std::uint32_t id;
        UserNotificationRequest request;
        bool isQuiet;
    };
    struct Waiting {
        desktop::DesktopNotification notification;
        UserNotificationRequest request;
        AddCompletion completion;
    };

    std::vector<Shown>::iterator find(const std::string& identifier) {
        return std::find_if(shown_.begin(), shown_.end(),
                            [&](const Shown& shown) { return shown.request.identifier == identifier; });
    }
    std::vector<Shown>::iterator find(std::uint32_t id) {
        return std::find_if(shown_.begin(), shown_.end(), [&](const Shown& shown) { return shown.id == id; });
    }

    /// What replaces another has to know the desktop's number of that.
    void show(Waiting waiting) {
        const auto [entry, isFirst] = underWay_.try_emplace(waiting.request.identifier);
        if (isFirst) {
            send(std::move(waiting));
        } else {
            entry->second.push_back(std::move(waiting));
        }
    }
    void send(Waiting waiting) {
        const auto earlier = find(waiting.request.identifier);
        waiting.notification.replaces = earlier == shown_.end() ? 0 : earlier->id;
        const bool isQuiet = waiting.notification.isQuiet;
        daemon_.notify(std::move(waiting.notification),
                       [this, isQuiet, request = std::move(waiting.request),
                        completion = std::move(waiting.completion)](const NotificationDaemon::Result& result) {
                           if (result.id) {
                               keep({*result.id, request, isQuiet});
                           }
                           sendNext(request.identifier);
                           if (completion && !loop_.hasEnded()) {
                               completion(result.error);
                           }
                       });
    }
    void sendNext(const std::string& identifier) {
        const auto entry = underWay_.find(identifier);
        if (entry->second.empty()) {
            underWay_.erase(entry);
            return;
        }
        Waiting next = std::move(entry->second.front());
        entry->second.pop_front();
        send(std::move(next));
    }
    void keep(Shown shown) {
        if (const auto earlier = find(shown.request.identifier); earlier != shown_.end()) {
            shown_.erase(earlier);
        }
        forget(shown.id);
        if (shown_.size() == mostKept) {
            forget(shown_.front().id);
        }
        shown_.push_back(std::move(shown));
        if (const auto told = audience()) {
            told->shown(shown_.back().request, shown_.back().isQuiet);
        }
    }
    void forget(std::uint32_t id) {
        if (const auto found = find(id); found != shown_.end()) {
            const auto forgotten = std::move(*found);
            shown_.erase(found);
            tellGone(forgotten);
        }
    }
    void tellGone(const Shown& shown) {
        if (const auto told = audience()) {
            told->gone(shown.request.identifier);
        }
    }
    /// Whoever is told may end everything.
    std::shared_ptr<NotificationAudience> audience() const { return loop_.hasEnded() ? nullptr : audience_.lock(); }
    void respond(std::uint32_t id, NotificationAction action) {
        const auto found = find(id);
        if (found == shown_.end()) {
            return;
        }
        platform::NotificationResponse response{action, found->request};
        forget(id);
        const auto delivery = delivery_.lock();
        if (delivery && !loop_.hasEnded()) {
            delivery->respond(std::move(response));
        }
    }

    bluez::EventLoop loop_;
    NotificationDaemon daemon_;
    const std::weak_ptr<NotificationDelivery> delivery_;
    std::weak_ptr<NotificationAudience> audience_;
    std::vector<Shown> shown_; ///< oldest first
    /// By the identifier of one that the desktop has not taken yet, those that are to replace it.
    std::map<std::string, std::deque<Waiting>> underWay_;
};

std::shared_ptr<DesktopUserNotifications>
DesktopUserNotifications::make(std::shared_ptr<platform::Queue> queue,
                               std::shared_ptr<platform::Application> application, DesktopNotificationOptions options) {
    auto made =
        std::make_shared<DesktopUserNotifications>(Key(), std::move(queue), std::move(application), std::move(options));
    made->delivery_ = NotificationDelivery::make(
        made->queue_, made->application_,
        [weak = std::weak_ptr(made)](UserNotificationRequest request, std::optional<PresentationOptions> presentation,
                                     AddCompletion completion) {
            if (const auto self = weak.lock()) {
                self->present(std::move(request), presentation, std::move(completion));
            }
        });
    return made;
}

DesktopUserNotifications::DesktopUserNotifications(Key, std::shared_ptr<platform::Queue> queue,
                                                   std::shared_ptr<platform::Application> application,
                                                   DesktopNotificationOptions options)
    : queue_(std::move(queue)), application_(std::move(application)), options_(std::move(options)) {
    precondition(queue_ && application_, "notifications have a queue and an application");
}

DesktopUserNotifications::~DesktopUserNotifications() {
    if (desk_) {
        desk_->end();
    }
}

void DesktopUserNotifications::setDelegate(std::weak_ptr<platform::UserNotificationDelegate> delegate) {
    delivery_->setDelegate(std::move(delegate));
}

void DesktopUserNotifications::add(UserNotificationRequest request, AddCompletion completion) {
    delivery_->add(std::move(request), std::move(completion));
}

std::shared_ptr<DesktopUserNotifications::Desk> DesktopUserNotifications::desk() {
    const std::lock_guard lock(mutex_);
    if (!desk_) {
        desk_ = std::make_shared<Desk>(NotificationDaemon::Options{.busAddress = options_.busAddress,
                                                                   .patience = options_.patience,
                                                                   .connected = options_.connected},
                                       delivery_);
        desk_->setAudience(audience_);
    }
    return desk_;
}

void DesktopUserNotifications::setAudience(std::weak_ptr<NotificationAudience> audience) {
    const std::lock_guard lock(mutex_);
    audience_ = std::move(audience);
    if (desk_) {
        desk_->setAudience(audience_);
    }
}

void DesktopUserNotifications::respond(const std::string& identifier, NotificationAction action) {
    const std::lock_guard lock(mutex_);
    if (desk_) {
        desk_->respondElsewhere(identifier, action);
    }
}

void DesktopUserNotifications::present(UserNotificationRequest request, std::optional<PresentationOptions> options,
                                       AddCompletion completion) {
    if (!isSeen(options)) {
        queue_->async([completion = std::move(completion)] {
            if (completion) {
                completion(std::nullopt);
            }
        });
        return;
    }
    const auto identifier = application_->bundleIdentifier();
    const auto& content = request.content;
    desktop::DesktopNotification notification{
        .applicationName = displayable(options_.applicationName.empty() ? identifier.value_or(fallbackName)
                                                                        : options_.applicationName),
        .desktopEntry = displayable(identifier.value_or("")),
        .summary = displayable(content.title),
        .body = displayable(content.body),
        .category = content.categoryIdentifier.empty() ? "" : "x-" + displayable(content.categoryIdentifier),
        .isQuiet = isQuiet(options),
        .isSilent = !contains(options, PresentationOptions::sound),
        .isTransient = !contains(options, PresentationOptions::list),
    };
    desk()->post(std::move(notification), std::move(request), std::move(completion));
}

} // namespace tarnel
