#pragma once

#include <TarnelLinux/bluez/EventLoop.hpp>
#include <TarnelSDK/platform/Bytes.hpp>

#include <atomic>
#include <cstddef>
#include <deque>
#include <functional>
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

/// Writes values into the socket of one acquired characteristic, each as one packet, in order. The daemon empties the
/// socket faster than the radio, so after every `segment` bytes it asks for a fence, a request that the device answers
/// once it has all before it; the last two segments may be under way. On the loop's thread only.
class Writer {
public:
    static constexpr std::size_t segment = 8192;

    struct Callbacks {
        std::function<void()> wrote;  ///< a value has left the queue
        std::function<void()> fence;  ///< call `fenceReturned` when the device has answered a request
        std::function<void()> broken; ///< the socket is gone; the queue is kept
    };

    /// The loop outlives the writer.
    Writer(EventLoop& loop, Callbacks callbacks) : loop_(loop), callbacks_(std::move(callbacks)) {}
    ~Writer() { close(); }
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

private:
    void pump();
    bool sendFirst();
    bool mayGoOn();

    EventLoop& loop_;
    const Callbacks callbacks_;
    std::deque<Bytes> queue_;
    int descriptor_ = -1;
    bool isWatched_ = false;
    std::size_t sinceFence_ = 0;
    int fences_ = 0;
};

} // namespace tarnel::bluez
