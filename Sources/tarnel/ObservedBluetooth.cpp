#include "ObservedBluetooth.hpp"

#include "ObservedPeripheral.hpp"

#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace tarnel::command {
namespace {

using platform::BluetoothCentral;
using platform::BluetoothCentralDelegate;
using platform::BluetoothError;
using platform::PeripheralPointer;
using Seam = ObservedBluetooth::Seam;

class ObservedCentral final : public BluetoothCentral, public std::enable_shared_from_this<ObservedCentral> {
public:
    ObservedCentral(std::shared_ptr<Seam> seam, std::weak_ptr<BluetoothCentralDelegate> delegate)
        : seam_(std::move(seam)), delegate_(std::move(delegate)) {}

    void start(platform::BluetoothProvider& provider, std::shared_ptr<platform::Queue> queue,
               platform::CentralOptions options);

    void setDelegate(std::weak_ptr<BluetoothCentralDelegate> delegate) override {
        const std::lock_guard lock(mutex_);
        delegate_ = std::move(delegate);
    }
    platform::CentralState state() const override { return inner().state(); }
    bool isScanning() const override { return inner().isScanning(); }
    void scanForPeripherals(const std::vector<UUID>& services) override { inner().scanForPeripherals(services); }
    void stopScan() override { inner().stopScan(); }
    std::vector<PeripheralPointer> retrieveConnectedPeripherals(const UUID& service) override {
        return wrapped(inner().retrieveConnectedPeripherals(service));
    }
    std::vector<PeripheralPointer> retrievePeripherals(const std::vector<UUID>& identifiers) override {
        return wrapped(inner().retrievePeripherals(identifiers));
    }
    void connect(const PeripheralPointer& peripheral) override {
        const auto own = std::dynamic_pointer_cast<ObservedPeripheral>(peripheral);
        if (own && seam_->connects) {
            seam_->observer->connecting(own->identifier());
            inner().connect(own->inner());
        }
    }
    void cancelPeripheralConnection(const PeripheralPointer& peripheral) override {
        const auto own = std::dynamic_pointer_cast<ObservedPeripheral>(peripheral);
        if (own && seam_->connects) {
            inner().cancelPeripheralConnection(own->inner());
        }
    }
    void registerForConnectionEvents(const std::vector<UUID>& identifiers) override {
        inner().registerForConnectionEvents(identifiers);
    }

    PeripheralPointer wrapped(const PeripheralPointer& peripheral) {
        const std::lock_guard lock(mutex_);
        std::erase_if(peripherals_, [](const auto& entry) { return entry.second.expired(); });
        auto& known = peripherals_[peripheral.get()];
        auto wrapper = known.lock();
        if (!wrapper) {
            wrapper = ObservedPeripheral::make(peripheral, seam_);
            known = wrapper;
        }
        return wrapper;
    }
    std::vector<PeripheralPointer> wrapped(std::vector<PeripheralPointer> peripherals) {
        for (auto& peripheral : peripherals) {
            peripheral = wrapped(peripheral);
        }
        return peripherals;
    }

    BluetoothObserver& observer() { return *seam_->observer; }
    std::shared_ptr<BluetoothCentralDelegate> delegate() {
        const std::lock_guard lock(mutex_);
        return delegate_.lock();
    }

private:
    BluetoothCentral& inner() const {
        const std::lock_guard lock(innerMutex_);
        return *inner_;
    }

    const std::shared_ptr<Seam> seam_;
    /// Held while the inner central is made: its first callback may come before that returns.
    mutable std::mutex innerMutex_;
    std::shared_ptr<BluetoothCentral> inner_;
    std::shared_ptr<BluetoothCentralDelegate> relay_;
    std::mutex mutex_; ///< of the two below
    std::weak_ptr<BluetoothCentralDelegate> delegate_;
    std::map<const platform::BluetoothPeripheral*, std::weak_ptr<ObservedPeripheral>> peripherals_;
};

/// The inner central's delegate.
class CentralRelay final : public BluetoothCentralDelegate {
public:
    explicit CentralRelay(std::weak_ptr<ObservedCentral> owner) : owner_(std::move(owner)) {}

