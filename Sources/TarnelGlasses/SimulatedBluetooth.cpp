#include <TarnelGlasses/SimulatedBluetooth.hpp>
#include <TarnelGlasses/SimulatedCentral.hpp>
#include <TarnelGlasses/SimulatedHost.hpp>

#include <utility>

namespace tarnel::glasses {

namespace {

/// Runs a step of the host on the radio's queue.
void post(const std::shared_ptr<SimulatedHost>& host, std::function<void(SimulatedHost&)> step) {
    host->radio().queue().async([weak = std::weak_ptr(host), step = std::move(step)] {
        if (const auto self = weak.lock()) {
            step(*self);
        }
    });
}

} // namespace

std::shared_ptr<SimulatedBluetooth>
SimulatedBluetooth::make(std::shared_ptr<Radio> radio, std::shared_ptr<ancs::NotificationProvider> notifications) {
    return std::make_shared<SimulatedBluetooth>(Key{}, SimulatedHost::make(std::move(radio), std::move(notifications)));
}

SimulatedBluetooth::SimulatedBluetooth(Key, std::shared_ptr<SimulatedHost> host) : host_(std::move(host)) {}

SimulatedBluetooth::~SimulatedBluetooth() = default;

std::shared_ptr<platform::BluetoothCentral>
SimulatedBluetooth::makeCentral(std::weak_ptr<platform::BluetoothCentralDelegate> delegate,
                                std::shared_ptr<platform::Queue> queue, platform::CentralOptions) {
    auto central = std::make_shared<SimulatedCentral>(host_, std::move(delegate), std::move(queue));
    post(host_, [weak = std::weak_ptr(central)](SimulatedHost& host) {
        if (const auto added = weak.lock()) {
            host.addCentral(added);
        }
    });
    return central;
}

void SimulatedBluetooth::setState(platform::CentralState state) {
    post(host_, [state](SimulatedHost& host) { host.setState(state); });
}

platform::CentralState SimulatedBluetooth::state() const {
    return host_->directory().state();
}

void SimulatedBluetooth::holdByAnotherApplication(const UUID& identifier) {
    post(host_, [identifier](SimulatedHost& host) { host.hold(identifier); });
}

void SimulatedBluetooth::releaseByAnotherApplication(const UUID& identifier) {
    post(host_, [identifier](SimulatedHost& host) { host.release(identifier); });
}

void SimulatedBluetooth::setAcceptsPairing(bool accepts) {
    host_->directory().setAcceptsPairing(accepts);
}

void SimulatedBluetooth::forgetBond(const UUID& identifier) {
    host_->directory().setBonded(identifier, false);
}

bool SimulatedBluetooth::isBonded(const UUID& identifier) const {
    return host_->directory().isBonded(identifier);
}

void SimulatedBluetooth::forgetDevice(const UUID& identifier) {
    host_->directory().forget(identifier);
}

void SimulatedBluetooth::setAncsAuthorized(const UUID& identifier, bool authorized) {
    post(host_, [identifier, authorized](SimulatedHost& host) { host.setAncsAuthorized(identifier, authorized); });
}

} // namespace tarnel::glasses
