#include <TarnelLinux/bluez/Adapters.hpp>
#include <TarnelLinux/bluez/Errors.hpp>
#include <TarnelLinux/bluez/Names.hpp>
#include <TarnelLinux/bluez/PeripheralManager.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::bluez {

using Radio = PeripheralManagerState::Radio;

namespace {

constexpr const char* applicationPath = "/org/tarnel/application";
constexpr const char* advertisementPath = "/org/tarnel/advertisement";
constexpr Registration::Manager advertisingManager{advertisingManagerInterface, "RegisterAdvertisement",
                                                   "UnregisterAdvertisement"};

std::string textOf(const Failure& failure) {
    return failure.message.empty() ? failure.name : failure.name + ": " + failure.message;
}

} // namespace

std::shared_ptr<PeripheralManager> PeripheralManager::make(PeripheralManagerOptions options,
                                                           std::weak_ptr<PeripheralManagerDelegate> delegate) {
    auto manager = std::make_shared<PeripheralManager>(std::move(options), std::move(delegate));
    manager->post([](PeripheralManager& self) { self.start(); });
    return manager;
}

PeripheralManager::PeripheralManager(PeripheralManagerOptions options,
                                     std::weak_ptr<PeripheralManagerDelegate> delegate)
    : options_(std::move(options)), delegate_(std::move(delegate)), bus_(loop_, options_.busAddress, *this),
      agent_(bus_, [this](const std::string& address) { return isCentral(address); }), adapterName_(bus_),
      gatt_(loop_, bus_, gattManager, [this] { update(); }),
      advertising_(loop_, bus_, advertisingManager, [this] { update(); }) {}

PeripheralManager::~PeripheralManager() {
    loop_.end();
}

void PeripheralManager::end() {
    loop_.post([this] { takeDown(); });
    loop_.end();
}

void PeripheralManager::post(std::function<void(PeripheralManager&)> step) {
    loop_.post([weak = weak_from_this(), step = std::move(step)] {
        const auto self = weak.lock();
        if (self && !self->hasEnded_) {
            step(*self);
        }
    });
}

void PeripheralManager::start() {
    bus_.onConnection([this](sdbus::IConnection* connection) { connectionChanged(connection); });
    bus_.start();
}

void PeripheralManager::takeDown() {
    for (const auto& [path, central] : centrals_) {
        bus_.call(path, deviceInterface, "Disconnect", nullptr, [](sdbus::MethodReply*, const Failure*) {});
    }
    withdrawAdvertisement();
    withdrawServices();
    adapterName_.restore();
    hasEnded_ = true;
}

// What is wanted.

void PeripheralManager::setServices(std::vector<LocalService> services) {
    post([services = std::move(services)](PeripheralManager& self) {
        if (self.services_ == services) {
            return;
        }
        self.withdrawServices();
        self.services_ = services;
        if (self.needsPairing() && self.bus_.isDaemonThere()) {
            self.agent_.requestDefault();
        }
        self.update();
    });
}

void PeripheralManager::renewServices() {
    post([](PeripheralManager& self) {
        self.withdrawServices();
        self.update();
    });
}

void PeripheralManager::setAdvertisement(std::optional<platform::AdvertisementData> advertisement) {
    post([advertisement = std::move(advertisement)](PeripheralManager& self) {
        self.withdrawAdvertisement();
        self.wanted_ = advertisement;
        self.update();
    });
}

void PeripheralManager::setName(std::string name) {
    post([name = std::move(name)](PeripheralManager& self) {
        self.name_ = name;
        self.update();
    });
}

void PeripheralManager::notify(const UUID& characteristic, Bytes value) {
    post([characteristic, value = std::move(value)](PeripheralManager& self) {
        if (self.application_ && !self.centrals_.empty()) {
            self.application_->notify(characteristic, value);
        }
    });
}

void PeripheralManager::disconnect(const std::string& id) {
    post([id](PeripheralManager& self) {
        if (self.isConnected(id)) {
            self.bus_.call(id, deviceInterface, "Disconnect", nullptr, [](sdbus::MethodReply*, const Failure*) {
                // The end of the connection is told by the device's properties.
            });
        }
    });
}

void PeripheralManager::forget(const std::string& id) {
    post([id](PeripheralManager& self) {
        if (self.bus_.properties(id, deviceInterface)) {
            self.bus_.call(
                self.adapter_, adapterInterface, "RemoveDevice",
                [&id](sdbus::MethodCall& message) { message << sdbus::ObjectPath(id); },
                [](sdbus::MethodReply*, const Failure*) {
                    // A device that the daemon does not know has no bond either.
                });
        }
    });
}

// What is there.

void PeripheralManager::connectionChanged(sdbus::IConnection* connection) {
    if (!connection) {
        lose();
    }
    agent_.expose(connection);
    connection_ = connection;
}

/// The daemon, and with it all that it was told, is gone.
void PeripheralManager::lose() {
    gatt_.lose();
    advertising_.lose();
    adapterName_.lose();
    application_.reset();
    advertisement_.reset();
    for (const auto& [path, central] : std::exchange(centrals_, {})) {
        tell([id = path](auto& delegate) { delegate.centralDisconnected(id); });
    }
    adapter_.clear();
}

