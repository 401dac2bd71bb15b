#include "AttributeServer.hpp"

#include "Words.hpp"

#include <algorithm>
#include <utility>

namespace tarnel::radio {
namespace {

constexpr std::uint16_t leastMtu = 23;

constexpr std::uint8_t errorResponse = 0x01;
constexpr std::uint8_t mtuRequest = 0x02;
constexpr std::uint8_t informationRequest = 0x04;
constexpr std::uint8_t typeValueRequest = 0x06;
constexpr std::uint8_t readByTypeRequest = 0x08;
constexpr std::uint8_t readRequest = 0x0a;
constexpr std::uint8_t readBlobRequest = 0x0c;
constexpr std::uint8_t readByGroupRequest = 0x10;
constexpr std::uint8_t writeRequest = 0x12;
constexpr std::uint8_t writeCommand = 0x52;
constexpr std::uint8_t notification = 0x1b;
constexpr std::uint8_t commandBit = 0x40;

constexpr std::uint8_t invalidHandle = 0x01;
constexpr std::uint8_t readNotPermitted = 0x02;
constexpr std::uint8_t writeNotPermitted = 0x03;
constexpr std::uint8_t invalidPdu = 0x04;
constexpr std::uint8_t requestNotSupported = 0x06;
constexpr std::uint8_t invalidOffset = 0x07;
constexpr std::uint8_t attributeNotFound = 0x0a;

const UUID& primaryService() {
    static const UUID uuid = UUID::bluetooth("2800");
    return uuid;
}
const UUID& characteristicDeclaration() {
    static const UUID uuid = UUID::bluetooth("2803");
    return uuid;
}
const UUID& clientConfiguration() {
    static const UUID uuid = UUID::bluetooth("2902");
    return uuid;
}

void append(Bytes& bytes, ByteView more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

/// On the air an identifier goes backward, and one of the base's as its two bytes.
Bytes wireOf(const UUID& uuid) {
    const auto& bytes = uuid.bytes();
    const std::string digits = uuid.string();
    if (UUID::parseBluetooth(digits.substr(4, 4)) == uuid) {
        return {bytes[3], bytes[2]};
    }
    return {bytes.rbegin(), bytes.rend()};
}

} // namespace

AttributeServer::AttributeServer(const std::vector<glasses::GattService>& services, std::uint16_t mtu,
                                 Callbacks callbacks)
    : largestMtu_(std::max(mtu, leastMtu)), callbacks_(std::move(callbacks)) {
    for (const auto& service : services) {
        add(service);
    }
}

void AttributeServer::add(const glasses::GattService& service) {
    const std::size_t first = attributes_.size();
    attributes_.push_back({.kind = Kind::service, .uuid = service.uuid, .characteristic = {}});
    for (const auto& characteristic : service.characteristics) {
        for (const Kind kind : {Kind::characteristic, Kind::value, Kind::configuration}) {
            if (kind != Kind::configuration || characteristic.notify) {
                attributes_.push_back({.kind = kind, .uuid = characteristic.uuid, .characteristic = characteristic});
            }
        }
    }
    attributes_[first].end = static_cast<std::uint16_t>(attributes_.size());
}

void AttributeServer::reset() {
    mtu_ = leastMtu;
    for (auto& attribute : attributes_) {
        attribute.isOn = false;
    }
}

const AttributeServer::Attribute* AttributeServer::at(std::uint16_t handle) const {
    return handle == 0 || handle > attributes_.size() ? nullptr : &attributes_[handle - 1U];
}

UUID AttributeServer::typeOf(const Attribute& attribute) const {
    switch (attribute.kind) {
    case Kind::service:
        return primaryService();
    case Kind::characteristic:
        return characteristicDeclaration();
    case Kind::configuration:
        return clientConfiguration();
    case Kind::value:
        break;
    }
    return attribute.uuid;
}

std::optional<Bytes> AttributeServer::valueOf(std::uint16_t handle) const {
    const Attribute& attribute = attributes_[handle - 1U];
    switch (attribute.kind) {
    case Kind::service:
        return wireOf(attribute.uuid);
    case Kind::characteristic: {
        const auto& has = attribute.characteristic;
        Bytes value{static_cast<std::uint8_t>((has.read ? 0x02 : 0) | (has.writeWithoutResponse ? 0x04 : 0) |
                                              (has.write ? 0x08 : 0) | (has.notify ? 0x10 : 0))};
        append(value, static_cast<std::uint16_t>(handle + 1));
        append(value, wireOf(attribute.uuid));
        return value;
    }
    case Kind::configuration:
        return Bytes{attribute.isOn, 0};
    case Kind::value:
        break;
    }
    return attribute.characteristic.read ? std::optional(callbacks_.read(attribute.uuid)) : std::nullopt;
}

void AttributeServer::refuse(std::uint8_t request, std::uint16_t handle, std::uint8_t error) {
    Bytes answer{errorResponse, request};
    append(answer, handle);
    answer.push_back(error);
    callbacks_.send(answer);
}

void AttributeServer::receive(ByteView message) {
    if (message.empty()) {
        return;
    }
    const auto isOf = [&](std::uint8_t request, std::size_t least) {
        return message[0] == request && message.size() >= least;
    };
    if (isOf(mtuRequest, 3)) {
        exchangeMtu(message);
    } else if (isOf(informationRequest, 5)) {
        findInformation(message);
    } else if (isOf(typeValueRequest, 7)) {
        findByTypeValue(message);
    } else if (isOf(readByTypeRequest, 7)) {
        readByType(message, false);
    } else if (isOf(readByGroupRequest, 7)) {
        readByType(message, true);
    } else if (isOf(readRequest, 3)) {
        readValue(message, 0);
    } else if (isOf(readBlobRequest, 5)) {
        readValue(message, wordAt(message, 3));
    } else if (isOf(writeRequest, 3) || isOf(writeCommand, 3)) {
        write(message, message[0] == writeRequest);
    } else if ((message[0] & commandBit) == 0 && message[0] % 2 == 0) {
        refuse(message[0], 0, requestNotSupported);
    }
}

void AttributeServer::exchangeMtu(ByteView message) {
    Bytes answer{mtuRequest + 1};
    append(answer, largestMtu_);
    callbacks_.send(answer);
    mtu_ = std::clamp(wordAt(message, 1), leastMtu, largestMtu_);
}

void AttributeServer::findInformation(ByteView message) {
    const std::uint16_t first = wordAt(message, 1);
    const std::uint16_t last = wordAt(message, 3);
    Bytes answer{informationRequest + 1, 0};
    for (std::uint16_t handle = first; handle <= last && at(handle); ++handle) {
        const Bytes type = wireOf(typeOf(*at(handle)));
        const std::uint8_t format = type.size() == 2 ? 1 : 2;
        if ((answer[1] != 0 && answer[1] != format) || answer.size() + 2 + type.size() > mtu_) {
            break;
        }
        answer[1] = format;
        append(answer, handle);
        append(answer, type);
    }
    answer[1] == 0 ? refuse(message[0], first, attributeNotFound) : callbacks_.send(answer);
}

void AttributeServer::findByTypeValue(ByteView message) {
    const std::uint16_t first = wordAt(message, 1);
    const std::uint16_t last = wordAt(message, 3);
    const ByteView wanted = message.subspan(7);
    Bytes answer{typeValueRequest + 1};
    for (std::uint16_t handle = first; handle <= last && at(handle); ++handle) {
        const Attribute& attribute = *at(handle);
        if (attribute.kind != Kind::service || wordAt(message, 5) != 0x2800 || answer.size() + 4U > mtu_) {
            continue;
        }
        if (const Bytes uuid = wireOf(attribute.uuid);
            std::equal(uuid.begin(), uuid.end(), wanted.begin(), wanted.end())) {
            append(answer, handle);
            append(answer, attribute.end);
        }
    }
    answer.size() == 1 ? refuse(message[0], first, attributeNotFound) : callbacks_.send(answer);
}

void AttributeServer::readByType(ByteView message, bool isGroup) {
    const std::uint16_t first = wordAt(message, 1);
    const std::uint16_t last = wordAt(message, 3);
    const ByteView type = message.subspan(5);
    Bytes answer{static_cast<std::uint8_t>(message[0] + 1), 0};
    for (std::uint16_t handle = first; handle <= last && at(handle); ++handle) {
        const Bytes own = wireOf(typeOf(*at(handle)));
        if (!std::equal(own.begin(), own.end(), type.begin(), type.end())) {
            continue;
        }
        const auto value = valueOf(handle);
        if (!value) {
            return answer[1] == 0 ? refuse(message[0], handle, readNotPermitted) : callbacks_.send(answer);
        }
        Bytes entry;
        append(entry, handle);
        if (isGroup) {
            append(entry, at(handle)->end);
        }
        append(entry, *value);
        constexpr std::size_t longest = 255;
        entry.resize(std::min({entry.size(), longest, mtu_ - std::size_t{2}}));
        if ((answer[1] != 0 && answer[1] != entry.size()) || answer.size() + entry.size() > mtu_) {
            break;
        }
        answer[1] = static_cast<std::uint8_t>(entry.size());
        append(answer, entry);
    }
    answer[1] == 0 ? refuse(message[0], first, attributeNotFound) : callbacks_.send(answer);
}

void AttributeServer::readValue(ByteView message, std::size_t offset) {
    const std::uint16_t handle = wordAt(message, 1);
    if (!at(handle)) {
        return refuse(message[0], handle, invalidHandle);
    }
    const auto value = valueOf(handle);
    if (!value) {
        return refuse(message[0], handle, readNotPermitted);
    }
    if (offset > value->size()) {
        return refuse(message[0], handle, invalidOffset);
    }
    Bytes answer{static_cast<std::uint8_t>(message[0] + 1)};
    append(answer, ByteView(*value).subspan(offset, std::min<std::size_t>(value->size() - offset, mtu_ - 1U)));
    callbacks_.send(answer);
}

void AttributeServer::write(ByteView message, bool isRequest) {
    const std::uint16_t handle = wordAt(message, 1);
    const ByteView value = message.subspan(3);
    const Attribute* attribute = at(handle);
    const auto answer = [&](std::uint8_t error) {
        if (isRequest && error != 0) {
            refuse(message[0], handle, error);
        } else if (isRequest) {
            callbacks_.send({writeRequest + 1});
        }
    };
    if (!attribute) {
        return answer(invalidHandle);
    }
    if (attribute->kind == Kind::configuration) {
        if (value.size() != 2) {
            return answer(invalidPdu);
        }
        attributes_[handle - 1U].isOn = (value[0] & 1) != 0;
        answer(0);
        return callbacks_.subscribed(attribute->uuid, attribute->isOn);
    }
    const auto& has = attribute->characteristic;
    if (attribute->kind != Kind::value || !(isRequest ? has.write : has.writeWithoutResponse)) {
        return answer(writeNotPermitted);
    }
    callbacks_.wrote(attribute->uuid, value, isRequest);
    answer(0);
}

void AttributeServer::notify(const UUID& characteristic, ByteView value) {
    const auto configuration = std::find_if(attributes_.begin(), attributes_.end(), [&](const auto& attribute) {
        return attribute.kind == Kind::configuration && attribute.uuid == characteristic && attribute.isOn;
    });
    if (configuration == attributes_.end()) {
        return;
    }
    Bytes message{notification};
    append(message, static_cast<std::uint16_t>(configuration - attributes_.begin())); // the handle before its own
    append(message, value.first(std::min(value.size(), valueLength())));
    callbacks_.send(message);
}

} // namespace tarnel::radio
