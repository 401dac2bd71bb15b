#include <TarnelGlassesAir/GlassesOnAir.hpp>
#include <TarnelLinux/BlueZBluetooth.hpp>
#include <TarnelLinux/bluez/Address.hpp>
#include <TarnelLinux/bluez/PeripheralManager.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::glasses {

using bluez::AnswerAttribute;
using bluez::AttributeAnswer;
using bluez::ConnectedCentral;

namespace {

constexpr int unlikelyError = 0x0e;
constexpr std::size_t readRequest = 3;
/// What the glasses have not come to yet, in bytes of values, beyond which writes are lost.
constexpr std::size_t mostUnderWay = std::size_t{4} << 20;

std::vector<bluez::LocalService> localServices(const std::vector<GattService>& services) {
    std::vector<bluez::LocalService> offered;
    for (const auto& service : services) {
        auto& added = offered.emplace_back(bluez::LocalService{service.uuid, {}});
        for (const auto& characteristic : service.characteristics) {
            added.characteristics.push_back({.uuid = characteristic.uuid,
                                             .canRead = characteristic.read,
                                             .canWrite = characteristic.write,
                                             .canWriteWithoutResponse = characteristic.writeWithoutResponse,
                                             .canNotify = characteristic.notify,
                                             .needsEncryption = characteristic.isProtected});
        }
    }
    return offered;
}

bool isSame(const std::optional<platform::AdvertisementData>& one,
            const std::optional<platform::AdvertisementData>& other) {
    if (!one || !other) {
        return one.has_value() == other.has_value();
    }
    return one->isConnectable == other->isConnectable && one->serviceUUIDs == other->serviceUUIDs &&
           one->manufacturerData == other->manufacturerData && one->localName == other->localName;
}

AttributeAnswer answerOf(const SimulatedGlasses::AttResult& result) {
    return {result.error ? std::optional(result.error->code) : std::nullopt, result.value};
}

} // namespace

std::shared_ptr<GlassesOnAir> GlassesOnAir::make(const std::shared_ptr<Radio>& radio,
                                                 const std::shared_ptr<SimulatedGlasses>& glasses, OnAirOptions options,
                                                 std::weak_ptr<OnAirObserver> observer) {
    auto onAir = std::make_shared<GlassesOnAir>(Key{}, radio->queuePointer(), glasses, std::move(observer));
    // What the two tell waits on the queue until both are there.
    radio->queue().sync([&] {
        if (options.readsNotifications) {
            onAir->notifications_ = std::make_shared<HostNotificationsOnAir>(
                std::make_shared<BlueZBluetooth>(
                    BlueZOptions{.adapter = options.adapter, .busAddress = options.busAddress}),
                radio->queuePointer(), glasses);
            onAir->notifications_->start();
        }
        onAir->manager_ =
            bluez::PeripheralManager::make({std::move(options.busAddress), std::move(options.adapter)}, onAir);
        radio->addListener(onAir);
        onAir->update();
    });
    return onAir;
}

GlassesOnAir::GlassesOnAir(Key, std::shared_ptr<platform::Queue> queue, std::shared_ptr<SimulatedGlasses> glasses,
                           std::weak_ptr<OnAirObserver> observer)
    : queue_(std::move(queue)), glasses_(std::move(glasses)), observer_(std::move(observer)) {}

GlassesOnAir::~GlassesOnAir() = default;

void GlassesOnAir::end() {
    manager_->end();
}

void GlassesOnAir::post(std::function<void(GlassesOnAir&)> step) {
    queue_->async([weak = weak_from_this(), step = std::move(step)] {
        if (const auto self = weak.lock()) {
            step(*self);
        }
    });
}

void GlassesOnAir::tell(const std::function<void(OnAirObserver&)>& call) const {
    if (const auto observer = observer_.lock()) {
        call(*observer);
    }
}

// The glasses.

void GlassesOnAir::airChanged(const std::shared_ptr<SimulatedGlasses>& glasses) {
    if (glasses == glasses_) {
        checkBond();
        update();
    }
}

/// Has the adapter show what the glasses show.
void GlassesOnAir::update() {
    manager_->setServices(localServices(glasses_->services()));
    if (const auto name = glasses_->name(); name != name_) {
        name_ = name;
        manager_->setName(name);
    }
    const auto wanted = central_ ? std::nullopt : glasses_->advertisement();
    if (!isSame(wanted, advertised_)) {
        advertised_ = wanted;
        manager_->setAdvertisement(wanted);
    }
}

void GlassesOnAir::checkBond() {
    const bool isBonded = glasses_->isBonded();
    if (std::exchange(wasBonded_, isBonded) && !isBonded) {
        for (const auto& id : std::exchange(bonded_, {})) {
            manager_->forget(id);
        }
        tell([](auto& observer) { observer.bondLost(); });
    }
}

void GlassesOnAir::notified(const UUID& characteristic, ByteView value) {
    manager_->notify(characteristic, Bytes(value.begin(), value.end()));
}

void GlassesOnAir::closed(const platform::BluetoothError&) {
    link_.reset();
    if (central_) {
        manager_->disconnect(central_->id);
    }
}

void GlassesOnAir::servicesChanged() {
    manager_->renewServices();
}

void GlassesOnAir::notificationsWanted() {
    if (notifications_) {
        notifications_->subscribe();
    }
}

