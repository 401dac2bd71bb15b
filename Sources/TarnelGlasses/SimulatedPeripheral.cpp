#include <TarnelGlasses/BluetoothErrors.hpp>
#include <TarnelGlasses/SimulatedCentral.hpp>
#include <TarnelGlasses/SimulatedPeripheral.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::glasses {

using platform::CharacteristicPointer;
using platform::PeripheralPointer;
using platform::PeripheralState;
using platform::ServicePointer;

namespace {

constexpr std::size_t leastValueLength = 20;

// Lengths of attribute protocol requests.
constexpr std::size_t discoveryRequest = 7;
constexpr std::size_t readRequest = 3;
constexpr std::size_t subscriptionRequest = attWriteHeader + 2;

const char* nameOf(PeripheralState state) {
    switch (state) {
    case PeripheralState::disconnected:
        return "disconnected";
    case PeripheralState::connecting:
        return "connecting";
    case PeripheralState::connected:
        return "connected";
    case PeripheralState::disconnecting:
        break;
    }
    return "disconnecting";
}

} // namespace

bool SimulatedPeripheral::WriteBuffer::take() {
    if (used.fetch_add(1) < depth) {
        return true;
    }
    --used;
    return false;
}

bool SimulatedPeripheral::WriteBuffer::give() {
    return used.fetch_sub(1) >= depth;
}

SimulatedPeripheral::SimulatedPeripheral(const UUID& identifier, std::weak_ptr<SimulatedCentral> central,
                                         std::shared_ptr<const HostDirectory> directory,
                                         std::shared_ptr<platform::Queue> radioQueue)
    : identifier_(identifier), central_(std::move(central)), directory_(std::move(directory)),
      radioQueue_(std::move(radioQueue)), maximumLength_(leastValueLength) {}

std::optional<std::string> SimulatedPeripheral::name() const {
    return directory_->name(identifier_);
}

std::string SimulatedPeripheral::description() const {
    return "<SimulatedPeripheral: identifier = " + identifier_.string() + ", name = " + name().value_or("(none)") +
           ", state = " + nameOf(state_) + ">";
}

bool SimulatedPeripheral::ancsAuthorized() const {
    return directory_->isAncsAuthorized(identifier_);
}

void SimulatedPeripheral::setDelegate(std::weak_ptr<Delegate> delegate) {
    const std::lock_guard lock(mutex_);
    delegate_ = std::move(delegate);
}

void SimulatedPeripheral::post(std::function<void(SimulatedPeripheral&, HostConnection&)> step) {
    if (state_ != PeripheralState::connected) {
        return;
    }
    radioQueue_->async([weak = weak_from_this(), step = std::move(step)] {
        const auto self = weak.lock();
        const auto connection = self ? self->connection_.lock() : nullptr;
        if (connection) {
            step(*self, *connection);
        }
    });
}

void SimulatedPeripheral::asyncOnCentral(std::function<void(SimulatedPeripheral&, SimulatedCentral&)> block) {
    const auto central = central_.lock();
    if (!central) {
        return;
    }
    central->async([self = shared_from_this(), block = std::move(block)] {
        if (const auto owner = self->central_.lock()) {
            block(*self, *owner);
        }
    });
}

void SimulatedPeripheral::tell(std::function<void(Delegate&, const PeripheralPointer&)> call) {
    asyncOnCentral([call = std::move(call)](SimulatedPeripheral& self, SimulatedCentral&) {
        std::shared_ptr<Delegate> delegate;
        {
            const std::lock_guard lock(self.mutex_);
            delegate = self.delegate_.lock();
        }
        if (delegate) {
            call(*delegate, self.shared_from_this());
        }
    });
}

// Connection.

void SimulatedPeripheral::willConnect() {
    isWanted_ = true;
    auto disconnected = PeripheralState::disconnected;
    state_.compare_exchange_strong(disconnected, PeripheralState::connecting);
}

