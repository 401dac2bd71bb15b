#include <TarnelLinux/bluez/Adapters.hpp>
#include <TarnelLinux/bluez/Central.hpp>
#include <TarnelLinux/bluez/Errors.hpp>
#include <TarnelLinux/bluez/Host.hpp>
#include <TarnelLinux/bluez/Names.hpp>
#include <TarnelLinux/bluez/Peripheral.hpp>
#include <TarnelLinux/bluez/Session.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::bluez {

using platform::CentralState;

namespace {

using namespace std::chrono_literals;

constexpr auto firstPowerDelay = 250ms;
constexpr auto lastPowerDelay = 4000ms;

/// "/org/bluez/hci0/dev_AA_BB_CC_DD_EE_FF/service0010" gives "/org/bluez/hci0/dev_AA_BB_CC_DD_EE_FF".
std::optional<std::string> devicePathIn(const std::string& path) {
    constexpr std::string_view mark = "/dev_";
    const auto at = path.find(mark);
    if (at == std::string::npos) {
        return std::nullopt;
    }
    return path.substr(0, path.find('/', at + 1));
}

} // namespace

std::shared_ptr<Host> Host::make(HostOptions options) {
    auto host = std::make_shared<Host>(std::move(options));
    host->loop_.post([weak = std::weak_ptr(host)] {
        if (const auto self = weak.lock()) {
            self->start();
        }
    });
    return host;
}

Host::Host(HostOptions options)
    : options_(std::move(options)), bus_(loop_, options_.busAddress, *this), discovery_(loop_, bus_), links_(*this),
      agent_(bus_, [this](const std::string& address) { return links_.isUsed(address); }) {}

Host::~Host() {
    loop_.end();
}

void Host::end() {
    loop_.post([this] {
        links_.cancelAll();
        if (notifications_) {
            notifications_->update({}, false);
            notifications_.reset();
        }
        // Centrals that are left keep the host, but nothing on the bus.
        centrals_.clear();
        discovery_.setWish({});
        agent_.expose(nullptr);
        bus_.end();
    });
    loop_.end();
}

void Host::start() {
    bus_.onConnection([this](sdbus::IConnection* connection) {
        agent_.expose(connection);
        connection_ = connection;
        if (notifications_) {
            notifications_->connectionChanged(connection);
        }
    });
    bus_.start();
}

void Host::add(const std::shared_ptr<Central>& central) {
    centrals_.push_back(central);
    if (state_) {
        central->stateChanged(*state_);
    }
}

void Host::dropGoneCentrals() {
    std::erase_if(centrals_, [](const auto& central) { return central.expired(); });
    updateDiscovery();
}

// The adapter.

CentralState Host::stateOf(const std::string& adapter) const {
    if (!bus_.isDaemonThere()) {
        const auto& failure = bus_.failure();
        if (failure && isForbidden(*failure)) {
            return CentralState::unauthorized;
        }
        return failure && isSilence(*failure) ? CentralState::unknown : CentralState::poweredOff;
    }
    const Properties* properties = bus_.properties(adapter, adapterInterface);
    if (!properties) {
        return hadAdapter_ ? CentralState::poweredOff : CentralState::unsupported;
    }
    return valueOf<bool>(*properties, "Powered").value_or(false) ? CentralState::poweredOn : CentralState::poweredOff;
}

void Host::updateAdapter() {
    const std::string chosen = chooseAdapter(bus_, options_.adapter, adapter_);
    const auto before = state_;
    const bool isOther = chosen != adapter_;
    if (isOther) {
        // Whatever was connected through the other adapter is gone.
        if (state_ == CentralState::poweredOn) {
            setState(CentralState::poweredOff);
        }
        adapter_ = chosen;
        hadAdapter_ = hadAdapter_ || !adapter_.empty();
    }
    setState(stateOf(adapter_));
    if (isOther || state_ != before) {
        powerDelay_ = firstPowerDelay;
        awaitPower();
    }
}

/// BlueZ 5.66 does not always announce that an adapter has been switched on while it comes up. So one that is off is
/// asked for a while, ever more rarely.
void Host::awaitPower() {
    loop_.cancel(std::exchange(powerTimer_, 0));
    if (adapter_.empty() || state_ != CentralState::poweredOff || powerDelay_ > lastPowerDelay) {
        return;
    }
    powerTimer_ = loop_.after(powerDelay_, [this] {
        powerTimer_ = 0;
        powerDelay_ *= 2;
        bus_.refresh(adapter_, adapterInterface, "Powered", [this] { awaitPower(); });
    });
}

void Host::setState(CentralState state) {
    if (state_ == state) {
        return;
    }
    state_ = state;
    if (state != CentralState::poweredOn) {
        links_.lostPower();
        directory_.loseAll();
        discovery_.setAdapter("");
    } else {
        for (const auto& [path, interfaces] : bus_.objects()) {
            const auto device = interfaces.find(deviceInterface);
            const auto address = addressAt(path);
            if (device != interfaces.end() && address) {
                learn(*address, device->second);
            }
        }
        discovery_.setAdapter(adapter_);
    }
    for (const auto& weak : centrals_) {
        if (const auto central = weak.lock()) {
            central->stateChanged(state);
        }
    }
    updateDiscovery();
}

