#pragma once

#include <TarnelGlasses/Gatt.hpp>
#include <TarnelSDK/platform/Bytes.hpp>
#include <TarnelSDK/platform/UUID.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::radio {

/// The attributes of a small device on one ATT channel, as Bluetooth Core, Vol 3, Part F and G, has
/// them: requests in, answers out, values written and read. No bonds, no long writes, no indications.
class AttributeServer {
public:
    struct Callbacks {
        std::function<void(const Bytes&)> send;
        std::function<Bytes(const UUID&)> read;
        /// `isRequest` for a write with response.
        std::function<void(const UUID&, ByteView, bool isRequest)> wrote;
        std::function<void(const UUID&, bool isOn)> subscribed;
    };

    /// `mtu` is the largest that the device takes, 23 to 517.
    AttributeServer(const std::vector<glasses::GattService>& services, std::uint16_t mtu, Callbacks callbacks);

    /// A new connection: nothing is subscribed to, the MTU is the least.
    void reset();
    void receive(ByteView message);
    /// Sends the value if it is subscribed to, as much of it as fits.
    void notify(const UUID& characteristic, ByteView value);
    std::size_t valueLength() const { return mtu_ - 3U; }

private:
    enum class Kind { service, characteristic, value, configuration };
    struct Attribute {
        Kind kind;
        UUID uuid; ///< of the service or characteristic
        glasses::GattCharacteristic characteristic;
        std::uint16_t end = 0; ///< of a service: its last handle
        bool isOn = false;     ///< of a configuration
    };

    void add(const glasses::GattService& service);
    const Attribute* at(std::uint16_t handle) const;
    UUID typeOf(const Attribute& attribute) const;
    std::optional<Bytes> valueOf(std::uint16_t handle) const;
    void refuse(std::uint8_t request, std::uint16_t handle, std::uint8_t error);
    void exchangeMtu(ByteView message);
    void findInformation(ByteView message);
    void findByTypeValue(ByteView message);
    void readByType(ByteView message, bool isGroup);
    void readValue(ByteView message, std::size_t offset);
    void write(ByteView message, bool isRequest);

    const std::uint16_t largestMtu_;
    const Callbacks callbacks_;
    std::vector<Attribute> attributes_; ///< handle 1 first
    std::uint16_t mtu_ = 23;
};

} // namespace tarnel::radio
