#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/link/OutgoingManager.hpp>
#include <TarnelSDK/platform/Platform.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <utility>

namespace tarnel {
namespace {

struct MaximumWriteValueLength {
    static std::shared_ptr<MaximumWriteValueLength> make() { return std::make_shared<MaximumWriteValueLength>(); }

    std::atomic<int> value = 500;
};

std::atomic<int>& sharedMaximumWriteValueLength() {
    return platform::Platform::current().shared<MaximumWriteValueLength>()->value;
}

} // namespace

int OutgoingManager::maximumWriteValueLength() {
    return sharedMaximumWriteValueLength();
}

void OutgoingManager::setMaximumWriteValueLength(int length) {
    precondition(length >= 2, "a write has room for a header and a byte");
    sharedMaximumWriteValueLength() = length;
}

OutgoingManager::OutgoingManager(std::shared_ptr<platform::Queue> nextQueue, SlotRange slots)
    : nextQueue_(std::move(nextQueue)), slotManager_(SlotManager::make(slots)) {
    precondition(nextQueue_ != nullptr, "an outgoing queue has a dispatch queue");
}

void OutgoingManager::slotsChange(SlotRange slots) {
    slotManager_->removeSlots(slots);
}

void OutgoingManager::add(Bytes data, bool highPriority, ItemType type) {
    const bool isLong =
        type == ItemType::longwrite || data.size() > static_cast<std::size_t>(maximumWriteValueLength());
    WaitTankEntry entry{std::move(data), highPriority, type};

    const std::lock_guard lock(mutex_);
    if (isLong) {
        longWriteWaitTank_.push_back(std::move(entry));
    } else if (type == ItemType::replaceable) {
        // The older one stays: it may be half a step from being sent, and it keeps its place.
        if (!isReplaceableWaiting()) {
            waitTank_.push_back(std::move(entry));
        }
    } else if (highPriority) {
        waitTank_.push_front(std::move(entry));
    } else {
        waitTank_.push_back(std::move(entry));
    }
    checkWaitTank();
}

bool OutgoingManager::isReplaceableWaiting() const {
    return std::any_of(waitTank_.begin(), waitTank_.end(),
                       [](const WaitTankEntry& entry) { return entry.type == ItemType::replaceable; });
}

void OutgoingManager::remove(const std::shared_ptr<Item>& item) {
    nextQueue_->syncBarrier([&] {
        std::unique_lock lock(mutex_);
        const auto found = std::find(items_.begin(), items_.end(), item);
        const bool isActive = found != items_.end();
        if (isActive) {
            items_.erase(found);
            currentIndex_ = std::max<std::ptrdiff_t>(currentIndex_ - 1, -1);
            slotManager_->return_(item->id());
        }
        checkWaitTank();
        lock.unlock();
        if (!isActive) {
            log("issue", {"remove(item:)"});
        }
    });
}

bool OutgoingManager::hasItems() {
    const std::lock_guard lock(mutex_);
    checkWaitTank();
    return !items_.empty();
}

std::shared_ptr<Item> OutgoingManager::getCurrentItem() const {
    std::shared_ptr<Item> item;
    nextQueue_->sync([&] {
        const std::lock_guard lock(mutex_);
        if (currentIndex_ >= 0) {
            item = items_[static_cast<std::size_t>(currentIndex_)];
        }
    });
    return item;
}

std::shared_ptr<Item> OutgoingManager::next() {
    std::shared_ptr<Item> item;
    nextQueue_->sync([&] {
        const std::lock_guard lock(mutex_);
        checkWaitTank();
        if (items_.empty()) {
            currentIndex_ = -1;
            return;
        }
        currentIndex_ = (currentIndex_ + 1) % std::ssize(items_);
        item = items_[static_cast<std::size_t>(currentIndex_)];
    });
    return item;
}

void OutgoingManager::clear() {
    const std::lock_guard lock(mutex_);
    currentIndex_ = -1;
    for (const auto& item : items_) {
        slotManager_->return_(item->id());
    }
    items_.clear();
    waitTank_.clear();
}

void OutgoingManager::checkWaitTank() {
    const std::lock_guard lock(mutex_);
    if (waitTank_.empty() && items_.empty() && !longWriteWaitTank_.empty()) {
        waitTank_.push_back(std::move(longWriteWaitTank_.front()));
        longWriteWaitTank_.pop_front();
    }
    while (!waitTank_.empty() && slotManager_->hasSlots()) {
        const auto slot = slotManager_->request();
        if (!slot) {
            return;
        }
        WaitTankEntry entry = std::move(waitTank_.front());
        waitTank_.pop_front();
        activate(std::move(entry), *slot);
    }
}

void OutgoingManager::activate(WaitTankEntry entry, int slot) {
    auto item = std::make_shared<Item>(slot, std::move(entry.data), entry.type);
    if (!entry.highPriority) {
        items_.push_back(std::move(item));
        return;
    }
    const std::ptrdiff_t following = currentIndex_ + 1;
    if (following < std::ssize(items_)) {
        items_.insert(items_.begin() + following, std::move(item));
        return;
    }
    // The last item is the current one. It moves on by a place, so that after it the turn wraps to the new item.
    items_.insert(items_.begin(), std::move(item));
    if (currentIndex_ >= 0) {
        ++currentIndex_;
    }
}

std::size_t OutgoingManager::pendingByteCount() const {
    const std::lock_guard lock(mutex_);
    std::size_t count = 0;
    for (const auto& item : items_) {
        count += item->pendingByteCount();
    }
    for (const auto* tank : {&waitTank_, &longWriteWaitTank_}) {
        for (const auto& entry : *tank) {
            count += entry.data.size();
        }
    }
    return count;
}

} // namespace tarnel
