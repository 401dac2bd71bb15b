#include <TarnelGlasses/Gatt.hpp>
#include <TarnelGlasses/GlassesOptions.hpp>

namespace tarnel::glasses {

namespace gatt {

const UUID& dataService() {
    static const UUID uuid = UUID::bluetooth("39191400-BFC2-4BEE-A81A-28C23B6AC84A");
    return uuid;
}

const UUID& outCharacteristic() {
    static const UUID uuid = UUID::bluetooth("39191401-BFC2-4BEE-A81A-28C23B6AC84A");
    return uuid;
}

const UUID& inCharacteristic() {
    static const UUID uuid = UUID::bluetooth("39191402-BFC2-4BEE-A81A-28C23B6AC84A");
    return uuid;
}

const UUID& updateService() {
    static const UUID uuid = UUID::bluetooth("FE59");
    return uuid;
}

const UUID& batteryService() {
    static const UUID uuid = UUID::bluetooth("180F");
    return uuid;
}

const UUID& batteryLevel() {
    static const UUID uuid = UUID::bluetooth("2A19");
    return uuid;
}

const UUID& batteryPowerState() {
    static const UUID uuid = UUID::bluetooth("2A1A");
    return uuid;
}

const UUID& deviceInformation() {
    static const UUID uuid = UUID::bluetooth("180A");
    return uuid;
}

const UUID& softwareRevision() {
    static const UUID uuid = UUID::bluetooth("2A28");
    return uuid;
}

const UUID& serialNumber() {
    static const UUID uuid = UUID::bluetooth("2A25");
    return uuid;
}

} // namespace gatt

std::vector<GattService> gattServices(const GlassesOptions& options) {
    const GattService information{
        gatt::deviceInformation(),
        {{.uuid = gatt::softwareRevision(), .read = true}, {.uuid = gatt::serialNumber(), .read = true}}};
    if (options.advertisingMode == AdvertisingMode::update) {
        return {{gatt::updateService(), {}}, information};
    }
    const bool isProtected = options.requiresPairing;
    return {{gatt::dataService(),
             {{.uuid = gatt::outCharacteristic(),
               .read = true,
               .write = true,
               .writeWithoutResponse = options.protocolVersion >= 2,
               .isProtected = isProtected},
              {.uuid = gatt::inCharacteristic(), .notify = true, .isProtected = isProtected}}},
            {gatt::batteryService(),
             {{.uuid = gatt::batteryLevel(), .read = true, .notify = true},
              {.uuid = gatt::batteryPowerState(), .read = true, .notify = true}}},
            information};
}

} // namespace tarnel::glasses
