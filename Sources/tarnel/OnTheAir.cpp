#include "OnTheAir.hpp"

#include "Failure.hpp"
#include "StatusLine.hpp"
#include "Text.hpp"

#include <TarnelSDK/manager/TarnelManager.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace tarnel::command {
namespace {

using namespace std::chrono_literals;
using platform::CentralState;

/// How long Bluetooth may take to come up, once it has been seen not to be on.
constexpr auto bluetoothLimit = 3s;
/// How long it may say nothing at all.
constexpr auto silenceLimit = 10s;
constexpr auto greetingLimit = 5s;
constexpr auto receiptLimit = 10s;
constexpr auto standstillLimit = 60s;
constexpr platform::Duration step = 50ms;
constexpr platform::Duration quiet = 300ms;

platform::Duration inNanoseconds(std::chrono::duration<double> duration) {
    return std::chrono::duration_cast<platform::Duration>(duration);
}

SurroundingsOptions optionsWith(const AirOptions& air) {
    SurroundingsOptions options;
    options.air = air;
    return options;
}

std::string secondsText(platform::Duration duration) {
    return std::to_string(std::chrono::duration_cast<std::chrono::seconds>(duration).count()) + " s";
}

std::string whyNotReady(CentralState state, const std::optional<std::string>& adapter) {
    switch (state) {
    case CentralState::unsupported:
        return adapter ? "there is no Bluetooth adapter " + *adapter : "this machine has no Bluetooth adapter";
    case CentralState::unauthorized:
        return "this user may not use Bluetooth";
    case CentralState::poweredOff:
        return "Bluetooth is switched off, or its service does not run";
    default:
        return "Bluetooth does not answer";
    }
}

} // namespace

OnTheAir::OnTheAir(const SurroundingsOptions& options, Connections connections,
                   std::shared_ptr<BluetoothObserver> follower)
    : options_(options), connections_(connections), record_(std::make_shared<AirRecord>(options.trace, loop_.wake())) {
    record_->setFollower(std::move(follower));
    install();
}

OnTheAir::OnTheAir(const AirOptions& air, Connections connections, std::shared_ptr<BluetoothObserver> follower)
    : OnTheAir(optionsWith(air), connections, std::move(follower)) {}

OnTheAir::~OnTheAir() = default;

void OnTheAir::install() {
    platform_ = NativePlatform::install(
        {.hasBluetooth = connections_ != Connections::none,
         .connects = connections_ == Connections::made,
         .adapter = options_.air.adapter,
         .locale = options_.locale,
         .observer = record_,
         .sharesNotifications = options_.air.sharesNotifications,
         .sharingEnded =
             [](const std::string& why) { std::fputs(("tarnel: " + printable(why) + "\n").c_str(), stderr); },
         .attemptFailed =
             [record = record_](const UUID& peripheral, const platform::BluetoothError& error) {
                 record->attemptFailed(peripheral, error);
             }});
    loop_.attach(platform_->scheduler());
    if (connections_ != Connections::none) {
        requireSettings();
    }
    TarnelManager::shared();
}

void OnTheAir::requireSettings() {
    if (const auto failure = platform_->settingsFailure()) {
        throw Failure("the settings cannot be read: " + *failure + "; tarnel doctor tells what to do about it");
    }
}

void OnTheAir::relaunch() {
    setIsLinking(false);
    loop_.detach();
    platform_.reset();
    install();
}

void OnTheAir::advance(platform::Duration duration) {
    loop_.runUntil([] { return false; }, duration);
}

void OnTheAir::awaitBluetooth() {
    auto& manager = TarnelManager::shared();
    // The two become true one after the other, and a scan needs both.
    const auto isReady = [&] { return manager.isReady.value() && manager.isBluetoothEnabled.value(); };
    const auto isKnown = [&] { return isReady() || record_->state() != CentralState::unknown; };
    loop_.runUntil(isKnown, silenceLimit);
    const auto start = now();
    while (!loop_.runUntil(isReady, step)) {
        if (now() - start < bluetoothLimit) {
            continue;
        }
        throw Failure(whyNotReady(record_->state(), options_.air.adapter) +
                      "; tarnel doctor tells what to do about it");
    }
}

void OnTheAir::connect() {
    if (!device()) {
        throw Failure(notLinkedText);
    }
    awaitBluetooth();
    awaitConnection();
}

