#include "Messages.hpp"

#include <TarnelGlasses/SimulatedBluetooth.hpp>
#include <TarnelGlasses/SimulatedGlasses.hpp>
#include <TarnelSDK/schedulers/ThreadScheduler.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>

namespace tarnel::glasses {
namespace {

using namespace std::chrono_literals;
using namespace test;

constexpr int rounds = 200;

/// Finds the glasses, opens a session, and asks for a property again whenever it is answered. Starts again after a
/// drop.
class Asker : public platform::BluetoothCentralDelegate,
              public platform::BluetoothPeripheralDelegate,
              public std::enable_shared_from_this<Asker> {
public:
    using Error = std::optional<platform::BluetoothError>;

    std::shared_ptr<platform::BluetoothCentral> central;
    std::promise<void> done;
    std::atomic<int> answers = 0;

    void centralManagerDidUpdateState(platform::BluetoothCentral& host) override {
        host.scanForPeripherals({gatt::dataService()});
    }
    void didDiscover(platform::BluetoothCentral& host, const platform::PeripheralPointer& found,
                     const platform::AdvertisementData&, int) override {
        found->setDelegate(shared_from_this());
        host.stopScan();
        host.connect(found);
    }
    void didConnect(platform::BluetoothCentral&, const platform::PeripheralPointer& peripheral) override {
        peripheral->discoverServices();
    }
    void didFailToConnect(platform::BluetoothCentral&, const platform::PeripheralPointer&, const Error&) override {}
    void didDisconnectPeripheral(platform::BluetoothCentral& host, const platform::PeripheralPointer& peripheral,
                                 const Error&) override {
        host.connect(peripheral);
    }
    void connectionEventDidOccur(platform::BluetoothCentral&, platform::ConnectionEvent,
                                 const platform::PeripheralPointer&) override {}
    void didUpdateANCSAuthorization(platform::BluetoothCentral&, const platform::PeripheralPointer&) override {}

    void didDiscoverServices(const platform::PeripheralPointer& peripheral,
                             const std::vector<platform::ServicePointer>& services, const Error&) override {
        peripheral->discoverCharacteristics(services.at(0));
    }
    void didDiscoverCharacteristics(const platform::PeripheralPointer& peripheral, const platform::ServicePointer&,
                                    const std::vector<platform::CharacteristicPointer>& found, const Error&) override {
        out_ = found.at(0);
        peripheral->setNotifyValue(true, found.at(1));
    }
    void didUpdateNotificationState(const platform::PeripheralPointer& peripheral,
                                    const platform::CharacteristicPointer&, const Error&) override {
        ask(*peripheral);
    }
    void didUpdateValue(const platform::PeripheralPointer& peripheral, const platform::CharacteristicPointer&, ByteView,
                        const Error&) override {
        if (++answers == rounds) {
            done.set_value();
        }
        ask(*peripheral);
    }

private:
    void ask(platform::BluetoothPeripheral& peripheral) {
        if (peripheral.canSendWriteWithoutResponse()) {
            peripheral.writeValue(chunk(1, message("req", list(list(1, "led")))), out_,
                                  platform::WriteType::withoutResponse);
        }
    }

    platform::CharacteristicPointer out_;
};

TEST(GlassesOnThreads, holdASessionWhileOtherThreadsMoveThemAndLook) {
    ThreadScheduler scheduler(3);
    const auto start = std::chrono::steady_clock::now();
    const LinkModel quick{
        .connectionInterval = 100us, .advertisingInterval = 100us, .connectionSetup = 100us, .supervisionTimeout = 1ms};
    const auto radio = Radio::make(
        scheduler, [start] { return std::chrono::steady_clock::now() - start; }, quick);
    const auto bluetooth = SimulatedBluetooth::make(radio);
    const auto glasses = SimulatedGlasses::make(radio, {.restartTime = 100us});
    const auto asker = std::make_shared<Asker>();
    asker->central = bluetooth->makeCentral(asker, scheduler.makeSerialQueue("application"), {});

    auto done = asker->done.get_future();
    for (int i = 0; done.wait_for(100us) != std::future_status::ready; ++i) {
        ASSERT_LT(std::chrono::steady_clock::now() - start, 2min) << asker->answers << " answers";
        glasses->tap(i);
        glasses->setBattery(i % 100, i % 2 == 0);
        EXPECT_FALSE(glasses->frame().levels().empty());
        const auto received = glasses->receivedCount();
        EXPECT_GE(glasses->counters().writesWithoutResponse, received);
        asker->central->retrieveConnectedPeripherals(gatt::dataService());
        if (i % 20 == 10) {
            glasses->dropConnection();
        }
        if (i % 20 == 15) {
            glasses->stall(200us);
        }
    }
    EXPECT_GE(asker->answers, rounds);
    scheduler.shutDown();
    asker->central = nullptr;
}

} // namespace
} // namespace tarnel::glasses
