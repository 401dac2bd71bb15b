#include "FakeBlueZ.hpp"

#include <TarnelLinux/bluez/Names.hpp>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <utility>

/// The services and characteristics of its devices.
namespace tarnel::test {

using namespace bluez;
using Options = std::map<std::string, sdbus::Variant>;

void FakeBlueZ::exportGatt(FakeDevice& device, bool withCharacteristics) {
    int handle = 16;
    for (auto& service : device.gatt) {
        const std::string path = devicePath(device) + "/service00" + std::to_string(handle++);
        exportService(service, path);
        for (auto& characteristic : service.characteristics) {
            const std::string below = path + "/char00" + std::to_string(handle++);
            if (withCharacteristics) {
                exportCharacteristic(characteristic, below);
            }
        }
    }
}

void FakeBlueZ::exportService(const FakeService& service, const std::string& path) {
    auto object = sdbus::createObject(*connection_, path);
    object->registerProperty("UUID").onInterface(gattServiceInterface).withGetter([uuid = service.uuid] {
        return uuid;
    });
    object->finishRegistration();
    object->emitInterfacesAddedSignal({gattServiceInterface});
    objects_[path] = std::move(object);
}

void FakeBlueZ::restoreService(const std::string& address, const std::string& uuid) {
    sync([&] {
        FakeDevice& device = *devices_.at(address);
        int handle = 16;
        for (auto& service : device.gatt) {
            const std::string path = devicePath(device) + "/service00" + std::to_string(handle++);
            if (service.uuid == uuid) {
                exportService(service, path);
            }
            for (auto& characteristic : service.characteristics) {
                const std::string below = path + "/char00" + std::to_string(handle++);
                if (service.uuid == uuid) {
                    ::close(std::exchange(characteristic.socket, -1));
                    exportCharacteristic(characteristic, below);
                }
            }
        }
    });
}

void FakeBlueZ::exportCharacteristics(const std::string& address) {
    sync([&] {
        FakeDevice& device = *devices_.at(address);
        int handle = 16;
        for (auto& service : device.gatt) {
            const std::string path = devicePath(device) + "/service00" + std::to_string(handle++);
            for (auto& characteristic : service.characteristics) {
                exportCharacteristic(characteristic, path + "/char00" + std::to_string(handle++));
            }
        }
    });
}

void FakeBlueZ::exportCharacteristic(FakeCharacteristic& characteristic, const std::string& path) {
    auto object = sdbus::createObject(*connection_, path);
    FakeCharacteristic* raw = &characteristic;
    sdbus::IObject* signals = object.get();
    const auto property = [&](const char* name, auto getter) {
        object->registerProperty(name).onInterface(gattCharacteristicInterface).withGetter(std::move(getter));
    };
    const auto requireAgreement = [raw] {
        if (raw->refusal) {
            throw errorOf(*raw->refusal);
        }
    };
    property("UUID", [raw] { return raw->uuid; });
    property("Flags", [raw] { return raw->flags; });
    property("Value", [raw] { return raw->value; });
    property("Notifying", [raw] { return raw->isNotifying; });
    property("MTU", [raw] { return raw->mtu; });
    object->registerMethod("ReadValue")
        .onInterface(gattCharacteristicInterface)
        .implementedAs([this, raw, signals](sdbus::Result<Bytes>&& result, const Options&) {
            count("ReadValue");
            if (raw->holdsRead) {
                heldReads_.push_back(std::make_shared<sdbus::Result<Bytes>>(std::move(result)));
            } else if (raw->refusal) {
                result.returnError(errorOf(*raw->refusal));
            } else if (raw->readingTakes) {
                heldReads_.push_back(std::make_shared<sdbus::Result<Bytes>>(std::move(result)));
                loop_.after(raw->readingTakes(), [this, raw, weak = std::weak_ptr(heldReads_.back())] {
                    if (const auto held = weak.lock()) {
                        held->returnResults(raw->value);
                        std::erase(heldReads_, held);
                    }
                });
            } else {
                signals->emitPropertiesChangedSignal(gattCharacteristicInterface, {"Value"});
                result.returnResults(raw->value);
            }
        });
    object->registerMethod("WriteValue")
        .onInterface(gattCharacteristicInterface)
        .implementedAs([this, raw, requireAgreement](const Bytes& value, const Options& options) {
            count("WriteValue");
            requireAgreement();
            if (raw->socket >= 0) {
                std::array<char, 1> byte{};
                if (::recv(raw->socket, byte.data(), byte.size(), MSG_PEEK | MSG_DONTWAIT) != 0) {
                    throw sdbus::Error("org.bluez.Error.NotPermitted", "Write acquired");
                }
                ::close(std::exchange(raw->socket, -1));
            }
            const bool isCommand = options.at("type").get<std::string>() == "command";
            (isCommand ? raw->commands : raw->written).push_back(value);
        });
    object->registerMethod("StartNotify")
        .onInterface(gattCharacteristicInterface)
        .implementedAs([this, raw, requireAgreement] {
            count("StartNotify");
            requireAgreement();
            raw->isNotifying = true;
        });
    object->registerMethod("StopNotify").onInterface(gattCharacteristicInterface).implementedAs([this, raw] {
        count("StopNotify");
        raw->isNotifying = false;
    });
    object->registerMethod("AcquireWrite")
        .onInterface(gattCharacteristicInterface)
        .implementedAs([this, raw](const Options&) {
            count("AcquireWrite");
            if (!raw->givesSocket) {
                throw sdbus::Error("org.bluez.Error.NotSupported", "Operation is not supported");
            }
            std::array<int, 2> ends{};
            if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) != 0) {
                throw sdbus::Error("org.bluez.Error.Failed", "no socket");
            }
            ::close(std::exchange(raw->socket, ends[0]));
            return std::tuple(sdbus::UnixFd(ends[1], sdbus::adopt_fd), raw->mtu);
        });
    object->finishRegistration();
    object->emitInterfacesAddedSignal({gattCharacteristicInterface});
    objects_[path] = std::move(object);
}

