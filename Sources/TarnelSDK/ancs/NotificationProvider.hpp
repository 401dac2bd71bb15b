#pragma once

#include <TarnelSDK/ancs/Protocol.hpp>
#include <TarnelSDK/platform/Clock.hpp>
#include <TarnelSDK/platform/Queue.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::ancs {

/// What glasses learn of one notification.
struct Notification {
    std::string appIdentifier{}; ///< up to a zero byte, if there is one
    std::string appName{};
    std::string title{};
    std::string subtitle{};
    std::string message{};
    std::optional<platform::LocalTime> date = std::nullopt;
    Category category = Category::other;
    bool isSilent = false;
    bool isImportant = false;
    std::string positiveLabel{}; ///< what the action is called; empty: there is none
    std::string negativeLabel{};
    /// The wearer chose an action that the notification has. Called on the provider's queue.
    std::function<void(Action)> perform = nullptr;
};

/// The notifications that a host shares with glasses, behind the three characteristics of the service: whoever has the
/// radio hands in what is written and sends on what comes out.
///
/// Kept are the newest `mostKept`; of texts, what `longestText` and `longestName` bytes hold.
class NotificationProvider : public std::enable_shared_from_this<NotificationProvider> {
public:
    static constexpr std::size_t mostKept = 128;
    static constexpr std::size_t longestText = 8'192; ///< of a message
    static constexpr std::size_t longestName = 512;   ///< of all other texts

    /// Is told, on the provider's queue, what the notification source is to notify.
    class Listener {
    public:
        virtual ~Listener() = default;
        virtual void happened(const Event& event) = 0;
    };

    /// The outcome of a write to the control point: an error code of the attribute protocol, or the values that the
    /// data source is then to notify, in this order.
    struct Answer {
        std::optional<ErrorCode> error;
        std::vector<Bytes> data;
    };

    static std::shared_ptr<NotificationProvider> make(std::shared_ptr<platform::Queue> queue);

    /// The queue on which everything happens: serial.
    platform::Queue& queue() const { return *queue_; }

    // Any thread; takes effect on the queue.

    /// `key` names it to `remove`; a notification of the same key is modified.
    void add(std::string key, Notification notification);
    void remove(std::string key);

    // On the queue.

    void addListener(std::weak_ptr<Listener> listener);
    /// What a new subscriber of the notification source is told first, oldest first.
    std::vector<Event> existing() const;
    /// A value written to the control point; any bytes. `maximumValueLength` is that of a notification on the
    /// connection, at least 20 bytes.
    Answer write(ByteView command, std::size_t maximumValueLength);

    class Key {
        friend class NotificationProvider;
        Key() = default;
    };
    NotificationProvider(Key, std::shared_ptr<platform::Queue> queue) : queue_(std::move(queue)) {}

private:
    struct Entry {
        std::string key;
        Notification notification;
    };
    using Entries = std::map<std::uint32_t, Entry>;

    void keep(std::string key, Notification notification);
    void drop(Entries::iterator entry);
    Entries::iterator find(const std::string& key);
    void tell(EventID id, std::uint32_t uid, const Notification& notification);
    Event event(EventID id, std::uint32_t uid, const Notification& notification) const;

    std::variant<Bytes, ErrorCode> respond(const GetNotificationAttributes& command) const;
    std::variant<Bytes, ErrorCode> respond(const GetAppAttributes& command) const;
    std::variant<Bytes, ErrorCode> respond(const PerformNotificationAction& command) const;

    const std::shared_ptr<platform::Queue> queue_;
    std::vector<std::weak_ptr<Listener>> listeners_;
    std::uint32_t lastUid_ = 0;
    Entries entries_; ///< by uid, oldest first
};

} // namespace tarnel::ancs
