#include <TarnelGlasses/AirLink.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::glasses {

std::shared_ptr<AirLink> AirLink::make(const Radio& radio) {
    return std::make_shared<AirLink>(Key{}, radio);
}

AirLink::AirLink(Key, const Radio& radio)
    : queue_(radio.queuePointer()), now_(radio.clock()), model_(radio.model()), eventStart_(now_()),
      free_(eventStart_) {}

void AirLink::send(Side from, std::size_t attLength, platform::Block arrived) {
    if (!isOpen_) {
        return;
    }
    waiting_[static_cast<std::size_t>(from)].push_back({attLength, std::move(arrived)});
    start();
}

void AirLink::setHalted(bool halted) {
    if (!isOpen_ || std::exchange(isHalted_, halted) == halted || halted) {
        return;
    }
    isIdle_ = true;
    start();
    queue_->async([weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->deliver();
        }
    });
}

void AirLink::close() {
    isOpen_ = false;
    isCurrentDone_ = false;
    waiting_ = {};
    current_.reset();
}

/// Puts the next packet on the air unless one is there already.
void AirLink::start() {
    if (!isOpen_ || isHalted_ || current_) {
        return;
    }
    if (waiting_[turn_].empty()) {
        turn_ = 1 - turn_;
    }
    if (waiting_[turn_].empty()) {
        isIdle_ = true;
        return;
    }
    current_ = std::move(waiting_[turn_].front());
    waiting_[turn_].pop_front();
    turn_ = 1 - turn_;
    if (std::exchange(isIdle_, false)) {
        waitForEvent();
    }
    occupy(current_->attLength);
    queue_->asyncAfter(free_ - now_(), [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->arrive();
        }
    });
}

void AirLink::arrive() {
    isCurrentDone_ = current_.has_value();
    deliver();
}

/// Hands over the packet whose time on the air has passed, if there is one.
void AirLink::deliver() {
    if (isHalted_ || !std::exchange(isCurrentDone_, false)) {
        return;
    }
    const auto packet = *std::exchange(current_, std::nullopt);
    const auto self = shared_from_this();
    packet.arrived();
    start();
}

/// Lets the time until the next connection event pass.
void AirLink::waitForEvent() {
    const auto interval = model_.connectionInterval;
    const auto now = std::max(now_(), free_);
    eventStart_ += ((now - eventStart_) / interval + 1) * interval;
    free_ = eventStart_;
    packetsInEvent_ = 0;
}

/// Takes the air for the packets of one attribute packet. A packet that the event has no room for begins the next
/// event; at least one goes in each.
void AirLink::occupy(std::size_t attLength) {
    const std::size_t count = model_.packets(attLength);
    for (std::size_t i = 0; i < count; ++i) {
        const auto time = model_.packetTime(i + 1 < count ? model_.packetPayload : model_.lastPacketPayload(attLength));
        const bool isFull = model_.packetsPerEvent != 0 && packetsInEvent_ >= model_.packetsPerEvent;
        const bool isLate = free_ + time > eventStart_ + model_.connectionInterval;
        if (packetsInEvent_ > 0 && (isFull || isLate)) {
            const auto events =
                (free_ - eventStart_ + model_.connectionInterval - platform::Duration(1)) / model_.connectionInterval;
            eventStart_ += events * model_.connectionInterval;
            free_ = eventStart_;
            packetsInEvent_ = 0;
        }
        free_ += time;
        ++packetsInEvent_;
    }
}

} // namespace tarnel::glasses
