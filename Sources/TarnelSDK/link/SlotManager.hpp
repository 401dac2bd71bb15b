#pragma once

#include <TarnelSDK/platform/Queue.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <set>

namespace tarnel {

/// The transfer slots lowerBound ..< upperBound.
struct SlotRange {
    int lowerBound = 0;
    int upperBound = 0;

    constexpr bool contains(int slot) const { return lowerBound <= slot && slot < upperBound; }
};

/// Hands out free transfer slots at random and takes them back. A slot is the message id on the air.
///
/// May be used on any thread. Reads wait for the changes ordered before them; changes return before they are made, so
/// requests made at the same time on several threads may get the same slot: callers serialise `request`.
class SlotManager : public std::enable_shared_from_this<SlotManager> {
    /// Only `make` has the key.
    class Key {
        friend class SlotManager;
        Key() = default;
    };

public:
    /// All slots of the range are free. REQUIRES: the range does not end before it begins; a platform is installed.
    static std::shared_ptr<SlotManager> make(SlotRange range);

    explicit SlotManager(Key);
    SlotManager(const SlotManager&) = delete;
    SlotManager& operator=(const SlotManager&) = delete;

    bool hasSlots() const;

    /// Takes a free slot; empty when there is none.
    std::optional<int> request();

    /// Gives a slot back; a retired one stays retired.
    void return_(int slot);

    /// Retires the slots of the range, free or handed out, in place of a range retired before.
    /// REQUIRES: the range does not end before it begins.
    void removeSlots(SlotRange slotsToBeRemoved);

private:
    void change(std::function<void(SlotManager&)> block);

    // Both are read and changed on the queue only.
    std::set<int> slots_;
    std::optional<SlotRange> slotsToBeRemoved_;
    const std::shared_ptr<platform::Queue> queue_;
};

} // namespace tarnel
