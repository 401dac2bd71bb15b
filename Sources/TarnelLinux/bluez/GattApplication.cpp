#include <TarnelLinux/bluez/GattApplication.hpp>
#include <TarnelLinux/bluez/Names.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::bluez {
namespace {

using Options = std::map<std::string, sdbus::Variant>;

/// The error that BlueZ turns into this code of the attribute protocol (src/gatt-database.c, dbus_error_to_att_ecode).
sdbus::Error errorOf(int code) {
    constexpr int firstApplicationError = 0x80;
    constexpr int lastApplicationError = 0x9f;
    switch (code) {
    case 0x02:
    case 0x03:
        return sdbus::Error("org.bluez.Error.NotPermitted", "not permitted");
    case platform::insufficientAuthentication:
    case 0x08:
        return sdbus::Error("org.bluez.Error.NotAuthorized", "not authorised");
    case 0x06:
        return sdbus::Error("org.bluez.Error.NotSupported", "not supported");
    case 0x07:
        return sdbus::Error("org.bluez.Error.InvalidOffset", "the value is shorter");
    case 0x0d:
        return sdbus::Error("org.bluez.Error.InvalidValueLength", "a value of another length");
    default:
        break;
    }
    if (code >= firstApplicationError && code <= lastApplicationError) {
        return sdbus::Error("org.bluez.Error.Failed", std::to_string(code));
    }
    return sdbus::Error("org.tarnel.Error.Refused", "refused");
}

constexpr int invalidOffset = 0x07;
constexpr int attributeNotLong = 0x0b;
constexpr int unlikelyError = 0x0e;
constexpr int invalidValueLength = 0x0d;

std::vector<std::string> flagsOf(const LocalCharacteristic& characteristic) {
    std::vector<std::string> flags;
    const auto add = [&](bool isSet, const char* plain) {
        if (isSet) {
            flags.push_back((characteristic.needsEncryption ? "encrypt-" : "") + std::string(plain));
        }
    };
    add(characteristic.canRead, "read");
    add(characteristic.canWrite, "write");
    add(characteristic.canNotify, "notify");
    if (characteristic.canWriteWithoutResponse) {
        flags.emplace_back("write-without-response");
    }
    return flags;
}

void reply(const sdbus::MethodCall& call, const std::optional<int>& error, const Bytes* value) {
    if (call.doesntExpectReply()) {
        return;
    }
    try {
        auto message = error ? call.createErrorReply(errorOf(*error)) : call.createReply();
        if (!error && value) {
            message << *value;
        }
        message.send();
    } catch (const sdbus::Error&) {
        // The bus is gone, and with it who asked.
        return;
    }
}

} // namespace

GattApplication::GattApplication(sdbus::IConnection& connection, std::string path,
                                 const std::vector<LocalService>& services, Handler& handler)
    : path_(std::move(path)), handler_(handler), root_(sdbus::createObject(connection, path_)) {
    root_->addObjectManager();
    root_->finishRegistration();
    for (const auto& service : services) {
        const std::string below = path_ + "/service" + std::to_string(services_.size());
        addService(connection, below, service.uuid);
        int number = 0;
        for (const auto& characteristic : service.characteristics) {
            addCharacteristic(connection, below + "/char" + std::to_string(number++), below, characteristic);
        }
    }
}

GattApplication::~GattApplication() {
    for (const auto& [number, pending] : pending_) {
        reply(pending.call, unlikelyError, nullptr);
    }
}

void GattApplication::addService(sdbus::IConnection& connection, const std::string& path, const UUID& uuid) {
    auto object = sdbus::createObject(connection, path);
    object->registerProperty("UUID").onInterface(gattServiceInterface).withGetter([text = uuid.string()] {
        return text;
    });
    object->registerProperty("Primary").onInterface(gattServiceInterface).withGetter([] { return true; });
    object->finishRegistration();
    services_.push_back(std::move(object));
}

void GattApplication::addCharacteristic(sdbus::IConnection& connection, const std::string& path,
                                        const std::string& service, const LocalCharacteristic& characteristic) {
    const auto [entry, isNew] = attributes_.try_emplace(characteristic.uuid);
    precondition(isNew, "a characteristic's UUID occurs once in an application");
    Attribute& attribute = entry->second;
    attribute.characteristic = characteristic;
    attribute.object = sdbus::createObject(connection, path);
    auto& object = *attribute.object;
    const auto property = [&](const char* name, auto getter) {
        object.registerProperty(name).onInterface(gattCharacteristicInterface).withGetter(std::move(getter));
    };
    property("UUID", [text = characteristic.uuid.string()] { return text; });
    property("Service", [service] { return sdbus::ObjectPath(service); });
    property("Flags", [flags = flagsOf(characteristic)] { return flags; });
    property("Value", [&attribute] { return attribute.value; });
    object.registerMethod(gattCharacteristicInterface, "ReadValue", "a{sv}", "ay",
                          [this, &attribute](sdbus::MethodCall call) { received(attribute, call, true); });
    object.registerMethod(gattCharacteristicInterface, "WriteValue", "aya{sv}", "",
                          [this, &attribute](sdbus::MethodCall call) { received(attribute, call, false); });
    object.registerMethod("StartNotify").onInterface(gattCharacteristicInterface).implementedAs([this, &attribute] {
        if (!attribute.characteristic.canNotify) {
            throw sdbus::Error("org.bluez.Error.NotSupported", "has no notifications");
        }
        setNotifying(attribute, true);
    });
    object.registerMethod("StopNotify").onInterface(gattCharacteristicInterface).implementedAs([this, &attribute] {
        setNotifying(attribute, false);
    });
    object.finishRegistration();
}

