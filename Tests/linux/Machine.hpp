#pragma once

#include "FakeBlueZ.hpp"
#include "PrivateBus.hpp"

#include <TarnelLinux/BlueZBluetooth.hpp>
#include <TarnelSDK/platform/Bluetooth.hpp>
#include <TarnelSDK/schedulers/ThreadScheduler.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tarnel::test {

inline FakeDevice glasses(std::string address = glassesAddress) {
    return {.address = std::move(address),
            .services = {dataService},
            .manufacturer = {{0x1234, {7, 2}}},
            .gatt = {{dataService,
                      {{.uuid = outCharacteristic, .flags = {"read", "write", "write-without-response"}},
                       {.uuid = inCharacteristic, .flags = {"notify"}}}},
                     {batteryService, {{.uuid = batteryLevel, .flags = {"read", "notify"}, .value = {80}}}}}};
}

/// What glasses are scanned for by.
inline std::vector<UUID> glassesService() {
    return {UUID::parse(dataService).value()};
}

/// An application that keeps a record of what it is told. Any thread.
class Application final : public platform::BluetoothCentralDelegate, public platform::BluetoothPeripheralDelegate {
public:
    explicit Application(std::shared_ptr<platform::Queue> queue) : queue_(std::move(queue)) {}

    /// Waits until it holds; false when it does not within half a minute.
    bool await(const std::function<bool()>& condition) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(30), condition);
    }
    bool await(const std::string& event, int times = 1) {
        return await([&] { return std::count(events_.begin(), events_.end(), event) >= times; });
    }
    int count(const std::string& event) {
        const std::lock_guard lock(mutex_);
        return static_cast<int>(std::count(events_.begin(), events_.end(), event));
    }
    std::vector<std::string> events() {
        const std::lock_guard lock(mutex_);
        return events_;
    }
    void forget() {
        const std::lock_guard lock(mutex_);
        events_.clear();
        values.clear();
    }

    void centralManagerDidUpdateState(platform::BluetoothCentral& central) override {
        record("state " + std::to_string(static_cast<int>(central.state())));
    }
    void didDiscover(platform::BluetoothCentral&, const platform::PeripheralPointer& peripheral,
                     const platform::AdvertisementData& data, int rssi) override {
        record("found", [&] {
            found.push_back(peripheral);
            advertisements.push_back(data);
            strengths.push_back(rssi);
        });
    }
    void didConnect(platform::BluetoothCentral&, const platform::PeripheralPointer&) override { record("connected"); }
    void didFailToConnect(platform::BluetoothCentral&, const platform::PeripheralPointer&,
                          const std::optional<platform::BluetoothError>& error) override {
        record("failed" + described(error));
    }
    void didDisconnectPeripheral(platform::BluetoothCentral&, const platform::PeripheralPointer&,
                                 const std::optional<platform::BluetoothError>& error) override {
        record("disconnected" + described(error));
    }
    void connectionEventDidOccur(platform::BluetoothCentral&, platform::ConnectionEvent event,
                                 const platform::PeripheralPointer&) override {
        record(event == platform::ConnectionEvent::peerConnected ? "peer connected" : "peer disconnected");
    }
    void didUpdateANCSAuthorization(platform::BluetoothCentral&,
                                    const platform::PeripheralPointer& peripheral) override {
        record(peripheral->ancsAuthorized() ? "authorized" : "not authorized");
    }

    void didDiscoverServices(const platform::PeripheralPointer&, const std::vector<platform::ServicePointer>& found_,
                             const std::optional<platform::BluetoothError>& error) override {
        record("services" + described(error), [&] { services = found_; });
    }
    void didDiscoverCharacteristics(const platform::PeripheralPointer&, const platform::ServicePointer&,
                                    const std::vector<platform::CharacteristicPointer>& found_,
                                    const std::optional<platform::BluetoothError>& error) override {
        record("characteristics" + described(error),
               [&] { characteristics.insert(characteristics.end(), found_.begin(), found_.end()); });
    }
    void didUpdateValue(const platform::PeripheralPointer&, const platform::CharacteristicPointer&, ByteView value,
                        const std::optional<platform::BluetoothError>& error) override {
        record("value" + described(error), [&] { values.emplace_back(value.begin(), value.end()); });
    }
    void didWriteValue(const platform::PeripheralPointer&, const platform::CharacteristicPointer&,
                       const std::optional<platform::BluetoothError>& error) override {
        record("written" + described(error));
    }
    void didUpdateNotificationState(const platform::PeripheralPointer&, const platform::CharacteristicPointer&,
                                    const std::optional<platform::BluetoothError>& error) override {
        record("subscribed" + described(error));
    }
    void didModifyServices(const platform::PeripheralPointer&,
                           const std::vector<platform::ServicePointer>& invalidated) override {
        record("modified " + std::to_string(invalidated.size()));
    }
    void isReadyToSendWriteWithoutResponse(const platform::PeripheralPointer&) override { record("ready"); }
    void didUpdateName(const platform::PeripheralPointer& peripheral) override {
        record("name " + peripheral->name().value_or("(none)"));
    }

    platform::CharacteristicPointer characteristic(const std::string& uuid) {
        const std::lock_guard lock(mutex_);
        for (auto found_ = characteristics.rbegin(); found_ != characteristics.rend(); ++found_) {
            if ((*found_)->uuid == UUID::parse(uuid)) {
                return *found_;
            }
        }
        return nullptr;
    }

    // To be read once what fills them has been awaited.
    std::vector<platform::PeripheralPointer> found;
    std::vector<platform::AdvertisementData> advertisements;
    std::vector<int> strengths;
    std::vector<platform::ServicePointer> services;
    std::vector<platform::CharacteristicPointer> characteristics;
    std::vector<Bytes> values;

