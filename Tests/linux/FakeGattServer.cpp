#include "FakeGattServer.hpp"

#include <TarnelLinux/bluez/Names.hpp>

#include <algorithm>
#include <cctype>
#include <utility>

namespace tarnel::test {

using namespace bluez;

namespace {

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return text;
}

} // namespace

void FakeGattServer::exportOn(sdbus::IConnection& connection, sdbus::IObject& adapter) {
    connection_ = &connection;
    adapter_ = &adapter;
    adapter.registerMethod("RegisterApplication")
        .onInterface(gattManagerInterface)
        .implementedAs([this](sdbus::Result<>&& result, const sdbus::ObjectPath& path, const Options&) {
            ++calls["RegisterApplication"];
            registerApplication(std::move(result), adapter_->getCurrentlyProcessedMessage()->getSender(), path);
        });
    adapter.registerMethod("UnregisterApplication")
        .onInterface(gattManagerInterface)
        .implementedAs([this](const sdbus::ObjectPath& path) {
            ++calls["UnregisterApplication"];
            if (path != applicationPath_) {
                throw sdbus::Error("org.bluez.Error.DoesNotExist", "Does Not Exist");
            }
            applicationPath_.clear();
            services.clear();
            flags.clear();
            for (auto& [uuid, proxy] : std::exchange(characteristics_, {})) {
                gone_.push_back(std::move(proxy));
            }
        });
    adapter.registerMethod("RegisterAdvertisement")
        .onInterface(advertisingManagerInterface)
        .implementedAs([this](sdbus::Result<>&& result, const sdbus::ObjectPath& path, const Options&) {
            ++calls["RegisterAdvertisement"];
            registerAdvertisement(std::move(result), adapter_->getCurrentlyProcessedMessage()->getSender(), path);
        });
    adapter.registerMethod("UnregisterAdvertisement")
        .onInterface(advertisingManagerInterface)
        .implementedAs([this](const sdbus::ObjectPath& path) {
            ++calls["UnregisterAdvertisement"];
            if (path != advertisementPath_) {
                throw sdbus::Error("org.bluez.Error.DoesNotExist", "Does Not Exist");
            }
            advertisementPath_.clear();
            advertisement.reset();
        });
}

void FakeGattServer::clear() {
    connection_ = nullptr;
    adapter_ = nullptr;
    applicationPath_.clear();
    advertisementPath_.clear();
    application_.reset();
    advertiser_.reset();
    characteristics_.clear();
    gone_.clear();
    advertisement.reset();
    services.clear();
    flags.clear();
}

void FakeGattServer::registerApplication(sdbus::Result<> result, const std::string& sender, const std::string& path) {
    if (!applicationPath_.empty()) {
        return result.returnError(sdbus::Error("org.bluez.Error.AlreadyExists", "Already Exists"));
    }
    applicationPath_ = path;
    if (application_) {
        gone_.push_back(std::move(application_));
    }
    application_ = sdbus::createProxy(*connection_, sender, path);
    application_->callMethodAsync("GetManagedObjects")
        .onInterface(objectManagerInterface)
        .uponReplyInvoke([this, sender, path, held = std::make_shared<sdbus::Result<>>(std::move(result))](
                             const sdbus::Error* error, const Objects& objects) {
            if (error || path != applicationPath_) {
                return held->returnError(sdbus::Error("org.bluez.Error.Failed", "No object received"));
            }
            publish(objects, sender);
            held->returnResults();
        });
}

void FakeGattServer::publish(const Objects& objects, const std::string& sender) {
    for (const auto& [path, interfaces] : objects) {
        if (const auto service = interfaces.find(gattServiceInterface); service != interfaces.end()) {
            services.push_back(lowerCase(service->second.at("UUID").get<std::string>()));
        }
        const auto found = interfaces.find(gattCharacteristicInterface);
        if (found == interfaces.end()) {
            continue;
        }
        const auto uuid = lowerCase(found->second.at("UUID").get<std::string>());
        flags[uuid] = found->second.at("Flags").get<std::vector<std::string>>();
        auto proxy = sdbus::createProxy(*connection_, sender, path);
        proxy->uponSignal("PropertiesChanged")
            .onInterface(propertiesInterface)
            .call([this, uuid](const std::string&, const Properties& changed, const std::vector<std::string>&) {
                if (const auto value = valueOf<Bytes>(changed, "Value")) {
                    notified[uuid].push_back(*value);
                }
            });
        proxy->finishRegistration();
        characteristics_[uuid] = std::move(proxy);
    }
}

