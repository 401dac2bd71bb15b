#pragma once

#include "PacedController.hpp"
#include "Process.hpp"

#include <sdbus-c++/sdbus-c++.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tarnel::radio {

/// Waits, looking again and again, until it holds; false when it does not within the time.
bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds patience = std::chrono::seconds(60));

/// Whether the kernel has stumbled over a mistake of its own since it was started; its Bluetooth is then not to be
/// relied upon.
bool hasKernelFailed();

/// This machine's Bluetooth: the system bus, controllers that share one simulated air, and the Bluetooth service. Only
/// to be made in the virtual machine, where nothing else of the kind runs.
class Stack {
public:
    struct Options {
        int controllers = 2;
        int attributeChannels = 1; ///< that the service opens where the other side has as many
        int pace = 0;              ///< of the first controller's radio, bytes a second; 0 for what the processor can do
    };

    explicit Stack(const Options& options);
    ~Stack();
    Stack(const Stack&) = delete;
    Stack& operator=(const Stack&) = delete;

    void startBus();
    void stopBus();
    /// One more set of controllers, on an air of their own; they take the lowest free numbers.
    void startControllers(int count);
    void stopControllers();
    void startDaemon();
    /// Of the first controller, "hci0".
    std::string adapter() const { return paced_ ? paced_->name() : "hci0"; }
    /// At once, as by a crash.
    void killDaemon();
    bool isDaemonRunning() { return daemon_ && daemon_->isRunning(); }

    /// Waits until the service has the adapter and it is switched on.
    bool awaitAdapter(const std::string& name);
    bool isDiscovering(const std::string& adapter) const;
    void setPowered(const std::string& adapter, bool isPowered);
    /// All radios, as the switch of an aeroplane mode does.
    void block(bool isBlocked);
    /// Has the service forget the bond and all else that it knows of the device.
    void removeDevice(const std::string& adapter, const std::string& address);
    /// Whether the service has a bond with a device of the adapter.
    bool isBonded(const std::string& adapter) const;
    std::string addressOf(const std::string& adapter) const;
    /// Another program looks for glasses and connects them; gives their address, empty when it does not succeed.
    std::string connectByAnother(const std::string& adapter);

    /// The ends of what the bus, the controllers and the service wrote.
    std::string logs() const;
    static std::string folder();

private:
    const Options options_;
    std::unique_ptr<Process> bus_;
    std::vector<std::unique_ptr<Process>> controllers_;
    std::unique_ptr<PacedController> paced_;
    std::unique_ptr<Process> daemon_;
    std::vector<std::unique_ptr<sdbus::IConnection>> others_;
};

} // namespace tarnel::radio