void SimulatedPeripheral::willCancel() {
    isWanted_ = false;
    auto connecting = PeripheralState::connecting;
    auto connected = PeripheralState::connected;
    if (!state_.compare_exchange_strong(connecting, PeripheralState::disconnected)) {
        state_.compare_exchange_strong(connected, PeripheralState::disconnecting);
    }
}

void SimulatedPeripheral::lostPower() {
    isWanted_ = false;
    state_ = PeripheralState::disconnected;
    invalidate();
}

void SimulatedPeripheral::attached(const std::shared_ptr<HostConnection>& connection) {
    std::shared_ptr<WriteBuffer> buffer;
    if (connection_.lock() != connection) {
        connection_ = connection;
        subscriptions_.clear();
        buffer = std::make_shared<WriteBuffer>(connection->model().bufferDepth);
    }
    const auto length = connection->model().maximumValueLength();
    asyncOnCentral([buffer, length](SimulatedPeripheral& self, SimulatedCentral& central) {
        if (buffer) {
            self.invalidate();
            const std::lock_guard lock(self.mutex_);
            self.buffer_ = buffer;
        }
        self.maximumLength_ = length;
        self.isWanted_ = false;
        self.state_ = PeripheralState::connected;
        central.tell([&](auto& delegate) { delegate.didConnect(central, self.shared_from_this()); });
    });
}

void SimulatedPeripheral::ended(const std::optional<platform::BluetoothError>& error) {
    connection_.reset();
    asyncOnCentral([error](SimulatedPeripheral& self, SimulatedCentral& central) {
        self.invalidate();
        self.state_ = self.isWanted_ ? PeripheralState::connecting : PeripheralState::disconnected;
        central.tell(
            [&](auto& delegate) { delegate.didDisconnectPeripheral(central, self.shared_from_this(), error); });
    });
}

void SimulatedPeripheral::failed(const platform::BluetoothError& error) {
    asyncOnCentral([error](SimulatedPeripheral& self, SimulatedCentral& central) {
        self.isWanted_ = false;
        self.state_ = PeripheralState::disconnected;
        central.tell([&](auto& delegate) { delegate.didFailToConnect(central, self.shared_from_this(), error); });
    });
}

/// What belongs to a connection is void.
void SimulatedPeripheral::invalidate() {
    const std::lock_guard lock(mutex_);
    buffer_.reset();
    services_.clear();
    characteristics_.clear();
    maximumLength_ = leastValueLength;
}

// Discovery.

void SimulatedPeripheral::discoverServices() {
    post([](SimulatedPeripheral& self, HostConnection& connection) {
        const auto found = std::make_shared<std::vector<GattService>>();
        connection.request(
            discoveryRequest,
            [found](SimulatedGlasses& glasses) {
                *found = glasses.services();
                return AttResult{};
            },
            [weak = self.weak_from_this(), found](const AttResult&) {
                if (const auto peripheral = weak.lock()) {
                    peripheral->foundServices(*found);
                }
            });
    });
}

void SimulatedPeripheral::foundServices(const std::vector<GattService>& services) {
    std::vector<ServicePointer> made;
    made.reserve(services.size());
    for (const auto& service : services) {
        made.push_back(std::make_shared<platform::Service>(platform::Service{service.uuid}));
    }
    {
        const std::lock_guard lock(mutex_);
        services_ = made;
        characteristics_.clear();
    }
    tell([made](Delegate& delegate, const PeripheralPointer& peripheral) {
        delegate.didDiscoverServices(peripheral, made, std::nullopt);
    });
}

void SimulatedPeripheral::discoverCharacteristics(const ServicePointer& service) {
    post([service](SimulatedPeripheral& self, HostConnection& connection) {
        const auto found = std::make_shared<std::vector<GattService>>();
        connection.request(
            discoveryRequest,
            [found](SimulatedGlasses& glasses) {
                *found = glasses.services();
                return AttResult{};
            },
            [weak = self.weak_from_this(), service, found](const AttResult&) {
                if (const auto peripheral = weak.lock()) {
                    peripheral->foundCharacteristics(service, *found);
                }
            });
    });
}

