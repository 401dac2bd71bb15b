#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <linux/FakeBlueZ.hpp>
#include <linux/PrivateBus.hpp>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace tarnel::test {

/// A machine whose Bluetooth daemon is played, for commands that are run on it.
class BluetoothMachine {
public:
    explicit BluetoothMachine(bool isForbidden = false) : bus(isForbidden), bluez(bus.address()) {
        ::setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().c_str(), 1);
    }
    ~BluetoothMachine() { ::unsetenv("DBUS_SYSTEM_BUS_ADDRESS"); }
    BluetoothMachine(const BluetoothMachine&) = delete;
    BluetoothMachine& operator=(const BluetoothMachine&) = delete;

    /// A phone connects to the glasses that are on the air.
    void connectPhone(FakeDevice phone = {.address = phoneAddress, .name = "Phone"}) {
        phone.isAdvertising = false;
        bluez.addDevice(phone);
        bluez.connectByAnother(phoneAddress);
    }
    /// The phone writes a message of one chunk.
    void write(const std::string& message) {
        Bytes chunk{0};
        chunk.insert(chunk.end(), message.begin(), message.end());
        bluez.centralWrites(phoneAddress, outCharacteristic, chunk, {{"mtu", std::uint16_t{517}}});
    }

    PrivateBus bus;
    FakeBlueZ bluez;
};

// Messages of an application: it takes the display, and fills a square of 2 x 2 pixels at (4, 6) with level 3.
inline const std::string takesDisplay =
    std::string("\x81\xa7") + "control" + "\x95\xc2\xcc\xb4\x04\xa3" + "app" + "\xc3";
inline const std::string fillsSquare =
    std::string("\x81\xa6") + "canvas" + "\x81\xab" + "cnvs_clrblk" + "\x95\x04\x06\x06\x08\x03";
inline const std::string flushes = std::string("\x81\xa6") + "canvas" + "\x81\xa5" + "flush" + "\xc0";

} // namespace tarnel::test
