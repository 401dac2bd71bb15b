#pragma once

#include <TarnelSDK/platform/UserDefaults.hpp>

#include <map>
#include <mutex>
#include <string>

namespace tarnel {

/// User defaults that live as long as the object: for simulations and tests. Called on any thread.
class MemoryUserDefaults : public platform::UserDefaults {
public:
    /// `domain` is the name by which `removePersistentDomain` finds these values.
    explicit MemoryUserDefaults(std::string domain) : domain_(std::move(domain)) {}

    Value object(const std::string& key) const override;
    void set(const std::string& key, Value value) override;
    void remove(const std::string& key) override;
    void removePersistentDomain(const std::string& name) override;
    void synchronize() override {}

    /// A copy of all values.
    Value::Dictionary values() const;

private:
    const std::string domain_;
    mutable std::mutex mutex_;
    Value::Dictionary values_;
};

} // namespace tarnel
