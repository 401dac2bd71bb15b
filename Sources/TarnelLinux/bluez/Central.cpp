#include <TarnelLinux/bluez/Address.hpp>
#include <TarnelLinux/bluez/Central.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::bluez {

using platform::AdvertisementData;
using platform::CentralState;
using platform::ConnectionEvent;

namespace {

AdvertisementData advertisementOf(const Properties& device) {
    AdvertisementData advertisement;
    // BlueZ reports no devices that cannot be connected through discovery with a service filter and an LE transport
    // apart from beacons, which it does not tell from others.
    advertisement.isConnectable = true;
    if (const auto texts = valueOf<std::vector<std::string>>(device, "UUIDs"); texts && !texts->empty()) {
        auto& services = advertisement.serviceUUIDs.emplace();
        for (const auto& text : *texts) {
            if (const auto uuid = UUID::parse(text)) {
                services.push_back(*uuid);
            }
        }
    }
    using Manufacturers = std::map<std::uint16_t, sdbus::Variant>;
    const auto manufacturers = valueOf<Manufacturers>(device, "ManufacturerData").value_or(Manufacturers());
    for (const auto& [company, value] : manufacturers) {
        if (!value.containsValueOfType<Bytes>()) {
            continue;
        }
        auto& bytes = advertisement.manufacturerData.emplace(
            Bytes{static_cast<std::uint8_t>(company & 0xff), static_cast<std::uint8_t>(company >> 8)});
        const auto data = value.get<Bytes>();
        bytes.insert(bytes.end(), data.begin(), data.end());
    }
    advertisement.localName = valueOf<std::string>(device, "Name");
    return advertisement;
}

bool matches(const std::set<UUID>& filter, const AdvertisementData& advertisement) {
    const auto& services = advertisement.serviceUUIDs;
    return filter.empty() || (services && std::any_of(services->begin(), services->end(),
                                                      [&](const UUID& service) { return filter.contains(service); }));
}

bool isSame(const AdvertisementData& a, const AdvertisementData& b) {
    return a.isConnectable == b.isConnectable && a.serviceUUIDs == b.serviceUUIDs &&
           a.manufacturerData == b.manufacturerData && a.localName == b.localName;
}

} // namespace

Central::Central(std::shared_ptr<Host> host, std::weak_ptr<platform::BluetoothCentralDelegate> delegate,
                 std::shared_ptr<platform::Queue> queue)
    : host_(std::move(host)), queue_(std::move(queue)), delegate_(std::move(delegate)) {}

Central::~Central() {
    // The host waits for its loop when it ends.
    host_->loop().post([host = host_.get(), held = peripherals_.all()] {
        for (const auto& peripheral : held) {
            host->links().cancel(peripheral);
        }
        host->dropGoneCentrals();
    });
}

void Central::setDelegate(std::weak_ptr<platform::BluetoothCentralDelegate> delegate) {
    const std::lock_guard lock(mutex_);
    delegate_ = std::move(delegate);
}

void Central::post(std::function<void(Central&)> step) {
    host_->loop().post([weak = weak_from_this(), step = std::move(step)] {
        if (const auto self = weak.lock()) {
            step(*self);
        }
    });
}

void Central::async(platform::Block block) {
    queue_->async([weak = weak_from_this(), block = std::move(block)] {
        if (const auto self = weak.lock()) {
            block();
        }
    });
}

void Central::tell(const std::function<void(platform::BluetoothCentralDelegate&)>& call) {
    std::shared_ptr<platform::BluetoothCentralDelegate> delegate;
    {
        const std::lock_guard lock(mutex_);
        delegate = delegate_.lock();
    }
    if (delegate) {
        call(*delegate);
    }
}

std::shared_ptr<Peripheral> Central::peripheral(const UUID& identifier, const std::string& address) {
    const std::lock_guard lock(mutex_);
    auto existing = peripherals_.find(address);
    if (!existing) {
        existing = std::make_shared<Peripheral>(identifier, address, weak_from_this(), host_);
        peripherals_.set(address, existing);
    }
    return existing;
}

std::shared_ptr<Peripheral> Central::own(const platform::PeripheralPointer& peripheral) const {
    auto mine = std::dynamic_pointer_cast<Peripheral>(peripheral);
    return mine && mine->isOf(*this) ? mine : nullptr;
}

void Central::scanForPeripherals(const std::vector<UUID>& services) {
    if (state_ != CentralState::poweredOn) {
        return;
    }
    isScanning_ = true;
    post([services, number = ++scans_](Central& self) {
        if (self.host_->state() == CentralState::poweredOn && self.scans_ == number) {
            self.scan_ = Scan{{services.begin(), services.end()}, number, {}, {}};
            self.host_->updateDiscovery();
            self.host_->restartDiscovery();
        }
    });
}

void Central::stopScan() {
    isScanning_ = false;
    post([number = ++scans_](Central& self) {
        if (self.scans_ == number) {
            self.scan_.reset();
            self.host_->updateDiscovery();
        }
    });
}

