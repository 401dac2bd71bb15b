#include "BlueZAir.hpp"

#include <TarnelGlasses/Gatt.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace tarnel::radio {
namespace {

constexpr const char* root = "/glasses";
constexpr const char* agentPath = "/agent";
constexpr const char* advertisementPath = "/advertisement";
constexpr const char* agentInterface = "org.bluez.Agent1";
constexpr const char* serviceInterface = "org.bluez.GattService1";
constexpr const char* characteristicInterface = "org.bluez.GattCharacteristic1";
constexpr const char* advertisementInterface = "org.bluez.LEAdvertisement1";
constexpr const char* deviceInterface = "org.bluez.Device1";
constexpr const char* advertisingManager = "org.bluez.LEAdvertisingManager1";

/// Of a notification, whatever the MTU of a connection that the service does not name.
constexpr std::size_t notificationLength = 244;

std::vector<std::string> flagsOf(const glasses::GattCharacteristic& characteristic) {
    const std::string prefix = characteristic.isProtected ? "encrypt-" : "";
    std::vector<std::string> flags;
    if (characteristic.read) {
        flags.push_back(prefix + "read");
    }
    if (characteristic.write) {
        flags.push_back(prefix + "write");
    }
    if (characteristic.writeWithoutResponse) {
        flags.emplace_back("write-without-response");
    }
    if (characteristic.notify) {
        flags.push_back("notify");
        if (characteristic.isProtected) {
            flags.emplace_back("encrypt-notify");
        }
    }
    return flags;
}

} // namespace

struct BlueZAir::Attribute {
    std::unique_ptr<sdbus::IObject> object;
    Bytes value;
    bool isNotified = false;
};

BlueZAir::BlueZAir(bluez::EventLoop& loop, const std::string& adapter, glasses::GlassesOptions glasses,
                   AirListener listener)
    : loop_(loop), adapter_("/org/bluez/" + adapter), glasses_(std::move(glasses)), listener_(std::move(listener)),
      connection_(sdbus::createSystemBusConnection()) {
    exportAgent();
    exportServices();
    loop_.setSource({[this] {
                         const auto data = connection_->getEventLoopPollData();
                         return bluez::EventLoop::Source::Poll{data.fd, data.events, data.getPollTimeout()};
                     },
                     [this] {
                         while (connection_->processPendingRequest()) {
                         }
                     }});
    call("/org/bluez", "org.bluez.AgentManager1", "RegisterAgent",
         [](sdbus::MethodCall& message) { message << sdbus::ObjectPath(agentPath) << std::string("NoInputNoOutput"); });
    call("/org/bluez", "org.bluez.AgentManager1", "RequestDefaultAgent",
         [](sdbus::MethodCall& message) { message << sdbus::ObjectPath(agentPath); });
    call(adapter_, "org.bluez.GattManager1", "RegisterApplication",
         [](sdbus::MethodCall& message) { message << sdbus::ObjectPath(root) << Properties(); });
}

BlueZAir::~BlueZAir() {
    loop_.setSource({});
}

void BlueZAir::call(const std::string& path, const std::string& interface, const std::string& method,
                    const std::function<void(sdbus::MethodCall&)>& fill,
                    const std::function<void(sdbus::MethodReply&)>& done) {
    auto& proxy = proxies_[path];
    if (!proxy) {
        proxy = sdbus::createProxy(*connection_, "org.bluez", path);
    }
    auto message = proxy->createMethodCall(interface, method);
    if (fill) {
        fill(message);
    }
    ++calls_;
    proxy->callMethod(message, [this, method, done](sdbus::MethodReply& reply, const sdbus::Error* error) {
        --calls_;
        if (error) {
            std::fprintf(stderr, "radio_glasses: %s: %s\n", method.c_str(), error->what());
        } else if (done) {
            done(reply);
        }
    });
}

/// Agrees to everything, as glasses without keys and screen do.
void BlueZAir::exportAgent() {
    auto object = sdbus::createObject(*connection_, agentPath);
    object->registerMethod("Release").onInterface(agentInterface).implementedAs([] {});
    object->registerMethod("Cancel").onInterface(agentInterface).implementedAs([] {});
    object->registerMethod("RequestAuthorization")
        .onInterface(agentInterface)
        .implementedAs([](const sdbus::ObjectPath&) {});
    object->registerMethod("RequestConfirmation")
        .onInterface(agentInterface)
        .implementedAs([](const sdbus::ObjectPath&, const std::uint32_t&) {});
    object->registerMethod("AuthorizeService")
        .onInterface(agentInterface)
        .implementedAs([](const sdbus::ObjectPath&, const std::string&) {});
    object->finishRegistration();
    objects_.push_back(std::move(object));
}

void BlueZAir::exportServices() {
    objects_.push_back(sdbus::createObject(*connection_, root));
    objects_.back()->addObjectManager();
    int services = 0;
    for (const auto& service : glasses::gattServices(glasses_)) {
        const std::string path = std::string(root) + "/service" + std::to_string(++services);
        auto object = sdbus::createObject(*connection_, path);
        object->registerProperty("UUID").onInterface(serviceInterface).withGetter([uuid = service.uuid.string()] {
            return uuid;
        });
        object->registerProperty("Primary").onInterface(serviceInterface).withGetter([] { return true; });
        object->finishRegistration();
        objects_.push_back(std::move(object));
        int characteristics = 0;
        for (const auto& characteristic : service.characteristics) {
            exportCharacteristic(characteristic, path, path + "/char" + std::to_string(++characteristics));
        }
    }
}