void Host::updateDiscovery() {
    Discovery::Wish wish;
    wish.isWait = links_.isWaiting();
    wish.isHeldUp = links_.needsRadio();
    for (const auto& weak : centrals_) {
        if (const auto central = weak.lock()) {
            central->addWish(wish);
        }
    }
    discovery_.setWish(wish);
    if (notifications_) {
        // Withdrawn with the last link: the daemon keeps the subscription of a bonded device and tells nothing of it,
        // so glasses that return are to subscribe anew, and then hear what there is.
        notifications_->update(state_ == CentralState::poweredOn ? adapter_ : "", !links_.isEmpty());
    }
}

// Notifications.

void Host::shareNotifications(std::shared_ptr<ancs::NotificationProvider> notifications) {
    const auto post = [weak = weak_from_this()](EventLoop::Task task) {
        if (const auto host = weak.lock()) {
            host->loop_.post(std::move(task));
        }
    };
    const auto changed = [this](const std::string& devicePath, bool isSubscribed) {
        notificationsSubscribed(devicePath, isSubscribed);
    };
    notifications_ = NotificationServer::make(loop_, bus_, post, std::move(notifications), changed);
    notifications_->connectionChanged(connection_);
    updateDiscovery();
}

void Host::deviceAttached() {
    if (notifications_) {
        notifications_->connected();
    }
}

void Host::notificationsSubscribed(const std::string& devicePath, bool isSubscribed) {
    const auto connected = links_.connected();
    if (!isSubscribed) {
        for (const auto& address : connected) {
            setReadsNotifications(address, false);
        }
        return;
    }
    const auto address = devicePath.empty() ? std::nullopt : addressAt(devicePath);
    if (address ? links_.isUsed(*address) : connected.size() == 1) {
        setReadsNotifications(address.value_or(connected.front()), true);
    }
}

void Host::setReadsNotifications(const std::string& address, bool reads) {
    if (directory_.setReadsNotifications(address, reads)) {
        for (const auto& user : links_.users(address)) {
            user->ancsAuthorizationChanged();
        }
    }
}

// Devices.

std::optional<std::string> Host::addressAt(const std::string& path) const {
    const auto device = devicePathIn(path);
    if (!device || adapter_.empty() || !device->starts_with(adapter_ + "/")) {
        return std::nullopt;
    }
    if (const Properties* properties = bus_.properties(*device, deviceInterface)) {
        if (auto address = valueOf<std::string>(*properties, "Address")) {
            return address;
        }
    }
    std::string address = device->substr(device->find("/dev_") + 5);
    std::replace(address.begin(), address.end(), '_', ':');
    return address;
}

std::optional<std::string> Host::devicePath(const std::string& address) const {
    if (adapter_.empty()) {
        return std::nullopt;
    }
    std::string expected = adapter_ + "/dev_" + address;
    std::replace(expected.begin(), expected.end(), ':', '_');
    const auto isAt = [&](const std::string& path) {
        const Properties* device = bus_.properties(path, deviceInterface);
        return device && valueOf<std::string>(*device, "Address") == address;
    };
    if (isAt(expected)) {
        return expected;
    }
    // A device that was found under a private address keeps its path when its own becomes known.
    const std::string below = adapter_ + "/dev_";
    const auto& objects = bus_.objects();
    for (auto object = objects.lower_bound(below); object != objects.end() && object->first.starts_with(below);
         ++object) {
        if (isAt(object->first)) {
            return object->first;
        }
    }
    return std::nullopt;
}

bool Host::isConnected(const std::string& address) const {
    const auto path = devicePath(address);
    const Properties* device = path ? bus_.properties(*path, deviceInterface) : nullptr;
    return device && valueOf<bool>(*device, "Connected").value_or(false);
}

bool Host::isBonded(const std::string& address) const {
    const auto path = devicePath(address);
    const Properties* device = path ? bus_.properties(*path, deviceInterface) : nullptr;
    return device &&
           (valueOf<bool>(*device, "Bonded").value_or(false) || valueOf<bool>(*device, "Paired").value_or(false));
}

void Host::removeDevice(const std::string& address) {
    const auto path = devicePath(address);
    if (!path) {
        return;
    }
    bus_.call(
        adapter_, adapterInterface, "RemoveDevice",
        [&](sdbus::MethodCall& message) { message << sdbus::ObjectPath(*path); },
        [](sdbus::MethodReply*, const Failure*) {});
}

