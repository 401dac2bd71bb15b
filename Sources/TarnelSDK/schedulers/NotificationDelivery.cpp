#include <TarnelSDK/platform/Precondition.hpp>
#include <TarnelSDK/schedulers/NotificationDelivery.hpp>

#include <algorithm>
#include <atomic>
#include <utility>

namespace tarnel {

using platform::PresentationOptions;
using platform::UserNotificationRequest;

bool contains(std::optional<PresentationOptions> options, PresentationOptions option) {
    return !options || (static_cast<std::uint32_t>(*options) & static_cast<std::uint32_t>(option)) != 0;
}

bool isSeen(std::optional<PresentationOptions> options) {
    return contains(options, PresentationOptions::list) || contains(options, PresentationOptions::banner);
}

bool isQuiet(std::optional<PresentationOptions> options) {
    return isSeen(options) && !contains(options, PresentationOptions::banner);
}

std::shared_ptr<NotificationDelivery> NotificationDelivery::make(std::shared_ptr<platform::Queue> queue,
                                                                 std::shared_ptr<platform::Application> application,
                                                                 Present present) {
    return std::make_shared<NotificationDelivery>(Key(), std::move(queue), std::move(application), std::move(present));
}

NotificationDelivery::NotificationDelivery(Key, std::shared_ptr<platform::Queue> queue,
                                           std::shared_ptr<platform::Application> application, Present present)
    : queue_(std::move(queue)), application_(std::move(application)), present_(std::move(present)) {
    precondition(queue_ && application_, "notifications have a queue and an application");
}

void NotificationDelivery::setDelegate(std::weak_ptr<platform::UserNotificationDelegate> delegate) {
    const std::lock_guard lock(mutex_);
    delegate_ = std::move(delegate);
}

std::shared_ptr<platform::UserNotificationDelegate> NotificationDelivery::delegate() const {
    const std::lock_guard lock(mutex_);
    return delegate_.lock();
}

void NotificationDelivery::add(UserNotificationRequest request, AddCompletion completion) {
    const auto delay = request.delay;
    AddCompletion replaced;
    std::unique_lock lock(mutex_);
    const auto earlier = std::find_if(pending_.begin(), pending_.end(), [&](const auto& entry) {
        return entry.second.request.identifier == request.identifier;
    });
    if (earlier != pending_.end()) {
        replaced = std::move(earlier->second.completion);
        pending_.erase(earlier);
    }
    const auto number = ++requests_;
    pending_.emplace(number, Pending{std::move(request), std::move(completion)});
    lock.unlock();
    if (replaced) {
        queue_->async([replaced = std::move(replaced)] { replaced(std::nullopt); });
    }
    queue_->asyncAfter(delay, [weak = weak_from_this(), number] {
        if (const auto self = weak.lock()) {
            self->deliver(number);
        }
    });
}

void NotificationDelivery::deliver(std::uint64_t number) {
    std::unique_lock lock(mutex_);
    auto node = pending_.extract(number);
    lock.unlock();
    if (!node) {
        return;
    }
    auto& [request, completion] = node.mapped();
    const auto asked = delegate();
    if (!asked || application_->state() != platform::ApplicationState::active) {
        present_(std::move(request), std::nullopt, std::move(completion));
        return;
    }
    const auto isAnswered = std::make_shared<std::atomic<bool>>(false);
    asked->willPresent(request, [weak = weak_from_this(), isAnswered, request = request,
                                 completion = std::move(completion)](PresentationOptions options) {
        const auto self = weak.lock();
        if (self && !isAnswered->exchange(true)) {
            self->present_(request, options, completion);
        }
    });
}

std::vector<UserNotificationRequest> NotificationDelivery::pending() const {
    const std::lock_guard lock(mutex_);
    std::vector<UserNotificationRequest> requests;
    requests.reserve(pending_.size());
    for (const auto& [number, entry] : pending_) {
        requests.push_back(entry.request);
    }
    return requests;
}

void NotificationDelivery::respond(platform::NotificationResponse response, std::function<void()> acknowledged) {
    queue_->async([weak = weak_from_this(), response = std::move(response), acknowledged = std::move(acknowledged)] {
        const auto self = weak.lock();
        const auto told = self ? self->delegate() : nullptr;
        if (told) {
            told->didReceive(response, [acknowledged] {
                if (acknowledged) {
                    acknowledged();
                }
            });
        }
    });
}

} // namespace tarnel
