#pragma once

#include <TarnelLinux/bluez/EventLoop.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <utility>

namespace tarnel::bluez {

/// How many writes without response of one connection are on their way to the daemon. Any thread.
class WriteRoom {
public:
    static constexpr int depth = 32;
    /// Who waits for room is told when this few are left, as each telling costs more than a write.
    static constexpr int lowWater = depth / 2;

    /// Takes room for one; false when there is none.
    bool take();
    /// Gives it back.
    void give() { --used_; }
    /// Whether there is room; when not, `isAwaited` until `announce`.
    bool isFree();
    /// True once, when as much room is there as whoever asked in vain is told of.
    bool announce();

private:
    std::atomic<int> used_ = 0;
    std::atomic<bool> isAwaited_ = false;
};

/// How many bytes go between two fences: as many as keep the radio busy until a fence returns, and few enough that
/// nobody waits long behind them.
class SegmentLength {
public:
    using Duration = EventLoop::Duration;
    static constexpr std::size_t first = 8192;
    static constexpr std::size_t least = 4096;
    static constexpr std::size_t greatest = 32768;

    std::size_t bytes() const { return bytes_; }
    /// `delay`: between asking for a fence and its return; `isAwaited`: values were held up until then. The length
    /// grows by half when values were held up by a fence of less than 100 ms, and loses a third when one took more than
    /// 250 ms.
    void fenceReturned(Duration delay, bool isAwaited);

private:
    std::size_t bytes_ = first;
};

/// Writes values into the socket of one acquired characteristic, each as one packet, in order. The daemon empties the
/// socket faster than the radio, so after every segment it asks for a fence, a request that the device answers once it
/// has all before it. One request is under way at a time, and while it is, one more segment may follow. The request
/// goes another way to the daemon; for it to get there first, the segment waits for a moment, unless the last whole
/// segment was gone so soon that what gets there first makes no difference. On the loop's thread only.
class Writer {
public:
    struct Callbacks {
        std::function<void()> wrote;  ///< a value has left the queue
        std::function<void()> fence;  ///< call `fenceReturned` when the device has answered a request
        std::function<void()> broken; ///< the socket is gone; the queue is kept
    };

    /// The loop outlives the writer.
    Writer(EventLoop& loop, Callbacks callbacks) : loop_(loop), callbacks_(std::move(callbacks)) {}
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    /// Takes the descriptor over.
    void open(int descriptor);
    void close();
    bool isOpen() const { return descriptor_ >= 0; }
    bool isEmpty() const { return queue_.empty(); }

    void write(Bytes value);
    /// The values that no socket has taken, for whoever finds another way.
    std::deque<Bytes> takeQueue() { return std::exchange(queue_, {}); }
    void fenceReturned();
    /// The characteristic is gone: forgets all of it, the values that are not sent included. How many those are.
    std::size_t abandon();

private:
    struct Fence {
        std::chrono::steady_clock::time_point segmentBegan;
        std::chrono::steady_clock::time_point asked;
    };

    void pump();
    bool sendFirst();
    bool mayGoOn();
    void askForFence();
    void endHeadStart();

    EventLoop& loop_;
    const Callbacks callbacks_;
    std::deque<Bytes> queue_;
    int descriptor_ = -1;
    bool isWatched_ = false;
    SegmentLength segment_;
    std::size_t sinceFence_ = 0;
    std::chrono::steady_clock::time_point segmentBegan_;
    std::optional<Fence> fence_; ///< the one under way
    bool isFast_ = false;        ///< so the last one said
    EventLoop::Timer headStart_ = 0;
};

} // namespace tarnel::bluez
