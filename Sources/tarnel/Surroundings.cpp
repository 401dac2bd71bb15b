#include "Surroundings.hpp"

#include "Failure.hpp"
#include "Missing.hpp"
#include "NativePlatform.hpp"
#include "OnTheAir.hpp"
#include "Simulation.hpp"

#include <TarnelSDK/manager/TarnelManager.hpp>

namespace tarnel::command {

std::unique_ptr<Surroundings> Surroundings::make(const SurroundingsOptions& options) {
    if (options.isSimulated) {
        return std::make_unique<Simulation>(options);
    }
    if (!NativePlatform::exists()) {
        throw Failure(std::string(noBluetoothText) + "; simulated glasses are used with --simulated");
    }
    return std::make_unique<OnTheAir>(options);
}

bool Surroundings::isConnectionExpected() const {
    const auto linked = device();
    return isLinking_ || (linked && linked->shouldAutoReconnect() && !linked->isConnected.value());
}

std::shared_ptr<Tarnel> Surroundings::device() const {
    return TarnelManager::shared().currentDevice();
}

} // namespace tarnel::command
