#pragma once

#include <TarnelLinux/bluez/Bus.hpp>
#include <TarnelSDK/platform/Bluetooth.hpp>

namespace tarnel::bluez {

/// Why a read, a write or a subscription was refused, as an error of the attribute domain where BlueZ names one.
platform::BluetoothError attributeError(const Failure& failure);

/// Why a connection could not be made or ended. A lost bond is told only of a device that is bonded here.
platform::BluetoothError connectionError(const Failure& failure, bool isBonded);

platform::BluetoothError centralError(int code, std::string description);

/// The call may succeed when it is made again: the daemon was busy with another.
bool isInProgress(const Failure& failure);

/// The bus lets this process not speak to the daemon.
bool isForbidden(const Failure& failure);

/// The bus, or the daemon, is there and does not answer.
bool isSilence(const Failure& failure);

} // namespace tarnel::bluez
