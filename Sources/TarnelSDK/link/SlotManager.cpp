#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/link/SlotManager.hpp>
#include <TarnelSDK/platform/Platform.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <cstddef>
#include <iterator>
#include <utility>

namespace tarnel {

std::shared_ptr<SlotManager> SlotManager::make(SlotRange range) {
    precondition(range.lowerBound <= range.upperBound, "a slot range does not end before it begins");
    auto manager = std::make_shared<SlotManager>(Key());
    manager->change([range](SlotManager& self) {
        for (int slot = range.lowerBound; slot < range.upperBound; ++slot) {
            self.slots_.insert(slot);
        }
    });
    return manager;
}

SlotManager::SlotManager(Key)
    : queue_(platform::Platform::current().services().scheduler->makeConcurrentQueue(
          "com.brenlo.apps.tarnel.SlotManager")) {}

bool SlotManager::hasSlots() const {
    bool result = false;
    queue_->sync([&] { result = !slots_.empty(); });
    return result;
}

std::optional<int> SlotManager::request() {
    std::optional<int> slot;
    queue_->sync([&] {
        if (slots_.empty()) {
            return;
        }
        const auto place = platform::Platform::current().services().random->below(slots_.size());
        slot = *std::next(slots_.begin(), static_cast<std::ptrdiff_t>(place));
    });
    if (!slot) {
        log("no Slots", {"request()"});
        return std::nullopt;
    }
    change([slot = *slot](SlotManager& self) { self.slots_.erase(slot); });
    return slot;
}

void SlotManager::return_(int slot) {
    change([slot](SlotManager& self) {
        if (self.slotsToBeRemoved_ && self.slotsToBeRemoved_->contains(slot)) {
            return;
        }
        if (!self.slots_.insert(slot).second) {
            log("We have an issue", {"return(slot:)"});
        }
    });
}

void SlotManager::removeSlots(SlotRange slotsToBeRemoved) {
    precondition(slotsToBeRemoved.lowerBound <= slotsToBeRemoved.upperBound,
                 "a slot range does not end before it begins");
    change([slotsToBeRemoved](SlotManager& self) {
        self.slotsToBeRemoved_ = slotsToBeRemoved;
        self.slots_.erase(self.slots_.lower_bound(slotsToBeRemoved.lowerBound),
                          self.slots_.lower_bound(slotsToBeRemoved.upperBound));
    });
}

void SlotManager::change(std::function<void(SlotManager&)> block) {
    queue_->asyncBarrier([weakSelf = weak_from_this(), block = std::move(block)] {
        if (const auto self = weakSelf.lock()) {
            block(*self);
        }
    });
}

} // namespace tarnel
