#pragma once

#include <TarnelSDK/platform/Bytes.hpp>
#include <TarnelSDK/platform/UUID.hpp>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

/// The Apple Notification Center Service from the side that has the notifications (the "notification provider"): its
/// bytes, as Apple publishes them under "Apple Notification Center Service (ANCS)". Numbers are
/// little-endian, texts UTF-8.
namespace tarnel::ancs {

const UUID& service();            ///< 7905F431-...
const UUID& notificationSource(); ///< 9FBF120D-..., notifies events
const UUID& controlPoint();       ///< 69D1D8F3-..., takes commands, by writes with response
const UUID& dataSource();         ///< 22EAC6E9-..., notifies the responses to commands

enum class EventID : std::uint8_t { added = 0, modified = 1, removed = 2 };

// The flags of an event.
inline constexpr std::uint8_t silent = 1 << 0;
inline constexpr std::uint8_t important = 1 << 1;
inline constexpr std::uint8_t preExisting = 1 << 2; ///< was there before the subscription
inline constexpr std::uint8_t positiveAction = 1 << 3;
inline constexpr std::uint8_t negativeAction = 1 << 4;

enum class Category : std::uint8_t {
    other = 0,
    incomingCall = 1,
    missedCall = 2,
    voicemail = 3,
    social = 4,
    schedule = 5,
    email = 6,
    news = 7,
    healthAndFitness = 8,
    businessAndFinance = 9,
    location = 10,
    entertainment = 11,
};

struct Event {
    EventID id = EventID::added;
    std::uint8_t flags = 0;
    Category category = Category::other;
    std::uint8_t categoryCount = 0; ///< active notifications of the category
    std::uint32_t uid = 0;

    friend bool operator==(const Event&, const Event&) = default;
};

/// One value of the notification source: 8 bytes.
Bytes encode(const Event& event);

enum class CommandID : std::uint8_t {
    getNotificationAttributes = 0,
    getAppAttributes = 1,
    performNotificationAction = 2
};

enum class NotificationAttribute : std::uint8_t {
    appIdentifier = 0,
    title = 1, ///< requested with a greatest length, as are the next two
    subtitle = 2,
    message = 3,
    messageSize = 4, ///< bytes of the message, as decimal text
    date = 5,        ///< "yyyyMMdd'T'HHmmss"
    positiveActionLabel = 6,
    negativeActionLabel = 7,
};

enum class AppAttribute : std::uint8_t { displayName = 0 };

enum class Action : std::uint8_t { positive = 0, negative = 1 };

/// The service's own error codes of the attribute protocol.
enum class ErrorCode : std::uint8_t {
    unknownCommand = 0xA0,
    invalidCommand = 0xA1,
    invalidParameter = 0xA2,
    actionFailed = 0xA3,
};

struct GetNotificationAttributes {
    struct Attribute {
        NotificationAttribute id{};
        std::uint16_t greatestLength = 0; ///< in bytes; of texts that are requested with one, else unlimited
        friend bool operator==(const Attribute&, const Attribute&) = default;
    };

    std::uint32_t uid = 0;
    std::vector<Attribute> attributes;
    friend bool operator==(const GetNotificationAttributes&, const GetNotificationAttributes&) = default;
};

struct GetAppAttributes {
    std::string appIdentifier;
    std::vector<AppAttribute> attributes;
    friend bool operator==(const GetAppAttributes&, const GetAppAttributes&) = default;
};

struct PerformNotificationAction {
    std::uint32_t uid = 0;
    Action action{};
    friend bool operator==(const PerformNotificationAction&, const PerformNotificationAction&) = default;
};

using Command = std::variant<GetNotificationAttributes, GetAppAttributes, PerformNotificationAction>;

/// Takes a value apart that was written to the control point; any bytes. What is cut short, goes on after its end, asks
/// for nothing or for one attribute twice is an invalid command; an attribute or action that does not exist is an
/// invalid parameter.
std::variant<Command, ErrorCode> parseCommand(ByteView value);

/// The responses, whole: on the air they are cut to what the connection carries. Each text is at most 65,535 bytes.
using AttributeText = std::pair<std::uint8_t, std::string>;
Bytes encodeNotificationAttributes(std::uint32_t uid, std::span<const AttributeText> attributes);
Bytes encodeAppAttributes(std::string_view appIdentifier, std::span<const AttributeText> attributes);

/// At most `greatestLength` bytes of it, which end between two characters.
std::string_view truncatedUTF8(std::string_view text, std::size_t greatestLength);

} // namespace tarnel::ancs
