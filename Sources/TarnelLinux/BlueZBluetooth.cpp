#include <TarnelLinux/BlueZBluetooth.hpp>
#include <TarnelLinux/bluez/Central.hpp>
#include <TarnelLinux/bluez/Host.hpp>

#include <utility>

namespace tarnel {

struct BlueZBluetooth::State {
    std::shared_ptr<bluez::Host> host;
};

BlueZBluetooth::BlueZBluetooth(BlueZOptions options)
    : state_(std::make_unique<State>(State{bluez::Host::make({.busAddress = std::move(options.busAddress),
                                                              .adapter = std::move(options.adapter),
                                                              .attemptFailed = std::move(options.attemptFailed)})})) {}

BlueZBluetooth::~BlueZBluetooth() {
    state_->host->end();
}

std::shared_ptr<platform::BluetoothCentral>
BlueZBluetooth::makeCentral(std::weak_ptr<platform::BluetoothCentralDelegate> delegate,
                            std::shared_ptr<platform::Queue> queue, platform::CentralOptions) {
    auto central = std::make_shared<bluez::Central>(state_->host, std::move(delegate), std::move(queue));
    state_->host->loop().post([host = std::weak_ptr(state_->host), weak = std::weak_ptr(central)] {
        const auto alive = host.lock();
        const auto added = weak.lock();
        if (alive && added) {
            alive->add(added);
        }
    });
    return central;
}

void BlueZBluetooth::shareNotifications(std::shared_ptr<ancs::NotificationProvider> notifications) {
    state_->host->loop().post([weak = std::weak_ptr(state_->host), notifications = std::move(notifications)]() mutable {
        if (const auto host = weak.lock()) {
            host->shareNotifications(std::move(notifications));
        }
    });
}

} // namespace tarnel
