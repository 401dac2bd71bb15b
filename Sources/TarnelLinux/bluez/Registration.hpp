#pragma once

#include <TarnelLinux/bluez/Bus.hpp>
#include <TarnelLinux/bluez/EventLoop.hpp>
#include <TarnelLinux/bluez/Names.hpp>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tarnel::bluez {

/// An object of this process that one of the adapter's managers knows, or is to know. What the daemon refuses is asked
/// again, ever more rarely. On the loop's thread only.
class Registration {
public:
    /// Of `GattManager1` or `LEAdvertisingManager1`: what the methods that register and unregister an object are
    /// called.
    struct Manager {
        const char* interface;
        const char* registers;
        const char* unregisters;
    };

    /// The loop and the bus outlive the registration. `changed` is called when the daemon has answered.
    Registration(EventLoop& loop, Bus& bus, Manager manager, std::function<void()> changed)
        : loop_(loop), bus_(bus), manager_(manager), changed_(std::move(changed)) {}
    ~Registration();
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

    /// Registers this object. REQUIRES: none is registered.
    void begin(const std::string& adapter, const std::string& object);
    /// The daemon forgets the object.
    void end();
    /// The daemon has forgotten it by itself, or is gone.
    void lose();

    bool isBegun() const { return !object_.empty(); }
    bool isDone() const { return isDone_; }
    /// Why the daemon refused it last.
    const std::optional<Failure>& failure() const { return failure_; }

private:
    void ask();
    void answered(const Failure* failure);

    EventLoop& loop_;
    Bus& bus_;
    const Manager manager_;
    const std::function<void()> changed_;
    std::string adapter_;
    std::string object_;
    bool isDone_ = false;
    std::optional<Failure> failure_;
    std::chrono::milliseconds delay_{0};
    EventLoop::Timer timer_ = 0;
    std::uint64_t number_ = 0; ///< tells the answer to this registration from that to an earlier one
    std::shared_ptr<bool> isAlive_ = std::make_shared<bool>(true);
};

/// Knows the objects that are services.
inline constexpr Registration::Manager gattManager{gattManagerInterface, "RegisterApplication",
                                                   "UnregisterApplication"};

} // namespace tarnel::bluez
