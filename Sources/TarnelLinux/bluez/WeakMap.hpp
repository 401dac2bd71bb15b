#pragma once

#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tarnel::bluez {

/// Objects by address, for as long as somebody else holds them. One thread at a time.
template <typename T>
class WeakMap {
public:
    /// Null when there is none.
    std::shared_ptr<T> find(const std::string& address) const {
        const auto found = entries_.find(address);
        return found == entries_.end() ? nullptr : found->second.lock();
    }
    void set(const std::string& address, const std::shared_ptr<T>& object) {
        if (entries_.size() >= sweepAt_) {
            std::erase_if(entries_, [](const auto& entry) { return entry.second.expired(); });
            sweepAt_ = std::max(least, 2 * entries_.size());
        }
        entries_.insert_or_assign(address, object);
    }
    std::vector<std::shared_ptr<T>> all() const {
        std::vector<std::shared_ptr<T>> objects;
        for (const auto& [address, weak] : entries_) {
            if (auto object = weak.lock()) {
                objects.push_back(std::move(object));
            }
        }
        return objects;
    }
    /// Entries of objects that have gone included, of which there are no more than `least`, or than of the others.
    std::size_t size() const { return entries_.size(); }

    static constexpr std::size_t least = 64;

private:
    std::map<std::string, std::weak_ptr<T>> entries_;
    std::size_t sweepAt_ = least;
};

} // namespace tarnel::bluez
