#include <TarnelSDK/schedulers/MemoryUserNotifications.hpp>

#include <algorithm>
#include <utility>

namespace tarnel {

using platform::NotificationAction;
using platform::PresentationOptions;
using platform::UserNotificationRequest;

std::shared_ptr<MemoryUserNotifications>
MemoryUserNotifications::make(std::shared_ptr<platform::Queue> queue,
                              const std::shared_ptr<platform::Application>& application) {
    auto made = std::make_shared<MemoryUserNotifications>(Key(), queue);
    made->delivery_ = NotificationDelivery::make(
        std::move(queue), application,
        [weak = std::weak_ptr(made)](UserNotificationRequest request, std::optional<PresentationOptions> options,
                                     const AddCompletion&) {
            if (const auto self = weak.lock()) {
                self->show(std::move(request), options);
            }
        });
    return made;
}

MemoryUserNotifications::MemoryUserNotifications(Key, std::shared_ptr<platform::Queue> queue)
    : queue_(std::move(queue)) {}

void MemoryUserNotifications::setDelegate(std::weak_ptr<platform::UserNotificationDelegate> delegate) {
    delivery_->setDelegate(std::move(delegate));
}

void MemoryUserNotifications::setError(std::optional<std::string> error) {
    const std::lock_guard lock(mutex_);
    error_ = std::move(error);
}

void MemoryUserNotifications::add(UserNotificationRequest request, AddCompletion completion) {
    std::unique_lock lock(mutex_);
    const auto error = error_;
    lock.unlock();
    queue_->async([error, completion = std::move(completion)] {
        if (completion) {
            completion(error);
        }
    });
    if (!error) {
        delivery_->add(std::move(request), nullptr);
    }
}

void MemoryUserNotifications::show(UserNotificationRequest request, std::optional<PresentationOptions> options) {
    std::optional<std::string> pushedOut;
    std::unique_lock lock(mutex_);
    std::erase_if(shown_, [&](const Shown& shown) { return shown.request.identifier == request.identifier; });
    if (shown_.size() == mostKept) {
        pushedOut = shown_.front().request.identifier;
        shown_.erase(shown_.begin());
    }
    shown_.push_back({request, options});
    lock.unlock();
    if (pushedOut) {
        tellAudience([identifier = *pushedOut](NotificationAudience& audience) { audience.gone(identifier); });
    }
    if (isSeen(options)) {
        tellAudience([request = std::move(request), isQuiet = isQuiet(options)](NotificationAudience& audience) {
            audience.shown(request, isQuiet);
        });
    }
}

void MemoryUserNotifications::setAudience(std::weak_ptr<NotificationAudience> audience) {
    const std::lock_guard lock(mutex_);
    audience_ = std::move(audience);
}

void MemoryUserNotifications::tellAudience(std::function<void(NotificationAudience&)> news) {
    queue_->async([weak = weak_from_this(), news = std::move(news)] {
        const auto self = weak.lock();
        if (!self) {
            return;
        }
        std::unique_lock lock(self->mutex_);
        const auto audience = self->audience_.lock();
        lock.unlock();
        if (audience) {
            news(*audience);
        }
    });
}

void MemoryUserNotifications::respond(const std::string& identifier, NotificationAction action) {
    answer(identifier, action);
}

std::vector<UserNotificationRequest> MemoryUserNotifications::pending() const {
    return delivery_->pending();
}

std::vector<MemoryUserNotifications::Shown> MemoryUserNotifications::shown() const {
    const std::lock_guard lock(mutex_);
    return shown_;
}

std::size_t MemoryUserNotifications::acknowledged() const {
    const std::lock_guard lock(mutex_);
    return acknowledged_;
}

bool MemoryUserNotifications::tap(const std::string& identifier) {
    return answer(identifier, NotificationAction::default_);
}

bool MemoryUserNotifications::dismiss(const std::string& identifier) {
    return answer(identifier, NotificationAction::dismiss);
}

bool MemoryUserNotifications::choose(const std::string& identifier) {
    return answer(identifier, NotificationAction::other);
}

bool MemoryUserNotifications::answer(const std::string& identifier, NotificationAction action) {
    std::unique_lock lock(mutex_);
    const auto found = std::find_if(shown_.begin(), shown_.end(),
                                    [&](const Shown& shown) { return shown.request.identifier == identifier; });
    if (found == shown_.end()) {
        return false;
    }
    platform::NotificationResponse response{action, std::move(found->request)};
    shown_.erase(found);
    lock.unlock();
    tellAudience([identifier](NotificationAudience& audience) { audience.gone(identifier); });
    delivery_->respond(std::move(response), [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            const std::lock_guard countLock(self->mutex_);
            ++self->acknowledged_;
        }
    });
    return true;
}

} // namespace tarnel