void BlueZAir::exportCharacteristic(const glasses::GattCharacteristic& characteristic, const std::string& service,
                                    const std::string& path) {
    const UUID uuid = characteristic.uuid;
    auto attribute = std::make_unique<Attribute>();
    Attribute* raw = attribute.get();
    attribute->object = sdbus::createObject(*connection_, path);
    auto& object = *attribute->object;
    object.registerProperty("UUID").onInterface(characteristicInterface).withGetter([text = uuid.string()] {
        return text;
    });
    object.registerProperty("Service").onInterface(characteristicInterface).withGetter([service] {
        return sdbus::ObjectPath(service);
    });
    object.registerProperty("Flags").onInterface(characteristicInterface).withGetter([flags = flagsOf(characteristic)] {
        return flags;
    });
    object.registerProperty("Value").onInterface(characteristicInterface).withGetter([raw] { return raw->value; });
    object.registerMethod("ReadValue")
        .onInterface(characteristicInterface)
        .implementedAs([this, uuid](const Properties&) { return listener_.read(uuid); });
    object.registerMethod("WriteValue")
        .onInterface(characteristicInterface)
        .implementedAs([this, uuid](const Bytes& value, const Properties&) {
            if (uuid == glasses::gatt::outCharacteristic()) {
                listener_.wrote(value);
            }
        });
    object.registerMethod("StartNotify").onInterface(characteristicInterface).implementedAs([this, uuid] {
        subscribed(uuid, true);
    });
    object.registerMethod("StopNotify").onInterface(characteristicInterface).implementedAs([this, uuid] {
        subscribed(uuid, false);
    });
    object.finishRegistration();
    attributes_[uuid] = std::move(attribute);
}

void BlueZAir::subscribed(const UUID& characteristic, bool isOn) {
    attributes_.at(characteristic)->isNotified = isOn;
    if (characteristic != glasses::gatt::inCharacteristic()) {
        return;
    }
    if (isOn) {
        listener_.connected();
    }
    listener_.subscribed(isOn, notificationLength);
    if (!isOn) {
        listener_.disconnected();
    }
}

void BlueZAir::exportAdvertisement() {
    advertisement_ = sdbus::createObject(*connection_, advertisementPath);
    const auto property = [&](const char* name, auto value) {
        advertisement_->registerProperty(name)
            .onInterface(advertisementInterface)
            .withGetter([value = std::move(value)] { return value; });
    };
    const bool isUpdate = glasses_.advertisingMode == glasses::AdvertisingMode::update;
    const bool isNormal = glasses_.advertisingMode == glasses::AdvertisingMode::normal;
    std::map<std::uint16_t, sdbus::Variant> manufacturer;
    if (!isUpdate && glasses_.advertisingMode != glasses::AdvertisingMode::noManufacturerData) {
        manufacturer.emplace(0xffff, sdbus::Variant(Bytes{static_cast<std::uint8_t>(isNormal ? 2 : 1)}));
    }
    const UUID& service = isUpdate ? glasses::gatt::updateService() : glasses::gatt::dataService();
    property("Type", std::string("peripheral"));
    property("ServiceUUIDs", std::vector<std::string>{service.string()});
    property("ManufacturerData", manufacturer);
    property("Discoverable", true);
    advertisement_->registerMethod("Release").onInterface(advertisementInterface).implementedAs([] {});
    advertisement_->finishRegistration();
}

void BlueZAir::advertise(std::optional<glasses::AdvertisingMode> mode) {
    // The kernel goes on with an advertisement when a connection has ended.
    if (advertisement_ && mode == glasses_.advertisingMode) {
        return;
    }
    if (advertisement_) {
        call(adapter_, advertisingManager, "UnregisterAdvertisement",
             [](sdbus::MethodCall& message) { message << sdbus::ObjectPath(advertisementPath); });
        advertisement_.reset();
    }
    if (mode) {
        glasses_.advertisingMode = *mode;
        exportAdvertisement();
        call(adapter_, advertisingManager, "RegisterAdvertisement",
             [](sdbus::MethodCall& message) { message << sdbus::ObjectPath(advertisementPath) << Properties(); });
    }
}

void BlueZAir::notify(const UUID& characteristic, ByteView value) {
    const auto found = attributes_.find(characteristic);
    if (found != attributes_.end() && found->second->isNotified) {
        found->second->value.assign(value.begin(), value.end());
        found->second->object->emitPropertiesChangedSignal(characteristicInterface, {"Value"});
    }
}

/// The service ends connections in one way only.
void BlueZAir::drop(bool) {
    call("/", "org.freedesktop.DBus.ObjectManager", "GetManagedObjects", {}, [this](sdbus::MethodReply& reply) {
        std::map<sdbus::ObjectPath, std::map<std::string, Properties>> objects;
        reply >> objects;
        for (const auto& [path, interfaces] : objects) {
            const auto device = interfaces.find(deviceInterface);
            if (device != interfaces.end() && path.starts_with(adapter_ + "/") &&
                device->second.at("Connected").get<bool>()) {
                call(path, deviceInterface, "Disconnect");
            }
        }
    });
}

} // namespace tarnel::radio
