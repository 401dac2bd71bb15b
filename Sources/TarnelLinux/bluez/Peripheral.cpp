#include <TarnelLinux/bluez/Central.hpp>
#include <TarnelLinux/bluez/Peripheral.hpp>
#include <TarnelLinux/bluez/Session.hpp>

#include <utility>

namespace tarnel::bluez {

using platform::CharacteristicPointer;
using platform::PeripheralPointer;
using platform::PeripheralState;

namespace {

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

Peripheral::Peripheral(const UUID& identifier, std::string address, std::weak_ptr<Central> central,
                       std::weak_ptr<Host> host)
    : identifier_(identifier), address_(std::move(address)), central_(std::move(central)), host_(std::move(host)),
      maximumLength_(Session::leastValueLength) {}

Peripheral::~Peripheral() = default;

std::optional<std::string> Peripheral::name() const {
    const auto host = host_.lock();
    return host ? host->directory().name(address_) : std::nullopt;
}

bool Peripheral::ancsAuthorized() const {
    const auto host = host_.lock();
    return host && host->directory().readsNotifications(address_);
}

void Peripheral::ancsAuthorizationChanged() {
    asyncOnCentral([](Peripheral& self, Central& central) {
        central.tell([&](auto& delegate) { delegate.didUpdateANCSAuthorization(central, self.shared_from_this()); });
    });
}

std::string Peripheral::description() const {
    return "<Peripheral: address = " + address_ + ", name = " + name().value_or("(none)") +
           ", state = " + nameOf(state_) + ">";
}

bool Peripheral::isOf(const Central& central) const {
    return central_.lock().get() == &central;
}

void Peripheral::setDelegate(std::weak_ptr<Delegate> delegate) {
    const std::lock_guard lock(mutex_);
    delegate_ = std::move(delegate);
}

std::shared_ptr<WriteRoom> Peripheral::room() const {
    const std::lock_guard lock(mutex_);
    return room_;
}

void Peripheral::post(std::function<void(Session&)> step) {
    const auto host = host_.lock();
    if (!host || state_ != PeripheralState::connected) {
        return;
    }
    host->loop().post([weak = weak_from_this(), step = std::move(step)] {
        const auto self = weak.lock();
        if (self && self->session_) {
            step(*self->session_);
        }
    });
}

void Peripheral::asyncOnCentral(std::function<void(Peripheral&, Central&)> block) {
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

void Peripheral::tell(std::function<void(Delegate&, const PeripheralPointer&)> call) {
    asyncOnCentral([call = std::move(call)](Peripheral& self, Central&) {
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

void Peripheral::willConnect() {
    isWanted_ = true;
    auto disconnected = PeripheralState::disconnected;
    state_.compare_exchange_strong(disconnected, PeripheralState::connecting);
}

void Peripheral::willCancel() {
    isWanted_ = false;
    auto connecting = PeripheralState::connecting;
    auto connected = PeripheralState::connected;
    if (!state_.compare_exchange_strong(connecting, PeripheralState::disconnected)) {
        state_.compare_exchange_strong(connected, PeripheralState::disconnecting);
    }
}

void Peripheral::lostPower() {
    isWanted_ = false;
    state_ = PeripheralState::disconnected;
    invalidate();
}

void Peripheral::attached(const std::string& devicePath) {
    const auto host = host_.lock();
    if (!host) {
        return;
    }
    std::shared_ptr<WriteRoom> room;
    if (!session_) {
        room = std::make_shared<WriteRoom>();
        session_ = std::make_unique<Session>(*this, *host, devicePath, room);
    }
    asyncOnCentral([room](Peripheral& self, Central& central) {
        if (room) {
            self.invalidate();
            const std::lock_guard lock(self.mutex_);
            self.room_ = room;
        }
        self.isWanted_ = false;
        self.state_ = PeripheralState::connected;
        central.tell([&](auto& delegate) { delegate.didConnect(central, self.shared_from_this()); });
    });
}

void Peripheral::ended(const std::optional<platform::BluetoothError>& error) {
    dropSession();
    asyncOnCentral([error](Peripheral& self, Central& central) {
        self.invalidate();
        self.state_ = self.isWanted_ ? PeripheralState::connecting : PeripheralState::disconnected;
        central.tell(
            [&](auto& delegate) { delegate.didDisconnectPeripheral(central, self.shared_from_this(), error); });
    });
}

void Peripheral::failed(const platform::BluetoothError& error) {
    asyncOnCentral([error](Peripheral& self, Central& central) {
        self.isWanted_ = false;
        self.state_ = PeripheralState::disconnected;
        central.tell([&](auto& delegate) { delegate.didFailToConnect(central, self.shared_from_this(), error); });
    });
}

void Peripheral::dropSession() {
    session_.reset();
}

void Peripheral::invalidate() {
    const std::lock_guard lock(mutex_);
    room_.reset();
    maximumLength_ = Session::leastValueLength;
}

// Attributes.

void Peripheral::discoverServices() {
    post([](Session& session) { session.discoverServices(); });
}

void Peripheral::discoverCharacteristics(const platform::ServicePointer& service) {
    post([service](Session& session) { session.discoverCharacteristics(service); });
}

void Peripheral::setNotifyValue(bool enabled, const CharacteristicPointer& characteristic) {
    post([enabled, characteristic](Session& session) { session.setNotifyValue(enabled, characteristic); });
}

void Peripheral::readValue(const CharacteristicPointer& characteristic) {
    post([characteristic](Session& session) { session.readValue(characteristic); });
}

void Peripheral::writeValue(ByteView value, const CharacteristicPointer& characteristic, platform::WriteType type) {
    Bytes bytes(value.begin(), value.end());
    if (type == platform::WriteType::withResponse) {
        post([bytes = std::move(bytes), characteristic](Session& session) mutable {
            session.writeWithResponse(std::move(bytes), characteristic);
        });
        return;
    }
    const auto free = room();
    if (!free || !free->take()) {
        return;
    }
    post([bytes = std::move(bytes), characteristic](Session& session) mutable {
        session.writeWithoutResponse(std::move(bytes), characteristic);
    });
}

bool Peripheral::canSendWriteWithoutResponse() const {
    const auto free = room();
    return free && state_ == PeripheralState::connected && free->isFree();
}

} // namespace tarnel::bluez
