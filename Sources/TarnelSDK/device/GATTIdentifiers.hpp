#pragma once

#include <TarnelSDK/platform/UUID.hpp>

namespace tarnel {

/// The services and characteristics of the glasses. Those of the standard services and of the firmware update may be
/// replaced by the application before it touches the SDK.
struct GATTIdentifiers {
    static inline const UUID GATT_SERVICE_UUID = UUID::bluetooth("39191400-BFC2-4BEE-A81A-28C23B6AC84A");
    static inline const UUID GATT_OUT_CHARACTERISTIC_UUID = UUID::bluetooth("39191401-BFC2-4BEE-A81A-28C23B6AC84A");
    static inline const UUID GATT_IN_CHARACTERISTIC_UUID = UUID::bluetooth("39191402-BFC2-4BEE-A81A-28C23B6AC84A");
    static inline UUID DFU_SERVICE_UUID = UUID::bluetooth("FE59");
    static inline UUID BATTERY_SERVICE_UUID = UUID::bluetooth("0x180F");
    static inline UUID BATTERY_LEVEL_CHARACTERISTIC_UUID = UUID::bluetooth("0x2A19");
    static inline UUID BATTERY_POWER_STATE_CHARACTERISTIC_UUID = UUID::bluetooth("0x2A1A");
    static inline UUID DEVICE_INFORMATION_SERVICE = UUID::bluetooth("0x180a");
    static inline UUID DIS_SOFTWARE_REVISION = UUID::bluetooth("0x2A28");
    static inline UUID DIS_SERIAL_NUMBER = UUID::bluetooth("0x2a25");
};

} // namespace tarnel
