#pragma once

#include <TarnelLinux/bluez/Bus.hpp>
#include <TarnelSDK/platform/UUID.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>

namespace tarnel::bluez {

/// Has the adapter look for devices while anybody wants it: all the time for a scan; from time to time for those who
/// wait for a device, after the first half minute. On the loop's thread only.
class Discovery {
public:
    /// What is looked for. Without a scan, or without services, whatever is there.
    struct Wish {
        bool isScan = false;
        bool isWait = false;
        bool isHeldUp = false; ///< the radio is needed for something else
        std::set<UUID> services;

        friend bool operator==(const Wish&, const Wish&) = default;
    };

    /// Both outlive the discovery.
    Discovery(EventLoop& loop, Bus& bus) : loop_(loop), bus_(bus) {}
    ~Discovery();
    Discovery(const Discovery&) = delete;
    Discovery& operator=(const Discovery&) = delete;

    void setWish(const Wish& wish);
    /// The adapter to look with; empty for none. Whatever was running on another is forgotten.
    void setAdapter(const std::string& path);
    /// The adapter says that nobody discovers any more.
    void stopped();
    /// Looks afresh: devices that are there are reported again.
    void restart();

private:
    enum class State { off, starting, on, stopping };
    using Filter = std::map<std::string, sdbus::Variant>;

    bool isWanted() const {
        return !adapter_.empty() && !wish_.isHeldUp && (wish_.isScan || (wish_.isWait && isTurn_));
    }
    void update();
    void setFilter(Filter filter, std::function<void(const Failure*)> done);
    void applyFilter();
    void lookAfresh();
    void start();
    void stop();
    void turn();
    void retryLater();
    void call(const std::string& method, const Bus::Fill& fill, std::function<void(const Failure*)> done);

    EventLoop& loop_;
    Bus& bus_;
    std::string adapter_;
    Wish wish_;
    Wish applied_; ///< the filter that the adapter has, once `hasFilter_`
    bool hasFilter_ = false;
    bool isBusy_ = false;
    State state_ = State::off;
    std::uint64_t generation_ = 0; ///< tells calls for this adapter from those for one before

    bool isTurn_ = true;
    std::chrono::steady_clock::time_point waitingSince_;
    EventLoop::Timer turnTimer_ = 0;
    std::chrono::milliseconds turnLength_{0};
    EventLoop::Timer retryTimer_ = 0;
    bool restarts_ = false;
};

} // namespace tarnel::bluez
