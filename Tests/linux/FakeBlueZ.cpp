#include "FakeBlueZ.hpp"

#include <TarnelLinux/bluez/Names.hpp>

#include <unistd.h>

#include <algorithm>
#include <future>
#include <utility>

namespace tarnel::test {

using namespace bluez;
using Options = std::map<std::string, sdbus::Variant>;

FakeBlueZ::FakeBlueZ(std::string busAddress) : busAddress_(std::move(busAddress)) {}

FakeBlueZ::~FakeBlueZ() {
    crash();
    loop_.end();
}

void FakeBlueZ::sync(const std::function<void()>& task) {
    std::promise<void> done;
    loop_.post([&] {
        task();
        done.set_value();
    });
    done.get_future().wait();
}

void FakeBlueZ::start() {
    sync([this] {
        connection_ = sdbus::createSessionBusConnectionWithAddress(busAddress_);
        // What a client has begun ends with it.
        connection_->addMatch(
            "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged'",
            [this](sdbus::Message& message) {
                std::string name;
                std::string before;
                std::string after;
                message >> name >> before >> after;
                isDiscovering_ = isDiscovering_ && (name != discoverer_ || !after.empty());
            },
            sdbus::floating_slot);
        auto root = sdbus::createObject(*connection_, "/org/bluez");
        root->registerMethod("RegisterAgent")
            .onInterface(agentManagerInterface)
            .implementedAs([this, raw = root.get()](const sdbus::ObjectPath& path, const std::string&) {
                count("RegisterAgent");
                agent_ = path;
                agentOwner_ = raw->getCurrentlyProcessedMessage()->getSender();
            });
        root->registerMethod("RequestDefaultAgent")
            .onInterface(agentManagerInterface)
            .implementedAs([this](const sdbus::ObjectPath& path) { hasDefaultAgent_ = path == agent_; });
        root->finishRegistration();
        objects_["/org/bluez"] = std::move(root);
        if (!withholdsObjects_) {
            exportObjects();
        }
        loop_.setSource({[this] {
                             const auto data = connection_->getEventLoopPollData();
                             return EventLoop::Source::Poll{data.fd, data.events, data.getPollTimeout()};
                         },
                         [this] {
                             try {
                                 while (connection_->processPendingRequest()) {
                                 }
                             } catch (const sdbus::Error&) {
                                 loop_.setSource({}); // the bus is gone
                             }
                         }});
        connection_->requestName("org.bluez");
    });
}

void FakeBlueZ::crash() {
    sync([this] {
        loop_.setSource({});
        for (auto& [address, device] : devices_) {
            device->isKnown = device->isConnected = device->isResolved = false;
            for (auto& service : device->gatt) {
                for (auto& characteristic : service.characteristics) {
                    ::close(std::exchange(characteristic.socket, -1));
                    characteristic.isNotifying = false;
                }
            }
        }
        isDiscovering_ = false;
        held_.clear();
        heldReads_.clear();
        server_.clear();
        hasDefaultAgent_ = false;
        objects_.clear();
        connection_.reset();
    });
}

void FakeBlueZ::tellObjects() {
    sync([this] { exportObjects(); });
}

void FakeBlueZ::exportObjects() {
    connection_->addObjectManager("/", sdbus::floating_slot);
    if (adapter_.empty()) {
        return;
    }
    exportAdapter();
    for (auto& [address, device] : devices_) {
        if (device->isBonded) {
            exportDevice(*device);
        }
    }
}

// Adapters.

void FakeBlueZ::addAdapter(const std::string& name, bool isPowered) {
    sync([&] {
        adapter_ = "/org/bluez/" + name;
        isPowered_ = isPowered;
        if (connection_) {
            exportAdapter();
        }
    });
}

void FakeBlueZ::exportAdapter() {
    auto object = sdbus::createObject(*connection_, adapter_);
    object->registerProperty("Address").onInterface(adapterInterface).withGetter([] {
        return std::string("00:AA:01:00:00:00");
    });
    object->registerProperty("Powered").onInterface(adapterInterface).withGetter([this] { return isPowered_; });
    object->registerProperty("Discovering").onInterface(adapterInterface).withGetter([this] { return isDiscovering_; });
    object->registerMethod("SetDiscoveryFilter")
        .onInterface(adapterInterface)
        .implementedAs([this](const Options& filter) {
            count("SetDiscoveryFilter");
            const auto found = filter.find("UUIDs");
            filter_ =
                found == filter.end() ? std::vector<std::string>() : found->second.get<std::vector<std::string>>();
            if (std::exchange(filtersBySignal_, filter.contains("RSSI")) != filtersBySignal_ && isDiscovering_) {
                loop_.post([this] { discover(); });
            }
        });
    object->registerMethod("StartDiscovery").onInterface(adapterInterface).implementedAs([this, raw = object.get()] {
        count("StartDiscovery");
        discoverer_ = raw->getCurrentlyProcessedMessage()->getSender();
        if (!isPowered_) {
            throw sdbus::Error("org.bluez.Error.NotReady", "Resource Not Ready");
        }
        isDiscovering_ = true;
        if (!startsDeaf_) {
            loop_.post([this] { discover(); });
        }
    });
    object->registerMethod("StopDiscovery").onInterface(adapterInterface).implementedAs([this] {
        count("StopDiscovery");
        isDiscovering_ = false;
    });
    object->registerProperty("Alias")
        .onInterface(adapterInterface)
        .withGetter([this] { return alias_; })
        .withSetter([this](const std::string& alias) { alias_ = alias.empty() ? "machine" : alias; });
    object->registerMethod("RemoveDevice")
        .onInterface(adapterInterface)
        .implementedAs([this](const sdbus::ObjectPath& path) {
            count("RemoveDevice");
            for (auto& [address, device] : devices_) {
                if (devicePath(*device) == path) {
                    setConnected(*device, false);
                    device->isBonded = device->isKnown = false;
                    loop_.post([this, path] { removeBelow(path); });
                }
            }
        });
    std::vector<std::string> interfaces{adapterInterface};
    if (hasPeripherals_) {
        server_.exportOn(*connection_, *object);
        interfaces.insert(interfaces.end(), {gattManagerInterface, advertisingManagerInterface});
    }
    object->finishRegistration();
    object->emitInterfacesAddedSignal(interfaces);
    objects_[adapter_] = std::move(object);
}

void FakeBlueZ::removeAdapter(const std::string& name) {
    sync([&] {
        const std::string path = "/org/bluez/" + name;
        for (auto& [address, device] : devices_) {
            device->isConnected = device->isResolved = false;
            if (device->isKnown) {
                removeBelow(devicePath(*device));
            }
            device->isKnown = false;
        }
        removeBelow(path);
        isDiscovering_ = false;
        server_.clear();
        adapter_.clear();
    });
}

void FakeBlueZ::setPowered(const std::string&, bool isPowered) {
    sync([&] {
        isPowered_ = isPowered;
        isDiscovering_ = false;
        if (!isPowered) {
            for (auto& [address, device] : devices_) {
                setConnected(*device, false);
            }
        }
        objects_.at(adapter_)->emitPropertiesChangedSignal(adapterInterface, {"Powered", "Discovering"});
    });
}

void FakeBlueZ::powerUpSilently() {
    sync([&] { isPowered_ = true; });
}

// Devices.

std::string FakeBlueZ::devicePath(const FakeDevice& device) const {
    std::string path = adapter_ + "/dev_" + device.address;
    std::replace(path.begin(), path.end(), ':', '_');
    return path;
}

void FakeBlueZ::addDevice(FakeDevice device) {
    sync([&] {
        auto& added = devices_[device.address];
        added = std::make_unique<FakeDevice>(std::move(device));
        if (added->isBonded && connection_ && !adapter_.empty()) {
            exportDevice(*added);
        }
        advertise(*added);
    });
}

void FakeBlueZ::change(const std::string& address, const std::function<void(FakeDevice&)>& change) {
    sync([&] {
        FakeDevice& device = *devices_.at(address);
        const std::string before = device.name;
        change(device);
        if (device.isKnown && device.name != before) {
            objects_.at(devicePath(device))->emitPropertiesChangedSignal(deviceInterface, {"Name"});
        }
        advertise(device);
    });
}

void FakeBlueZ::discover() {
    for (auto& [address, device] : devices_) {
        advertise(*device);
    }
}

void FakeBlueZ::advertise(FakeDevice& device) {
    const bool isMatch =
        filter_.empty() || std::any_of(filter_.begin(), filter_.end(), [&](const auto& service) {
            return std::find(device.services.begin(), device.services.end(), service) != device.services.end();
        });
    if (!isDiscovering_ || !device.isAdvertising || device.isConnected || !isMatch) {
        return;
    }
    if (!device.isKnown) {
        exportDevice(device);
    } else {
        objects_.at(devicePath(device))
            ->emitPropertiesChangedSignal(deviceInterface, {"RSSI", "ManufacturerData", "UUIDs"});
    }
}

void FakeBlueZ::exportDevice(FakeDevice& device) {
    device.isKnown = true;
    const std::string path = devicePath(device);
    auto object = sdbus::createObject(*connection_, path);
    const auto property = [&](const char* name, auto getter) {
        object->registerProperty(name).onInterface(deviceInterface).withGetter(std::move(getter));
    };
    FakeDevice* raw = &device;
    property("Address", [raw] { return raw->address; });
    property("Name", [raw] { return raw->name; });
    property("UUIDs", [raw] { return raw->services; });
    property("Paired", [raw] { return raw->isBonded; });
    property("Connected", [raw] { return raw->isConnected; });
    property("ServicesResolved", [raw] { return raw->isResolved; });
    if (device.isAdvertising && isDiscovering_) {
        property("RSSI", [raw] { return raw->rssi; });
    }
    property("ManufacturerData", [raw] {
        std::map<std::uint16_t, sdbus::Variant> data;
        for (const auto& [company, bytes] : raw->manufacturer) {
            data.emplace(company, sdbus::Variant(bytes));
        }
        return data;
    });
    object->registerSignal("Disconnected").onInterface(deviceInterface).withParameters<std::string, std::string>();
    object->registerMethod("Connect").onInterface(deviceInterface).implementedAs([this, raw](sdbus::Result<>&& result) {
        count("Connect");
        connect(*raw, std::move(result));
    });
    object->registerMethod("Disconnect").onInterface(deviceInterface).implementedAs([this, raw] {
        count("Disconnect");
        while (!raw->holdsCancelled && !held_.empty()) {
            failConnect();
        }
        if (!raw->isConnected) {
            throw sdbus::Error("org.bluez.Error.NotConnected", "Not Connected");
        }
        setConnected(*raw, false);
    });
    object->finishRegistration();
    object->emitInterfacesAddedSignal({deviceInterface});
    objects_[path] = std::move(object);
}

void FakeBlueZ::connect(FakeDevice& device, sdbus::Result<> result) {
    if (device.holdsConnect) {
        held_.push_back(std::move(result));
        return;
    }
    if (!device.connectFailures.empty()) {
        result.returnError(errorOf(device.connectFailures.front()));
        device.connectFailures.pop_front();
        return;
    }
    if (!device.isAdvertising) {
        result.returnError(sdbus::Error("org.bluez.Error.Failed", "le-connection-abort-by-local"));
        return;
    }
    if (device.hasLostBond && device.isBonded) {
        connectInVain(device);
    } else {
        setConnected(device, true);
    }
    result.returnResults();
}

void FakeBlueZ::connectInVain(FakeDevice& device) {
    auto& object = *objects_.at(devicePath(device));
    device.isConnected = true;
    object.emitPropertiesChangedSignal(deviceInterface, {"Connected"});
    loop_.post([this, &device, &object] {
        if (device.isNamedLost) {
            object.emitSignal("Disconnected")
                .onInterface(deviceInterface)
                .withArguments(std::string("org.bluez.Reason.Authentication"), std::string());
        }
        setConnected(device, false);
    });
}

void FakeBlueZ::setConnected(FakeDevice& device, bool isConnected) {
    if (device.isConnected == isConnected) {
        return;
    }
    device.isConnected = isConnected;
    auto& object = *objects_.at(devicePath(device));
    if (isConnected) {
        if (!device.connectsSilently) {
            object.emitPropertiesChangedSignal(deviceInterface, {"Connected"});
        }
        exportGatt(device, !device.exportsLate);
        device.isResolved = true;
        if (!device.resolvesSilently) {
            object.emitPropertiesChangedSignal(deviceInterface, {"ServicesResolved"});
        }
        return;
    }
    for (auto& service : device.gatt) {
        for (auto& characteristic : service.characteristics) {
            ::close(std::exchange(characteristic.socket, -1));
            characteristic.isNotifying = false;
        }
    }
    removeBelow(devicePath(device) + "/");
    device.isResolved = false;
    if (!device.endsSilently) {
        object.emitPropertiesChangedSignal(deviceInterface, {"ServicesResolved", "Connected"});
    }
}

void FakeBlueZ::connectByAnother(const std::string& address) {
    sync([&] {
        FakeDevice& device = *devices_.at(address);
        if (!device.isKnown) {
            exportDevice(device);
        }
        setConnected(device, true);
    });
}

void FakeBlueZ::dropConnection(const std::string& address) {
    sync([&] { setConnected(*devices_.at(address), false); });
}

void FakeBlueZ::failHeldConnect() {
    sync([this] { failConnect(); });
}

void FakeBlueZ::failConnect() {
    held_.front().returnError(sdbus::Error("org.bluez.Error.Failed", "le-connection-abort-by-local"));
    held_.pop_front();
}

void FakeBlueZ::leaveRange(const std::string& address) {
    sync([&] {
        FakeDevice& device = *devices_.at(address);
        device.isAdvertising = false;
        setConnected(device, false);
        if (!device.isBonded && std::exchange(device.isKnown, false)) {
            removeBelow(devicePath(device));
        }
    });
}

void FakeBlueZ::enterRange(const std::string& address) {
    change(address, [](FakeDevice& device) { device.isAdvertising = true; });
}

// Attributes.

FakeDevice FakeBlueZ::device(const std::string& address) {
    FakeDevice copy;
    sync([&] { copy = *devices_.at(address); });
    return copy;
}

FakeCharacteristic FakeBlueZ::characteristic(const std::string& address, const std::string& uuid) {
    FakeCharacteristic copy;
    sync([&] { copy = find(address, uuid); });
    return copy;
}

bool FakeBlueZ::isDiscovering() {
    bool isDiscovering = false;
    sync([&] { isDiscovering = isDiscovering_; });
    return isDiscovering;
}

void FakeBlueZ::startDeaf() {
    sync([this] { startsDeaf_ = true; });
}

bool FakeBlueZ::filtersBySignal() {
    bool filters = false;
    sync([&] { filters = filtersBySignal_; });
    return filters;
}

std::vector<std::string> FakeBlueZ::filteredServices() {
    std::vector<std::string> services;
    sync([&] { services = filter_; });
    return services;
}

int FakeBlueZ::calls(const std::string& method) {
    int calls = 0;
    sync([&] { calls = calls_[method] + server_.calls[method]; });
    return calls;
}

bool FakeBlueZ::askAgent(const std::string& address) {
    std::string path;
    std::string agent;
    std::string owner;
    sync([&] {
        path = devicePath(*devices_.at(address));
        agent = agent_;
        owner = agentOwner_;
    });
    const auto connection = sdbus::createSessionBusConnectionWithAddress(busAddress_);
    const auto proxy = sdbus::createProxy(*connection, owner, agent);
    try {
        proxy->callMethod("RequestAuthorization").onInterface(agentInterface).withArguments(sdbus::ObjectPath(path));
        return true;
    } catch (const sdbus::Error&) {
        return false;
    }
}

} // namespace tarnel::test