void FakeBlueZ::removeBelow(const std::string& path) {
    while (true) {
        const auto found = objects_.lower_bound(path);
        if (found == objects_.end() || !found->first.starts_with(path)) {
            return;
        }
        std::vector<std::string> interfaces;
        const bool isCharacteristic = found->first.find("/char") != std::string::npos;
        const bool isService = found->first.find("/service") != std::string::npos;
        const bool isDevice = found->first.find("/dev_") != std::string::npos;
        found->second->emitInterfacesRemovedSignal({isCharacteristic ? gattCharacteristicInterface
                                                    : isService      ? gattServiceInterface
                                                    : isDevice       ? deviceInterface
                                                                     : adapterInterface});
        objects_.erase(found);
    }
}

FakeCharacteristic& FakeBlueZ::find(const std::string& address, const std::string& uuid, std::string* path) {
    FakeDevice& device = *devices_.at(address);
    int handle = 16;
    for (auto& service : device.gatt) {
        const std::string servicePath = devicePath(device) + "/service00" + std::to_string(handle++);
        for (auto& characteristic : service.characteristics) {
            const std::string below = servicePath + "/char00" + std::to_string(handle++);
            if (characteristic.uuid == uuid) {
                if (path) {
                    *path = below;
                }
                return characteristic;
            }
        }
    }
    throw std::out_of_range("no characteristic " + uuid);
}

void FakeBlueZ::removeService(const std::string& address, const std::string& uuid) {
    sync([&] {
        FakeDevice& device = *devices_.at(address);
        int handle = 16;
        for (const auto& service : device.gatt) {
            const std::string path = devicePath(device) + "/service00" + std::to_string(handle++);
            handle += static_cast<int>(service.characteristics.size());
            if (service.uuid == uuid) {
                removeBelow(path);
            }
        }
    });
}

void FakeBlueZ::notify(const std::string& address, const std::string& uuid, const Bytes& value) {
    sync([&] {
        std::string path;
        FakeCharacteristic& characteristic = find(address, uuid, &path);
        if (characteristic.isNotifying) {
            characteristic.value = value;
            objects_.at(path)->emitPropertiesChangedSignal(gattCharacteristicInterface, {"Value"});
        }
    });
}

std::optional<Bytes> FakeBlueZ::receive(const std::string& address, const std::string& uuid) {
    constexpr int patience = 10'000;
    const int socket = characteristic(address, uuid).socket;
    pollfd entry{socket, POLLIN, 0};
    if (socket < 0 || ::poll(&entry, 1, patience) <= 0) {
        return std::nullopt;
    }
    return take(address, uuid);
}

std::optional<Bytes> FakeBlueZ::take(const std::string& address, const std::string& uuid) {
    const int socket = characteristic(address, uuid).socket;
    Bytes value(1024);
    const auto count = ::recv(socket, value.data(), value.size(), MSG_DONTWAIT);
    if (count <= 0) {
        return std::nullopt;
    }
    value.resize(static_cast<std::size_t>(count));
    return value;
}

int FakeBlueZ::packetsIn(const std::string& address, const std::string& uuid) {
    const int socket = characteristic(address, uuid).socket;
    Bytes value(1024);
    while (::recv(socket, value.data(), value.size(), MSG_DONTWAIT) > 0) {
        ++taken_[uuid];
    }
    return taken_[uuid];
}

// Questions.

} // namespace tarnel::test
