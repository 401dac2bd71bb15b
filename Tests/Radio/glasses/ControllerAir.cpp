#include "ControllerAir.hpp"

#include <utility>

namespace tarnel::radio {
namespace {

// Fixed channels: Bluetooth Core, Vol 3, Part A, 2.1.
constexpr std::uint16_t attributeChannel = 4;
constexpr std::uint16_t signallingChannel = 5;
constexpr std::uint16_t securityChannel = 6;

// Advertising data: Bluetooth Core Supplement, Part A.
constexpr std::uint8_t flags = 0x01;
constexpr std::uint8_t completeShortUuids = 0x03;
constexpr std::uint8_t completeLongUuids = 0x07;
constexpr std::uint8_t completeName = 0x09;
constexpr std::uint8_t manufacturerData = 0xff;

void append(Bytes& bytes, std::uint8_t type, const Bytes& data) {
    bytes.push_back(static_cast<std::uint8_t>(data.size() + 1));
    bytes.push_back(type);
    bytes.insert(bytes.end(), data.begin(), data.end());
}

glasses::GattService genericAccess() {
    return {UUID::bluetooth("1800"), {{.uuid = UUID::bluetooth("2A00"), .read = true}}};
}

} // namespace

ControllerAir::ControllerAir(bluez::EventLoop& loop, const Options& options, glasses::GlassesOptions glasses,
                             AirListener listener)
    : options_(options), glasses_(std::move(glasses)), listener_(std::move(listener)),
      controller_(loop, options.controller, options.randomAddress,
                  {.connected = [this] { serve(); },
                   .disconnected = [this] { listener_.disconnected(); },
                   .received = [this](std::uint16_t channel, ByteView payload) { received(channel, payload); }}) {}

void ControllerAir::serve() {
    auto services = glasses::gattServices(glasses_);
    services.insert(services.begin(), genericAccess());
    server_ = std::make_unique<AttributeServer>(
        services, options_.mtu,
        AttributeServer::Callbacks{
            .send = [this](const Bytes& message) { controller_.send(attributeChannel, message); },
            .read =
                [this](const UUID& uuid) {
                    return uuid == UUID::bluetooth("2A00") ? Bytes(glasses_.name.begin(), glasses_.name.end())
                                                           : listener_.read(uuid);
                },
            .wrote =
                [this](const UUID& uuid, ByteView value, bool) {
                    if (uuid == glasses::gatt::outCharacteristic()) {
                        listener_.wrote(value);
                    }
                },
            .subscribed =
                [this](const UUID& uuid, bool isOn) {
                    if (uuid == glasses::gatt::inCharacteristic()) {
                        listener_.subscribed(isOn, server_->valueLength());
                    }
                },
        });
    server_->reset();
    listener_.connected();
}

void ControllerAir::received(std::uint16_t channel, ByteView payload) {
    constexpr std::uint8_t pairingFailed = 0x05;
    constexpr std::uint8_t pairingNotSupported = 0x05;
    constexpr std::uint8_t pairingRequest = 0x01;
    constexpr std::uint8_t commandReject = 0x01;
    if (channel == attributeChannel && server_) {
        server_->receive(payload);
    } else if (channel == securityChannel && !payload.empty() && payload[0] == pairingRequest) {
        controller_.send(securityChannel, Bytes{pairingFailed, pairingNotSupported});
    } else if (channel == signallingChannel && payload.size() >= 4 && payload[0] != commandReject) {
        controller_.send(signallingChannel, Bytes{commandReject, payload[1], 2, 0, 0, 0}); // not understood
    }
}

Bytes ControllerAir::advertisement() const {
    Bytes data;
    append(data, flags, {0x06}); // general discoverable, no BR/EDR
    if (glasses_.advertisingMode == glasses::AdvertisingMode::update) {
        append(data, completeShortUuids, {0x59, 0xfe});
        return data;
    }
    const auto& service = glasses::gatt::dataService().bytes();
    append(data, completeLongUuids, {service.rbegin(), service.rend()});
    if (glasses_.advertisingMode != glasses::AdvertisingMode::noManufacturerData) {
        const bool isNormal = glasses_.advertisingMode == glasses::AdvertisingMode::normal;
        append(data, manufacturerData, {0xff, 0xff, static_cast<std::uint8_t>(isNormal ? 2 : 1)});
    }
    return data;
}

Bytes ControllerAir::scanResponse() const {
    Bytes data;
    append(data, completeName, {glasses_.name.begin(), glasses_.name.end()});
    return data;
}

void ControllerAir::advertise(std::optional<glasses::AdvertisingMode> mode) {
    controller_.stopAdvertising();
    if (mode) {
        glasses_.advertisingMode = *mode;
        controller_.advertise(advertisement(), scanResponse());
    }
}

void ControllerAir::notify(const UUID& characteristic, ByteView value) {
    if (server_ && controller_.isConnected()) {
        server_->notify(characteristic, value);
    }
}

void ControllerAir::drop(bool isLost) {
    controller_.disconnect(isLost ? Controller::connectionTimeout : Controller::remoteUserTerminated);
}

} // namespace tarnel::radio
