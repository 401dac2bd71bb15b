#include <TarnelGlasses/SimulatedCentral.hpp>
#include <TarnelGlasses/SimulatedPeripheral.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::glasses {

using platform::CentralState;

namespace {

bool matches(const std::vector<UUID>& filter, const platform::AdvertisementData& advertisement) {
    if (filter.empty()) {
        return true;
    }
    const auto& services = advertisement.serviceUUIDs;
    return services && std::any_of(services->begin(), services->end(), [&](const UUID& service) {
               return std::find(filter.begin(), filter.end(), service) != filter.end();
           });
}

bool isSame(const platform::AdvertisementData& a, const platform::AdvertisementData& b) {
    return a.isConnectable == b.isConnectable && a.serviceUUIDs == b.serviceUUIDs &&
           a.manufacturerData == b.manufacturerData && a.localName == b.localName;
}

} // namespace

SimulatedCentral::SimulatedCentral(std::shared_ptr<SimulatedHost> host,
                                   std::weak_ptr<platform::BluetoothCentralDelegate> delegate,
                                   std::shared_ptr<platform::Queue> queue)
    : host_(std::move(host)), queue_(std::move(queue)), delegate_(std::move(delegate)) {}

SimulatedCentral::~SimulatedCentral() {
    host_->radio().queue().async([weak = std::weak_ptr(host_)] {
        if (const auto host = weak.lock()) {
            host->dropGoneCentrals();
        }
    });
}

void SimulatedCentral::setDelegate(std::weak_ptr<platform::BluetoothCentralDelegate> delegate) {
    const std::lock_guard lock(mutex_);
    delegate_ = std::move(delegate);
}

void SimulatedCentral::post(std::function<void(SimulatedCentral&)> step) {
    host_->radio().queue().async([weak = weak_from_this(), step = std::move(step)] {
        if (const auto self = weak.lock()) {
            step(*self);
        }
    });
}

void SimulatedCentral::async(platform::Block block) {
    queue_->async([weak = weak_from_this(), block = std::move(block)] {
        if (const auto self = weak.lock()) {
            block();
        }
    });
}

void SimulatedCentral::tell(const std::function<void(platform::BluetoothCentralDelegate&)>& call) {
    std::shared_ptr<platform::BluetoothCentralDelegate> delegate;
    {
        const std::lock_guard lock(mutex_);
        delegate = delegate_.lock();
    }
    if (delegate) {
        call(*delegate);
    }
}

std::shared_ptr<SimulatedPeripheral> SimulatedCentral::peripheral(const UUID& identifier) {
    const std::lock_guard lock(mutex_);
    auto& entry = peripherals_[identifier];
    auto existing = entry.lock();
    if (!existing) {
        existing = std::make_shared<SimulatedPeripheral>(identifier, weak_from_this(), host_->directoryPointer(),
                                                         host_->radio().queuePointer());
        entry = existing;
    }
    return existing;
}

/// The peripheral as one of this central; empty when it is another's.
std::shared_ptr<SimulatedPeripheral> SimulatedCentral::own(const platform::PeripheralPointer& peripheral) const {
    const auto simulated = std::dynamic_pointer_cast<SimulatedPeripheral>(peripheral);
    return simulated && simulated->isOf(*this) ? simulated : nullptr;
}

void SimulatedCentral::scanForPeripherals(const std::vector<UUID>& services) {
    if (state_ != CentralState::poweredOn) {
        return;
    }
    isScanning_ = true;
    post([services, number = ++scans_](SimulatedCentral& self) {
        if (self.host_->directory().state() == CentralState::poweredOn && self.scans_ == number) {
            self.scan_ = Scan{services, number, {}};
            self.host_->listen();
        }
    });
}

void SimulatedCentral::stopScan() {
    isScanning_ = false;
    post([number = ++scans_](SimulatedCentral& self) {
        if (self.scans_ == number) {
            self.scan_.reset();
        }
    });
}

