#include <TarnelGlasses/Radio.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::glasses {

namespace {

const LinkModel& checked(const LinkModel& model) {
    precondition(model.mtu >= 23, "an MTU is at least 23 bytes");
    precondition(model.packetPayload >= 27 && model.packetPayload <= 251, "a packet's payload lies in 27...251 bytes");
    precondition(model.connectionInterval > platform::Duration::zero(), "a connection interval is positive");
    precondition(model.bufferDepth > 0, "a host buffers at least one write");
    return model;
}

} // namespace

std::shared_ptr<Radio> Radio::make(platform::Scheduler& scheduler, MonotonicTime now, const LinkModel& model) {
    return std::make_shared<Radio>(Key{}, scheduler.makeSerialQueue("radio"), std::move(now), model);
}

Radio::Radio(Key, std::shared_ptr<platform::Queue> queue, MonotonicTime now, const LinkModel& model)
    : queue_(std::move(queue)), now_(std::move(now)), model_(checked(model)) {}

void Radio::setModel(const LinkModel& model) {
    const std::lock_guard lock(modelMutex_);
    model_ = checked(model);
}

LinkModel Radio::model() const {
    const std::lock_guard lock(modelMutex_);
    return model_;
}

void Radio::addListener(std::weak_ptr<Listener> listener) {
    listeners_.push_back(std::move(listener));
}

void Radio::add(const std::shared_ptr<SimulatedGlasses>& glasses) {
    glasses_.push_back(glasses);
    announce(glasses);
}

void Radio::remove(const std::shared_ptr<SimulatedGlasses>& glasses) {
    std::erase(glasses_, glasses);
    announce(glasses);
}

void Radio::announce(const std::shared_ptr<SimulatedGlasses>& glasses) {
    std::erase_if(listeners_, [](const auto& listener) { return listener.expired(); });
    const auto listeners = listeners_;
    for (const auto& weak : listeners) {
        if (const auto listener = weak.lock()) {
            listener->airChanged(glasses);
        }
    }
}

} // namespace tarnel::glasses
