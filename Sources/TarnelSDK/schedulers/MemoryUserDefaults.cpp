#include <TarnelSDK/schedulers/MemoryUserDefaults.hpp>

namespace tarnel {

Value MemoryUserDefaults::object(const std::string& key) const {
    const std::lock_guard lock(mutex_);
    const auto found = values_.find(key);
    return found == values_.end() ? Value() : found->second;
}

void MemoryUserDefaults::set(const std::string& key, Value value) {
    const std::lock_guard lock(mutex_);
    values_.insert_or_assign(key, std::move(value));
}

void MemoryUserDefaults::remove(const std::string& key) {
    const std::lock_guard lock(mutex_);
    values_.erase(key);
}

void MemoryUserDefaults::removePersistentDomain(const std::string& name) {
    const std::lock_guard lock(mutex_);
    if (name == domain_) {
        values_.clear();
    }
}

Value::Dictionary MemoryUserDefaults::values() const {
    const std::lock_guard lock(mutex_);
    return values_;
}

} // namespace tarnel
