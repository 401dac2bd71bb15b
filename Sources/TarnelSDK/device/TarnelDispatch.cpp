#include <TarnelSDK/device/Tarnel.hpp>
#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/messagepack/PlainValue.hpp>
#include <TarnelSDK/messagepack/Unpack.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <utility>

namespace tarnel {
namespace {

constexpr const char* recieveOperation = "recieve(data:)";
constexpr std::int64_t failedCommandCode = 2;
/// Unsent bytes from which requests of the glasses are not answered: they ask faster than they listen.
constexpr std::size_t mostUnsentBytes = 1024 * 1024;

/// What the glasses tell that needs no answer of ours.
bool needsNoAction(std::string_view key) {
    constexpr std::array<std::string_view, 3> keys{"ancs", "ancs_rm", "notif_done"};
    return std::find(keys.begin(), keys.end(), key) != keys.end();
}

/// The code and the text of an error report, which is an array or a dictionary of the two, or the text alone.
struct ErrorReport {
    std::optional<std::int64_t> code;
    std::optional<std::string> text;

    void read(const Value& value) {
        if (!code) {
            code = value.integer();
        }
        if (!text) {
            text = value.string();
        }
    }

    static ErrorReport of(const Value& payload) {
        ErrorReport report;
        report.read(payload);
        if (const auto* elements = payload.array()) {
            for (const auto& element : *elements) {
                report.read(element);
            }
        }
        if (const auto* entries = payload.dictionary()) {
            for (const auto& [key, element] : *entries) {
                report.read(element);
            }
        }
        return report;
    }
};

} // namespace

void Tarnel::recieve(ByteView data) {
    MessagePackValue message;
    try {
        message = unpack(data).value;
    } catch (const MessagePackError& error) {
        log({"UnPack error!:", error.what()}, {recieveOperation, "Tarnel"});
        return;
    }
    const auto* map = message.dictionaryValue();
    if (!map || map->empty()) {
        return;
    }
    const auto& entry = *map->begin();
    const auto key = entry.key.stringValue();
    if (!key) {
        return;
    }
    const Value value = toPlainValue(entry.value);

    if (*key == "control") {
        recieveControl(value);
    } else if (*key == "time_req") {
        if (pendingByteCount() < mostUnsentBytes) {
            setTime();
        }
    } else if (*key == "power_btn" || *key == "tap") {
        if (hasControl()) {
            postMessage(*key, value);
        }
    } else if (*key == "font") {
        std::puts(">>>>>>>>>>>>>>>>>>FONT ISSUE >>>>>>>>>>>>>>>>>>>");
        std::puts("font didn't work");
    } else if (*key == "cmp_err") {
        recieveError(value);
    } else if (!needsNoAction(*key)) {
        recieveProperty(*key, value);
    }
}

void Tarnel::recieveControl(const Value& value) {
    const auto own = platform::Platform::current().services().application->bundleIdentifier();
    if (own && value.string() == own) {
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        hasControl_ = false;
    }
    // Listeners take the value current when they are called, so the second write waits until they have seen the first.
    isConnected.setValue(false);
    platform::Platform::current().services().scheduler->mainQueue()->asyncBarrier([weak = weak_from_this()] {
        if (const auto device = weak.lock()) {
            const std::lock_guard lock(device->channelMutex_);
            device->isConnected.setValue(device->isAuthenticated());
        }
    });
}

void Tarnel::recieveError(const Value& value) {
    if (logEnabled()) {
        log("FIRMWARE ERROR: " + value.description(), {recieveOperation, "Tarnel"});
    }
    const auto report = ErrorReport::of(value);
    if (!report.text || layout().value_or(Layout::default_) == Layout::default_) {
        return;
    }
    firmwareError.setValue(report.code == failedCommandCode ? FirmwareError::CODE_FAILED_COMMAND(*report.text)
                                                            : FirmwareError::CODE_UNKNOWN_COMMAND(*report.text));
}

void Tarnel::recieveProperty(const std::string& key, const Value& value) {
    if (key == rawValue(Property::version)) {
        platform::Platform::current().services().userDefaults->set(key, value);
    }
    if (logEnabled()) {
        log(">>>GOT data for property: " + key + ":  with value: " + value.description(), {recieveOperation, "Tarnel"});
    }
    storeData(key, value);
    postMessage(key, value);
}

void Tarnel::postMessage(const std::string& key, const Value& value) {
    platform::Platform::current().notificationCenter().post({key, shared_from_this(), {{key, value}}});
}

} // namespace tarnel
