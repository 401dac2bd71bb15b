#pragma once

#include "JSON.hpp"

#include <TarnelSDK/device/Tarnel.hpp>
#include <TarnelSDK/foundation/Bindable.hpp>
#include <TarnelSDK/platform/Platform.hpp>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace tarnel::command {

/// What the SDK tells an application through its bindables and notifications, as JSON objects with "event". Lives on
/// one platform: made after it is installed, gone before it is torn down. On the main thread only.
class BridgeEvents {
public:
    /// Called on the main queue.
    using Emit = std::function<void(JSON::Object event)>;

    /// With `logs` the SDK's log lines are events too.
    BridgeEvents(Emit emit, bool logs);
    BridgeEvents(const BridgeEvents&) = delete;
    BridgeEvents& operator=(const BridgeEvents&) = delete;

    /// Also tells of messages of the glasses with this key.
    void watch(const std::string& key);

private:
    template <typename T>
    void follow(Bindable<T>& bindable, const char* event, std::vector<std::shared_ptr<void>>& listeners);
    void observe(const char* notification, std::function<JSON::Object(const platform::UserInfo&)> members);
    /// Emits on the main queue, while this is there. May be called on any thread.
    Emit emitLater() const;
    void currentDeviceChanged();

    const std::shared_ptr<const Emit> emit_; ///< shared with nobody: gone with this
    std::set<std::string> watched_;
    std::vector<platform::Observation> observations_;
    std::vector<std::shared_ptr<void>> managerListeners_;
    std::vector<std::shared_ptr<void>> deviceListeners_;
    std::weak_ptr<Tarnel> device_; ///< whose bindables are followed
};

} // namespace tarnel::command
