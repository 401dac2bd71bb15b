#pragma once

#include <TarnelSDK/platform/UUID.hpp>

#include <algorithm>
#include <cstddef>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tarnel::bluez {

/// What the daemon says of devices, for those who ask without waiting; of devices that it no longer knows, what it said
/// of the newest `mostGone`. Any thread.
class Directory {
public:
    static constexpr std::size_t mostGone = 256;

    struct Entry {
        std::optional<std::string> name;
        std::vector<UUID> services;
        bool isConnected = false;
    };

    /// Whether the device reads the host's notifications. True when that is new.
    bool setReadsNotifications(const std::string& address, bool reads) {
        const std::lock_guard lock(mutex_);
        return reads ? notified_.insert(address).second : notified_.erase(address) != 0;
    }
    bool readsNotifications(const std::string& address) const {
        const std::lock_guard lock(mutex_);
        return notified_.contains(address);
    }

    void set(const std::string& address, Entry entry) {
        const std::lock_guard lock(mutex_);
        std::erase(gone_, address);
        entries_.insert_or_assign(address, std::move(entry));
    }
    /// The daemon no longer knows the device.
    void lose(const std::string& address) {
        const std::lock_guard lock(mutex_);
        if (const auto found = entries_.find(address); found != entries_.end()) {
            found->second.isConnected = false;
            std::erase(gone_, address);
            gone_.push_back(address);
        }
        notified_.erase(address);
        dropOldest();
    }
    /// Nobody knows of any device.
    void loseAll() {
        const std::lock_guard lock(mutex_);
        for (auto& [address, entry] : entries_) {
            entry.isConnected = false;
            if (std::find(gone_.begin(), gone_.end(), address) == gone_.end()) {
                gone_.push_back(address);
            }
        }
        notified_.clear();
        dropOldest();
    }

    std::optional<std::string> name(const std::string& address) const {
        const std::lock_guard lock(mutex_);
        const auto found = entries_.find(address);
        return found == entries_.end() ? std::nullopt : found->second.name;
    }
    /// Addresses of the connected devices that have the service.
    std::vector<std::string> connected(const UUID& service) const {
        std::vector<std::string> addresses;
        const std::lock_guard lock(mutex_);
        for (const auto& [address, entry] : entries_) {
            if (entry.isConnected &&
                std::find(entry.services.begin(), entry.services.end(), service) != entry.services.end()) {
                addresses.push_back(address);
            }
        }
        return addresses;
    }

    /// Of how many devices it knows anything.
    std::size_t size() const {
        const std::lock_guard lock(mutex_);
        return entries_.size();
    }

private:
    void dropOldest() {
        while (gone_.size() > mostGone) {
            entries_.erase(gone_.front());
            gone_.pop_front();
        }
    }

    mutable std::mutex mutex_;
    std::map<std::string, Entry> entries_;
    std::deque<std::string> gone_; ///< of these, oldest first, the daemon no longer knows
    std::set<std::string> notified_;
};

} // namespace tarnel::bluez
