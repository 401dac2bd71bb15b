#include <TarnelSDK/platform/Precondition.hpp>
#include <TarnelSDK/schedulers/MemoryUserNotifications.hpp>

#include <algorithm>
#include <utility>

namespace tarnel {

using platform::NotificationAction;
using platform::PresentationOptions;
using platform::UserNotificationRequest;

std::shared_ptr<MemoryUserNotifications>
MemoryUserNotifications::make(std::shared_ptr<platform::Queue> queue,
                              std::shared_ptr<platform::Application> application) {
    return std::make_shared<MemoryUserNotifications>(Key(), std::move(queue), std::move(application));
}

MemoryUserNotifications::MemoryUserNotifications(Key, std::shared_ptr<platform::Queue> queue,
                                                 std::shared_ptr<platform::Application> application)
    : queue_(std::move(queue)), application_(std::move(application)) {
    precondition(queue_ && application_, "notifications have a queue and an application");
}

void MemoryUserNotifications::setDelegate(std::weak_ptr<platform::UserNotificationDelegate> delegate) {
    const std::lock_guard lock(mutex_);
    delegate_ = std::move(delegate);
}

void MemoryUserNotifications::setError(std::optional<std::string> error) {
    const std::lock_guard lock(mutex_);
    error_ = std::move(error);
}

void MemoryUserNotifications::add(UserNotificationRequest request, AddCompletion completion) {
    std::unique_lock lock(mutex_);
    const auto error = error_;
    const auto number = ++requests_;
    const auto delay = request.delay;
    if (!error) {
        std::erase_if(pending_, [&](const auto& entry) { return entry.second.identifier == request.identifier; });
        pending_.emplace(number, std::move(request));
    }
    lock.unlock();
    queue_->async([error, completion = std::move(completion)] {
        if (completion) {
            completion(error);
        }
    });
    if (!error) {
        queue_->asyncAfter(delay, [weak = weak_from_this(), number] {
            if (const auto self = weak.lock()) {
                self->deliver(number);
            }
        });
    }
}

void MemoryUserNotifications::deliver(std::uint64_t number) {
    std::unique_lock lock(mutex_);
    auto node = pending_.extract(number);
    const auto delegate = delegate_.lock();
    lock.unlock();
    if (!node) {
        return;
    }
    if (!delegate || application_->state() != platform::ApplicationState::active) {
        show(std::move(node.mapped()), std::nullopt);
        return;
    }
    delegate->willPresent(node.mapped(),
                          [weak = weak_from_this(), request = node.mapped()](PresentationOptions options) {
                              if (const auto self = weak.lock()) {
                                  self->show(request, options);
                              }
                          });
}

void MemoryUserNotifications::show(UserNotificationRequest request, std::optional<PresentationOptions> options) {
    const std::lock_guard lock(mutex_);
    std::erase_if(shown_, [&](const Shown& shown) { return shown.request.identifier == request.identifier; });
    if (shown_.size() == mostKept) {
        shown_.erase(shown_.begin());
    }
    shown_.push_back({std::move(request), options});
}

std::vector<UserNotificationRequest> MemoryUserNotifications::pending() const {
    const std::lock_guard lock(mutex_);
    std::vector<UserNotificationRequest> requests;
    for (const auto& [number, request] : pending_) {
        requests.push_back(request);
    }
    return requests;
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
    return respond(identifier, NotificationAction::default_);
}

bool MemoryUserNotifications::dismiss(const std::string& identifier) {
    return respond(identifier, NotificationAction::dismiss);
}

bool MemoryUserNotifications::choose(const std::string& identifier) {
    return respond(identifier, NotificationAction::other);
}

bool MemoryUserNotifications::respond(const std::string& identifier, NotificationAction action) {
    std::unique_lock lock(mutex_);
    const auto found = std::find_if(shown_.begin(), shown_.end(),
                                    [&](const Shown& shown) { return shown.request.identifier == identifier; });
    if (found == shown_.end()) {
        return false;
    }
    const platform::NotificationResponse response{action, std::move(found->request)};
    shown_.erase(found);
    lock.unlock();
    queue_->async([weak = weak_from_this(), response] {
        const auto self = weak.lock();
        if (!self) {
            return;
        }
        std::unique_lock delegateLock(self->mutex_);
        const auto delegate = self->delegate_.lock();
        delegateLock.unlock();
        if (delegate) {
            delegate->didReceive(response, [weak] {
                if (const auto notifications = weak.lock()) {
                    const std::lock_guard countLock(notifications->mutex_);
                    ++notifications->acknowledged_;
                }
            });
        }
    });
    return true;
}

} // namespace tarnel
