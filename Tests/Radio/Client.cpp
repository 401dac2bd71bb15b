#include "Client.hpp"

#include <TarnelGlasses/Gatt.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::radio {

using platform::BluetoothCentral;
using platform::BluetoothError;
using platform::CharacteristicPointer;
using platform::PeripheralPointer;
using platform::ServicePointer;

class Client::Record final : public platform::BluetoothCentralDelegate, public platform::BluetoothPeripheralDelegate {
public:
    bool await(const std::function<bool()>& condition, std::chrono::milliseconds patience) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, patience, condition);
    }
    int countLocked(const std::string& event) const {
        return static_cast<int>(std::count(events.begin(), events.end(), event));
    }

    void centralManagerDidUpdateState(BluetoothCentral& central) override {
        add(central.state() == platform::CentralState::poweredOn ? "on" : "off");
    }
    void didDiscover(BluetoothCentral&, const PeripheralPointer& peripheral, const platform::AdvertisementData&,
                     int) override {
        add("found", [&] { found = peripheral; });
    }
    void didConnect(BluetoothCentral&, const PeripheralPointer&) override { add("connected"); }
    void didFailToConnect(BluetoothCentral&, const PeripheralPointer&,
                          const std::optional<BluetoothError>& error) override {
        add(withCode("failed", error));
    }
    void didDisconnectPeripheral(BluetoothCentral&, const PeripheralPointer&,
                                 const std::optional<BluetoothError>&) override {
        add("disconnected");
    }
    void connectionEventDidOccur(BluetoothCentral&, platform::ConnectionEvent event,
                                 const PeripheralPointer&) override {
        add(event == platform::ConnectionEvent::peerConnected ? "peer" : "no peer");
    }
    void didUpdateANCSAuthorization(BluetoothCentral&, const PeripheralPointer&) override {}

    void didDiscoverServices(const PeripheralPointer&, const std::vector<ServicePointer>& all,
                             const std::optional<BluetoothError>&) override {
        add("services", [&] {
            const auto data = std::find_if(all.begin(), all.end(), [](const auto& offered) {
                return offered->uuid == glasses::gatt::dataService();
            });
            service = data == all.end() ? nullptr : *data;
        });
    }
    void didDiscoverCharacteristics(const PeripheralPointer&, const ServicePointer&,
                                    const std::vector<CharacteristicPointer>& all,
                                    const std::optional<BluetoothError>&) override {
        add("characteristics", [&] { characteristics = all; });
    }
    void didUpdateNotificationState(const PeripheralPointer&, const CharacteristicPointer&,
                                    const std::optional<BluetoothError>& error) override {
        add(error ? withCode("refused", error) : "subscribed");
    }
    void didUpdateValue(const PeripheralPointer&, const CharacteristicPointer&, ByteView,
                        const std::optional<BluetoothError>& error) override {
        add(error ? withCode("refused", error) : "value");
    }
    void didWriteValue(const PeripheralPointer&, const CharacteristicPointer&,
                       const std::optional<BluetoothError>& error) override {
        add(error ? withCode("refused", error) : "written");
    }
    void isReadyToSendWriteWithoutResponse(const PeripheralPointer&) override { changed.notify_all(); }

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> events;
    PeripheralPointer found;
    ServicePointer service;
    std::vector<CharacteristicPointer> characteristics;

private:
    static std::string withCode(const std::string& event, const std::optional<BluetoothError>& error) {
        return event + " " + std::to_string(error ? error->code : 0);
    }
    void add(
        const std::string& event, const std::function<void()>& note = [] {}) {
        {
            const std::lock_guard lock(mutex);
            note();
            events.push_back(event);
        }
        changed.notify_all();
    }
};

Client::Client(const std::string& adapter)
    : queue_(scheduler_.makeSerialQueue("client")), record_(std::make_shared<Record>()),
      provider_(std::make_shared<BlueZBluetooth>(BlueZOptions{.adapter = adapter})),
      central_(provider_->makeCentral(record_, queue_, {})) {}

Client::~Client() {
    peripheral_ = nullptr;
    central_ = nullptr;
    provider_ = nullptr;
    scheduler_.shutDown();
}

int Client::count(const std::string& event) {
    const std::lock_guard lock(record_->mutex);
    return record_->countLocked(event);
}

std::vector<std::string> Client::events() {
    const std::lock_guard lock(record_->mutex);
    return record_->events;
}

bool Client::await(const std::string& event, int times, std::chrono::seconds patience) {
    return record_->await([&] { return record_->countLocked(event) >= times; }, patience);
}

bool Client::find(std::chrono::seconds patience) {
    if (!await("on")) {
        return false;
    }
    const int before = count("found");
    central_->scanForPeripherals({glasses::gatt::dataService()});
    const bool isFound = await("found", before + 1, patience);
    central_->stopScan();
    peripheral_ = record_->found;
    if (peripheral_) {
        peripheral_->setDelegate(record_);
    }
    return isFound;
}

bool Client::connect(std::chrono::seconds patience) {
    const int before = count("connected");
    central_->connect(peripheral_);
    return await("connected", before + 1, patience);
}

bool Client::disconnect() {
    const int before = count("disconnected");
    central_->cancelPeripheralConnection(peripheral_);
    return await("disconnected", before + 1);
}

bool Client::open() {
    const int services = count("services");
    peripheral_->discoverServices();
    if (!await("services", services + 1, std::chrono::seconds(45)) || !record_->service) {
        return false;
    }
    const int characteristics = count("characteristics");
    peripheral_->discoverCharacteristics(record_->service);
    if (!await("characteristics", characteristics + 1)) {
        return false;
    }
    CharacteristicPointer in;
    for (const auto& characteristic : record_->characteristics) {
        (characteristic->canNotify ? in : out_) = characteristic;
    }
    const int subscribed = count("subscribed");
    peripheral_->setNotifyValue(true, in);
    return await("subscribed", subscribed + 1, std::chrono::seconds(60));
}

bool Client::write(const std::vector<Bytes>& values, std::chrono::seconds patience) {
    const auto end = std::chrono::steady_clock::now() + patience;
    for (const auto& value : values) {
        // The short wait makes up for a call that comes between the question and the wait.
        while (!peripheral_->canSendWriteWithoutResponse()) {
            if (std::chrono::steady_clock::now() > end) {
                return false;
            }
            std::unique_lock lock(record_->mutex);
            record_->changed.wait_for(lock, std::chrono::milliseconds(1));
        }
        peripheral_->writeValue(value, out_, platform::WriteType::withoutResponse);
    }
    return true;
}

} // namespace tarnel::radio