void GlassesOnAir::controlPointWritten(ByteView value) {
    if (notifications_) {
        notifications_->write(value);
    }
}

void GlassesOnAir::nameChanged(const std::string&) {
    update();
}

// The adapter.

void GlassesOnAir::stateChanged(const bluez::PeripheralManagerState& state) {
    post([state](GlassesOnAir& self) { self.tell([&](auto& observer) { observer.stateChanged(state); }); });
}

void GlassesOnAir::centralConnected(const ConnectedCentral& central) {
    post([central](GlassesOnAir& self) { self.open(central); });
}

void GlassesOnAir::open(const ConnectedCentral& central) {
    if (central_ || !glasses_->advertisement()) {
        return manager_->disconnect(central.id);
    }
    central_ = central;
    link_ = std::make_shared<OnAirLink>(queue_);
    glasses_->open(link_, weak_from_this());
    tell([&](auto& observer) { observer.connected(central); });
    if (const auto identifier = bluez::identifierOfAddress(central.address); identifier && notifications_) {
        notifications_->connected(*identifier, central.isBonded);
    }
    if (central.isBonded) {
        bond(central);
    }
    update();
}

void GlassesOnAir::bond(const ConnectedCentral& central) {
    bonded_.insert(central.id);
    if (!std::exchange(wasBonded_, true)) {
        glasses_->bond();
        tell([&](auto& observer) { observer.bonded(central); });
    }
}

void GlassesOnAir::centralChanged(const ConnectedCentral& central) {
    post([central](GlassesOnAir& self) {
        if (self.central_ && self.central_->id == central.id) {
            self.central_ = central;
            if (central.isBonded && self.link_) {
                self.bond(central);
            }
        }
    });
}

void GlassesOnAir::centralDisconnected(const std::string& id) {
    post([id](GlassesOnAir& self) {
        if (!self.central_ || self.central_->id != id) {
            return;
        }
        self.central_.reset();
        if (self.notifications_) {
            self.notifications_->disconnected();
        }
        if (std::exchange(self.link_, nullptr)) {
            self.glasses_->closed();
        }
        self.tell([](auto& observer) { observer.disconnected(); });
        self.update();
    });
}

bool GlassesOnAir::carry(const std::string& central, std::uint16_t mtu, std::size_t length,
                         std::function<void(GlassesOnAir&)> request) {
    if (!central_ || central_->id != central || !link_) {
        return false;
    }
    if (link_->setMTU(mtu)) {
        glasses_->linkChanged();
    }
    return link_->sendToGlasses(length, [weak = weak_from_this(), request = std::move(request)] {
        if (const auto self = weak.lock()) {
            request(*self);
        }
    });
}

/// The daemon lets nobody come to a protected characteristic who has not paired.
void GlassesOnAir::admit(const UUID& characteristic) {
    if (wasBonded_ || !central_) {
        return;
    }
    for (const auto& service : glasses_->services()) {
        for (const auto& candidate : service.characteristics) {
            if (candidate.uuid == characteristic && candidate.isProtected) {
                return bond(*central_);
            }
        }
    }
}

void GlassesOnAir::readAsked(const std::string& central, std::uint16_t mtu, const UUID& characteristic,
                             AnswerAttribute answer) {
    post([central, mtu, characteristic, answer = std::move(answer)](GlassesOnAir& self) {
        const bool isCarried = self.carry(central, mtu, readRequest, [characteristic, answer](GlassesOnAir& later) {
            later.admit(characteristic);
            answer(answerOf(later.glasses_->read(characteristic)));
        });
        if (!isCarried) {
            answer({.error = unlikelyError});
        }
    });
}

void GlassesOnAir::writeAsked(const std::string& central, std::uint16_t mtu, const UUID& characteristic, Bytes value,
                              platform::WriteType type, AnswerAttribute answer) {
    const std::size_t length = attWriteHeader + value.size();
    if (underWay_.fetch_add(length) > mostUnderWay) {
        underWay_ -= length;
        post([](GlassesOnAir& self) { self.glasses_->countLostWrite(); });
        return answer({.error = unlikelyError});
    }
    post([central, mtu, characteristic, value = std::move(value), type, length,
          answer = std::move(answer)](GlassesOnAir& self) {
        self.underWay_ -= length;
        const bool isCarried =
            self.carry(central, mtu, length, [characteristic, value, type, answer](GlassesOnAir& later) {
                later.admit(characteristic);
                answer(answerOf(later.glasses_->write(characteristic, value, type)));
            });
        if (!isCarried) {
            self.glasses_->countLostWrite();
            answer({.error = unlikelyError});
        }
    });
}

void GlassesOnAir::subscriptionChanged(const UUID& characteristic, bool isSubscribed) {
    post([characteristic, isSubscribed](GlassesOnAir& self) {
        if (!self.central_ || !self.link_) {
            return;
        }
        self.link_->sendToGlasses(attWriteHeader, [weak = self.weak_from_this(), characteristic, isSubscribed] {
            const auto later = weak.lock();
            if (!later) {
                return;
            }
            later->admit(characteristic);
            if (!later->glasses_->subscribe(characteristic, isSubscribed).error) {
                later->tell([&](auto& observer) { observer.subscriptionChanged(characteristic, isSubscribed); });
            }
        });
    });
}

} // namespace tarnel::glasses