    void centralManagerDidUpdateState(BluetoothCentral&) override {
        tell([](ObservedCentral& central) { central.observer().stateChanged(central.state()); },
             [](auto& delegate, ObservedCentral& central) { delegate.centralManagerDidUpdateState(central); });
    }
    void didDiscover(BluetoothCentral&, const PeripheralPointer& peripheral, const platform::AdvertisementData& data,
                     int rssi) override {
        tell([&](ObservedCentral& central) { central.observer().discovered(peripheral, data, rssi); },
             [&](auto& delegate, ObservedCentral& central) {
                 delegate.didDiscover(central, central.wrapped(peripheral), data, rssi);
             });
    }
    void didConnect(BluetoothCentral&, const PeripheralPointer& peripheral) override {
        tell([&](ObservedCentral& central) { central.observer().connected(peripheral->identifier()); },
             [&](auto& delegate, ObservedCentral& central) {
                 delegate.didConnect(central, central.wrapped(peripheral));
             });
    }
    void didFailToConnect(BluetoothCentral&, const PeripheralPointer& peripheral,
                          const std::optional<BluetoothError>& error) override {
        tell([&](ObservedCentral& central) { central.observer().connectionFailed(peripheral->identifier(), error); },
             [&](auto& delegate, ObservedCentral& central) {
                 delegate.didFailToConnect(central, central.wrapped(peripheral), error);
             });
    }
    void didDisconnectPeripheral(BluetoothCentral&, const PeripheralPointer& peripheral,
                                 const std::optional<BluetoothError>& error) override {
        tell([&](ObservedCentral& central) { central.observer().disconnected(peripheral->identifier(), error); },
             [&](auto& delegate, ObservedCentral& central) {
                 delegate.didDisconnectPeripheral(central, central.wrapped(peripheral), error);
             });
    }
    void connectionEventDidOccur(BluetoothCentral&, platform::ConnectionEvent event,
                                 const PeripheralPointer& peripheral) override {
        tell([](ObservedCentral&) {},
             [&](auto& delegate, ObservedCentral& central) {
                 delegate.connectionEventDidOccur(central, event, central.wrapped(peripheral));
             });
    }
    void didUpdateANCSAuthorization(BluetoothCentral&, const PeripheralPointer& peripheral) override {
        tell([](ObservedCentral&) {},
             [&](auto& delegate, ObservedCentral& central) {
                 delegate.didUpdateANCSAuthorization(central, central.wrapped(peripheral));
             });
    }

private:
    template <typename Note, typename Call>
    void tell(const Note& note, const Call& call) {
        const auto central = owner_.lock();
        if (!central) {
            return;
        }
        note(*central);
        if (const auto delegate = central->delegate()) {
            call(*delegate, *central);
        }
    }

    const std::weak_ptr<ObservedCentral> owner_;
};

void ObservedCentral::start(platform::BluetoothProvider& provider, std::shared_ptr<platform::Queue> queue,
                            platform::CentralOptions options) {
    relay_ = std::make_shared<CentralRelay>(weak_from_this());
    const std::lock_guard lock(innerMutex_);
    inner_ = provider.makeCentral(relay_, std::move(queue), options);
}

} // namespace

ObservedBluetooth::ObservedBluetooth(std::shared_ptr<platform::BluetoothProvider> provider,
                                     std::shared_ptr<BluetoothObserver> observer)
    : provider_(std::move(provider)), seam_(std::make_shared<Seam>()) {
    seam_->observer = std::move(observer);
}

std::shared_ptr<BluetoothCentral> ObservedBluetooth::makeCentral(std::weak_ptr<BluetoothCentralDelegate> delegate,
                                                                 std::shared_ptr<platform::Queue> queue,
                                                                 platform::CentralOptions options) {
    const auto central = std::make_shared<ObservedCentral>(seam_, std::move(delegate));
    central->start(*provider_, std::move(queue), options);
    return central;
}

} // namespace tarnel::command
