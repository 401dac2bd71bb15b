#include "Surroundings.hpp"

#include "OnTheAir.hpp"
#include "Simulation.hpp"

#include <TarnelSDK/manager/TarnelManager.hpp>

namespace tarnel::command {

std::unique_ptr<Surroundings> Surroundings::make(const SurroundingsOptions& options) {
    if (options.isSimulated) {
        return std::make_unique<Simulation>(options);
    }
    return std::make_unique<OnTheAir>(options);
}

std::shared_ptr<Tarnel> Surroundings::device() const {
    return TarnelManager::shared().currentDevice();
}

} // namespace tarnel::command
