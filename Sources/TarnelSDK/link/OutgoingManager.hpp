#pragma once

#include <TarnelSDK/link/Item.hpp>
#include <TarnelSDK/link/SlotManager.hpp>
#include <TarnelSDK/platform/Bytes.hpp>
#include <TarnelSDK/platform/Queue.hpp>

#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

namespace tarnel {

/// The outgoing messages of one device, on their way from commands to writes.
///
/// A message waits until a transfer slot is free and then becomes an active item with the slot as its id. The active
/// items are served in turn, a chunk at a time: `next` tells whose turn it is, the sender cuts and writes a chunk of it
/// and removes the item with its last one. Messages that need more than one write, or are declared so, wait apart and
/// become active one by one, each when nothing else is waiting or active.
///
/// Owned by its device. Any operation may be called on any thread that `nextQueue` does not wait for.
class OutgoingManager {
public:
    /// The largest single write, in bytes, header included: one number for all devices, 500 until it is set on the
    /// installed platform. May be called on any thread. REQUIRES: a platform is installed; when set, at least 2.
    static int maximumWriteValueLength();
    static void setMaximumWriteValueLength(int length);

    /// `nextQueue` is the Bluetooth central's; `slots` are the ids to use, and their number is how many messages may be
    /// active at once. REQUIRES: a platform is installed.
    explicit OutgoingManager(std::shared_ptr<platform::Queue> nextQueue, SlotRange slots = {0, 1});
    OutgoingManager(const OutgoingManager&) = delete;
    OutgoingManager& operator=(const OutgoingManager&) = delete;

    /// Retires these slots: messages that hold one are still sent, none is active with one afterwards.
    void slotsChange(SlotRange slots);

    /// Queues a message. One of high priority is active before those that wait, and then served next. A `replaceable`
    /// one is dropped while an older one waits.
    void add(Bytes data, bool highPriority, ItemType type);

    /// Ends an active item, whose slot the next waiting message gets.
    void remove(const std::shared_ptr<Item>& item);

    bool hasItems();

    /// The item served last; empty when it is gone or none was.
    std::shared_ptr<Item> getCurrentItem() const;

    /// The item whose turn it is; empty when nothing is active.
    std::shared_ptr<Item> next();

    /// Drops all active and waiting messages but those that wait apart.
    void clear();

    /// Makes waiting messages active while slots are free.
    void checkWaitTank();

    /// The bytes of all active and waiting messages that have not been cut into chunks.
    std::size_t pendingByteCount() const;

private:
    struct WaitTankEntry {
        Bytes data;
        bool highPriority;
        ItemType type;
    };

    bool isReplaceableWaiting() const;
    void activate(WaitTankEntry entry, int slot);

    // The mutex is taken inside of blocks of the queue, never around them.
    const std::shared_ptr<platform::Queue> nextQueue_;
    mutable std::recursive_mutex mutex_;
    std::vector<std::shared_ptr<Item>> items_;
    std::ptrdiff_t currentIndex_ = -1; ///< of the item served last; below items_.size()
    const std::shared_ptr<SlotManager> slotManager_;
    std::deque<WaitTankEntry> waitTank_;
    std::deque<WaitTankEntry> longWriteWaitTank_;
};

} // namespace tarnel