std::vector<platform::PeripheralPointer> Central::retrieveConnectedPeripherals(const UUID& service) {
    std::vector<platform::PeripheralPointer> found;
    if (state_ != CentralState::poweredOn) {
        return found;
    }
    for (const auto& address : host_->directory().connected(service)) {
        if (const auto identifier = identifierOfAddress(address)) {
            found.push_back(peripheral(*identifier, address));
        }
    }
    return found;
}

std::vector<platform::PeripheralPointer> Central::retrievePeripherals(const std::vector<UUID>& identifiers) {
    std::vector<platform::PeripheralPointer> found;
    for (const auto& identifier : identifiers) {
        const auto address = addressOfIdentifier(identifier);
        if (address && state_ == CentralState::poweredOn) {
            found.push_back(peripheral(identifier, *address));
        }
    }
    return found;
}

void Central::connect(const platform::PeripheralPointer& peripheral) {
    const auto asked = own(peripheral);
    if (!asked || state_ != CentralState::poweredOn) {
        return;
    }
    asked->willConnect();
    post([asked](Central& self) {
        if (self.host_->state() == CentralState::poweredOn) {
            self.host_->links().connect(asked);
        }
    });
}

void Central::cancelPeripheralConnection(const platform::PeripheralPointer& peripheral) {
    const auto asked = own(peripheral);
    if (!asked) {
        return;
    }
    if (state_ == CentralState::poweredOn) {
        asked->willCancel();
    }
    post([asked](Central& self) {
        self.registered_.erase(asked->address());
        self.host_->links().cancel(asked);
        self.host_->updateDiscovery();
    });
}

void Central::registerForConnectionEvents(const std::vector<UUID>& identifiers) {
    post([identifiers](Central& self) {
        self.registered_.clear();
        for (const auto& identifier : identifiers) {
            if (const auto address = addressOfIdentifier(identifier)) {
                self.registered_[*address] = false;
                if (self.host_->isConnected(*address)) {
                    self.reachabilityChanged(*address, true);
                }
            }
        }
        self.host_->updateDiscovery();
        self.host_->restartDiscovery();
    });
}

void Central::addWish(Discovery::Wish& wish) const {
    if (state_ != CentralState::poweredOn && host_->state() != CentralState::poweredOn) {
        return;
    }
    if (scan_) {
        const bool hadScan = std::exchange(wish.isScan, true);
        // A scan for everything beside one for some services is one for everything.
        if (scan_->services.empty() || (hadScan && wish.services.empty())) {
            wish.services.clear();
        } else {
            wish.services.insert(scan_->services.begin(), scan_->services.end());
        }
    }
    wish.isWait = wish.isWait || std::any_of(registered_.begin(), registered_.end(), [&](const auto& entry) {
                      return !entry.second && !host_->links().isUsed(entry.first);
                  });
}

void Central::stateChanged(CentralState state) {
    if (state != CentralState::poweredOn) {
        scan_.reset();
        for (auto& [address, isReachable] : registered_) {
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

void Central::losePower() {
    isScanning_ = false;
    ++scans_;
    std::vector<std::shared_ptr<Peripheral>> all;
    {
        const std::lock_guard lock(mutex_);
        all = peripherals_.all();
    }
    for (const auto& peripheral : all) {
        peripheral->lostPower();
    }
}

void Central::deviceSeen(const std::string& address, const Properties& device) {
    reachabilityChanged(address, true);
    const auto identifier = identifierOfAddress(address);
    if (!scan_ || !identifier) {
        return;
    }
    const AdvertisementData advertisement = advertisementOf(device);
    const auto reported = scan_->reported.find(address);
    const bool isKnown = reported != scan_->reported.end() && isSame(reported->second, advertisement);
    if (isKnown || !matches(scan_->services, advertisement)) {
        return;
    }
    if (scan_->reported.insert_or_assign(address, advertisement).second) {
        scan_->order.push_back(address);
    }
    if (scan_->order.size() > mostReported) {
        scan_->reported.erase(scan_->order.front());
        scan_->order.pop_front();
    }
    const int rssi = valueOf<std::int16_t>(device, "RSSI").value_or(0);
    async([this, number = scan_->number, found = peripheral(*identifier, address), advertisement, rssi] {
        if (scans_ == number) {
            tell([&](auto& delegate) { delegate.didDiscover(*this, found, advertisement, rssi); });
        }
    });
}

void Central::reachabilityChanged(const std::string& address, bool isReachable) {
    const auto registered = registered_.find(address);
    const auto identifier = identifierOfAddress(address);
    if (registered == registered_.end() || !identifier ||
        std::exchange(registered->second, isReachable) == isReachable) {
        return;
    }
    const auto event = isReachable ? ConnectionEvent::peerConnected : ConnectionEvent::peerDisconnected;
    async([this, event, subject = peripheral(*identifier, address)] {
        tell([&](auto& delegate) { delegate.connectionEventDidOccur(*this, event, subject); });
    });
}

} // namespace tarnel::bluez
