#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/foundation/UTF8.hpp>
#include <TarnelSDK/platform/Platform.hpp>

#include <array>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <memory>
#include <mutex>
#include <system_error>

namespace tarnel {
namespace {

using platform::Platform;

/// Read alone by a call that is switched off.
std::atomic<bool> enabled{false};

/// Ties the switch to the platform: it is off again for the next one.
class LogSwitch {
public:
    static std::shared_ptr<LogSwitch> make() { return std::make_shared<LogSwitch>(); }
    LogSwitch() = default;
    ~LogSwitch() { enabled = false; }
    LogSwitch(const LogSwitch&) = delete;
    LogSwitch& operator=(const LogSwitch&) = delete;

    void set(bool on) { enabled = on; }
};

platform::LocalTime localTime() {
    const auto& clock = *Platform::current().services().clock;
    return clock.localTime(clock.now());
}

template <typename... Numbers>
std::string formatted(const char* format, Numbers... numbers) {
    std::array<char, 64> buffer{};
    std::snprintf(buffer.data(), buffer.size(), format, numbers...);
    return buffer.data();
}

std::string timeOfDay() {
    const auto time = localTime();
    constexpr int nanosecondsPerFraction = 100'000;
    return formatted("%02d:%02d:%02d.%04d", time.hour, time.minute, time.second,
                     time.nanosecond / nanosecondsPerFraction);
}

std::string_view sourceName(std::string_view file) {
    if (const auto separator = file.find_last_of("/\\"); separator != std::string_view::npos) {
        file.remove_prefix(separator + 1);
    }
    return file.substr(0, file.rfind('.'));
}

void post(std::string_view item, const CallSite& site) {
    std::string line = "📲(" + timeOfDay() + "): ";
    line.append(item).append(" | ").append(sourceName(site.file)).append(":");
    line.append(std::to_string(site.line)).append(" ").append(site.function);
    Platform::current().notificationCenter().post({"log", nullptr, {{"msg", std::move(line)}}});
}

/// Readers see the whole file or none.
void writeNew(const std::filesystem::path& path, const std::string& bytes) {
    std::filesystem::path unfinished = path;
    unfinished += ".new";
    std::ofstream out(unfinished, std::ios::binary | std::ios::trunc);
    out << bytes;
    out.close();
    std::error_code error;
    if (out) {
        std::filesystem::rename(unfinished, path, error);
    }
    if (!out || error) {
        std::filesystem::remove(unfinished, error);
    }
}

void append(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::app);
    out << bytes;
}

} // namespace

bool logEnabled() {
    return enabled.load(std::memory_order_relaxed);
}

void setLogEnabled(bool on) {
    if (Platform::isInstalled()) {
        Platform::current().shared<LogSwitch>()->set(on);
    }
}

void log(std::initializer_list<std::string_view> items, CallSite site) {
    for (const auto item : items) {
        log(item, site);
    }
}

void log(std::string_view item, CallSite site) {
    if (logEnabled()) {
        post(item, site);
    }
}

std::optional<std::filesystem::path> logFile() {
    if (!Platform::isInstalled()) {
        return std::nullopt;
    }
    const auto directory = Platform::current().services().application->documentDirectory();
    if (!directory) {
        return std::nullopt;
    }
    const auto today = localTime();
    return *directory / formatted("%02d-%02d-%04d.log", today.day, today.month, today.year);
}

void logtoFile(std::string_view text) {
    const auto path = logFile();
    if (!path || !isValidUTF8(text)) {
        return;
    }
    const std::string line = std::string(text) + "\n";
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    std::error_code error;
    if (std::filesystem::exists(*path, error)) {
        append(*path, line);
    } else if (!error) {
        writeNew(*path, line);
    }
}

} // namespace tarnel
