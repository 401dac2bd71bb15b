#pragma once

#include <TarnelLinux/bluez/Bus.hpp>

#include <map>
#include <string>

namespace tarnel::bluez {

/// The adapter's name ("Alias"), which a central that is connected reads as the device's. The daemon stores it, so the
/// former one is put back when it is no longer needed. On the loop's thread only.
class AdapterName {
public:
    /// The bus outlives it.
    explicit AdapterName(Bus& bus) : bus_(bus) {}

    /// Gives this adapter the name.
    void set(const std::string& adapter, const std::string& name);
    /// Puts the former name back.
    void restore();
    /// The adapter or the daemon is gone.
    void lose();

private:
    void write(const std::string& name);

    Bus& bus_;
    std::string adapter_;
    std::string name_;
    std::map<std::string, std::string> formers_; ///< by adapter; empty for the one that the system gives
};

} // namespace tarnel::bluez