void FakeGattServer::registerAdvertisement(sdbus::Result<> result, const std::string& sender, const std::string& path) {
    if (refusals > 0) {
        --refusals;
        return result.returnError(sdbus::Error("org.bluez.Error.NotPermitted", "Maximum advertisements reached"));
    }
    if (path == advertisementPath_) {
        return result.returnError(sdbus::Error("org.bluez.Error.AlreadyExists", "Already Exists"));
    }
    advertisementPath_ = path;
    if (advertiser_) {
        gone_.push_back(std::move(advertiser_));
    }
    advertiser_ = sdbus::createProxy(*connection_, sender, path);
    advertiser_->callMethodAsync("GetAll")
        .onInterface(propertiesInterface)
        .withArguments(advertisementInterface)
        .uponReplyInvoke([this, path, held = std::make_shared<sdbus::Result<>>(std::move(result))](
                             const sdbus::Error* error, const Properties& properties) {
            if (error || path != advertisementPath_) {
                return held->returnError(sdbus::Error("org.bluez.Error.Failed", "Failed to parse advertisement."));
            }
            FakeAdvertisement read;
            read.type = valueOf<std::string>(properties, "Type").value_or("");
            read.services = valueOf<std::vector<std::string>>(properties, "ServiceUUIDs").value_or(services);
            std::transform(read.services.begin(), read.services.end(), read.services.begin(), lowerCase);
            using Data = std::map<std::uint16_t, sdbus::Variant>;
            for (const auto& [company, bytes] : valueOf<Data>(properties, "ManufacturerData").value_or(Data())) {
                read.manufacturer.emplace(company, bytes.get<Bytes>());
            }
            read.name = valueOf<std::string>(properties, "LocalName");
            read.isDiscoverable = valueOf<bool>(properties, "Discoverable").value_or(false);
            advertisement = read;
            if (lateAnswers > 0) {
                --lateAnswers;
                return held->returnError(sdbus::Error("org.freedesktop.DBus.Error.NoReply", "no answer in time"));
            }
            held->returnResults();
        });
}

void FakeGattServer::release() {
    advertisementPath_.clear();
    advertisement.reset();
    auto call = advertiser_->createMethodCall(advertisementInterface, "Release");
    call.dontExpectReply();
    call.send(0);
}

void FakeGattServer::read(const std::string& device, const std::string& uuid, Options options,
                          const Answered& answered) {
    options.emplace("device", sdbus::ObjectPath(device));
    characteristics_.at(uuid)
        ->callMethodAsync("ReadValue")
        .onInterface(gattCharacteristicInterface)
        .withArguments(options)
        .uponReplyInvoke([answered](const sdbus::Error* error, const Bytes& value) {
            answered(error ? FakeAnswer{error->getName(), {}} : FakeAnswer{std::nullopt, value});
        });
}

void FakeGattServer::write(const std::string& device, const std::string& uuid, const Bytes& value, Options options,
                           const Answered& answered) {
    options.emplace("device", sdbus::ObjectPath(device));
    auto& proxy = *characteristics_.at(uuid);
    const auto& own = flags.at(uuid);
    if (std::find(own.begin(), own.end(), "write-without-response") != own.end()) {
        auto call = proxy.createMethodCall(gattCharacteristicInterface, "WriteValue");
        call << value << options;
        call.dontExpectReply();
        call.send(0);
        return answered({});
    }
    proxy.callMethodAsync("WriteValue")
        .onInterface(gattCharacteristicInterface)
        .withArguments(value, options)
        .uponReplyInvoke([answered](const sdbus::Error* error) {
            answered(error ? FakeAnswer{error->getName(), {}} : FakeAnswer{});
        });
}

void FakeGattServer::subscribe(const std::string& uuid, bool isOn) {
    characteristics_.at(uuid)
        ->callMethodAsync(isOn ? "StartNotify" : "StopNotify")
        .onInterface(gattCharacteristicInterface)
        .uponReplyInvoke([](const sdbus::Error*) {});
}

} // namespace tarnel::test
