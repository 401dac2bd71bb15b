#include <TarnelGlasses/BluetoothErrors.hpp>
#include <TarnelGlasses/SimulatedGlassesState.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <array>
#include <utility>

namespace tarnel::glasses {

using platform::BluetoothError;
using platform::Duration;

namespace {

/// Company identifier (the one for tests), then the mode.
constexpr std::array<std::uint8_t, 2> companyIdentifier = {0xff, 0xff};
constexpr std::uint8_t normalMode = 2;
constexpr std::uint8_t otherMode = 1;

Bytes bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

GlassesOptions inMode(GlassesOptions options, AdvertisingMode mode) {
    options.advertisingMode = mode;
    return options;
}

} // namespace

std::shared_ptr<SimulatedGlasses> SimulatedGlasses::make(const std::shared_ptr<Radio>& radio, const Options& options) {
    precondition(options.protocolVersion == 1 || options.protocolVersion == 2, "a protocol version is 1 or 2");
    auto glasses = std::make_shared<SimulatedGlasses>(Key{}, radio, options);
    radio->queue().async([weakRadio = std::weak_ptr(radio), glasses] {
        if (const auto air = weakRadio.lock()) {
            air->add(glasses);
        }
    });
    return glasses;
}

SimulatedGlasses::SimulatedGlasses(Key, const std::shared_ptr<Radio>& radio, const Options& options)
    : options_(options), queue_(radio->queuePointer()), now_(radio->clock()), radio_(radio),
      state_(std::make_unique<State>(options, firmwareOutput(), readerOutput())) {}

SimulatedGlasses::~SimulatedGlasses() = default;

Firmware::Output SimulatedGlasses::firmwareOutput() {
    // The firmware is part of this object, and called with the state locked.
    return {.notify = [this](Bytes value) { notify(*state_, gatt::inCharacteristic(), std::move(value)); },
            .after =
                [this](Duration delay, platform::Block block) {
                    post([block = std::move(block)](SimulatedGlasses& self) { self.perform([&](State&) { block(); }); },
                         delay);
                },
            .now = now_,
            .frameChanged = [this] { state_->isFrameChanged = true; }};
}

NotificationReader::Output SimulatedGlasses::readerOutput() {
    constexpr std::size_t subscriptions = 2 * 5; // a descriptor of two bytes each, with opcode and handle
    return {.subscribe = [this] { sendToHost(subscriptions, [](Host& host) { host.notificationsWanted(); }); },
            .write =
                [this](Bytes value) {
                    const auto length = attWriteHeader + value.size();
                    sendToHost(length, [value = std::move(value)](Host& host) { host.controlPointWritten(value); });
                },
            .after =
                [this](Duration delay, platform::Block block) {
                    post([block = std::move(block)](SimulatedGlasses& self) { self.perform([&](State&) { block(); }); },
                         delay);
                },
            .changed =
                [this] {
                    state_->firmware.setNotificationCount(state_->reader.notifications().size());
                    state_->areNotificationsChanged = true;
                }};
}

/// Sends the host a packet, with the state locked.
void SimulatedGlasses::sendToHost(std::size_t attLength, std::function<void(Host&)> arrived) {
    if (!state_->link) {
        return;
    }
    state_->link->sendToHost(attLength, [host = state_->host, arrived = std::move(arrived)] {
        if (const auto there = host.lock()) {
            arrived(*there);
        }
    });
}

void SimulatedGlasses::post(std::function<void(SimulatedGlasses&)> step, Duration delay) {
    auto block = [weak = weak_from_this(), step = std::move(step)] {
        if (const auto self = weak.lock()) {
            step(*self);
        }
    };
    if (delay > Duration::zero()) {
        queue_->asyncAfter(delay, std::move(block));
    } else {
        queue_->async(std::move(block));
    }
}

void SimulatedGlasses::postChange(Change change) {
    post([change = std::move(change)](SimulatedGlasses& self) { self.perform(change); });
}

/// Changes the state, on the radio's queue; what observes it is told afterwards.
void SimulatedGlasses::perform(const Change& change) {
    State::Observer recordObserver;
    std::vector<std::shared_ptr<const State::Observer>> frameObservers;
    State::Observer notificationObserver;
    {
        const std::lock_guard lock(mutex_);
        const auto records = [this] { return state_->firmware.receivedCount() + state_->firmware.errorCount(); };
        const std::size_t before = records();
        change(*state_);
        if (records() != before) {
            recordObserver = state_->recordObserver;
        }
        if (std::exchange(state_->isFrameChanged, false)) {
            frameObservers = state_->liveFrameObservers();
        }
        if (std::exchange(state_->areNotificationsChanged, false)) {
            notificationObserver = state_->notificationObserver;
        }
    }
    if (recordObserver) {
        recordObserver();
    }
    for (const auto& observer : frameObservers) {
        (*observer)();
    }
    if (notificationObserver) {
        notificationObserver();
    }
}

void SimulatedGlasses::announce() {
    if (const auto radio = radio_.lock()) {
        radio->announce(shared_from_this());
    }
}

/// Ends the connection, if there is one, and changes the state with it. The host is told the error.
void SimulatedGlasses::end(const std::optional<BluetoothError>& error, const Change& change) {
    std::shared_ptr<GlassesLink> link;
    std::shared_ptr<Host> host;
    perform([&](State& state) {
        link = std::exchange(state.link, nullptr);
        host = std::exchange(state.host, {}).lock();
        if (link) {
            state.subscriptions.clear();
            state.firmware.disconnected();
            state.reader.end();
        }
        if (change) {
            change(state);
        }
    });
    if (link) {
        link->close();
        if (host && error) {
            host->closed(*error);
        }
    }
    announce();
}

void SimulatedGlasses::restart(const Change& change) {
    std::uint64_t restarts = 0;
    end(peripheralEnded(), [&](State& state) {
        state.firmware.restart();
        state.isRestarting = true;
        state.lastWritten.clear();
        restarts = ++state.restarts;
        if (change) {
            change(state);
        }
    });
    post(
        [restarts](SimulatedGlasses& self) {
            self.perform([&](State& state) { state.isRestarting = state.isRestarting && state.restarts != restarts; });
            self.announce();
        },
        options_.restartTime);
}

// The other end of the air.

std::optional<platform::AdvertisementData> SimulatedGlasses::advertisement() const {
    const std::lock_guard lock(mutex_);
    if (state_->link || !state_->isInRange || state_->isRestarting || state_->isRemoved) {
        return std::nullopt;
    }
    if (state_->advertisement) {
        return state_->advertisement;
    }
    const bool isUpdate = state_->mode == AdvertisingMode::update;
    platform::AdvertisementData data{.isConnectable = true,
                                     .serviceUUIDs = {{isUpdate ? gatt::updateService() : gatt::dataService()}},
                                     .manufacturerData = {},
                                     .localName = state_->name};
    if (state_->mode == AdvertisingMode::normal || state_->mode == AdvertisingMode::otherManufacturerData) {
        data.manufacturerData.emplace(companyIdentifier.begin(), companyIdentifier.end());
        data.manufacturerData->push_back(state_->mode == AdvertisingMode::normal ? normalMode : otherMode);
    }
    return data;
}

std::string SimulatedGlasses::name() const {
    const std::lock_guard lock(mutex_);
    return state_->name;
}

std::vector<GattService> SimulatedGlasses::services() const {
    const std::lock_guard lock(mutex_);
    return gattServices(inMode(options_, state_->mode));
}

void SimulatedGlasses::open(std::shared_ptr<GlassesLink> link, std::weak_ptr<Host> host) {
    perform([&](State& state) {
        precondition(state.link == nullptr, "glasses have one connection at a time");
        state.link = std::move(link);
        state.host = std::move(host);
        state.updateHalt();
        state.firmware.connected(state.link->maximumValueLength());
        ++state.counters.connections;
    });
    announce();
}

void SimulatedGlasses::linkChanged() {
    perform([](State& state) {
        if (state.link) {
            state.firmware.connected(state.link->maximumValueLength());
        }
    });
}

void SimulatedGlasses::closed() {
    end(std::nullopt, {});
}

/// Why an operation on a characteristic is refused, if it is.
std::optional<BluetoothError> SimulatedGlasses::refusal(State& state, const UUID& characteristic,
                                                        bool GattCharacteristic::*property, int code) const {
    for (const auto& service : gattServices(inMode(options_, state.mode))) {
        for (const auto& candidate : service.characteristics) {
            if (candidate.uuid != characteristic) {
                continue;
            }
            if (!(candidate.*property)) {
                return attributeError(code, "The attribute does not permit this.");
            }
            if (candidate.isProtected && !state.isBonded) {
                return attributeError(platform::insufficientAuthentication, "Authentication is insufficient.");
            }
            return std::nullopt;
        }
    }
    return attributeError(invalidHandle, "There is no such attribute.");
}

SimulatedGlasses::AttResult SimulatedGlasses::read(const UUID& characteristic) {
    AttResult result;
    perform([&](State& state) {
        result.error = refusal(state, characteristic, &GattCharacteristic::read, readNotPermitted);
        if (result.error) {
            return;
        }
        if (characteristic == gatt::outCharacteristic()) {
            result.value = state.lastWritten;
        } else if (characteristic == gatt::batteryLevel()) {
            result.value = {static_cast<std::uint8_t>(state.batteryLevel)};
        } else if (characteristic == gatt::batteryPowerState()) {
            result.value = state.batteryPowerState();
        } else if (characteristic == gatt::softwareRevision()) {
            result.value = bytesOf(options_.revision);
        } else if (characteristic == gatt::serialNumber()) {
            result.value = bytesOf(options_.serialNumber);
        }
    });
    return result;
}

SimulatedGlasses::AttResult SimulatedGlasses::write(const UUID& characteristic, ByteView value,
                                                    platform::WriteType type) {
    const bool hasResponse = type == platform::WriteType::withResponse;
    Bytes arrived(value.begin(), value.end());
    perform([&](State& state) {
        ++(hasResponse ? state.counters.writes : state.counters.writesWithoutResponse);
        arrived = state.truncated(Direction::toGlasses, std::move(arrived));
        state.counters.bytesReceived += arrived.size();
    });
    trace(hasResponse ? GattTraceEvent::Kind::write : GattTraceEvent::Kind::writeWithoutResponse, characteristic,
          arrived);

    AttResult result;
    perform([&](State& state) {
        result.error = refusal(state, characteristic,
                               hasResponse ? &GattCharacteristic::write : &GattCharacteristic::writeWithoutResponse,
                               writeNotPermitted);
        if (!result.error && state.refusals > 0) {
            --state.refusals;
            result.error = attributeError(unlikelyError, "The peripheral refused the write.");
        }
        if (result.error) {
            ++state.counters.refusedWrites;
            return;
        }
        state.lastWritten = arrived;
        state.firmware.receive(arrived);
    });
    return result;
}

SimulatedGlasses::AttResult SimulatedGlasses::subscribe(const UUID& characteristic, bool enabled) {
    AttResult result;
    perform([&](State& state) {
        result.error = refusal(state, characteristic, &GattCharacteristic::notify, requestNotSupported);
        if (result.error) {
            return;
        }
        if (enabled) {
            state.subscriptions.insert(characteristic);
        } else {
            state.subscriptions.erase(characteristic);
        }
    });
    return result;
}

void SimulatedGlasses::bond() {
    perform([](State& state) { state.isBonded = true; });
}

void SimulatedGlasses::notificationsOffered(bool isOffered) {
    perform([&](State& state) { isOffered ? state.reader.begin() : state.reader.end(); });
}

void SimulatedGlasses::notificationSourceChanged(ByteView value) {
    perform([&](State& state) { state.reader.receiveEvent(value); });
}

void SimulatedGlasses::notificationDataChanged(ByteView value) {
    perform([&](State& state) { state.reader.receiveData(value); });
}

void SimulatedGlasses::controlPointAnswered(bool isAccepted) {
    perform([&](State& state) { state.reader.written(isAccepted); });
}

void SimulatedGlasses::countLostWrite() {
    perform([](State& state) { ++state.counters.lostWrites; });
}

/// Sends a value to a host that is subscribed.
void SimulatedGlasses::notify(State& state, const UUID& characteristic, Bytes value) {
    if (!state.link || !state.subscriptions.contains(characteristic)) {
        return;
    }
    if (characteristic == gatt::inCharacteristic()) {
        value = state.truncated(Direction::toHost, std::move(value));
    }
    value.resize(std::min(value.size(), state.link->maximumValueLength()));
    const std::size_t length = attWriteHeader + value.size();
    state.link->sendToHost(length, [weak = weak_from_this(), characteristic, value = std::move(value)] {
        if (const auto self = weak.lock()) {
            self->arriveAtHost(characteristic, value);
        }
    });
}

void SimulatedGlasses::arriveAtHost(const UUID& characteristic, ByteView value) {
    std::shared_ptr<Host> host;
    perform([&](State& state) {
        ++state.counters.notifications;
        host = state.host.lock();
    });
    trace(GattTraceEvent::Kind::notify, characteristic, value);
    if (host) {
        host->notified(characteristic, value);
    }
}

void SimulatedGlasses::trace(GattTraceEvent::Kind kind, const UUID& characteristic, ByteView value) const {
    GattTraceObserver observer;
    {
        const std::lock_guard lock(mutex_);
        observer = state_->trace;
    }
    if (observer) {
        observer({now_(), kind, characteristic, Bytes(value.begin(), value.end())});
    }
}

void SimulatedGlasses::setTrace(GattTraceObserver observer) {
    const std::lock_guard lock(mutex_);
    state_->trace = std::move(observer);
}

platform::Observation SimulatedGlasses::observeFrame(std::function<void()> observer) {
    precondition(static_cast<bool>(observer), "an observer is a function");
    auto shared = std::make_shared<const State::Observer>(std::move(observer));
    {
        const std::lock_guard lock(mutex_);
        state_->frameObservers.push_back(shared);
    }
    return platform::Observation(std::const_pointer_cast<State::Observer>(std::move(shared)));
}

void SimulatedGlasses::setNotificationObserver(std::function<void()> observer) {
    const std::lock_guard lock(mutex_);
    state_->notificationObserver = std::move(observer);
}

void SimulatedGlasses::setRecordObserver(std::function<void()> observer) {
    const std::lock_guard lock(mutex_);
    state_->recordObserver = std::move(observer);
}

// What is seen.

Frame SimulatedGlasses::frame() const {
    const std::lock_guard lock(mutex_);
    return state_->firmware.frame();
}

std::optional<Duration> SimulatedGlasses::nextFrameChange() const {
    const std::lock_guard lock(mutex_);
    return state_->firmware.nextFrameChange();
}

bool SimulatedGlasses::isDisplayOn() const {
    const std::lock_guard lock(mutex_);
    return state_->firmware.isDisplayOn();
}

std::optional<std::string> SimulatedGlasses::controlOwner() const {
    const std::lock_guard lock(mutex_);
    return state_->firmware.controlOwner();
}

int SimulatedGlasses::layout() const {
    const std::lock_guard lock(mutex_);
    return state_->firmware.layout();
}

bool SimulatedGlasses::hidesStatusBar() const {
    const std::lock_guard lock(mutex_);
    return state_->firmware.hidesStatusBar();
}

std::optional<std::string> SimulatedGlasses::time() const {
    const std::lock_guard lock(mutex_);
    return state_->firmware.time();
}

std::optional<std::string> SimulatedGlasses::clock() const {
    const std::lock_guard lock(mutex_);
    return state_->firmware.clock();
}

std::optional<Value> SimulatedGlasses::property(const std::string& key) const {
    const std::lock_guard lock(mutex_);
    return state_->firmware.property(key);
}

int SimulatedGlasses::batteryLevel() const {
    const std::lock_guard lock(mutex_);
    return state_->batteryLevel;
}

bool SimulatedGlasses::isCharging() const {
    const std::lock_guard lock(mutex_);
    return state_->isCharging;
}

std::vector<ReceivedMessage> SimulatedGlasses::receivedMessages(std::size_t seen) const {
    const std::lock_guard lock(mutex_);
    return state_->firmware.receivedMessages(seen);
}

std::size_t SimulatedGlasses::receivedCount() const {
    const std::lock_guard lock(mutex_);
    return state_->firmware.receivedCount();
}

std::vector<CommandError> SimulatedGlasses::errors(std::size_t seen) const {
    const std::lock_guard lock(mutex_);
    return state_->firmware.errors(seen);
}

std::size_t SimulatedGlasses::errorCount() const {
    const std::lock_guard lock(mutex_);
    return state_->firmware.errorCount();
}

std::vector<HostNotification> SimulatedGlasses::notifications() const {
    const std::lock_guard lock(mutex_);
    const auto& notifications = state_->reader.notifications();
    return {notifications.begin(), notifications.end()};
}

std::size_t SimulatedGlasses::notificationErrorCount() const {
    const std::lock_guard lock(mutex_);
    return state_->reader.errorCount();
}

bool SimulatedGlasses::isConnected() const {
    const std::lock_guard lock(mutex_);
    return state_->link != nullptr;
}

bool SimulatedGlasses::isBonded() const {
    const std::lock_guard lock(mutex_);
    return state_->isBonded;
}

bool SimulatedGlasses::isAdvertising() const {
    return advertisement().has_value();
}

bool SimulatedGlasses::isStalled() const {
    const std::lock_guard lock(mutex_);
    return state_->isStalled;
}

bool SimulatedGlasses::isInRange() const {
    const std::lock_guard lock(mutex_);
    return state_->isInRange;
}

bool SimulatedGlasses::isSubscribed(const UUID& characteristic) const {
    const std::lock_guard lock(mutex_);
    return state_->subscriptions.contains(characteristic);
}

SimulatedGlasses::Counters SimulatedGlasses::counters() const {
    const std::lock_guard lock(mutex_);
    return state_->counters;
}

} // namespace tarnel::glasses
