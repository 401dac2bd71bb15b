#pragma once

#include "FakeGattServer.hpp"

#include <TarnelLinux/bluez/Bus.hpp>
#include <TarnelLinux/bluez/EventLoop.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <sdbus-c++/sdbus-c++.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::test {

inline constexpr const char* dataService = "39191400-bfc2-4bee-a81a-28c23b6ac84a";
inline constexpr const char* outCharacteristic = "39191401-bfc2-4bee-a81a-28c23b6ac84a";
inline constexpr const char* inCharacteristic = "39191402-bfc2-4bee-a81a-28c23b6ac84a";
inline constexpr const char* batteryService = "0000180f-0000-1000-8000-00805f9b34fb";
inline constexpr const char* batteryLevel = "00002a19-0000-1000-8000-00805f9b34fb";
inline constexpr const char* glassesAddress = "00:AA:01:01:00:01";
inline constexpr const char* phoneAddress = "00:AA:01:00:00:77";

inline sdbus::Error errorOf(const bluez::Failure& failure) {
    return sdbus::Error(failure.name, failure.message);
}

struct FakeCharacteristic {
    std::string uuid;
    std::vector<std::string> flags;
    Bytes value{};
    std::optional<bluez::Failure> refusal{}; ///< of every request
    std::uint16_t mtu = 517;
    bool givesSocket = true;
    bool holdsRead = false;                                              ///< reading is not answered
    std::function<std::chrono::steady_clock::duration()> readingTakes{}; ///< asked at each request; at once when empty

    bool isNotifying = false;
    int socket = -1;               ///< the daemon's end
    std::vector<Bytes> written{};  ///< by requests
    std::vector<Bytes> commands{}; ///< by method calls without response
};

struct FakeService {
    std::string uuid;
    std::vector<FakeCharacteristic> characteristics{};
};

struct FakeDevice {
    std::string address;
    std::string name = "Glasses";
    std::vector<std::string> services{}; ///< advertised
    std::map<std::uint16_t, Bytes> manufacturer{};
    std::int16_t rssi = -50;
    bool isAdvertising = true;
    bool isBonded = false;
    std::vector<FakeService> gatt{};
    bool exportsLate = false; ///< characteristics only when told
    std::deque<bluez::Failure> connectFailures{};
    bool holdsConnect = false;     ///< connecting is not answered
    bool holdsCancelled = false;   ///< also not when it is cancelled
    bool connectsSilently = false; ///< no signal tells that it is connected
    bool resolvesSilently = false; ///< nor that its services are known
    bool endsSilently = false;     ///< nor that it is no longer connected
    bool hasLostBond = false;      ///< ends every connection at once as long as the daemon has the bond
    bool isNamedLost = false;      ///< and the daemon says why

    bool isKnown = false; ///< has an object
    bool isConnected = false;
    bool isResolved = false;
};

/// Plays the Bluetooth daemon: adapters, devices and their attributes as BlueZ 5.66 exports them. What happens on the
/// radio is a verb. Any thread; all of it runs on a thread of its own.
class FakeBlueZ {
public:
    explicit FakeBlueZ(std::string busAddress);
    ~FakeBlueZ();
    FakeBlueZ(const FakeBlueZ&) = delete;
    FakeBlueZ& operator=(const FakeBlueZ&) = delete;

    /// Comes up on the bus, or goes from it without a word.
    void start();
    void crash();
    /// From its next start on, it does not say what objects it has; or it does.
    void withholdObjects() { withholdsObjects_ = true; }
    void tellObjects();

    void addAdapter(const std::string& name, bool isPowered = true);
    void removeAdapter(const std::string& name);
    void setPowered(const std::string& name, bool isPowered);
    /// Is on without telling anybody.
    void powerUpSilently();

    /// A device on the radio. It has an object once it is discovered, or at once when it is bonded.
    void addDevice(FakeDevice device);
    /// Changes a device; an adapter that discovers hears it if it advertises.
    void change(const std::string& address, const std::function<void(FakeDevice&)>& change);
    /// The device goes without a word, or returns.
    void dropConnection(const std::string& address);
    void leaveRange(const std::string& address);
    void enterRange(const std::string& address);
    void connectByAnother(const std::string& address);
    /// Answers the oldest call to connect that is held, as a failure.
    void failHeldConnect();
    void exportCharacteristics(const std::string& address);
    void removeService(const std::string& address, const std::string& uuid);
    /// It is there again, with sockets that nobody has.
    void restoreService(const std::string& address, const std::string& uuid);
    void notify(const std::string& address, const std::string& uuid, const Bytes& value);

