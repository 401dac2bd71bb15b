#include "BareWriter.hpp"

#include "Stack.hpp"

#include <TarnelGlasses/Gatt.hpp>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <map>
#include <utility>

namespace tarnel::radio {
BareWriter::BareWriter(std::string adapter) : adapter_(std::move(adapter)) {}

BareWriter::~BareWriter() {
    ::close(socket_);
}

bool BareWriter::connect() {
    using Properties = std::map<std::string, sdbus::Variant>;
    const auto connection = sdbus::createSystemBusConnection();
    const auto root = sdbus::createProxy(*connection, "org.bluez", "/");
    const std::string below = "/org/bluez/" + adapter_ + "/";
    return eventually([&] {
        std::map<sdbus::ObjectPath, std::map<std::string, Properties>> objects;
        root->callMethod("GetManagedObjects").onInterface("org.freedesktop.DBus.ObjectManager").storeResultsTo(objects);
        for (const auto& [path, interfaces] : objects) {
            try {
                const auto object = sdbus::createProxy(*connection, "org.bluez", path);
                const auto device = interfaces.find("org.bluez.Device1");
                if (device != interfaces.end() && path.starts_with(below) &&
                    !device->second.at("Connected").get<bool>()) {
                    object->callMethod("Connect").onInterface("org.bluez.Device1");
                }
                const auto attribute = interfaces.find("org.bluez.GattCharacteristic1");
                if (attribute != interfaces.end() && UUID::parse(attribute->second.at("UUID").get<std::string>()) ==
                                                         glasses::gatt::outCharacteristic()) {
                    sdbus::UnixFd descriptor;
                    std::uint16_t mtu = 0;
                    object->callMethod("AcquireWrite")
                        .onInterface("org.bluez.GattCharacteristic1")
                        .withArguments(Properties())
                        .storeResultsTo(descriptor, mtu);
                    socket_ = ::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, 0);
                    return true;
                }
            } catch (const sdbus::Error&) {
                continue; // is tried again
            }
        }
        return false;
    });
}

bool BareWriter::write(const std::vector<std::size_t>& lengths) const {
    const std::vector<std::uint8_t> value(*std::max_element(lengths.begin(), lengths.end()));
    for (const std::size_t length : lengths) {
        while (::write(socket_, value.data(), length) < 0) {
            pollfd descriptor{socket_, POLLOUT, 0};
            if (errno != EAGAIN || ::poll(&descriptor, 1, 10'000) <= 0) {
                return false;
            }
        }
    }
    return true;
}

} // namespace tarnel::radio
