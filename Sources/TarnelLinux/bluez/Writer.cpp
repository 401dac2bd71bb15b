#include <TarnelLinux/bluez/Writer.hpp>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace tarnel::bluez {

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
    fences_ = fences_ > 0 ? fences_ - 1 : 0;
    pump();
}

bool Writer::mayGoOn() {
    constexpr int segmentsUnderWay = 2;
    if (fences_ < segmentsUnderWay && sinceFence_ >= segment) {
        ++fences_;
        sinceFence_ = 0;
        callbacks_.fence();
    }
    return fences_ < segmentsUnderWay;
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
        sinceFence_ += queue_.front().size();
        queue_.pop_front();
        callbacks_.wrote();
    }
}

} // namespace tarnel::bluez
