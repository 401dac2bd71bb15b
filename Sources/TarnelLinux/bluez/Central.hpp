#pragma once

#include <TarnelLinux/bluez/Host.hpp>
#include <TarnelLinux/bluez/Peripheral.hpp>
#include <TarnelLinux/bluez/WeakMap.hpp>

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarnel::bluez {

/// One application's central on this machine.
class Central final : public platform::BluetoothCentral, public std::enable_shared_from_this<Central> {
public:
    /// Of as many devices a scan knows that it has reported them; one that was reported before them is reported again
    /// when it is still there.
    static constexpr std::size_t mostReported = 1024;

    Central(std::shared_ptr<Host> host, std::weak_ptr<platform::BluetoothCentralDelegate> delegate,
            std::shared_ptr<platform::Queue> queue);
    ~Central() override;
    Central(const Central&) = delete;
    Central& operator=(const Central&) = delete;

    void setDelegate(std::weak_ptr<platform::BluetoothCentralDelegate> delegate) override;
    platform::CentralState state() const override { return state_; }
    bool isScanning() const override { return isScanning_; }
    void scanForPeripherals(const std::vector<UUID>& services) override;
    void stopScan() override;
    std::vector<platform::PeripheralPointer> retrieveConnectedPeripherals(const UUID& service) override;
    std::vector<platform::PeripheralPointer> retrievePeripherals(const std::vector<UUID>& identifiers) override;
    void connect(const platform::PeripheralPointer& peripheral) override;
    void cancelPeripheralConnection(const platform::PeripheralPointer& peripheral) override;
    void registerForConnectionEvents(const std::vector<UUID>& identifiers) override;

    /// Runs a block on the central's queue, while the central exists. Any thread.
    void async(platform::Block block);
    /// Calls the delegate, on the central's queue.
    void tell(const std::function<void(platform::BluetoothCentralDelegate&)>& call);

    // The host's news, on the loop's thread.

    void stateChanged(platform::CentralState state);
    void deviceSeen(const std::string& address, const Properties& device);
    void reachabilityChanged(const std::string& address, bool isReachable);
    /// Adds what this central wants found.
    void addWish(Discovery::Wish& wish) const;

private:
    struct Scan {
        std::set<UUID> services;
        std::uint64_t number = 0;
        std::map<std::string, platform::AdvertisementData> reported;
        std::deque<std::string> order; ///< in which they were reported first
    };

    std::shared_ptr<Peripheral> peripheral(const UUID& identifier, const std::string& address);
    std::shared_ptr<Peripheral> own(const platform::PeripheralPointer& peripheral) const;
    void post(std::function<void(Central&)> step);
    void losePower();

    const std::shared_ptr<Host> host_;
    const std::shared_ptr<platform::Queue> queue_;
    std::atomic<platform::CentralState> state_ = platform::CentralState::unknown;
    std::atomic<bool> isScanning_ = false;
    std::atomic<std::uint64_t> scans_ = 0; ///< tells the scan under way from those before it
    mutable std::mutex mutex_;             ///< of the two below
    std::weak_ptr<platform::BluetoothCentralDelegate> delegate_;
    WeakMap<Peripheral> peripherals_;

    // On the loop's thread.
    std::optional<Scan> scan_;
    std::map<std::string, bool> registered_; ///< for connection events, and whether it was within reach
};

} // namespace tarnel::bluez
