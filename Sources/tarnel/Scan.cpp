#include "Scan.hpp"

#include "Failure.hpp"
#include "Text.hpp"

#include <TarnelSDK/bluetooth/BluetoothManager.hpp>
#include <TarnelSDK/manager/TarnelManager.hpp>

#include <algorithm>
#include <any>
#include <mutex>
#include <utility>

namespace tarnel::command {

namespace {

/// What a controller says when it does not know (Bluetooth Core, Vol 4, Part E, 7.7.65.2).
constexpr int unknownStrength = 127;
/// A radio can give itself any number of addresses.
constexpr std::size_t mostFound = 1000;

} // namespace

struct Scan::List {
    struct Entry {
        platform::PeripheralPointer peripheral;
        bool isInUpdateMode = false;
    };
    std::mutex mutex;
    std::vector<Entry> entries;
    std::function<void()> changed;

    void add(const platform::PeripheralPointer& peripheral, bool isInUpdateMode) {
        {
            const std::lock_guard lock(mutex);
            if (entries.size() >= mostFound) {
                return;
            }
            entries.push_back({peripheral, isInUpdateMode});
        }
        changed();
    }
};

Scan::Scan(OnTheAir& surroundings) : surroundings_(surroundings), list_(std::make_shared<List>()) {
    surroundings_.awaitBluetooth();
    list_->changed = surroundings_.loop().wake();
    updateMode_ = platform::Platform::current().notificationCenter().observe(
        Bluetooth::scannedPeripheralChange, [list = list_](const platform::Notification& posted) {
            const auto entry = posted.userInfo.find("peripheral");
            const auto* peripheral =
                entry == posted.userInfo.end() ? nullptr : std::any_cast<platform::PeripheralPointer>(&entry->second);
            if (peripheral) {
                list->add(*peripheral, true);
            }
        });
    TarnelManager::shared().startScan(
        [list = list_](const platform::PeripheralPointer& peripheral) { list->add(peripheral, false); });
}

Scan::~Scan() {
    TarnelManager::shared().stopScan();
}

FoundGlasses Scan::describe(const platform::PeripheralPointer& peripheral, bool isInUpdateMode) const {
    const UUID identifier = peripheral->identifier();
    FoundGlasses found{.peripheral = peripheral,
                       .name = peripheral->name().value_or(""),
                       .identifier = identifier.string(),
                       .address = NativePlatform::addressOf(identifier),
                       .isInUpdateMode = isInUpdateMode};
    const auto heard = surroundings_.record().heard();
    const auto own = std::find_if(heard.begin(), heard.end(),
                                  [&](const Heard& each) { return each.peripheral->identifier() == identifier; });
    if (own == heard.end()) {
        found.isInUse = true;
    } else {
        found.rssi = own->rssi == unknownStrength ? std::nullopt : std::optional(own->rssi);
        found.name = found.name.empty() ? own->advertisement.localName.value_or("") : found.name;
    }
    const auto linked = surroundings_.device();
    found.isLinked = linked && linked->peripheralID() == identifier;
    return found;
}

std::vector<FoundGlasses> Scan::found() const {
    std::vector<List::Entry> entries;
    {
        const std::lock_guard lock(list_->mutex);
        entries = list_->entries;
    }
    std::vector<FoundGlasses> all;
    for (const auto& [peripheral, isInUpdateMode] : entries) {
        auto glasses = describe(peripheral, isInUpdateMode);
        const bool isNew = std::none_of(
            all.begin(), all.end(), [&](const FoundGlasses& other) { return other.identifier == glasses.identifier; });
        if (isNew) {
            all.push_back(std::move(glasses));
        }
    }
    return all;
}

std::string description(const FoundGlasses& glasses) {
    std::string line = glasses.name.empty() ? "(no name)" : printable(glasses.name);
    line += "  " + glasses.address.value_or(glasses.identifier);
    line += glasses.rssi ? "  " + std::to_string(*glasses.rssi) + " dBm" : "";
    line += glasses.isLinked ? "  linked" : "";
    line += glasses.isInUse ? "  in use by another program" : "";
    line += glasses.isInUpdateMode ? "  in update mode" : "";
    return line;
}

JSON::Object toJSON(const FoundGlasses& glasses) {
    return {{"name", glasses.name.empty() ? JSON() : JSON(glasses.name)},
            {"identifier", glasses.identifier},
            {"address", orNull(glasses.address)},
            {"rssi", orNull(glasses.rssi)},
            {"linked", glasses.isLinked},
            {"inUse", glasses.isInUse},
            {"updateMode", glasses.isInUpdateMode}};
}

std::string nothingFoundText(platform::Duration time) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time).count();
    return "no glasses were found in " + std::to_string(seconds) +
           " seconds; they must be on, near, and not connected to another device";
}

} // namespace tarnel::command
