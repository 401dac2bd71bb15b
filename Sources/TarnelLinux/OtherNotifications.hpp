#pragma once

#include <TarnelSDK/ancs/NotificationProvider.hpp>
#include <TarnelSDK/platform/Clock.hpp>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tarnel {

struct OtherNotificationsOptions {
    /// The D-Bus address of the bus that the notification service is on; the session's bus when empty.
    std::optional<std::string> busAddress = std::nullopt;
    /// How long the bus may take to answer.
    std::chrono::milliseconds patience = std::chrono::seconds(25);
    /// Told, on a thread of its own, why nothing is shared any more: a sentence for the user. Printed to standard
    /// output when empty.
    std::function<void(const std::string& why)> ended = nullptr;
};

/// Shares the notifications of other programs with glasses: those that go through the desktop's notification service
/// (org.freedesktop.Notifications), from now on, with application, title and text. On the glasses they can be read, not
/// answered. One that runs out of time stays, as in the desktop's list, unless it is transient.
///
/// The session bus is watched on a connection and a thread of their own, and may refuse that, as it does to programs in
/// a sandbox.
class OtherNotifications {
public:
    /// Of those whose end is awaited.
    static constexpr std::size_t mostKept = 256;

    OtherNotifications(std::shared_ptr<ancs::NotificationProvider> provider,
                       std::shared_ptr<const platform::Clock> clock, OtherNotificationsOptions options = {});
    /// What is shared stays shared; no more is. Any thread, also within `ended`.
    ~OtherNotifications();
    OtherNotifications(const OtherNotifications&) = delete;
    OtherNotifications& operator=(const OtherNotifications&) = delete;

    /// What comes from the connection of this bus name is the application's own, and left out. Any thread; the last
    /// call counts.
    void leaveOut(std::string busName);

private:
    class Watch;
    const std::shared_ptr<Watch> watch_;
};

} // namespace tarnel