void SimulatedPeripheral::foundCharacteristics(const ServicePointer& service,
                                               const std::vector<GattService>& services) {
    std::vector<CharacteristicPointer> made;
    for (const auto& candidate : services) {
        if (!service || candidate.uuid != service->uuid) {
            continue;
        }
        for (const auto& characteristic : candidate.characteristics) {
            made.push_back(std::make_shared<platform::Characteristic>(
                platform::Characteristic{.uuid = characteristic.uuid,
                                         .service = service->uuid,
                                         .canRead = characteristic.read,
                                         .canWrite = characteristic.write,
                                         .canWriteWithoutResponse = characteristic.writeWithoutResponse,
                                         .canNotify = characteristic.notify}));
        }
    }
    {
        const std::lock_guard lock(mutex_);
        if (std::find(services_.begin(), services_.end(), service) == services_.end()) {
            return;
        }
        std::erase_if(characteristics_, [&](const auto& old) { return old->service == service->uuid; });
        characteristics_.insert(characteristics_.end(), made.begin(), made.end());
    }
    tell([service, made](Delegate& delegate, const PeripheralPointer& peripheral) {
        delegate.didDiscoverCharacteristics(peripheral, service, made, std::nullopt);
    });
}

bool SimulatedPeripheral::isCurrent(const CharacteristicPointer& characteristic) const {
    const std::lock_guard lock(mutex_);
    return characteristic &&
           std::find(characteristics_.begin(), characteristics_.end(), characteristic) != characteristics_.end();
}

CharacteristicPointer SimulatedPeripheral::current(const UUID& uuid) const {
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(characteristics_.begin(), characteristics_.end(),
                                    [&](const auto& characteristic) { return characteristic->uuid == uuid; });
    return found == characteristics_.end() ? nullptr : *found;
}

void SimulatedPeripheral::servicesChanged() {
    subscriptions_.clear();
    std::vector<ServicePointer> invalidated;
    {
        const std::lock_guard lock(mutex_);
        invalidated = std::exchange(services_, {});
        characteristics_.clear();
    }
    tell([invalidated](Delegate& delegate, const PeripheralPointer& peripheral) {
        delegate.didModifyServices(peripheral, invalidated);
    });
}

void SimulatedPeripheral::nameChanged() {
    tell([](Delegate& delegate, const PeripheralPointer& peripheral) { delegate.didUpdateName(peripheral); });
}

void SimulatedPeripheral::ancsAuthorizationChanged() {
    asyncOnCentral([](SimulatedPeripheral& self, SimulatedCentral& central) {
        central.tell([&](auto& delegate) { delegate.didUpdateANCSAuthorization(central, self.shared_from_this()); });
    });
}

// Values.

bool SimulatedPeripheral::isSubscribedByOther(const HostConnection& connection, const UUID& characteristic) const {
    const auto users = connection.users();
    return std::any_of(users.begin(), users.end(),
                       [&](const auto& user) { return user.get() != this && user->isSubscribed(characteristic); });
}

void SimulatedPeripheral::setNotifyValue(bool enabled, const CharacteristicPointer& characteristic) {
    if (!isCurrent(characteristic)) {
        return;
    }
    post([enabled, characteristic](SimulatedPeripheral& self, HostConnection& connection) {
        const auto& uuid = characteristic->uuid;
        if (!enabled) {
            self.subscriptions_.erase(uuid);
        }
        const bool isShared = !enabled && self.isSubscribedByOther(connection, uuid);
        connection.request(
            subscriptionRequest,
            [uuid, enabled, isShared](SimulatedGlasses& glasses) {
                return isShared ? AttResult{} : glasses.subscribe(uuid, enabled);
            },
            [weak = self.weak_from_this(), enabled, characteristic](const AttResult& result) {
                const auto peripheral = weak.lock();
                if (!peripheral || !peripheral->isCurrent(characteristic)) {
                    return;
                }
                if (enabled && !result.error) {
                    peripheral->subscriptions_.insert(characteristic->uuid);
                }
                peripheral->tell(
                    [characteristic, error = result.error](Delegate& delegate, const PeripheralPointer& subject) {
                        delegate.didUpdateNotificationState(subject, characteristic, error);
                    });
            });
    });
}

