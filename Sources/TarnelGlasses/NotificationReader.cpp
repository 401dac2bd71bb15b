#include <TarnelGlasses/NotificationReader.hpp>

#include <algorithm>
#include <chrono>
#include <utility>

namespace tarnel::glasses {

namespace {

// Apple Notification Center Service (ANCS).
constexpr std::size_t eventLength = 8;
constexpr std::uint8_t addedEvent = 0;
constexpr std::uint8_t modifiedEvent = 1;
constexpr std::uint8_t removedEvent = 2;
constexpr unsigned silentFlag = 1;
constexpr unsigned positiveFlag = 8;
constexpr unsigned negativeFlag = 16;
constexpr std::uint8_t getAttributes = 0;
constexpr std::uint8_t performAction = 2;
constexpr std::uint8_t applicationAttribute = 0;
constexpr std::uint8_t titleAttribute = 1;
constexpr std::uint8_t messageAttribute = 3;

constexpr std::size_t mostRequests = 64;
constexpr auto patience = std::chrono::seconds(5);

std::uint32_t number32(ByteView bytes) {
    return bytes[0] | static_cast<std::uint32_t>(bytes[1]) << 8 | static_cast<std::uint32_t>(bytes[2]) << 16 |
           static_cast<std::uint32_t>(bytes[3]) << 24;
}

void put32(Bytes& bytes, std::uint32_t number) {
    for (int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>(number >> shift));
    }
}

void putTextAttribute(Bytes& bytes, std::uint8_t attribute, std::uint16_t longest) {
    bytes.insert(bytes.end(), {attribute, static_cast<std::uint8_t>(longest), static_cast<std::uint8_t>(longest >> 8)});
}

enum class Outcome { incomplete, complete, broken };

/// Reads one attribute at `position`, and goes on behind it.
Outcome takeAttribute(ByteView response, std::size_t& position, std::uint8_t attribute, std::size_t longest,
                      std::string& text) {
    constexpr std::size_t header = 3;
    const auto rest = response.subspan(std::min(position, response.size()));
    if (!rest.empty() && rest[0] != attribute) {
        return Outcome::broken;
    }
    if (rest.size() < header) {
        return Outcome::incomplete;
    }
    const std::size_t length = rest[1] | static_cast<std::size_t>(rest[2]) << 8;
    if (length > longest) {
        return Outcome::broken;
    }
    if (rest.size() < header + length) {
        return Outcome::incomplete;
    }
    text.assign(rest.begin() + header, rest.begin() + static_cast<std::ptrdiff_t>(header + length));
    position += header + length;
    return Outcome::complete;
}

/// Takes apart what has come of a response about this notification.
Outcome takeResponse(ByteView response, HostNotification& notification) {
    constexpr std::size_t header = 5;
    if (!response.empty() && response[0] != getAttributes) {
        return Outcome::broken;
    }
    if (response.size() < header) {
        return Outcome::incomplete;
    }
    if (number32(response.subspan(1)) != notification.uid) {
        return Outcome::broken;
    }
    struct Expected {
        std::uint8_t attribute;
        std::size_t longest;
        std::string* text;
    };
    std::size_t position = header;
    for (const auto& [attribute, longest, text] :
         {Expected{applicationAttribute, NotificationReader::longestApplication, &notification.application},
          Expected{titleAttribute, NotificationReader::longestTitle, &notification.title},
          Expected{messageAttribute, NotificationReader::longestMessage, &notification.message}}) {
        const auto outcome = takeAttribute(response, position, attribute, longest, *text);
        if (outcome != Outcome::complete) {
            return outcome;
        }
    }
    return position == response.size() ? Outcome::complete : Outcome::broken;
}

} // namespace

void NotificationReader::begin() {
    end();
    isOn_ = true;
    output_.subscribe();
}

void NotificationReader::end() {
    isOn_ = false;
    requests_.clear();
    response_.clear();
    ++number_;
    if (!notifications_.empty()) {
        notifications_.clear();
        output_.changed();
    }
}

