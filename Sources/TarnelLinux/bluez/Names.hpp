#pragma once

/// Names of BlueZ's D-Bus interface (https://git.kernel.org/pub/scm/bluetooth/bluez.git/tree/doc).
namespace tarnel::bluez {

inline constexpr const char* serviceName = "org.bluez";
inline constexpr const char* objectManagerInterface = "org.freedesktop.DBus.ObjectManager";
inline constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";
inline constexpr const char* adapterInterface = "org.bluez.Adapter1";
inline constexpr const char* deviceInterface = "org.bluez.Device1";
inline constexpr const char* gattServiceInterface = "org.bluez.GattService1";
inline constexpr const char* gattCharacteristicInterface = "org.bluez.GattCharacteristic1";
inline constexpr const char* gattManagerInterface = "org.bluez.GattManager1";
inline constexpr const char* advertisingManagerInterface = "org.bluez.LEAdvertisingManager1";
inline constexpr const char* advertisementInterface = "org.bluez.LEAdvertisement1";
inline constexpr const char* agentInterface = "org.bluez.Agent1";
inline constexpr const char* agentManagerInterface = "org.bluez.AgentManager1";

inline constexpr const char* authenticationReason = "org.bluez.Reason.Authentication";

} // namespace tarnel::bluez
