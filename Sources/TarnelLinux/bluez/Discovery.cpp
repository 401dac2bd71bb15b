#include <TarnelLinux/bluez/Discovery.hpp>
#include <TarnelLinux/bluez/Names.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::bluez {
namespace {

using namespace std::chrono_literals;

/// Discovery looks afresh after turns, because a device that stays is reported once only, and BlueZ 5.66 drops what it
/// hears before it is told that discovery has begun, which a controller that reports a device once only has then
/// reported. Each turn is twice as long as the one before.
constexpr std::chrono::milliseconds firstTurn = 500ms;
constexpr std::chrono::milliseconds longestTurn = 5s;
/// Those who wait do without it from time to time, after a while: when a turn was this long.
constexpr std::chrono::milliseconds lastTurn = 2s;
constexpr auto turnOff = 10s;
constexpr auto eagerFor = 30s;
constexpr auto retryDelay = 500ms;

std::string lowercase(std::string text) {
    for (char& c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return text;
}

} // namespace

Discovery::~Discovery() {
    loop_.cancel(turnTimer_);
    loop_.cancel(retryTimer_);
    if (state_ != State::off) {
        call("StopDiscovery", nullptr, [](const Failure*) {});
    }
}

void Discovery::call(const std::string& method, const Bus::Fill& fill, std::function<void(const Failure*)> done) {
    bus_.call(adapter_, adapterInterface, method, fill,
              [done = std::move(done)](sdbus::MethodReply*, const Failure* failure) { done(failure); });
}

void Discovery::setWish(const Wish& wish) {
    const bool startsWaiting = wish.isWait && !wish_.isWait;
    const bool startsScan = wish.isScan && !wish_.isScan;
    wish_ = wish;
    if (startsWaiting) {
        waitingSince_ = std::chrono::steady_clock::now();
        isTurn_ = true;
    }
    if (startsScan || startsWaiting) {
        turnLength_ = firstTurn;
    }
    if (startsScan || startsWaiting || (!wish_.isWait && !wish_.isScan)) {
        loop_.cancel(std::exchange(turnTimer_, 0));
    }
    if (turnTimer_ == 0 && (wish_.isWait || wish_.isScan)) {
        turnTimer_ = loop_.after(turnLength_, [this] { turn(); });
    }
    update();
}

void Discovery::setAdapter(const std::string& path) {
    if (path == adapter_) {
        return;
    }
    adapter_ = path;
    ++generation_;
    isBusy_ = false;
    hasFilter_ = false;
    state_ = State::off;
    update();
}

void Discovery::stopped() {
    if (state_ == State::on && !isBusy_) {
        state_ = State::off;
        update();
    }
}

void Discovery::restart() {
    if (state_ == State::on) {
        restarts_ = true;
        update();
    }
}

void Discovery::turn() {
    const bool isEager = std::chrono::steady_clock::now() - waitingSince_ < eagerFor;
    if (wish_.isScan || isEager || !isTurn_ || turnLength_ < lastTurn) {
        restarts_ = isTurn_;
        isTurn_ = true;
        turnLength_ = std::min(2 * turnLength_, longestTurn);
        turnTimer_ = loop_.after(turnLength_, [this] { turn(); });
    } else {
        isTurn_ = false;
        turnLength_ = firstTurn / 2;
        turnTimer_ = loop_.after(turnOff, [this] { turn(); });
    }
    update();
}

void Discovery::retryLater() {
    loop_.cancel(retryTimer_);
    retryTimer_ = loop_.after(retryDelay, [this] {
        retryTimer_ = 0;
        update();
    });
}

/// One call at a time, towards what is wanted when it is answered.
void Discovery::update() {
    if (isBusy_ || retryTimer_ != 0 || adapter_.empty()) {
        return;
    }
    const bool isOn = state_ == State::on;
    if (isOn && !isWanted()) {
        stop();
    } else if (isOn && std::exchange(restarts_, false)) {
        lookAfresh();
    } else if (isWanted() && (!hasFilter_ || applied_.services != wish_.services || applied_.isWait != wish_.isWait)) {
        applyFilter();
    } else if (isWanted() && !isOn) {
        start();
    }
}

void Discovery::setFilter(Filter filter, std::function<void(const Failure*)> done) {
    isBusy_ = true;
    call(
        "SetDiscoveryFilter",
        [&](sdbus::MethodCall& message) {
            filter.emplace("Transport", std::string("le"));
            filter.emplace("DuplicateData", true);
            message << filter;
        },
        [this, done = std::move(done), generation = generation_](const Failure* failure) {
            if (generation == generation_) {
                isBusy_ = false;
                done(failure);
            }
        });
}

void Discovery::applyFilter() {
    Filter filter;
    std::vector<std::string> services;
    for (const auto& uuid : wish_.services) {
        services.push_back(lowercase(uuid.string()));
    }
    if (!services.empty() && !wish_.isWait) {
        filter.emplace("UUIDs", services);
    }
    setFilter(std::move(filter), [this, wish = wish_](const Failure* failure) {
        if (failure) {
            return retryLater();
        }
        applied_ = wish;
        hasFilter_ = true;
        update();
    });
}

/// The daemon has the kernel begin anew when the filter changes, and misses nothing then. So it gets another for a
/// moment, which lets everything through as well.
void Discovery::lookAfresh() {
    constexpr std::int16_t weakest = -127;
    setFilter({{"RSSI", weakest}}, [this](const Failure*) {
        hasFilter_ = false;
        update();
    });
}

void Discovery::start() {
    isBusy_ = true;
    state_ = State::starting;
    restarts_ = false;
    call("StartDiscovery", nullptr, [this, generation = generation_](const Failure* failure) {
        if (generation != generation_) {
            return;
        }
        isBusy_ = false;
        // In progress: this very client has it running.
        const bool isOn = !failure || failure->name == "org.bluez.Error.InProgress";
        state_ = isOn ? State::on : State::off;
        if (!isOn) {
            return retryLater();
        }
        update();
    });
}

void Discovery::stop() {
    isBusy_ = true;
    state_ = State::stopping;
    call("StopDiscovery", nullptr, [this, generation = generation_](const Failure*) {
        if (generation != generation_) {
            return;
        }
        isBusy_ = false;
        state_ = State::off;
        update();
    });
}

} // namespace tarnel::bluez