void PeripheralManager::daemonChanged(bool isThere) {
    if (isThere) {
        agent_.enrol();
        if (needsPairing()) {
            agent_.requestDefault();
        }
    } else {
        lose();
    }
    update();
}

Radio PeripheralManager::radio() const {
    if (!bus_.isDaemonThere()) {
        const auto& failure = bus_.failure();
        if (!failure) {
            return told_ ? Radio::noService : Radio::unknown;
        }
        return isForbidden(*failure) ? Radio::forbidden : Radio::noService;
    }
    if (adapter_.empty()) {
        return Radio::noAdapter;
    }
    if (!isPowered(bus_, adapter_)) {
        return Radio::poweredOff;
    }
    const bool canBePeripheral =
        bus_.properties(adapter_, gattManagerInterface) && bus_.properties(adapter_, advertisingManagerInterface);
    return canBePeripheral ? Radio::ready : Radio::unsupported;
}

void PeripheralManager::update() {
    if (hasEnded_) {
        return;
    }
    updateAdapter();
    publish();
    advertise();
    tellState();
}

void PeripheralManager::updateAdapter() {
    const std::string chosen = bus_.isDaemonThere() ? chooseAdapter(bus_, options_.adapter, adapter_) : "";
    if (chosen != adapter_) {
        withdrawAdvertisement();
        withdrawServices();
        adapterName_.restore();
        for (const auto& [path, central] : std::exchange(centrals_, {})) {
            tell([id = path](auto& delegate) { delegate.centralDisconnected(id); });
        }
        adapter_ = chosen;
    }
    if (radio() == Radio::ready && !name_.empty()) {
        adapterName_.set(adapter_, name_);
    }
}

void PeripheralManager::publish() {
    if (application_ || services_.empty() || !connection_ || !bus_.properties(adapter_, gattManagerInterface)) {
        return;
    }
    application_ = std::make_unique<GattApplication>(*connection_, applicationPath + std::to_string(++lastObject_),
                                                     services_, *this);
    gatt_.begin(adapter_, application_->path());
}

void PeripheralManager::advertise() {
    if (radio() != Radio::ready) {
        return withdrawAdvertisement();
    }
    if (advertisement_ || !wanted_ || !connection_ || !gatt_.isDone()) {
        return;
    }
    const std::string path = advertisementPath + std::to_string(++lastObject_);
    advertisement_ = std::make_unique<Advertisement>(*connection_, path, *wanted_, [this, path] {
        post([path](PeripheralManager& self) { self.advertisementReleased(path); });
    });
    advertising_.begin(adapter_, advertisement_->path());
}

/// The daemon has given an advertisement up: this one, or one that has been withdrawn since.
void PeripheralManager::advertisementReleased(const std::string& path) {
    if (advertisement_ && advertisement_->path() == path) {
        advertising_.lose();
        advertisement_.reset();
        update();
    }
}

void PeripheralManager::withdrawServices() {
    gatt_.end();
    application_.reset();
}

void PeripheralManager::withdrawAdvertisement() {
    advertising_.end();
    advertisement_.reset();
}

void PeripheralManager::tellState() {
    PeripheralManagerState state{radio(), gatt_.isDone(), advertising_.isDone()};
    if (state.radio == Radio::noService || state.radio == Radio::forbidden) {
        state.failure = bus_.failure() ? textOf(*bus_.failure()) : "the Bluetooth service has ended";
    } else if (gatt_.failure()) {
        state.failure = textOf(*gatt_.failure());
    } else if (advertising_.failure()) {
        state.failure = textOf(*advertising_.failure());
    }
    if (state.radio == Radio::unknown || told_ == state) {
        return;
    }
    told_ = state;
    tell([&](auto& delegate) { delegate.stateChanged(state); });
}

void PeripheralManager::tell(const std::function<void(PeripheralManagerDelegate&)>& call) const {
    if (const auto delegate = delegate_.lock()) {
        call(*delegate);
    }
}

// Centrals.

ConnectedCentral PeripheralManager::described(const std::string& path) const {
    ConnectedCentral central{.id = path, .address = {}, .name = {}};
    if (const Properties* device = bus_.properties(path, deviceInterface)) {
        central.address = valueOf<std::string>(*device, "Address").value_or("");
        central.name = valueOf<std::string>(*device, "Name").value_or("");
        central.isBonded =
            valueOf<bool>(*device, "Bonded").value_or(false) || valueOf<bool>(*device, "Paired").value_or(false);
    }
    return central;
}

bool PeripheralManager::isConnected(const std::string& path) const {
    const Properties* device = bus_.properties(path, deviceInterface);
    return device && valueOf<bool>(*device, "Connected").value_or(false);
}

bool PeripheralManager::isCentral(const std::string& address) const {
    return std::any_of(centrals_.begin(), centrals_.end(),
                       [&](const auto& entry) { return entry.second.address == address; });
}

