#pragma once

#include <TarnelLinux/DesktopUserNotifications.hpp>
#include <TarnelSDK/schedulers/SettableApplication.hpp>
#include <TarnelSDK/schedulers/ThreadScheduler.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tarnel::test {

inline const std::optional<std::string> noError = std::nullopt;

/// An application that sends notifications and keeps a record of what becomes of them. Any thread.
class NotifyingApplication {
public:
    static constexpr const char* identifier = "org.example.reader";

    struct Response {
        platform::NotificationAction action;
        std::string identifier;
        std::optional<Value::Dictionary> userInfo;
        friend bool operator==(const Response&, const Response&) = default;
    };

    explicit NotifyingApplication(DesktopNotificationOptions options)
        : notifications(DesktopUserNotifications::make(queue, application, std::move(options))) {
        application->setState(platform::ApplicationState::background);
        notifications->setDelegate(delegate_);
    }
    ~NotifyingApplication() {
        notifications = nullptr;
        scheduler.shutDown();
    }
    NotifyingApplication(const NotifyingApplication&) = delete;
    NotifyingApplication& operator=(const NotifyingApplication&) = delete;

    void add(const std::string& name, const std::string& title = "Title", const std::string& body = "Body",
             const std::optional<Value::Dictionary>& userInfo = std::nullopt) {
        const std::lock_guard lock(record_->mutex);
        notifications->add(
            {.identifier = name,
             .content = {.title = title, .body = body, .categoryIdentifier = identifier, .userInfo = userInfo}},
            [record = record_](const std::optional<std::string>& error) {
                // Held by whoever adds: taken only when this is not called inside `add`.
                const std::lock_guard completionLock(record->mutex);
                record->completions.push_back(error);
                record->changed.notify_all();
            });
    }

    /// The application is in front from now on, and its delegate answers like this.
    void comeToFront(platform::PresentationOptions options) {
        record_->options = options;
        application->setState(platform::ApplicationState::active);
    }

    /// What has become of the requests, in the order in which it did; waits for this many, half a minute at most.
    std::vector<std::optional<std::string>> completions(std::size_t count) {
        return awaited(record_->completions, count);
    }
    std::vector<Response> responses(std::size_t count) { return awaited(record_->responses, count); }

    ThreadScheduler scheduler;
    std::shared_ptr<platform::Queue> queue = scheduler.makeSerialQueue("main");
    std::shared_ptr<SettableApplication> application = std::make_shared<SettableApplication>(identifier);
    std::shared_ptr<DesktopUserNotifications> notifications;

private:
    struct Record {
        std::mutex mutex;
        std::condition_variable changed;
        platform::PresentationOptions options = platform::PresentationOptions::none;
        std::vector<std::optional<std::string>> completions;
        std::vector<Response> responses;
    };

    class Delegate final : public platform::UserNotificationDelegate {
    public:
        Delegate(std::shared_ptr<Record> record, std::shared_ptr<platform::Queue> queue)
            : record_(std::move(record)), queue_(std::move(queue)) {}

        void willPresent(const platform::UserNotificationRequest&,
                         const std::function<void(platform::PresentationOptions)>& completionHandler) override {
            EXPECT_TRUE(queue_->isCurrent());
            completionHandler(record_->options);
            completionHandler(platform::PresentationOptions::banner); // once too often
        }
        void didReceive(const platform::NotificationResponse& response,
                        const std::function<void()>& completionHandler) override {
            EXPECT_TRUE(queue_->isCurrent());
            const std::lock_guard lock(record_->mutex);
            record_->responses.push_back(
                {response.action, response.request.identifier, response.request.content.userInfo});
            record_->changed.notify_all();
            completionHandler();
        }

    private:
        const std::shared_ptr<Record> record_;
        const std::shared_ptr<platform::Queue> queue_;
    };

    template <typename T>
    std::vector<T> awaited(const std::vector<T>& list, std::size_t count) {
        std::unique_lock lock(record_->mutex);
        EXPECT_TRUE(record_->changed.wait_for(lock, std::chrono::seconds(30), [&] { return list.size() >= count; }));
        return list;
    }

    std::shared_ptr<Record> record_ = std::make_shared<Record>();
    std::shared_ptr<Delegate> delegate_ = std::make_shared<Delegate>(record_, queue);
};

} // namespace tarnel::test
