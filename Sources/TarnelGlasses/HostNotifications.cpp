#include <TarnelGlasses/HostNotifications.hpp>

#include <utility>

namespace tarnel::glasses {

namespace {

// Lengths of packets of the attribute protocol.
constexpr std::size_t servicesChanged = 7;
constexpr std::size_t writeResponse = 1;
constexpr std::size_t errorResponse = 5;

} // namespace

HostNotifications::HostNotifications(std::shared_ptr<ancs::NotificationProvider> provider,
                                     std::shared_ptr<SimulatedGlasses> glasses, std::shared_ptr<AirLink> link)
    : provider_(std::move(provider)), glasses_(std::move(glasses)), link_(std::move(link)) {}

void HostNotifications::send(std::size_t attLength, std::function<void(SimulatedGlasses&)> arrived) {
    link_->send(AirLink::Side::host, attLength, [weak = std::weak_ptr(glasses_), arrived = std::move(arrived)] {
        if (const auto glasses = weak.lock()) {
            arrived(*glasses);
        }
    });
}

void HostNotifications::offer() {
    isOffered_ = true;
    provider_->addListener(weak_from_this());
    send(servicesChanged, [](SimulatedGlasses& glasses) { glasses.notificationsOffered(true); });
}

void HostNotifications::withdraw() {
    isOffered_ = isSubscribed_ = false;
    send(servicesChanged, [](SimulatedGlasses& glasses) { glasses.notificationsOffered(false); });
}

void HostNotifications::subscribe() {
    if (!isOffered_ || std::exchange(isSubscribed_, true)) {
        return;
    }
    for (const auto& event : provider_->existing()) {
        happened(event);
    }
}

void HostNotifications::happened(const ancs::Event& event) {
    if (!isSubscribed_) {
        return;
    }
    auto value = ancs::encode(event);
    const auto length = attWriteHeader + value.size();
    send(length, [value = std::move(value)](SimulatedGlasses& glasses) { glasses.notificationSourceChanged(value); });
}

void HostNotifications::write(ByteView command) {
    if (!isOffered_) {
        return;
    }
    auto answer = provider_->write(command, link_->model().maximumValueLength());
    const bool isAccepted = !answer.error;
    send(isAccepted ? writeResponse : errorResponse,
         [isAccepted](SimulatedGlasses& glasses) { glasses.controlPointAnswered(isAccepted); });
    for (auto& value : answer.data) {
        const auto length = attWriteHeader + value.size();
        send(length, [value = std::move(value)](SimulatedGlasses& glasses) { glasses.notificationDataChanged(value); });
    }
}

} // namespace tarnel::glasses