bool PeripheralManager::needsPairing() const {
    return std::any_of(services_.begin(), services_.end(), [](const auto& service) {
        return std::any_of(service.characteristics.begin(), service.characteristics.end(),
                           [](const auto& characteristic) { return characteristic.needsEncryption; });
    });
}

void PeripheralManager::countAsCentral(const std::string& path) {
    if (!centrals_.contains(path) && path.starts_with(adapter_ + "/") && isConnected(path)) {
        connected(path);
    }
}

/// A subscription does not say whose it is; it tells when only one device can be meant.
void PeripheralManager::countOnlyDevice() {
    std::vector<std::string> paths;
    const std::string below = adapter_ + "/dev_";
    const auto& objects = bus_.objects();
    for (auto object = objects.lower_bound(below); object != objects.end() && object->first.starts_with(below);
         ++object) {
        if (isConnected(object->first)) {
            paths.push_back(object->first);
        }
    }
    if (paths.size() == 1) {
        countAsCentral(paths.front());
    }
}

void PeripheralManager::connected(const std::string& path) {
    const auto central = described(path);
    centrals_.emplace(path, central);
    tell([&](auto& delegate) { delegate.centralConnected(central); });
    if (!central.isBonded || !application_) {
        return;
    }
    for (const auto& service : services_) {
        for (const auto& characteristic : service.characteristics) {
            if (application_->isNotifying(characteristic.uuid)) {
                tell([&](auto& delegate) { delegate.subscriptionChanged(characteristic.uuid, true); });
            }
        }
    }
}

void PeripheralManager::disconnected(const std::string& path) {
    if (centrals_.erase(path) == 0) {
        return;
    }
    if (application_) {
        application_->drop(path);
    }
    tell([&](auto& delegate) { delegate.centralDisconnected(path); });
}

void PeripheralManager::deviceChanged(const std::string& path, const Properties& changed) {
    const auto isConnectedNow = valueOf<bool>(changed, "Connected");
    if (isConnectedNow == true && advertising_.isBegun()) {
        const Properties* device = bus_.properties(path, deviceInterface);
        if (device && !device->contains("Class")) {
            countAsCentral(path);
        }
    } else if (isConnectedNow == false) {
        disconnected(path);
    }
    const auto central = centrals_.find(path);
    if (central == centrals_.end()) {
        return;
    }
    auto now = described(path);
    if (central->second != now) {
        central->second = now;
        tell([&](auto& delegate) { delegate.centralChanged(now); });
    }
}

void PeripheralManager::interfaceAdded(const std::string& path, const std::string& interface) {
    if (interface == deviceInterface) {
        deviceChanged(path, Properties(*bus_.properties(path, interface)));
    } else if (interface == adapterInterface || interface == gattManagerInterface ||
               interface == advertisingManagerInterface) {
        update();
    }
}

void PeripheralManager::interfaceRemoved(const std::string& path, const std::string& interface, const Properties&) {
    if (interface == deviceInterface) {
        disconnected(path);
    } else if (interface == adapterInterface) {
        if (path == adapter_) {
            // There is nobody left to be told that the objects go.
            lose();
        }
        update();
    }
}

void PeripheralManager::propertiesChanged(const std::string& path, const std::string& interface,
                                          const Properties& changed) {
    if (interface == deviceInterface) {
        deviceChanged(path, changed);
    } else if (interface == adapterInterface) {
        update();
    }
}

// Requests. They become tasks, as signals do, and so keep their order among them.

AnswerAttribute PeripheralManager::answerOf(std::uint64_t number) {
    return [weak = weak_from_this(), number](AttributeAnswer answer) {
        if (const auto self = weak.lock(); self && number != 0) {
            self->post([number, answer = std::move(answer)](PeripheralManager& manager) {
                if (manager.application_) {
                    manager.application_->answer(number, answer.error, answer.value);
                }
            });
        }
    };
}

void PeripheralManager::readAsked(const GattApplication::Request& request) {
    post([request](PeripheralManager& self) {
        self.countAsCentral(request.device);
        self.tell([&](auto& delegate) {
            delegate.readAsked(request.device, request.mtu, request.characteristic, self.answerOf(request.number));
        });
    });
}

void PeripheralManager::writeAsked(const GattApplication::Request& request, Bytes value, platform::WriteType type) {
    post([request, value = std::move(value), type](PeripheralManager& self) {
        self.countAsCentral(request.device);
        self.tell([&](auto& delegate) {
            delegate.writeAsked(request.device, request.mtu, request.characteristic, value, type,
                                self.answerOf(request.number));
        });
    });
}

void PeripheralManager::notifyingChanged(const UUID& characteristic, bool isNotifying) {
    post([characteristic, isNotifying](PeripheralManager& self) {
        if (self.centrals_.empty() && isNotifying) {
            self.countOnlyDevice();
        }
        if (!self.centrals_.empty()) {
            self.tell([&](auto& delegate) { delegate.subscriptionChanged(characteristic, isNotifying); });
        }
    });
}

} // namespace tarnel::bluez
