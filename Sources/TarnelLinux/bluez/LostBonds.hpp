#pragma once

#include <chrono>
#include <map>
#include <string>

namespace tarnel::bluez {

/// Tells from how connections to bonded devices end that a device has lost its side of the bond, by its address.
/// BlueZ names the reason of an end since 5.83. Before, such a device looks like this: the connection is made, ends by
/// itself a moment later, before services are known, and so does the next. On the loop's thread only.
class LostBonds {
public:
    /// What is told.
    void connected(const std::string& address);
    void servicesResolved(const std::string& address) { records_.erase(address); }
    void ended(const std::string& address);
    void refused(const std::string& address);

    bool isLost(const std::string& address) const;
    void forget(const std::string& address) { records_.erase(address); }

private:
    using Time = std::chrono::steady_clock::time_point;

    struct Record {
        Time connected;
        Time ended;
        int ends = 0; ///< in a row, each soon after the connection was made
    };

    std::map<std::string, Record> records_;
};

} // namespace tarnel::bluez