void Host::learn(const std::string& address, const Properties& device) {
    Directory::Entry entry;
    entry.name = valueOf<std::string>(device, "Name");
    entry.isConnected = valueOf<bool>(device, "Connected").value_or(false);
    for (const auto& text : valueOf<std::vector<std::string>>(device, "UUIDs").value_or(std::vector<std::string>())) {
        if (const auto uuid = UUID::parse(text)) {
            entry.services.push_back(*uuid);
        }
    }
    directory_.set(address, std::move(entry));
}

void Host::deviceSeen(const std::string& address, const Properties& device) {
    for (const auto& weak : centrals_) {
        if (const auto central = weak.lock()) {
            central->deviceSeen(address, device);
        }
    }
    links_.sighted(address);
    updateDiscovery();
}

void Host::tellReachability(const std::string& address, bool isReachable) {
    for (const auto& weak : centrals_) {
        if (const auto central = weak.lock()) {
            central->reachabilityChanged(address, isReachable);
        }
    }
    updateDiscovery();
}

void Host::deviceChanged(const std::string& path, const Properties& changed) {
    const auto address = addressAt(path);
    const Properties* device = bus_.properties(path, deviceInterface);
    if (!address || !device || state_ != CentralState::poweredOn) {
        return;
    }
    learn(*address, *device);
    // Advertisements bring these; the signal strength is there only while the device is heard.
    const bool isHeard = std::any_of(changed.begin(), changed.end(), [](const auto& entry) {
        return entry.first == "RSSI" || entry.first == "ManufacturerData" || entry.first == "AdvertisingFlags";
    });
    if (const auto hasConnected = valueOf<bool>(changed, "Connected")) {
        if (!*hasConnected) {
            directory_.setReadsNotifications(*address, false);
        }
        links_.connectedChanged(*address, *hasConnected);
        tellReachability(*address, *hasConnected);
    }
    // Services are resolved while there is a connection, and the signal of that one may be missing.
    const bool isConnected = valueOf<bool>(*device, "Connected").value_or(false);
    if (valueOf<bool>(changed, "ServicesResolved").value_or(isConnected) != isConnected) {
        bus_.refresh(path, deviceInterface, "Connected", [] {});
    }
    if (isHeard && device->contains("RSSI")) {
        deviceSeen(*address, *device);
    }
    if (valueOf<bool>(changed, "ServicesResolved") == true) {
        links_.servicesResolved(*address);
    }
    for (const auto& user : links_.users(*address)) {
        if (changed.contains("ServicesResolved") && user->session()) {
            user->session()->resolvedChanged();
        }
        if (changed.contains("Name")) {
            user->tell([](auto& delegate, const auto& peripheral) { delegate.didUpdateName(peripheral); });
        }
    }
}

std::vector<std::shared_ptr<Peripheral>> Host::usersAt(const std::string& path) const {
    const auto address = addressAt(path);
    return address ? links_.users(*address) : std::vector<std::shared_ptr<Peripheral>>();
}

// The daemon's news.

void Host::daemonChanged(bool isThere) {
    if (isThere) {
        agent_.enrol();
    }
    updateAdapter();
}

void Host::interfaceAdded(const std::string& path, const std::string& interface) {
    if (interface == adapterInterface) {
        updateAdapter();
    } else if (interface == deviceInterface) {
        deviceChanged(path, Properties(*bus_.properties(path, interface)));
    } else if (interface == gattManagerInterface) {
        updateDiscovery();
    } else if (interface == gattServiceInterface || interface == gattCharacteristicInterface) {
        for (const auto& user : usersAt(path)) {
            if (user->session()) {
                user->session()->interfaceAdded();
            }
        }
    }
}

void Host::interfaceRemoved(const std::string& path, const std::string& interface, const Properties& properties) {
    if (interface == adapterInterface) {
        updateAdapter();
    } else if (interface == deviceInterface) {
        const auto address = valueOf<std::string>(properties, "Address");
        if (address && !adapter_.empty() && path.starts_with(adapter_ + "/")) {
            directory_.lose(*address);
            links_.deviceRemoved(*address);
            tellReachability(*address, false);
        }
    } else {
        for (const auto& user : usersAt(path)) {
            if (user->session()) {
                user->session()->interfaceRemoved(path, interface);
            }
        }
    }
}

void Host::propertiesChanged(const std::string& path, const std::string& interface, const Properties& changed) {
    if (interface == deviceInterface) {
        deviceChanged(path, changed);
    } else if (interface == adapterInterface) {
        updateAdapter();
        if (path == adapter_ && valueOf<bool>(changed, "Discovering") == false) {
            discovery_.stopped();
        }
    } else if (interface == gattCharacteristicInterface) {
        if (const auto value = valueOf<Bytes>(changed, "Value")) {
            for (const auto& user : usersAt(path)) {
                if (user->session()) {
                    user->session()->valueChanged(path, *value);
                }
            }
        }
    }
}

void Host::deviceDisconnected(const std::string& path, const std::string& reason) {
    const auto address = addressAt(path);
    if (address && reason == authenticationReason && isBonded(*address)) {
        links_.bondRefused(*address);
    }
}

} // namespace tarnel::bluez
