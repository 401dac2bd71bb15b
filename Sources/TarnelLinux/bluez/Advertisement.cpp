#include <TarnelLinux/bluez/Advertisement.hpp>
#include <TarnelLinux/bluez/Names.hpp>

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace tarnel::bluez {
namespace {

/// Of the 31 bytes of a scan response, two are the name's header.
constexpr std::size_t longestName = 29;
/// In milliseconds; a daemon without experimental features goes its own pace, about a second.
constexpr std::uint32_t shortestInterval = 100;
constexpr std::uint32_t longestInterval = 150;

/// The name, cut between two characters (UTF-8) where it is too long.
std::string nameThatFits(const std::string& name) {
    if (name.size() <= longestName) {
        return name;
    }
    std::size_t length = longestName;
    while (length > 0 && (static_cast<unsigned char>(name[length]) & 0xc0U) == 0x80U) {
        --length;
    }
    return name.substr(0, length);
}

std::map<std::uint16_t, sdbus::Variant> manufacturerData(const Bytes& data) {
    constexpr std::size_t identifierLength = 2;
    if (data.size() < identifierLength) {
        return {};
    }
    const auto company = static_cast<std::uint16_t>(data[0] | data[1] << 8);
    return {{company, sdbus::Variant(Bytes(data.begin() + identifierLength, data.end()))}};
}

} // namespace

Advertisement::Advertisement(sdbus::IConnection& connection, std::string path, const platform::AdvertisementData& data,
                             std::function<void()> released)
    : path_(std::move(path)), object_(sdbus::createObject(connection, path_)) {
    const auto property = [this](const char* name, auto value) {
        object_->registerProperty(name).onInterface(advertisementInterface).withGetter([value = std::move(value)] {
            return value;
        });
    };
    const bool isConnectable = data.isConnectable.value_or(true);
    property("Type", std::string(isConnectable ? "peripheral" : "broadcast"));
    if (isConnectable) {
        property("Discoverable", true);
    }
    if (data.serviceUUIDs) {
        std::vector<std::string> services;
        for (const auto& uuid : *data.serviceUUIDs) {
            services.push_back(uuid.string());
        }
        property("ServiceUUIDs", std::move(services));
    }
    if (data.manufacturerData) {
        property("ManufacturerData", manufacturerData(*data.manufacturerData));
    }
    if (data.localName && !data.localName->empty()) {
        property("LocalName", nameThatFits(*data.localName));
    }
    property("MinInterval", shortestInterval);
    property("MaxInterval", longestInterval);
    object_->registerMethod("Release").onInterface(advertisementInterface).implementedAs(std::move(released));
    object_->finishRegistration();
}

} // namespace tarnel::bluez