void NotificationReader::receiveEvent(ByteView value) {
    if (!isOn_) {
        return;
    }
    if (value.size() != eventLength || value[0] > removedEvent) {
        ++errorCount_;
        return;
    }
    const auto uid = number32(value.subspan(4));
    if (value[0] == addedEvent || value[0] == modifiedEvent) {
        const unsigned flags = value[1];
        ask({.uid = uid,
             .category = value[2],
             .isSilent = (flags & silentFlag) != 0,
             .canBeOpened = (flags & positiveFlag) != 0,
             .canBeCleared = (flags & negativeFlag) != 0});
        return;
    }
    for (auto& request : requests_) {
        request.isGone = request.isGone || (request.notification && request.notification->uid == uid);
    }
    forget(uid);
}

void NotificationReader::ask(HostNotification notification) {
    Bytes command{getAttributes};
    put32(command, notification.uid);
    command.push_back(applicationAttribute);
    putTextAttribute(command, titleAttribute, longestTitle);
    putTextAttribute(command, messageAttribute, longestMessage);
    enqueue({.command = std::move(command), .notification = std::move(notification)});
}

void NotificationReader::act(std::uint32_t uid, bool isPositive) {
    const auto found = std::find_if(notifications_.begin(), notifications_.end(),
                                    [&](const auto& notification) { return notification.uid == uid; });
    if (found == notifications_.end() || !(isPositive ? found->canBeOpened : found->canBeCleared)) {
        return;
    }
    Bytes command{performAction};
    put32(command, uid);
    command.push_back(isPositive ? 0 : 1);
    enqueue({.command = std::move(command)});
}

void NotificationReader::open(std::uint32_t uid) {
    act(uid, true);
}

void NotificationReader::clear(std::uint32_t uid) {
    act(uid, false);
}

void NotificationReader::enqueue(Request request) {
    if (requests_.size() == mostRequests) {
        ++errorCount_;
        return;
    }
    requests_.push_back(std::move(request));
    if (requests_.size() == 1) {
        sendNext();
    }
}

void NotificationReader::sendNext() {
    response_.clear();
    isWritten_ = isComplete_ = false;
    while (!requests_.empty() && requests_.front().isGone) {
        requests_.pop_front();
    }
    if (requests_.empty()) {
        return;
    }
    const auto number = ++number_;
    output_.write(requests_.front().command);
    output_.after(patience, [this, number] {
        if (number == number_ && !requests_.empty()) {
            finish(false);
        }
    });
}

void NotificationReader::written(bool isAccepted) {
    if (requests_.empty()) {
        return;
    }
    if (!isAccepted) {
        finish(false);
        return;
    }
    isWritten_ = true;
    finishIfDone();
}

void NotificationReader::finishIfDone() {
    const auto& request = requests_.front();
    const bool hasResponse = request.notification.has_value();
    if (!isWritten_ || (hasResponse && !isComplete_)) {
        return;
    }
    if (hasResponse && !request.isGone) {
        keep(*request.notification);
    }
    finish(true);
}

void NotificationReader::receiveData(ByteView value) {
    if (requests_.empty() || !requests_.front().notification || isComplete_) {
        errorCount_ += isOn_ ? 1 : 0;
        return;
    }
    response_.insert(response_.end(), value.begin(), value.end());
    switch (takeResponse(response_, *requests_.front().notification)) {
    case Outcome::incomplete:
        break;
    case Outcome::complete:
        isComplete_ = true;
        finishIfDone();
        break;
    case Outcome::broken:
        finish(false);
        break;
    }
}

void NotificationReader::finish(bool isWell) {
    errorCount_ += isWell ? 0 : 1;
    ++number_;
    requests_.pop_front();
    sendNext();
}

void NotificationReader::keep(HostNotification notification) {
    const auto found = std::find_if(notifications_.begin(), notifications_.end(),
                                    [&](const auto& other) { return other.uid == notification.uid; });
    if (found != notifications_.end()) {
        *found = std::move(notification);
    } else {
        if (notifications_.size() == mostKept) {
            notifications_.pop_front();
        }
        notifications_.push_back(std::move(notification));
    }
    output_.changed();
}

void NotificationReader::forget(std::uint32_t uid) {
    if (std::erase_if(notifications_, [&](const auto& notification) { return notification.uid == uid; }) > 0) {
        output_.changed();
    }
}

} // namespace tarnel::glasses
