#pragma once

#include <TarnelLinux/bluez/EventLoop.hpp>

#include <sdbus-c++/sdbus-c++.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tarnel::test {

/// What a notification daemon was asked to show.
struct FakeNotification {
    std::uint32_t id = 0;
    std::string applicationName;
    std::uint32_t replaces = 0;
    std::string icon;
    std::string summary;
    std::string body;
    std::vector<std::string> actions;
    std::map<std::string, sdbus::Variant> hints;
    std::int32_t timeout = 0;

    template <typename T>
    std::optional<T> hint(const std::string& name) const {
        const auto found = hints.find(name);
        return found == hints.end() ? std::nullopt : std::optional(found->second.get<T>());
    }
};

/// A desktop's notification daemon on a private bus, whose user is the test. Any thread.
class FakeDesktop {
public:
    explicit FakeDesktop(std::string busAddress) : busAddress_(std::move(busAddress)) {}
    ~FakeDesktop();
    FakeDesktop(const FakeDesktop&) = delete;
    FakeDesktop& operator=(const FakeDesktop&) = delete;

    void start();
    void crash();
    void setCapabilities(std::vector<std::string> capabilities);
    /// From now on no call of the method is answered.
    void hold(const std::string& method);
    /// Takes the notifications that were held, in their order, and holds no more.
    void takeHeld();
    /// From now on notifications are refused with this text.
    void refuse(std::string text);
    /// The numbers that are given from now on.
    void setNextId(std::uint32_t id);

    void invoke(std::uint32_t id, const std::string& action);
    void close(std::uint32_t id, std::uint32_t reason);
    /// A signal with one text in place of what belongs there.
    void sendNonsense(const std::string& signal);

    /// Waits for this many notifications since the beginning; false when they do not come within half a minute.
    bool await(std::size_t count);
    std::vector<FakeNotification> notifications();
    /// What was to be closed, waiting for this many.
    std::vector<std::uint32_t> closed(std::size_t count);
    int calls(const std::string& method);

private:
    void sync(const std::function<void()>& task);
    void count(const std::string& method);
    bool isHeld(const std::string& method);
    void signal(const std::string& name, const std::function<void(sdbus::Signal&)>& fill);
    void notify(FakeNotification notification, sdbus::Result<std::uint32_t> result);

    const std::string busAddress_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IObject> object_;
    std::vector<sdbus::Result<std::vector<std::string>>> heldCapabilities_;
    std::vector<std::pair<FakeNotification, sdbus::Result<std::uint32_t>>> heldNotifications_;

    std::mutex mutex_; ///< of what follows
    std::condition_variable changed_;
    std::vector<std::string> capabilities_{"actions", "body", "body-markup", "persistence"};
    std::vector<std::string> heldMethods_;
    std::optional<std::string> refusal_;
    std::uint32_t nextId_ = 1;
    std::vector<FakeNotification> notifications_;
    std::vector<std::uint32_t> closed_;
    std::map<std::string, int> calls_;

    bluez::EventLoop loop_;
};

} // namespace tarnel::test
