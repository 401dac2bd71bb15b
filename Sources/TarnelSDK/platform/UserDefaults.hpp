#pragma once

#include <TarnelSDK/platform/Value.hpp>

#include <string>

namespace tarnel::platform {

/// Small values that survive a restart, in the domain of the host application. Called on any thread; a failure to
/// store is the implementation's to report to the user, and reads give what was stored last.
class UserDefaults {
public:
    virtual ~UserDefaults() = default;

    /// The stored value; null when there is none.
    virtual Value object(const std::string& key) const = 0;
    virtual void set(const std::string& key, Value value) = 0;
    virtual void remove(const std::string& key) = 0;

    /// Erases every value of the domain with this name (an application's bundle identifier).
    virtual void removePersistentDomain(const std::string& name) = 0;

    /// Returns when all changes so far are stored safely.
    virtual void synchronize() = 0;
};

} // namespace tarnel::platform