std::string OnTheAir::connectionProgress(const std::string& name) const {
    const auto attempt = record_->attempt();
    std::string line = "connecting to " + name;
    if (attempt.since) {
        line += ", for " + secondsText(record_->now() - *attempt.since);
    }
    if (attempt.lastFailure) {
        line += "; the last attempt: " + *attempt.lastFailure;
    }
    return line;
}

std::string OnTheAir::tooLate(const std::string& name) const {
    const auto reason = record_->attempt().lastFailure;
    return (name.empty() ? "the glasses" : name) + " did not connect within " +
           secondsText(inNanoseconds(options_.air.timeout)) + (reason ? " (the last attempt: " + *reason + ")" : "") +
           "; switch the glasses on and bring them near, or run tarnel doctor";
}

void OnTheAir::awaitLink(const UUID& glasses, const std::string& name) {
    const auto start = now();
    StatusLine line;
    while (true) {
        const auto linked = device();
        if (linked && linked->peripheralID() == glasses) {
            return;
        }
        if (now() - start >= inNanoseconds(options_.air.timeout)) {
            throw Failure(tooLate(name));
        }
        line.show(connectionProgress(name));
        advance(step);
    }
}

void OnTheAir::awaitConnection(std::string name, std::optional<platform::Duration> since) {
    const auto limit = inNanoseconds(options_.air.timeout);
    const auto start = since.value_or(now());
    StatusLine line;
    while (true) {
        const auto linked = device();
        if (!linked) {
            throw Failure(forgottenText);
        }
        if (linked->isConnected.value()) {
            // The session begins with messages of its own.
            loop_.runUntil([&] { return !linked->hasDataInOutgoingQueue(); }, greetingLimit);
            return;
        }
        name = name.empty() ? linked->getName() : name;
        line.show(connectionProgress(name));
        if (now() - start >= limit) {
            throw Failure(tooLate(name));
        }
        advance(step);
    }
}

void OnTheAir::waitUntilIdle(const std::function<void()>& progressed) {
    const auto start = now();
    std::optional<platform::Duration> expectedSince;
    const auto limit = inNanoseconds(options_.air.timeout);
    while (true) {
        run();
        if (progressed) {
            progressed();
        }
        const auto linked = device();
        const bool isQueued = linked && linked->hasDataInOutgoingQueue();
        expectedSince = isConnectionExpected() ? std::optional(expectedSince.value_or(now())) : std::nullopt;
        const bool isAwaited = expectedSince && now() - *expectedSince < limit;
        const auto standstill = now() - std::max(start, traffic().last);
        if (!isQueued && !isAwaited && standstill >= quiet) {
            return;
        }
        if (isQueued && standstill >= standstillLimit) {
            throw Failure("nothing has been sent for 60 seconds and " + grouped(linked->pendingByteCount()) +
                          " bytes are queued; bring the glasses near, or run tarnel doctor");
        }
        advance(step);
    }
}

void OnTheAir::awaitReceipt() {
    const auto linked = device();
    if (!linked || !linked->isConnected.value()) {
        throw Failure("the glasses went away before all was sent; bring them near and try again");
    }
    // Messages are taken in turn, so the answer to a question says that all before it was taken.
    const auto before = traffic().received;
    linked->getSettings();
    const auto isAnswered = [&] { return traffic().received > before || !linked->isConnected.value(); };
    if (!loop_.runUntil(isAnswered, receiptLimit) || !linked->isConnected.value()) {
        throw Failure("the glasses have not answered since all was sent, so they may not show it; try again");
    }
}

void OnTheAir::linger(const std::function<void()>& restore) {
    const auto duration = inNanoseconds(options_.air.shown);
    const auto end = now() + duration;
    std::size_t losses = traffic().losses;
    try {
        while (now() < end) {
            {
                StatusLine line;
                line.show("shown for " + secondsText(duration) + "; Ctrl-C ends it");
                const auto isBack = [&] {
                    const auto linked = device();
                    return traffic().losses != losses && linked && linked->isConnected.value();
                };
                if (!loop_.runUntil(isBack, end - now())) {
                    return;
                }
            }
            losses = traffic().losses;
            try {
                restore();
            } catch (const Failure&) {
                if (traffic().losses == losses) {
                    throw;
                }
            }
        }
    } catch (const Interrupted&) {
        // That is how the user ends it.
    }
}

} // namespace tarnel::command
