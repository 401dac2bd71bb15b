#pragma once

#include "Messages.hpp"

#include <TarnelGlasses/SimulatedWorld.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace tarnel::glasses::test {

/// An application that writes down all that its central and its peripherals tell it.
class Application : public platform::BluetoothCentralDelegate, public platform::BluetoothPeripheralDelegate {
public:
    using Error = std::optional<platform::BluetoothError>;
    using Peripheral = platform::PeripheralPointer;

    std::vector<std::string> events;
    std::shared_ptr<platform::Queue> queue;
    Peripheral discovered;
    Peripheral seen; ///< with the last connection event
    platform::AdvertisementData advertisement;
    std::vector<platform::ServicePointer> services;
    std::vector<platform::CharacteristicPointer> characteristics;
    std::vector<Bytes> values;

    bool has(const std::string& event) const { return count(event) > 0; }
    long count(const std::string& event) const { return std::count(events.begin(), events.end(), event); }

    platform::CharacteristicPointer characteristic(const UUID& uuid) const {
        const auto found = std::find_if(characteristics.rbegin(), characteristics.rend(),
                                        [&](const auto& candidate) { return candidate->uuid == uuid; });
        return found == characteristics.rend() ? nullptr : *found;
    }

    void centralManagerDidUpdateState(platform::BluetoothCentral& central) override {
        note("state " + std::to_string(static_cast<int>(central.state())));
    }
    void didDiscover(platform::BluetoothCentral&, const Peripheral& peripheral, const platform::AdvertisementData& data,
                     int) override {
        discovered = peripheral;
        advertisement = data;
        note("discovered");
    }
    void didConnect(platform::BluetoothCentral&, const Peripheral& peripheral) override {
        EXPECT_EQ(peripheral->state(), platform::PeripheralState::connected);
        note("connected");
    }
    void didFailToConnect(platform::BluetoothCentral&, const Peripheral&, const Error& error) override {
        note("failed" + text(error));
    }
    void didDisconnectPeripheral(platform::BluetoothCentral&, const Peripheral& peripheral,
                                 const Error& error) override {
        EXPECT_NE(peripheral->state(), platform::PeripheralState::connected);
        note("disconnected" + text(error));
    }
    void connectionEventDidOccur(platform::BluetoothCentral&, platform::ConnectionEvent event,
                                 const Peripheral& peripheral) override {
        seen = peripheral;
        note(event == platform::ConnectionEvent::peerConnected ? "peer connected" : "peer disconnected");
    }
    void didUpdateANCSAuthorization(platform::BluetoothCentral&, const Peripheral& peripheral) override {
        note(peripheral->ancsAuthorized() ? "authorized" : "not authorized");
    }
    void didDiscoverServices(const Peripheral&, const std::vector<platform::ServicePointer>& found,
                             const Error&) override {
        services = found;
        note("services");
    }
    void didDiscoverCharacteristics(const Peripheral&, const platform::ServicePointer&,
                                    const std::vector<platform::CharacteristicPointer>& found, const Error&) override {
        characteristics.insert(characteristics.end(), found.begin(), found.end());
        note("characteristics");
    }
    void didUpdateValue(const Peripheral&, const platform::CharacteristicPointer&, ByteView value,
                        const Error& error) override {
        values.emplace_back(value.begin(), value.end());
        note("value" + text(error));
    }
    void didWriteValue(const Peripheral&, const platform::CharacteristicPointer&, const Error& error) override {
        note("written" + text(error));
    }
    void didUpdateNotificationState(const Peripheral&, const platform::CharacteristicPointer&,
                                    const Error& error) override {
        note("subscribed" + text(error));
    }
    void didModifyServices(const Peripheral&, const std::vector<platform::ServicePointer>& invalidated) override {
        note("modified " + std::to_string(invalidated.size()));
    }
    void isReadyToSendWriteWithoutResponse(const Peripheral&) override { note("ready"); }
    void didUpdateName(const Peripheral& peripheral) override { note("name " + peripheral->name().value_or("")); }

private:
    void note(std::string event) {
        EXPECT_TRUE(queue->isCurrent()) << event;
        events.push_back(std::move(event));
    }
    static std::string text(const Error& error) { return error ? " with error " + std::to_string(error->code) : ""; }
};

/// A world with one pair of glasses, and an application with its central, which the test plays.
struct Phone {
    explicit Phone(const GlassesOptions& options = {}, const WorldOptions& worldOptions = {}) : world(worldOptions) {
        glasses = world.addGlasses(options);
        start();
    }

    /// Starts the application.
    void start() {
        application = std::make_shared<Application>();
        application->queue = platform::Platform::current().services().scheduler->makeSerialQueue("application");
        central = world.bluetooth().makeCentral(application, application->queue, {});
        world.run();
    }

    platform::PeripheralPointer find() {
        central->scanForPeripherals({gatt::dataService(), gatt::updateService()});
        EXPECT_TRUE(world.runUntil([&] { return application->discovered != nullptr; }));
        central->stopScan();
        return application->discovered;
    }

    /// Scans, connects, and discovers everything.
    void connect() {
        peripheral = find();
        ASSERT_TRUE(peripheral);
        peripheral->setDelegate(application);
        central->connect(peripheral);
        await("connected");
        discover();
    }

    void discover() {
        application->characteristics.clear();
        const auto before = application->count("services");
        peripheral->discoverServices();
        ASSERT_TRUE(world.runUntil([&] { return application->count("services") > before; }));
        for (const auto& service : application->services) {
            const auto found = application->count("characteristics");
            peripheral->discoverCharacteristics(service);
            ASSERT_TRUE(world.runUntil([&] { return application->count("characteristics") > found; }));
        }
        out = application->characteristic(gatt::outCharacteristic());
        in = application->characteristic(gatt::inCharacteristic());
    }

    void subscribe() {
        peripheral->setNotifyValue(true, in);
        await("subscribed");
    }

    /// A connection as a session has it.
    void open() {
        connect();
        subscribe();
        application->events.clear();
    }

    void await(const std::string& event, platform::Duration limit = std::chrono::minutes(1)) {
        EXPECT_TRUE(world.runUntil([&] { return application->has(event); }, limit))
            << "no \"" << event << "\", seed " << world.options().seed;
    }

    void write(const Bytes& value) { peripheral->writeValue(value, out, platform::WriteType::withResponse); }
    void writeWithoutResponse(const Bytes& value) {
        peripheral->writeValue(value, out, platform::WriteType::withoutResponse);
    }
    void settle() { world.advance(std::chrono::seconds(5)); }

    SimulatedWorld world;
    std::shared_ptr<SimulatedGlasses> glasses;
    std::shared_ptr<Application> application;
    std::shared_ptr<platform::BluetoothCentral> central;
    platform::PeripheralPointer peripheral;
    platform::CharacteristicPointer out;
    platform::CharacteristicPointer in;
};

} // namespace tarnel::glasses::test
