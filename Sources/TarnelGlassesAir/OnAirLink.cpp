#include <TarnelGlassesAir/OnAirLink.hpp>

#include <algorithm>

namespace tarnel::glasses {

bool OnAirLink::setMTU(std::uint16_t mtu) {
    constexpr std::size_t longest = 512; // Bluetooth Core, Vol 3, Part F, 3.2.9
    const std::size_t length =
        std::clamp<std::size_t>(mtu, leastLength + attWriteHeader, longest + attWriteHeader) - attWriteHeader;
    return std::exchange(maximumLength_, std::max(maximumLength_, length)) < length;
}

void OnAirLink::sendToHost(std::size_t attLength, platform::Block arrived) {
    sendToGlasses(attLength, std::move(arrived));
}

bool OnAirLink::sendToGlasses(std::size_t attLength, platform::Block arrived) {
    if (!isOpen_ || waitingBytes_ + attLength > mostBytes) {
        return false;
    }
    waiting_.emplace_back(attLength, std::move(arrived));
    waitingBytes_ += attLength;
    start();
    return true;
}

void OnAirLink::setHalted(bool halted) {
    isHalted_ = halted;
    start();
}

void OnAirLink::close() {
    isOpen_ = false;
    waiting_.clear();
    waitingBytes_ = 0;
}

void OnAirLink::start() {
    if (isDelivering_ || isHalted_ || waiting_.empty()) {
        return;
    }
    isDelivering_ = true;
    queue_->async([weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->deliver();
        }
    });
}

void OnAirLink::deliver() {
    while (!isHalted_ && !waiting_.empty()) {
        const auto [length, arrived] = std::move(waiting_.front());
        waiting_.pop_front();
        waitingBytes_ -= length;
        arrived();
    }
    isDelivering_ = false;
}

} // namespace tarnel::glasses