std::vector<platform::PeripheralPointer> SimulatedCentral::retrieveConnectedPeripherals(const UUID& service) {
    std::vector<platform::PeripheralPointer> found;
    if (state_ == CentralState::poweredOn) {
        for (const auto& identifier : host_->directory().connected(service)) {
            found.push_back(peripheral(identifier));
        }
    }
    return found;
}

std::vector<platform::PeripheralPointer> SimulatedCentral::retrievePeripherals(const std::vector<UUID>& identifiers) {
    std::vector<platform::PeripheralPointer> found;
    for (const auto& identifier : identifiers) {
        if (state_ == CentralState::poweredOn && host_->directory().isKnown(identifier)) {
            found.push_back(peripheral(identifier));
        }
    }
    return found;
}

void SimulatedCentral::connect(const platform::PeripheralPointer& peripheral) {
    const auto asked = own(peripheral);
    if (!asked || state_ != CentralState::poweredOn) {
        return;
    }
    asked->willConnect();
    post([asked](SimulatedCentral& self) { self.host_->connect(asked); });
}

void SimulatedCentral::cancelPeripheralConnection(const platform::PeripheralPointer& peripheral) {
    const auto asked = own(peripheral);
    if (!asked) {
        return;
    }
    const bool isOn = state_ == CentralState::poweredOn;
    if (isOn) {
        asked->willCancel();
    }
    post([asked, isOn](SimulatedCentral& self) {
        self.registered_.erase(asked->identifier());
        if (isOn) {
            self.host_->cancel(asked);
        }
    });
}

void SimulatedCentral::registerForConnectionEvents(const std::vector<UUID>& identifiers) {
    post([identifiers](SimulatedCentral& self) {
        self.registered_.clear();
        for (const auto& identifier : identifiers) {
            self.registered_[identifier] = self.peripheral(identifier)->isAttached();
        }
        self.host_->listen();
    });
}

void SimulatedCentral::powerChanged(CentralState state) {
    if (state == CentralState::poweredOn) {
        host_->listen();
    } else {
        scan_.reset();
        for (auto& [identifier, isReachable] : registered_) {
            isReachable = false;
        }
    }
    async([this, state] {
        state_ = state;
        if (state != CentralState::poweredOn) {
            losePower();
        }
        tell([this](auto& delegate) { delegate.centralManagerDidUpdateState(*this); });
    });
}

void SimulatedCentral::losePower() {
    isScanning_ = false;
    ++scans_;
    std::vector<std::shared_ptr<SimulatedPeripheral>> all;
    {
        const std::lock_guard lock(mutex_);
        for (const auto& [identifier, weak] : peripherals_) {
            if (auto peripheral = weak.lock()) {
                all.push_back(std::move(peripheral));
            }
        }
    }
    for (const auto& peripheral : all) {
        peripheral->lostPower();
    }
}

void SimulatedCentral::heard(const std::shared_ptr<SimulatedGlasses>& glasses,
                             const platform::AdvertisementData& advertisement) {
    if (!scan_ || !matches(scan_->services, advertisement)) {
        return;
    }
    const auto& identifier = glasses->identifier();
    const auto reported = scan_->reported.find(identifier);
    if (reported != scan_->reported.end() && isSame(reported->second, advertisement)) {
        return;
    }
    scan_->reported.insert_or_assign(identifier, advertisement);
    host_->directory().learn(identifier, advertisement.localName.value_or(std::string()));
    async(
        [this, number = scan_->number, device = peripheral(identifier), advertisement, rssi = glasses->options().rssi] {
            if (scans_ == number) {
                tell([&](auto& delegate) { delegate.didDiscover(*this, device, advertisement, rssi); });
            }
        });
}

void SimulatedCentral::reachabilityChanged(const UUID& device, bool isReachable) {
    const auto registered = registered_.find(device);
    if (registered == registered_.end() || std::exchange(registered->second, isReachable) == isReachable) {
        return;
    }
    const auto event =
        isReachable ? platform::ConnectionEvent::peerConnected : platform::ConnectionEvent::peerDisconnected;
    async([this, event, subject = peripheral(device)] {
        tell([&](auto& delegate) { delegate.connectionEventDidOccur(*this, event, subject); });
    });
}

} // namespace tarnel::glasses
