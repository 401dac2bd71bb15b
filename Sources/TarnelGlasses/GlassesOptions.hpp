#pragma once

#include <TarnelGlasses/Gatt.hpp>
#include <TarnelGlasses/LvglFont.hpp>
#include <TarnelSDK/platform/Queue.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace tarnel::glasses {

enum class AdvertisingMode {
    normal,                ///< the data service, manufacturer data that end in 2
    otherManufacturerData, ///< the data service, manufacturer data that end in 1
    noManufacturerData,    ///< the data service alone
    update,                ///< the firmware-update service
};

/// What one pair of glasses is.
struct GlassesOptions {
    UUID identifier = UUID::bluetooth("5A1E0001-0000-4000-8000-000000000001");
    /// Advertised, and the first value of the property "dev_name".
    std::string name = "Brenlo Glasses";
    /// 1: the out characteristic takes writes with response only. 2: it takes writes without response too.
    int protocolVersion = 2;
    AdvertisingMode advertisingMode = AdvertisingMode::normal;
    /// The data service needs a bond; the first access starts pairing.
    bool requiresPairing = false;

    std::string revision = "2";                 ///< Device Information, software revision
    std::string serialNumber = "Z123456789012"; ///< Device Information, serial number
    std::int64_t firmwareVersion = 123;         ///< property "app_ver"
    std::int64_t brightness = 50;               ///< property "led"
    std::int64_t navigationOffset = 0;          ///< property "nav_y_offset"
    /// Whose loader reads the fonts that are received.
    LvglVersion lvglVersion = LvglVersion::v8_3_11;
    int batteryLevel = 80; ///< percent, 0 to 100
    bool isCharging = false;
    int rssi = -55;
    /// From a restart to the first advertisement.
    platform::Duration restartTime = std::chrono::milliseconds(500);
};

/// The services that such glasses offer.
std::vector<GattService> gattServices(const GlassesOptions& options);

} // namespace tarnel::glasses
