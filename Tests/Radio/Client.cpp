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
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, patience, condition);
    }
    /// REQUIRES: the mutex is held.
    int countLocked(const std::string& event) const {
        return static_cast<int>(std::count(events_.begin(), events_.end(), event));
    }
    int count(const std::string& event) const {
        const std::lock_guard lock(mutex_);
        return countLocked(event);
    }
    std::vector<std::string> events() const {
        const std::lock_guard lock(mutex_);
        return events_;
    }
    PeripheralPointer foundPeripheral() const {
        const std::lock_guard lock(mutex_);
        return found_;
    }
    /// The service of the data, as it was discovered last.
    ServicePointer dataService() const {
        const std::lock_guard lock(mutex_);
        return service_;
    }
    std::vector<CharacteristicPointer> dataCharacteristics() const {
        const std::lock_guard lock(mutex_);
        return characteristics_;
    }
    /// Until something happens, or for this long.
    void waitForChange(std::chrono::milliseconds patience) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, patience);
    }

    void centralManagerDidUpdateState(BluetoothCentral& central) override {
        add(central.state() == platform::CentralState::poweredOn ? "on" : "off");
    }
    void didDiscover(BluetoothCentral&, const PeripheralPointer& peripheral, const platform::AdvertisementData&,
                     int) override {
        add("found", [&] { found_ = peripheral; });
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
            service_ = data == all.end() ? nullptr : *data;
        });
    }
    void didDiscoverCharacteristics(const PeripheralPointer&, const ServicePointer&,
                                    const std::vector<CharacteristicPointer>& all,
                                    const std::optional<BluetoothError>&) override {
        add("characteristics", [&] { characteristics_ = all; });
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
    void isReadyToSendWriteWithoutResponse(const PeripheralPointer&) override { changed_.notify_all(); }

private:
    static std::string withCode(const std::string& event, const std::optional<BluetoothError>& error) {
        return event + " " + std::to_string(error ? error->code : 0);
    }
    void add(
        const std::string& event, const std::function<void()>& note = [] {}) {
        {
            const std::lock_guard lock(mutex_);
            note();
            events_.push_back(event);
        }
        changed_.notify_all();
    }

    mutable std::mutex mutex_; ///< of all below
    std::condition_variable changed_;
    std::vector<std::string> events_;
    PeripheralPointer found_;
    ServicePointer service_;
    std::vector<CharacteristicPointer> characteristics_;
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
    return record_->count(event);
}

std::vector<std::string> Client::events() {
    return record_->events();
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
    peripheral_ = record_->foundPeripheral();
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
    const bool isTold = await("services", services + 1, std::chrono::seconds(45));
    const auto service = record_->dataService();
    if (!isTold || !service) {
        return false;
    }
    const int characteristics = count("characteristics");
    peripheral_->discoverCharacteristics(service);
    if (!await("characteristics", characteristics + 1)) {
        return false;
    }
    CharacteristicPointer in;
    for (const auto& characteristic : record_->dataCharacteristics()) {
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
            record_->waitForChange(std::chrono::milliseconds(1));
        }
        peripheral_->writeValue(value, out_, platform::WriteType::withoutResponse);
    }
    return true;
}

} // namespace tarnel::radio