void GattApplication::setNotifying(Attribute& attribute, bool isNotifying) {
    if (isNotifying || attribute.isNotifying) {
        attribute.isNotifying = isNotifying;
        handler_.notifyingChanged(attribute.characteristic.uuid, isNotifying);
    }
}

std::uint64_t GattApplication::keep(Pending pending) {
    pending_.emplace(++lastNumber_, std::move(pending));
    return lastNumber_;
}

void GattApplication::received(Attribute& attribute, sdbus::MethodCall& call, bool isRead) {
    Bytes value;
    Options options;
    if (!isRead) {
        call >> value;
    }
    call >> options;
    Request request;
    request.characteristic = attribute.characteristic.uuid;
    request.mtu = valueOf<std::uint16_t>(options, "mtu").value_or(request.mtu);
    if (const auto device = valueOf<sdbus::ObjectPath>(options, "device")) {
        request.device = *device;
    }
    const std::size_t offset = valueOf<std::uint16_t>(options, "offset").value_or(0);
    const auto& characteristic = attribute.characteristic;
    const bool isAllowed =
        isRead ? characteristic.canRead : characteristic.canWrite || characteristic.canWriteWithoutResponse;
    const bool isAnswered = !call.doesntExpectReply();
    std::optional<int> error;
    if (!isAllowed) {
        error = isRead ? 0x02 : 0x03;
    } else if (!isRead && offset != 0) {
        error = attributeNotLong; // a value is written whole
    } else if (value.size() > greatestValueLength) {
        error = invalidValueLength;
    } else if (isAnswered && pending_.size() >= mostRequests) {
        error = unlikelyError;
    }
    if (error) {
        return reply(call, error, nullptr);
    }
    if (isAnswered) {
        request.number = keep({call, request.device, offset, isRead});
    }
    if (isRead) {
        return handler_.readAsked(request);
    }
    // The daemon awaits no answer where a characteristic takes writes without response, of whatever kind a write is.
    const auto type = isAnswered ? platform::WriteType::withResponse : platform::WriteType::withoutResponse;
    handler_.writeAsked(request, std::move(value), type);
}

void GattApplication::answer(std::uint64_t number, const std::optional<int>& error, const Bytes& value) {
    const auto entry = pending_.extract(number);
    if (entry.empty()) {
        return;
    }
    const Pending& pending = entry.mapped();
    if (error || !pending.isRead) {
        return reply(pending.call, error, nullptr);
    }
    if (pending.offset > value.size()) {
        return reply(pending.call, invalidOffset, nullptr);
    }
    const auto length = std::min(value.size(), greatestValueLength);
    const auto begin = std::min(pending.offset, length);
    const Bytes part(value.begin() + static_cast<std::ptrdiff_t>(begin),
                     value.begin() + static_cast<std::ptrdiff_t>(length));
    reply(pending.call, std::nullopt, &part);
}

void GattApplication::drop(const std::string& device) {
    for (auto entry = pending_.begin(); entry != pending_.end();) {
        if (entry->second.device == device) {
            reply(entry->second.call, unlikelyError, nullptr);
            entry = pending_.erase(entry);
        } else {
            ++entry;
        }
    }
}

bool GattApplication::isNotifying(const UUID& characteristic) const {
    const auto found = attributes_.find(characteristic);
    return found != attributes_.end() && found->second.isNotifying;
}

void GattApplication::notify(const UUID& characteristic, Bytes value) {
    const auto found = attributes_.find(characteristic);
    if (found == attributes_.end() || !found->second.isNotifying) {
        return;
    }
    value.resize(std::min(value.size(), greatestValueLength));
    found->second.value = std::move(value);
    try {
        found->second.object->emitPropertiesChangedSignal(gattCharacteristicInterface, {"Value"});
    } catch (const sdbus::Error&) {
        // The bus is gone; who was subscribed learns it by the end of the connection.
        return;
    }
}

} // namespace tarnel::bluez
