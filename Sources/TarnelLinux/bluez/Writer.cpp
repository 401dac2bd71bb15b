#include <TarnelLinux/bluez/Writer.hpp>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace tarnel::bluez {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

constexpr auto headStart = 3ms;

/// No radio carries a segment in less.
constexpr auto fast = 20ms;

} // namespace

bool WriteRoom::take() {
    if (used_.fetch_add(1) < depth) {
        return true;
    }
    --used_;
    isAwaited_ = true;
    return false;
}

bool WriteRoom::isFree() {
    if (used_ < depth) {
        return true;
    }
    isAwaited_ = true;
    return used_ < depth;
}

bool WriteRoom::announce() {
    return used_ <= lowWater && isAwaited_.exchange(false);
}

void SegmentLength::fenceReturned(Duration delay, bool isAwaited) {
    if (isAwaited && delay < 100ms) {
        bytes_ = std::min(bytes_ * 3 / 2, greatest);
    } else if (delay > 250ms) {
        bytes_ = std::max(bytes_ * 2 / 3, least);
    }
}

Writer::~Writer() {
    loop_.cancel(headStart_);
    close();
}

void Writer::open(int descriptor) {
    close();
    descriptor_ = descriptor;
    pump();
}

void Writer::close() {
    if (descriptor_ < 0) {
        return;
    }
    loop_.unwatch(descriptor_);
    ::close(std::exchange(descriptor_, -1));
    isWatched_ = false;
}

void Writer::write(Bytes value) {
    queue_.push_back(std::move(value));
    pump();
}

void Writer::fenceReturned() {
    endHeadStart();
    if (const auto fence = std::exchange(fence_, std::nullopt)) {
        const bool isAwaited = !queue_.empty() && sinceFence_ >= segment_.bytes();
        const auto now = Clock::now();
        isFast_ = now - fence->segmentBegan < fast;
        segment_.fenceReturned(now - fence->asked, isAwaited);
        if (isAwaited) {
            askForFence();
        }
    }
    pump();
}

std::size_t Writer::abandon() {
    close();
    endHeadStart();
    fence_.reset();
    sinceFence_ = 0;
    return takeQueue().size();
}

void Writer::askForFence() {
    sinceFence_ = 0;
    fence_ = Fence{segmentBegan_, Clock::now()};
    if (!isFast_) {
        headStart_ = loop_.after(headStart, [this] {
            headStart_ = 0;
            pump();
        });
    }
    callbacks_.fence();
}

void Writer::endHeadStart() {
    loop_.cancel(std::exchange(headStart_, 0));
}

bool Writer::mayGoOn() {
    if (!fence_ && sinceFence_ >= segment_.bytes()) {
        askForFence();
    }
    return headStart_ == 0 && sinceFence_ < segment_.bytes();
}

bool Writer::sendFirst() {
    const Bytes& value = queue_.front();
    while (::send(descriptor_, value.data(), value.size(), MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
        if (errno == EINTR) {
            continue;
        }
        if (errno != EAGAIN && errno != EWOULDBLOCK && errno != ENOBUFS) {
            close();
            callbacks_.broken();
            return false;
        }
        if (!std::exchange(isWatched_, true)) {
            loop_.watch(descriptor_, POLLOUT, [this](short) {
                loop_.unwatch(descriptor_);
                isWatched_ = false;
                pump();
            });
        }
        return false;
    }
    return true;
}

void Writer::pump() {
    while (isOpen() && !queue_.empty() && mayGoOn() && sendFirst()) {
        if (sinceFence_ == 0) {
            segmentBegan_ = Clock::now();
        }
        sinceFence_ += queue_.front().size();
        queue_.pop_front();
        callbacks_.wrote();
    }
}

} // namespace tarnel::bluez
