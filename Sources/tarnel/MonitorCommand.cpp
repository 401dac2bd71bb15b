#include "AirEvents.hpp"
#include "BridgeEvents.hpp"
#include "Commands.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "OnTheAir.hpp"
#include "Options.hpp"
#include "Text.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string_view>

namespace tarnel::command {
namespace {

constexpr std::chrono::seconds interval(1);
constexpr double longestTime = 1e9;

struct MonitorOptions {
    bool asJSON = false;
    double seconds = longestTime;
    AirOptions air;
};

/// What follows "event" and "time", for a reader: "message {"tap":1}".
std::string sentence(const JSON::Object& event) {
    std::string words;
    for (const auto& [key, value] : event) {
        if (value.isNull()) {
            continue;
        }
        const bool isPlain = key == "event" || key == "value" || key == "reason" || key == "state";
        words += (words.empty() ? "" : " ") + (isPlain ? "" : key + " ");
        words += value.string() ? *value.string() : text(value);
    }
    return printable(words);
}

/// Writes events as lines, each with the time since the beginning. Any thread.
class EventLines {
public:
    explicit EventLines(bool asJSON) : asJSON_(asJSON) {}

    void write(const JSON::Object& event) {
        const std::lock_guard lock(mutex_);
        if (failure_) {
            return;
        }
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start_;
        try {
            if (asJSON_) {
                JSON::Object line{{"time", std::round(time.count() * 1000) / 1000}};
                line.insert(line.end(), event.begin(), event.end());
                writeOutput(text(std::move(line)) + "\n");
            } else {
                std::array<char, 32> stamp{};
                std::snprintf(stamp.data(), stamp.size(), "%9.3f  ", time.count());
                writeOutput(stamp.data() + sentence(event) + "\n");
            }
        } catch (const Failure&) {
            // Thrown on by `requireOutput`: this is called in blocks that have no use for it.
            failure_ = std::current_exception();
        }
    }
    void requireOutput() {
        const std::lock_guard lock(mutex_);
        if (failure_) {
            std::rethrow_exception(failure_);
        }
    }

private:
    const bool asJSON_;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::mutex mutex_;
    std::exception_ptr failure_;
};

/// Whether `AirEvents` tells the same, or more of it.
bool isToldBelow(const JSON::Object& event) {
    constexpr std::array<std::string_view, 7> told{
        "tap", "power_btn", "disp_timeout", "property", "isBluetoothEnabled", "isReady", "bluetoothPoweredOn"};
    return std::any_of(told.begin(), told.end(), [&](std::string_view name) {
        const auto* own = event.empty() ? nullptr : event.front().second.string();
        return own && *own == name;
    });
}

/// A line for each second in which something was sent or received.
class Throughput {
public:
    void tell(const Traffic& traffic, EventLines& lines) {
        const std::size_t sent = traffic.writtenBytes - last_.writtenBytes;
        const std::size_t received = traffic.receivedBytes - last_.receivedBytes;
        if (sent + received > 0) {
            lines.write({{"event", "throughput"},
                         {"sentBytesPerSecond", std::uint64_t{sent}},
                         {"receivedBytesPerSecond", std::uint64_t{received}}});
        }
        last_ = traffic;
    }

private:
    Traffic last_;
};

void monitor(const MonitorOptions& options) {
    const bool isRead = ::isatty(STDOUT_FILENO) != 0;
    reserveStandardOutput();
    const auto lines = std::make_shared<EventLines>(options.asJSON || !isRead);
    OnTheAir surroundings(options.air, OnTheAir::Connections::made,
                          std::make_shared<AirEvents>([lines](const JSON::Object& event) { lines->write(event); }));
    if (!surroundings.device()) {
        throw Failure(notLinkedText);
    }
    const BridgeEvents events(
        [lines](const JSON::Object& event) {
            if (!isToldBelow(event)) {
                lines->write(event);
            }
        },
        false);
    Throughput throughput;
    const auto end = std::chrono::duration_cast<platform::Duration>(std::chrono::duration<double>(options.seconds));
    try {
        while (surroundings.now() < end) {
            surroundings.advance(std::min<platform::Duration>(interval, end - surroundings.now()));
            throughput.tell(surroundings.traffic(), *lines);
            lines->requireOutput();
            if (!surroundings.device()) {
                throw Failure(forgottenText);
            }
        }
    } catch (const Interrupted&) {
        // That is how it ends.
    }
}

} // namespace

void addMonitor(CLI::App& app, Action& action) {
    auto options = std::make_shared<MonitorOptions>();
    auto* command = app.add_subcommand("monitor", "Tell what happens to the linked glasses, as it happens");
    command->formatter(usage("Usage: tarnel monitor [--seconds N] [--share-notifications] [--json]"));
    command->add_option("--seconds", options->seconds, "For how long (default: until Ctrl-C)")
        ->type_name("N")
        ->check(CLI::Range(0.1, longestTime).description(""));
    command->add_flag("--json", options->asJSON, "Lines of JSON, as always where the output is no terminal");
    addAdapter(command, {options, &options->air});
    addSharing(command, {options, &options->air});
    command->footer(R"(Each line has "time" in seconds, "event" and what belongs to it:
  {"time": 0.012, "event": "bluetooth", "value": "poweredOn"}
  {"time": 0.013, "event": "connecting"}   also "connected", and with a "reason" "disconnected", "attemptFailed" (it is
      made again), "connectionFailed" (it is not)
  {"time": 0.9, "event": "isConnected", "value": true}   also "isLinked", "batteryLevel", "batteryChargeStatus",
      "firmwareError", "deviceStateChanged" and the other events of tarnel play
  {"time": 1.2, "event": "message", "value": {"tap": 1}}   every message of the glasses, as of tarnel message decode
  {"time": 2.0, "event": "throughput", "sentBytesPerSecond": 0, "receivedBytesPerSecond": 12}   unless both are 0)");
    command->callback([options, &action] { action = [options] { monitor(*options); }; });
}

} // namespace tarnel::command