    /// The next packet in the socket of the characteristic, waiting for it; empty when none comes.
    std::optional<Bytes> receive(const std::string& address, const std::string& uuid);

    /// The next packet that is there.
    std::optional<Bytes> take(const std::string& address, const std::string& uuid);

    /// How many packets wait in the socket. They are taken out.
    int packetsIn(const std::string& address, const std::string& uuid);

    // Applications as peripherals. A central's requests wait for their answers, at most half a minute.

    /// The adapter has no managers for that.
    void forbidPeripherals() { hasPeripherals_ = false; }
    void refuseAdvertisements(int count);
    void answerAdvertisementsLate(int count);
    void releaseAdvertisement();
    std::optional<FakeAdvertisement> advertisement();
    std::vector<std::string> publishedServices();
    std::vector<std::string> publishedFlags(const std::string& uuid);
    FakeAnswer centralReads(const std::string& address, const std::string& uuid, FakeGattServer::Options options = {});
    FakeAnswer centralWrites(const std::string& address, const std::string& uuid, const Bytes& value,
                             FakeGattServer::Options options = {});
    /// The request is made, its answer not waited for.
    std::future<FakeAnswer> centralBeginsToRead(const std::string& address, const std::string& uuid,
                                                FakeGattServer::Options options = {});
    void centralSubscribes(const std::string& uuid, bool isOn = true);
    std::vector<Bytes> notified(const std::string& uuid);
    std::string alias();
    bool isDefaultAgent();

    FakeDevice device(const std::string& address);
    FakeCharacteristic characteristic(const std::string& address, const std::string& uuid);
    bool isDiscovering();
    /// From now on, discoveries report nothing of what they hear in the beginning.
    void startDeaf();
    bool filtersBySignal();
    std::vector<std::string> filteredServices();
    /// Asks the registered agent for an authorization; whether it agrees.
    bool askAgent(const std::string& address);
    /// How often the method was called.
    int calls(const std::string& method);

private:
    class Object;

    void sync(const std::function<void()>& task);
    void advertise(FakeDevice& device);
    void discover();
    void failConnect();
    std::string devicePath(const FakeDevice& device) const;
    void exportObjects();
    void exportAdapter();
    void exportDevice(FakeDevice& device);
    void exportGatt(FakeDevice& device, bool withCharacteristics);
    void exportService(const FakeService& service, const std::string& path);
    void exportCharacteristic(FakeCharacteristic& characteristic, const std::string& path);
    void removeBelow(const std::string& path);
    void setConnected(FakeDevice& device, bool isConnected);
    void connect(FakeDevice& device, sdbus::Result<> result);
    void connectInVain(FakeDevice& device);
    FakeCharacteristic& find(const std::string& address, const std::string& uuid, std::string* path = nullptr);
    void count(const std::string& method) { ++calls_[method]; }

    const std::string busAddress_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::map<std::string, std::unique_ptr<sdbus::IObject>> objects_;
    std::string adapter_;
    bool isPowered_ = false;
    bool isDiscovering_ = false;
    std::string discoverer_; ///< the client that has it running
    bool withholdsObjects_ = false;
    bool startsDeaf_ = false;
    bool filtersBySignal_ = false;
    std::vector<std::string> filter_;
    std::map<std::string, std::unique_ptr<FakeDevice>> devices_;
    std::deque<sdbus::Result<>> held_;
    std::vector<std::shared_ptr<sdbus::Result<Bytes>>> heldReads_;
    std::map<std::string, int> taken_;
    std::string agent_;
    std::string agentOwner_;
    std::map<std::string, int> calls_;
    FakeGattServer server_;
    bool hasPeripherals_ = true;
    std::string alias_ = "machine";
    bool hasDefaultAgent_ = false;
    bluez::EventLoop loop_;
};

} // namespace tarnel::test
