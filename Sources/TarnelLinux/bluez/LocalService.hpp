#pragma once

#include <TarnelSDK/platform/UUID.hpp>

#include <vector>

namespace tarnel::bluez {

/// What this machine offers as a peripheral.
struct LocalCharacteristic {
    UUID uuid;
    bool canRead = false;
    bool canWrite = false;
    bool canWriteWithoutResponse = false;
    bool canNotify = false;
    /// Access needs an encrypted link; a central that has none is told so, and pairs.
    bool needsEncryption = false;

    friend bool operator==(const LocalCharacteristic&, const LocalCharacteristic&) = default;
};

struct LocalService {
    UUID uuid;
    std::vector<LocalCharacteristic> characteristics;

    friend bool operator==(const LocalService&, const LocalService&) = default;
};

} // namespace tarnel::bluez
