#pragma once

#include "Air.hpp"

#include <TarnelLinux/bluez/EventLoop.hpp>

#include <sdbus-c++/sdbus-c++.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tarnel::radio {

/// Glasses that another Linux machine plays: attributes and advertisement are objects on the bus, which the Bluetooth
/// service offers on an adapter. So they pair, and have as many ATT channels as the service. As far as this program
/// sees, a connection lasts as long as the in characteristic is subscribed to.
class BlueZAir final : public Air {
public:
    BlueZAir(bluez::EventLoop& loop, const std::string& adapter, glasses::GlassesOptions glasses, AirListener listener);
    ~BlueZAir() override;

    void advertise(std::optional<glasses::AdvertisingMode> mode) override;
    bool isSettled() const override { return calls_ == 0; }
    void notify(const UUID& characteristic, ByteView value) override;
    void drop(bool isLost) override;

private:
    struct Attribute;
    using Properties = std::map<std::string, sdbus::Variant>;

    void exportAgent();
    void exportServices();
    void exportCharacteristic(const glasses::GattCharacteristic& characteristic, const std::string& service,
                              const std::string& path);
    void exportAdvertisement();
    void subscribed(const UUID& characteristic, bool isOn);
    void call(const std::string& path, const std::string& interface, const std::string& method,
              const std::function<void(sdbus::MethodCall&)>& fill = {},
              const std::function<void(sdbus::MethodReply&)>& done = {});

    bluez::EventLoop& loop_;
    const std::string adapter_;
    glasses::GlassesOptions glasses_;
    const AirListener listener_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::map<std::string, std::unique_ptr<sdbus::IProxy>> proxies_;
    std::vector<std::unique_ptr<sdbus::IObject>> objects_;
    std::unique_ptr<sdbus::IObject> advertisement_;
    std::map<UUID, std::unique_ptr<Attribute>> attributes_;
    int calls_ = 0; ///< not yet answered
};

} // namespace tarnel::radio
