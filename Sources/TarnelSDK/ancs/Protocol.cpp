#include <TarnelSDK/ancs/Protocol.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <limits>
#include <optional>
#include <set>

namespace tarnel::ancs {
namespace {

template <typename Number>
void append(Bytes& bytes, Number number) {
    for (std::size_t i = 0; i < sizeof number; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(number >> (8 * i) & 0xFFU));
    }
}

void append(Bytes& bytes, std::span<const AttributeText> attributes) {
    for (const auto& [id, text] : attributes) {
        precondition(text.size() <= std::numeric_limits<std::uint16_t>::max(), "an attribute's length has 16 bits");
        bytes.push_back(id);
        append(bytes, static_cast<std::uint16_t>(text.size()));
        bytes.insert(bytes.end(), text.begin(), text.end());
    }
}

/// Takes bytes from the front; nothing once there are too few.
class Reader {
public:
    explicit Reader(ByteView bytes) : bytes_(bytes) {}

    bool isAtEnd() const { return bytes_.empty(); }

    template <typename Number>
    std::optional<Number> number() {
        if (bytes_.size() < sizeof(Number)) {
            return std::nullopt;
        }
        std::uint32_t number = 0;
        for (std::size_t i = 0; i < sizeof(Number); ++i) {
            number |= static_cast<std::uint32_t>(bytes_[i]) << (8 * i);
        }
        bytes_ = bytes_.subspan(sizeof(Number));
        return static_cast<Number>(number);
    }

    /// Up to a zero byte, which is taken too.
    std::optional<std::string> terminatedText() {
        const auto end = std::find(bytes_.begin(), bytes_.end(), std::uint8_t{0});
        if (end == bytes_.end()) {
            return std::nullopt;
        }
        std::string text(bytes_.begin(), end);
        bytes_ = bytes_.subspan(text.size() + 1);
        return text;
    }

private:
    ByteView bytes_;
};

using Parsed = std::variant<Command, ErrorCode>;

bool hasGreatestLength(NotificationAttribute attribute) {
    return attribute == NotificationAttribute::title || attribute == NotificationAttribute::subtitle ||
           attribute == NotificationAttribute::message;
}

Parsed parseGetNotificationAttributes(Reader reader) {
    const auto uid = reader.number<std::uint32_t>();
    if (!uid || reader.isAtEnd()) {
        return ErrorCode::invalidCommand;
    }
    GetNotificationAttributes command{*uid, {}};
    std::set<std::uint8_t> seen;
    while (const auto id = reader.number<std::uint8_t>()) {
        if (*id > static_cast<std::uint8_t>(NotificationAttribute::negativeActionLabel)) {
            return ErrorCode::invalidParameter;
        }
        const auto attribute = static_cast<NotificationAttribute>(*id);
        std::optional<std::uint16_t> length = std::numeric_limits<std::uint16_t>::max();
        if (hasGreatestLength(attribute)) {
            length = reader.number<std::uint16_t>();
        }
        if (!length || !seen.insert(*id).second) {
            return ErrorCode::invalidCommand;
        }
        command.attributes.push_back({attribute, *length});
    }
    return command;
}

Parsed parseGetAppAttributes(Reader reader) {
    auto identifier = reader.terminatedText();
    if (!identifier || reader.isAtEnd()) {
        return ErrorCode::invalidCommand;
    }
    GetAppAttributes command{*std::move(identifier), {}};
    while (const auto id = reader.number<std::uint8_t>()) {
        if (*id != static_cast<std::uint8_t>(AppAttribute::displayName)) {
            return ErrorCode::invalidParameter;
        }
        if (!command.attributes.empty()) {
            return ErrorCode::invalidCommand;
        }
        command.attributes.push_back(AppAttribute::displayName);
    }
    return command;
}

Parsed parsePerformNotificationAction(Reader reader) {
    const auto uid = reader.number<std::uint32_t>();
    const auto action = reader.number<std::uint8_t>();
    if (!uid || !action || !reader.isAtEnd()) {
        return ErrorCode::invalidCommand;
    }
    if (*action > static_cast<std::uint8_t>(Action::negative)) {
        return ErrorCode::invalidParameter;
    }
    return PerformNotificationAction{*uid, static_cast<Action>(*action)};
}

} // namespace

const UUID& service() {
    static const UUID uuid = UUID::bluetooth("7905F431-B5CE-4E99-A40F-4B1E122D00D0");
    return uuid;
}

const UUID& notificationSource() {
    static const UUID uuid = UUID::bluetooth("9FBF120D-6301-42D9-8C58-25E699A21DBD");
    return uuid;
}

const UUID& controlPoint() {
    static const UUID uuid = UUID::bluetooth("69D1D8F3-45E1-49A8-9821-9BBDFDAAD9D9");
    return uuid;
}

const UUID& dataSource() {
    static const UUID uuid = UUID::bluetooth("22EAC6E9-24D6-4BB5-BE44-B36ACE7C7BFB");
    return uuid;
}

Bytes encode(const Event& event) {
    Bytes bytes{static_cast<std::uint8_t>(event.id), event.flags, static_cast<std::uint8_t>(event.category),
                event.categoryCount};
    append(bytes, event.uid);
    return bytes;
}

std::variant<Command, ErrorCode> parseCommand(ByteView value) {
    Reader reader(value);
    const auto id = reader.number<std::uint8_t>();
    if (!id) {
        return ErrorCode::invalidCommand;
    }
    switch (static_cast<CommandID>(*id)) {
    case CommandID::getNotificationAttributes:
        return parseGetNotificationAttributes(reader);
    case CommandID::getAppAttributes:
        return parseGetAppAttributes(reader);
    case CommandID::performNotificationAction:
        return parsePerformNotificationAction(reader);
    }
    return ErrorCode::unknownCommand;
}

Bytes encodeNotificationAttributes(std::uint32_t uid, std::span<const AttributeText> attributes) {
    Bytes bytes{static_cast<std::uint8_t>(CommandID::getNotificationAttributes)};
    append(bytes, uid);
    append(bytes, attributes);
    return bytes;
}

Bytes encodeAppAttributes(std::string_view appIdentifier, std::span<const AttributeText> attributes) {
    Bytes bytes(1 + appIdentifier.size());
    bytes.front() = static_cast<std::uint8_t>(CommandID::getAppAttributes);
    std::copy(appIdentifier.begin(), appIdentifier.end(), bytes.begin() + 1);
    bytes.push_back(0);
    append(bytes, attributes);
    return bytes;
}

std::string_view truncatedUTF8(std::string_view text, std::size_t greatestLength) {
    if (text.size() <= greatestLength) {
        return text;
    }
    std::size_t end = greatestLength;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
        --end;
    }
    return text.substr(0, end);
}

} // namespace tarnel::ancs
