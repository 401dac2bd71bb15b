#include <TarnelGlasses/HostConnection.hpp>
#include <TarnelGlasses/SimulatedHost.hpp>
#include <TarnelGlasses/SimulatedPeripheral.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::glasses {

namespace {

constexpr std::size_t responseHeader = 1;

bool needsBond(const SimulatedGlasses::AttResult& result) {
    return result.error && result.error->domain == platform::BluetoothError::Domain::attribute &&
           result.error->code == platform::insufficientAuthentication;
}

} // namespace

HostConnection::HostConnection(std::weak_ptr<SimulatedHost> host, std::shared_ptr<SimulatedGlasses> glasses,
                               std::shared_ptr<AirLink> link)
    : host_(std::move(host)), glasses_(std::move(glasses)), link_(std::move(link)) {}

void HostConnection::removeUser(const std::shared_ptr<SimulatedPeripheral>& user) {
    std::erase(users_, user);
}

bool HostConnection::hasUser(const std::shared_ptr<SimulatedPeripheral>& user) const {
    return std::find(users_.begin(), users_.end(), user) != users_.end();
}

void HostConnection::request(std::size_t attLength, std::function<AttResult(SimulatedGlasses&)> serve,
                             std::function<void(const AttResult&)> answered) {
    requests_.push_back({attLength, std::move(serve), std::move(answered)});
    if (requests_.size() == 1) {
        start();
    }
}

void HostConnection::start() {
    link_->send(AirLink::Side::host, requests_.front().attLength, [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) {
            return;
        }
        auto result = self->requests_.front().serve(*self->glasses_);
        const auto length = responseHeader + result.value.size();
        self->link_->send(AirLink::Side::glasses, length, [weak, result = std::move(result)] {
            if (const auto again = weak.lock()) {
                again->answer(result);
            }
        });
    });
}

void HostConnection::answer(const AttResult& result) {
    const auto host = host_.lock();
    if (needsBond(result) && !requests_.front().hasPaired && host && host->directory().acceptsPairing()) {
        return pair();
    }
    const auto request = std::move(requests_.front());
    requests_.pop_front();
    if (!requests_.empty()) {
        start();
    }
    request.answered(result);
}

void HostConnection::pair() {
    requests_.front().hasPaired = true;
    const auto host = host_.lock();
    host->radio().queue().asyncAfter(model().pairing, [weak = weak_from_this()] {
        const auto self = weak.lock();
        const auto pairingHost = self ? self->host_.lock() : nullptr;
        if (!pairingHost || !self->link_->isOpen()) {
            return;
        }
        self->glasses_->bond();
        pairingHost->directory().setBonded(self->glasses_->identifier(), true);
        self->start();
    });
}

void HostConnection::command(const UUID& characteristic, Bytes value, platform::Block left) {
    const std::size_t length = attWriteHeader + value.size();
    link_->send(AirLink::Side::host, length,
                [weak = weak_from_this(), characteristic, value = std::move(value), left = std::move(left)] {
                    const auto self = weak.lock();
                    if (!self) {
                        return;
                    }
                    left();
                    // A refusal of a write without response reaches nobody.
                    self->glasses_->write(characteristic, value, platform::WriteType::withoutResponse);
                });
}

void HostConnection::shareNotifications(const std::shared_ptr<ancs::NotificationProvider>& provider, bool isShared) {
    if (const auto earlier = std::exchange(notifications_, nullptr)) {
        earlier->withdraw();
    }
    if (provider && isShared) {
        notifications_ = std::make_shared<HostNotifications>(provider, glasses_, link_);
        notifications_->offer();
    }
}

void HostConnection::notificationsWanted() {
    if (notifications_) {
        notifications_->subscribe();
    }
}

void HostConnection::controlPointWritten(ByteView value) {
    if (notifications_) {
        notifications_->write(value);
    }
}

void HostConnection::close() {
    link_->close();
    glasses_->closed();
}

void HostConnection::notified(const UUID& characteristic, ByteView value) {
    for (const auto& user : users()) {
        user->notified(characteristic, value);
    }
}

void HostConnection::closed(const platform::BluetoothError& error) {
    if (const auto host = host_.lock()) {
        host->connectionClosed(shared_from_this(), error);
    }
}

void HostConnection::servicesChanged() {
    for (const auto& user : users()) {
        user->servicesChanged();
    }
}

void HostConnection::nameChanged(const std::string& name) {
    if (const auto host = host_.lock()) {
        host->directory().learn(glasses_->identifier(), name);
    }
    for (const auto& user : users()) {
        user->nameChanged();
    }
}

} // namespace tarnel::glasses
