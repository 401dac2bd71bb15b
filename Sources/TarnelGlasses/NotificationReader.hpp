#pragma once

#include <TarnelSDK/platform/Bytes.hpp>
#include <TarnelSDK/platform/Queue.hpp>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::glasses {

/// One of the host's notifications as the glasses show it.
struct HostNotification {
    std::uint32_t uid = 0;
    std::string application{}; ///< its identifier
    std::string title{};
    std::string message{};
    int category = 0;
    bool isSilent = false;
    bool canBeOpened = false;  ///< has a positive action
    bool canBeCleared = false; ///< has a negative action

    friend bool operator==(const HostNotification&, const HostNotification&) = default;
};

/// The part of the program on the glasses that reads the host's notifications from its Apple Notification Center
/// Service: asks for title and message of each, one request at a time, and keeps the newest.
///
/// Knows nothing of radio or threads: all calls come one at a time, and `Output` is called inside them. Takes any
/// bytes: what is not well formed is counted and dropped; a response that does not come is given up.
class NotificationReader {
public:
    static constexpr std::size_t mostKept = 32;
    static constexpr std::uint16_t longestApplication = 1'024;
    static constexpr std::uint16_t longestTitle = 128;
    static constexpr std::uint16_t longestMessage = 1'024;

    struct Output {
        /// Subscribes to the data source and the notification source.
        std::function<void()> subscribe;
        /// Writes to the control point, with response.
        std::function<void(Bytes value)> write;
        /// Calls back later, as one more call of those that come one at a time, and not once the reader is gone.
        std::function<void(platform::Duration delay, platform::Block block)> after;
        /// The notifications are others.
        std::function<void()> changed;
    };

    explicit NotificationReader(Output output) : output_(std::move(output)) {}

    /// The host has the service for these glasses.
    void begin();
    /// The service or the connection is gone, and the notifications with it.
    void end();

    /// A value of the notification source.
    void receiveEvent(ByteView value);
    /// A value of the data source.
    void receiveData(ByteView value);
    /// The write to the control point was answered.
    void written(bool isAccepted);

    /// The wearer opens or clears one that can be; else nothing happens.
    void open(std::uint32_t uid);
    void clear(std::uint32_t uid);

    /// Oldest first.
    const std::deque<HostNotification>& notifications() const { return notifications_; }
    /// Values that were not well formed, requests that were refused or not answered.
    std::size_t errorCount() const { return errorCount_; }

private:
    struct Request {
        Bytes command;
        std::optional<HostNotification> notification{}; ///< what is asked about; empty for an action
        bool isGone = false;                            ///< so is what it asks about
    };

    void ask(HostNotification notification);
    void act(std::uint32_t uid, bool isPositive);
    void enqueue(Request request);
    void sendNext();
    void finishIfDone();
    void finish(bool isWell);
    void keep(HostNotification notification);
    void forget(std::uint32_t uid);

    const Output output_;
    bool isOn_ = false;
    std::deque<Request> requests_; ///< the first is under way
    std::uint64_t number_ = 0;     ///< of the request under way
    Bytes response_;               ///< to it, as far as it has come
    bool isComplete_ = false;      ///< so is the response
    bool isWritten_ = false;       ///< the host has taken the request
    std::deque<HostNotification> notifications_;
    std::size_t errorCount_ = 0;
};

} // namespace tarnel::glasses
