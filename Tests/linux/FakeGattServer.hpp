#pragma once

#include <TarnelLinux/bluez/Bus.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <sdbus-c++/sdbus-c++.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarnel::test {

/// What an application advertises, as the daemon reads it.
struct FakeAdvertisement {
    std::string type;
    std::vector<std::string> services;
    std::map<std::uint16_t, Bytes> manufacturer;
    std::optional<std::string> name;
    bool isDiscoverable = false;
};

/// Answer to a request of a central.
struct FakeAnswer {
    std::optional<std::string> error; ///< the D-Bus error's name
    Bytes value;
};

/// The daemon's managers of what applications offer: `GattManager1` and `LEAdvertisingManager1` of one adapter, which
/// read, keep and call the applications' objects as BlueZ 5.66 does. On the daemon's thread.
class FakeGattServer {
public:
    using Options = std::map<std::string, sdbus::Variant>;
    using Answered = std::function<void(FakeAnswer)>;

    /// Before the adapter's object is finished.
    void exportOn(sdbus::IConnection& connection, sdbus::IObject& adapter);
    /// The daemon or the adapter goes.
    void clear();

    void read(const std::string& device, const std::string& uuid, Options options, const Answered& answered);
    void write(const std::string& device, const std::string& uuid, const Bytes& value, Options options,
               const Answered& answered);
    void subscribe(const std::string& uuid, bool isOn);
    void release();

    // State, and what the next registrations meet.

    std::optional<FakeAdvertisement> advertisement;
    int refusals = 0;    ///< registrations of advertisements that are refused from now on
    int lateAnswers = 0; ///< registrations of advertisements that are done, and answered when nobody waits any more
    std::map<std::string, std::vector<std::string>> flags; ///< of published characteristics, by lower-case UUID
    std::vector<std::string> services;                     ///< published, lower-case
    std::map<std::string, std::vector<Bytes>> notified;
    std::map<std::string, int> calls;

private:
    using Objects = std::map<sdbus::ObjectPath, bluez::Interfaces>;

    void registerApplication(sdbus::Result<> result, const std::string& sender, const std::string& path);
    void publish(const Objects& objects, const std::string& sender);
    void registerAdvertisement(sdbus::Result<> result, const std::string& sender, const std::string& path);

    sdbus::IConnection* connection_ = nullptr;
    sdbus::IObject* adapter_ = nullptr;
    std::string applicationPath_;
    std::string advertisementPath_;
    std::unique_ptr<sdbus::IProxy> application_;
    std::unique_ptr<sdbus::IProxy> advertiser_;
    std::map<std::string, std::unique_ptr<sdbus::IProxy>> characteristics_;
    std::vector<std::unique_ptr<sdbus::IProxy>> gone_; ///< kept as long as they may be in a call
};

} // namespace tarnel::test
