#pragma once

#include <TarnelLinux/BlueZBluetooth.hpp>
#include <TarnelSDK/platform/Bluetooth.hpp>
#include <TarnelSDK/schedulers/ThreadScheduler.hpp>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::radio {

/// A program that uses the platform's Bluetooth without the SDK above it.
class Client {
public:
    explicit Client(const std::string& adapter = "hci0");
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// Scans for a pair of glasses. All of these wait, and give false when it does not come about.
    bool find(std::chrono::seconds patience = std::chrono::seconds(60));
    bool connect(std::chrono::seconds patience = std::chrono::seconds(60));
    bool disconnect();
    /// Services, characteristics, and the subscription to what the glasses send.
    bool open();
    /// Writes the values without response, as fast as the platform takes them.
    bool write(const std::vector<Bytes>& values, std::chrono::seconds patience = std::chrono::seconds(60));

    /// How often the event came: "on", "found", "connected", "disconnected", "subscribed", "refused 5", "failed 14".
    int count(const std::string& event);
    bool await(const std::string& event, int times = 1, std::chrono::seconds patience = std::chrono::seconds(60));
    std::vector<std::string> events();
    platform::BluetoothPeripheral& peripheral() { return *peripheral_; }

private:
    class Record;

    ThreadScheduler scheduler_;
    const std::shared_ptr<platform::Queue> queue_;
    const std::shared_ptr<Record> record_;
    std::shared_ptr<BlueZBluetooth> provider_;
    std::shared_ptr<platform::BluetoothCentral> central_;
    platform::PeripheralPointer peripheral_;
    platform::CharacteristicPointer out_;
};

} // namespace tarnel::radio