private:
    static std::string described(const std::optional<platform::BluetoothError>& error) {
        return error ? " with error " + std::to_string(error->code) : "";
    }
    void record(
        const std::string& event, const std::function<void()>& note = [] {}) {
        EXPECT_TRUE(queue_->isCurrent()) << event;
        {
            const std::lock_guard lock(mutex_);
            note();
            events_.push_back(event);
        }
        changed_.notify_all();
    }

    const std::shared_ptr<platform::Queue> queue_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> events_;
};

/// A machine with a bus, a Bluetooth daemon and an application with a central.
class Machine {
public:
    struct Setup {
        bool hasDaemon = true;
        bool hasAdapter = true;
        bool isPowered = true;
        bool isForbidden = false;
    };

    Machine() : Machine(Setup{}) {}
    explicit Machine(Setup setup) : bus(setup.isForbidden), bluez(bus.address()) {
        if (setup.hasAdapter) {
            bluez.addAdapter("hci0", setup.isPowered);
        }
        if (setup.hasDaemon) {
            bluez.start();
        }
        launch();
    }
    ~Machine() {
        quit();
        scheduler.shutDown();
    }
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    void launch() {
        provider = std::make_unique<BlueZBluetooth>(BlueZOptions{
            .busAddress = bus.address(), .attemptFailed = [this](const UUID&, const platform::BluetoothError& error) {
                const std::lock_guard lock(attemptsMutex);
                failedAttempts.push_back(error.description);
            }});
        central = provider->makeCentral(application, queue, {});
    }
    void quit() {
        peripheral = nullptr;
        central = nullptr;
        provider = nullptr;
    }

    platform::PeripheralPointer known(const std::string& address = glassesAddress) {
        std::string identifier = "5461726E-656C-8000-8000-";
        std::copy_if(address.begin(), address.end(), std::back_inserter(identifier), [](char c) { return c != ':'; });
        const auto found = central->retrievePeripherals({UUID::parse(identifier).value_or(UUID())});
        return found.empty() ? nullptr : found.front();
    }

    void connect() {
        ASSERT_TRUE(eventually([&] { return central->state() == platform::CentralState::poweredOn; }));
        peripheral = known();
        ASSERT_NE(peripheral, nullptr);
        peripheral->setDelegate(application);
        const int before = application->count("connected");
        central->connect(peripheral);
        ASSERT_TRUE(application->await("connected", before + 1));
    }

    void discover() {
        const int before = application->count("services");
        peripheral->discoverServices();
        ASSERT_TRUE(application->await("services", before + 1));
        const int known = application->count("characteristics");
        const auto services = application->services;
        for (const auto& service : services) {
            peripheral->discoverCharacteristics(service);
        }
        ASSERT_TRUE(application->await("characteristics", known + static_cast<int>(services.size())));
        out = application->characteristic(outCharacteristic);
        in = application->characteristic(inCharacteristic);
        battery = application->characteristic(batteryLevel);
    }

    void open(FakeDevice device = glasses()) {
        bluez.addDevice(std::move(device));
        connect();
        discover();
    }

    /// Waits until the daemon sees it so; false when it does not within half a minute.
    static bool eventually(const std::function<bool()>& condition) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }

    std::vector<std::string> attemptFailures() {
        const std::lock_guard lock(attemptsMutex);
        return failedAttempts;
    }

    std::mutex attemptsMutex;
    std::vector<std::string> failedAttempts;
    PrivateBus bus;
    FakeBlueZ bluez;
    ThreadScheduler scheduler;
    std::shared_ptr<platform::Queue> queue = scheduler.makeSerialQueue("central");
    std::shared_ptr<Application> application = std::make_shared<Application>(queue);
    std::unique_ptr<BlueZBluetooth> provider;
    std::shared_ptr<platform::BluetoothCentral> central;
    platform::PeripheralPointer peripheral;
    platform::CharacteristicPointer out;
    platform::CharacteristicPointer in;
    platform::CharacteristicPointer battery;
};

} // namespace tarnel::test
