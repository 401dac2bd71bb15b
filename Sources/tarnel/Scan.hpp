#pragma once

#include "JSON.hpp"
#include "OnTheAir.hpp"

#include <TarnelSDK/platform/NotificationCenter.hpp>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::command {

/// Glasses that a scan has found.
struct FoundGlasses {
    platform::PeripheralPointer peripheral;
    std::string name; ///< empty when they have not told it
    std::string identifier;
    std::optional<std::string> address;
    std::optional<int> rssi = std::nullopt; ///< dBm; empty when they were not heard
    bool isInUpdateMode = false;
    bool isInUse = false; ///< connected, by another program
    bool isLinked = false;
};

/// "Brenlo Glasses  00:AA:01:01:00:01  -50 dBm  linked".
std::string description(const FoundGlasses& glasses);
JSON::Object toJSON(const FoundGlasses& glasses);

/// Looks for glasses as long as it lives. Connections must be held meanwhile, as one that is made ends a scan.
class Scan {
public:
    /// Throws `Failure` when Bluetooth is not on. The surroundings outlive the scan.
    explicit Scan(OnTheAir& surroundings);
    ~Scan();
    Scan(const Scan&) = delete;
    Scan& operator=(const Scan&) = delete;

    /// In order of discovery.
    std::vector<FoundGlasses> found() const;

private:
    struct List;

    FoundGlasses describe(const platform::PeripheralPointer& peripheral, bool isInUpdateMode) const;

    OnTheAir& surroundings_;
    const std::shared_ptr<List> list_;
    platform::Observation updateMode_;
};

/// What a user is told when a scan has found none.
std::string nothingFoundText(platform::Duration time);

} // namespace tarnel::command
