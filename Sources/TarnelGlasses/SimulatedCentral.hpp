#pragma once

#include <TarnelGlasses/SimulatedHost.hpp>
#include <TarnelSDK/platform/Bluetooth.hpp>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace tarnel::glasses {

/// One application's central on a simulated host.
class SimulatedCentral final : public platform::BluetoothCentral,
                               public std::enable_shared_from_this<SimulatedCentral> {
public:
    SimulatedCentral(std::shared_ptr<SimulatedHost> host, std::weak_ptr<platform::BluetoothCentralDelegate> delegate,
                     std::shared_ptr<platform::Queue> queue);
    ~SimulatedCentral() override;

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

    const std::shared_ptr<SimulatedHost>& host() const { return host_; }

    /// Runs a block on the central's queue, while the central exists. Any thread.
    void async(platform::Block block);
    /// Calls the delegate, on the central's queue.
    void tell(const std::function<void(platform::BluetoothCentralDelegate&)>& call);

    // The host's news, on the radio's queue.

    void powerChanged(platform::CentralState state);
    bool listensTo(const UUID& device) const { return scan_ || registered_.contains(device); }
    void heard(const std::shared_ptr<SimulatedGlasses>& glasses, const platform::AdvertisementData& advertisement);
    void reachabilityChanged(const UUID& device, bool isReachable);

private:
    struct Scan {
        std::vector<UUID> services;
        std::uint64_t number = 0;
        std::map<UUID, platform::AdvertisementData> reported;
    };

    std::shared_ptr<SimulatedPeripheral> peripheral(const UUID& identifier);
    std::shared_ptr<SimulatedPeripheral> own(const platform::PeripheralPointer& peripheral) const;
    void post(std::function<void(SimulatedCentral&)> step);
    void losePower();

    const std::shared_ptr<SimulatedHost> host_;
    const std::shared_ptr<platform::Queue> queue_;
    std::atomic<platform::CentralState> state_ = platform::CentralState::unknown;
    std::atomic<bool> isScanning_ = false;
    std::atomic<std::uint64_t> scans_ = 0; ///< tells the scan under way from those before it
    mutable std::mutex mutex_;             ///< of the two below
    std::weak_ptr<platform::BluetoothCentralDelegate> delegate_;
    std::map<UUID, std::weak_ptr<SimulatedPeripheral>> peripherals_;

    // On the radio's queue.
    std::optional<Scan> scan_;
    std::map<UUID, bool> registered_; ///< for connection events, and whether it was within reach
};

} // namespace tarnel::glasses
