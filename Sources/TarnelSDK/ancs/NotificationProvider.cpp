#include <TarnelSDK/ancs/NotificationProvider.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <utility>

namespace tarnel::ancs {
namespace {

constexpr std::size_t leastValueLength = 20;

void cut(std::string& text, std::size_t greatestLength) {
    text.resize(truncatedUTF8(text, greatestLength).size());
}

std::string textOf(const platform::LocalTime& time) {
    std::array<char, 80> text{};
    std::snprintf(text.data(), text.size(), "%04d%02d%02dT%02d%02d%02d", time.year, time.month, time.day, time.hour,
                  time.minute, time.second);
    return text.data();
}

std::string textOf(const Notification& notification, NotificationAttribute attribute) {
    switch (attribute) {
    case NotificationAttribute::appIdentifier:
        return notification.appIdentifier;
    case NotificationAttribute::title:
        return notification.title;
    case NotificationAttribute::subtitle:
        return notification.subtitle;
    case NotificationAttribute::message:
        return notification.message;
    case NotificationAttribute::messageSize:
        return std::to_string(notification.message.size());
    case NotificationAttribute::date:
        return notification.date ? textOf(*notification.date) : "";
    case NotificationAttribute::positiveActionLabel:
        return notification.positiveLabel;
    case NotificationAttribute::negativeActionLabel:
        return notification.negativeLabel;
    }
    return {};
}

std::uint8_t flagsOf(const Notification& notification) {
    unsigned flags = 0;
    flags |= notification.isSilent ? silent : 0U;
    flags |= notification.isImportant ? important : 0U;
    flags |= notification.positiveLabel.empty() ? 0U : positiveAction;
    flags |= notification.negativeLabel.empty() ? 0U : negativeAction;
    return static_cast<std::uint8_t>(flags);
}

} // namespace

std::shared_ptr<NotificationProvider> NotificationProvider::make(std::shared_ptr<platform::Queue> queue) {
    precondition(queue != nullptr, "a notification provider has a queue");
    return std::make_shared<NotificationProvider>(Key(), std::move(queue));
}

void NotificationProvider::add(std::string key, Notification notification) {
    queue_->async([weak = weak_from_this(), key = std::move(key), notification = std::move(notification)]() mutable {
        if (const auto self = weak.lock()) {
            self->keep(std::move(key), std::move(notification));
        }
    });
}

void NotificationProvider::remove(std::string key) {
    queue_->async([weak = weak_from_this(), key = std::move(key)] {
        const auto self = weak.lock();
        if (!self) {
            return;
        }
        if (const auto found = self->find(key); found != self->entries_.end()) {
            self->drop(found);
        }
    });
}

NotificationProvider::Entries::iterator NotificationProvider::find(const std::string& key) {
    return std::find_if(entries_.begin(), entries_.end(), [&](const auto& entry) { return entry.second.key == key; });
}

void NotificationProvider::keep(std::string key, Notification notification) {
    notification.appIdentifier.resize(
        std::min(notification.appIdentifier.find('\0'), notification.appIdentifier.size()));
    for (std::string* text : {&notification.appIdentifier, &notification.appName, &notification.title,
                              &notification.subtitle, &notification.positiveLabel, &notification.negativeLabel}) {
        cut(*text, longestName);
    }
    cut(notification.message, longestText);

    if (const auto found = find(key); found != entries_.end()) {
        found->second.notification = std::move(notification);
        tell(EventID::modified, found->first, found->second.notification);
        return;
    }
    if (entries_.size() == mostKept) {
        drop(entries_.begin());
    }
    const auto uid = ++lastUid_;
    const auto& entry = entries_.insert_or_assign(uid, Entry{std::move(key), std::move(notification)}).first->second;
    tell(EventID::added, uid, entry.notification);
}

void NotificationProvider::drop(Entries::iterator entry) {
    const auto node = entries_.extract(entry);
    tell(EventID::removed, node.key(), node.mapped().notification);
}

Event NotificationProvider::event(EventID id, std::uint32_t uid, const Notification& notification) const {
    const auto count = std::count_if(entries_.begin(), entries_.end(), [&](const auto& entry) {
        return entry.second.notification.category == notification.category;
    });
    return {.id = id,
            .flags = flagsOf(notification),
            .category = notification.category,
            .categoryCount =
                static_cast<std::uint8_t>(std::min<std::ptrdiff_t>(count, std::numeric_limits<std::uint8_t>::max())),
            .uid = uid};
}

void NotificationProvider::tell(EventID id, std::uint32_t uid, const Notification& notification) {
    const auto told = event(id, uid, notification);
    std::erase_if(listeners_, [](const auto& listener) { return listener.expired(); });
    const auto listeners = listeners_;
    for (const auto& weak : listeners) {
        if (const auto listener = weak.lock()) {
            listener->happened(told);
        }
    }
}

void NotificationProvider::addListener(std::weak_ptr<Listener> listener) {
    listeners_.push_back(std::move(listener));
}

std::vector<Event> NotificationProvider::existing() const {
    std::vector<Event> events;
    events.reserve(entries_.size());
    for (const auto& [uid, entry] : entries_) {
        events.push_back(event(EventID::added, uid, entry.notification));
        events.back().flags |= preExisting;
    }
    return events;
}

NotificationProvider::Answer NotificationProvider::write(ByteView command, std::size_t maximumValueLength) {
    precondition(maximumValueLength >= leastValueLength, "a value of 20 bytes fits every connection");
    const auto parsed = parseCommand(command);
    if (const auto* error = std::get_if<ErrorCode>(&parsed)) {
        return {.error = *error, .data = {}};
    }
    const auto response = std::visit([this](const auto& known) { return respond(known); }, std::get<Command>(parsed));
    if (const auto* error = std::get_if<ErrorCode>(&response)) {
        return {.error = *error, .data = {}};
    }
    Answer answer;
    for (ByteView rest = std::get<Bytes>(response); !rest.empty();) {
        const auto part = rest.first(std::min(rest.size(), maximumValueLength));
        answer.data.emplace_back(part.begin(), part.end());
        rest = rest.subspan(part.size());
    }
    return answer;
}

std::variant<Bytes, ErrorCode> NotificationProvider::respond(const GetNotificationAttributes& command) const {
    const auto found = entries_.find(command.uid);
    if (found == entries_.end()) {
        return ErrorCode::invalidParameter;
    }
    std::vector<AttributeText> attributes;
    for (const auto& [id, greatestLength] : command.attributes) {
        auto text = textOf(found->second.notification, id);
        cut(text, greatestLength);
        attributes.emplace_back(static_cast<std::uint8_t>(id), std::move(text));
    }
    return encodeNotificationAttributes(command.uid, attributes);
}

std::variant<Bytes, ErrorCode> NotificationProvider::respond(const GetAppAttributes& command) const {
    const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const auto& entry) {
        return entry.second.notification.appIdentifier == command.appIdentifier;
    });
    if (found == entries_.end()) {
        return ErrorCode::invalidParameter;
    }
    const std::array<AttributeText, 1> attributes{
        {{static_cast<std::uint8_t>(AppAttribute::displayName), found->second.notification.appName}}};
    return encodeAppAttributes(command.appIdentifier, attributes);
}

std::variant<Bytes, ErrorCode> NotificationProvider::respond(const PerformNotificationAction& command) const {
    const auto found = entries_.find(command.uid);
    if (found == entries_.end()) {
        return ErrorCode::invalidParameter;
    }
    const auto& notification = found->second.notification;
    const bool isPositive = command.action == Action::positive;
    if ((isPositive ? notification.positiveLabel : notification.negativeLabel).empty() || !notification.perform) {
        return ErrorCode::actionFailed;
    }
    const auto perform = notification.perform;
    perform(command.action);
    return Bytes();
}

} // namespace tarnel::ancs
