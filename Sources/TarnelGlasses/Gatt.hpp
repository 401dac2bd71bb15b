#pragma once

#include <TarnelSDK/platform/UUID.hpp>

#include <vector>

namespace tarnel::glasses {

/// The attribute identifiers of the glasses.
namespace gatt {
const UUID& dataService();       ///< 39191400-...
const UUID& outCharacteristic(); ///< 39191401-..., the phone writes
const UUID& inCharacteristic();  ///< 39191402-..., the glasses notify
const UUID& updateService();     ///< FE59
const UUID& batteryService();    ///< 180F
const UUID& batteryLevel();      ///< 2A19
const UUID& batteryPowerState(); ///< 2A1A
const UUID& deviceInformation(); ///< 180A
const UUID& softwareRevision();  ///< 2A28
const UUID& serialNumber();      ///< 2A25
} // namespace gatt

struct GattCharacteristic {
    UUID uuid;
    bool read = false;
    bool write = false;
    bool writeWithoutResponse = false;
    bool notify = false;
    /// Any access needs a bond when the glasses require pairing.
    bool isProtected = false;
};

struct GattService {
    UUID uuid;
    std::vector<GattCharacteristic> characteristics;
};

} // namespace tarnel::glasses
