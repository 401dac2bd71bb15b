#pragma once

#include <TarnelSDK/platform/Bluetooth.hpp>

#include <sdbus-c++/sdbus-c++.h>

#include <functional>
#include <memory>
#include <string>

namespace tarnel::bluez {

/// An advertisement as an object on one bus connection, in the form in which the daemon takes it
/// (doc/advertising-api.txt of BlueZ). The daemon puts the name into the scan response; what remains must fit into 31
/// bytes. On the loop's thread only.
class Advertisement {
public:
    /// The connection outlives the advertisement. `released` is called when the daemon has given it up.
    Advertisement(sdbus::IConnection& connection, std::string path, const platform::AdvertisementData& data,
                  std::function<void()> released);

    const std::string& path() const { return path_; }

private:
    const std::string path_;
    std::unique_ptr<sdbus::IObject> object_;
};

} // namespace tarnel::bluez