void SimulatedPeripheral::readValue(const CharacteristicPointer& characteristic) {
    if (!isCurrent(characteristic)) {
        return;
    }
    post([characteristic](SimulatedPeripheral& self, HostConnection& connection) {
        connection.request(
            readRequest, [uuid = characteristic->uuid](SimulatedGlasses& glasses) { return glasses.read(uuid); },
            [weak = self.weak_from_this(), characteristic](const AttResult& result) {
                if (const auto peripheral = weak.lock()) {
                    peripheral->updateValue(characteristic, result);
                }
            });
    });
}

void SimulatedPeripheral::notified(const UUID& uuid, ByteView value) {
    const auto characteristic = current(uuid);
    if (characteristic && subscriptions_.contains(uuid)) {
        updateValue(characteristic, {std::nullopt, Bytes(value.begin(), value.end())});
    }
}

void SimulatedPeripheral::updateValue(const CharacteristicPointer& characteristic, const AttResult& result) {
    if (!isCurrent(characteristic)) {
        return;
    }
    tell([characteristic, result](Delegate& delegate, const PeripheralPointer& peripheral) {
        delegate.didUpdateValue(peripheral, characteristic, result.value, result.error);
    });
}

void SimulatedPeripheral::writeValue(ByteView value, const CharacteristicPointer& characteristic,
                                     platform::WriteType type) {
    if (state_ != PeripheralState::connected || !isCurrent(characteristic)) {
        return;
    }
    if (type == platform::WriteType::withResponse) {
        write(Bytes(value.begin(), value.end()), characteristic);
    } else {
        writeWithoutResponse(Bytes(value.begin(), value.end()), characteristic);
    }
}

void SimulatedPeripheral::write(Bytes value, const CharacteristicPointer& characteristic) {
    auto answered = [weak = weak_from_this(), characteristic](const AttResult& result) {
        const auto peripheral = weak.lock();
        if (!peripheral || !peripheral->isCurrent(characteristic)) {
            return;
        }
        peripheral->tell([characteristic, error = result.error](Delegate& delegate, const PeripheralPointer& subject) {
            delegate.didWriteValue(subject, characteristic, error);
        });
    };
    if (value.size() > maximumLength_) {
        return answered({attributeError(invalidAttributeValueLength, "The value is too long."), {}});
    }
    post([value = std::move(value), uuid = characteristic->uuid,
          answered = std::move(answered)](SimulatedPeripheral&, HostConnection& connection) {
        connection.request(
            attWriteHeader + value.size(),
            [value, uuid](SimulatedGlasses& glasses) {
                return glasses.write(uuid, value, platform::WriteType::withResponse);
            },
            answered);
    });
}

void SimulatedPeripheral::writeWithoutResponse(Bytes value, const CharacteristicPointer& characteristic) {
    std::shared_ptr<WriteBuffer> buffer;
    {
        const std::lock_guard lock(mutex_);
        buffer = buffer_;
    }
    if (!buffer || value.size() > maximumLength_ || !buffer->take()) {
        return post([](SimulatedPeripheral&, HostConnection& connection) { connection.glasses()->countLostWrite(); });
    }
    post([value = std::move(value), uuid = characteristic->uuid, buffer](SimulatedPeripheral& self,
                                                                         HostConnection& connection) {
        connection.command(uuid, value, [weak = self.weak_from_this(), buffer] {
            const auto peripheral = weak.lock();
            if (buffer->give() && peripheral) {
                peripheral->tell([](Delegate& delegate, const PeripheralPointer& subject) {
                    delegate.isReadyToSendWriteWithoutResponse(subject);
                });
            }
        });
    });
}

bool SimulatedPeripheral::canSendWriteWithoutResponse() const {
    const std::lock_guard lock(mutex_);
    return buffer_ && buffer_->used < buffer_->depth;
}

std::size_t SimulatedPeripheral::maximumWriteValueLength(platform::WriteType) const {
    return maximumLength_;
}

} // namespace tarnel::glasses
