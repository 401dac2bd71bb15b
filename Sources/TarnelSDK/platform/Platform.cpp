#include <TarnelSDK/platform/Platform.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

namespace tarnel::platform {
namespace {

std::unique_ptr<Platform>& installed() {
    static std::unique_ptr<Platform> platform;
    return platform;
}

} // namespace

Platform::Platform(Key, Services services) : services_(std::move(services)) {}

Platform::~Platform() = default;

void Platform::install(Services services) {
    precondition(!isInstalled(), "one platform is installed at a time");
    precondition(services.scheduler && services.clock && services.random && services.application &&
                     services.userDefaults && services.bluetooth,
                 "a platform has all of its services");
    installed() = std::make_unique<Platform>(Key(), std::move(services));
}

void Platform::tearDown() {
    Platform& platform = current();
    platform.services_.scheduler->shutDown();
    while (!platform.order_.empty()) {
        // Taken out before it is destroyed: its destructor may still ask for other shared objects.
        const auto node = platform.shared_.extract(platform.order_.back());
        platform.order_.pop_back();
    }
    installed().reset();
}

bool Platform::isInstalled() {
    return installed() != nullptr;
}

Platform& Platform::current() {
    precondition(isInstalled(), "a platform is installed before the SDK is used");
    return *installed();
}

void Platform::provide(std::type_index interface, std::weak_ptr<void> implementation) {
    const std::lock_guard lock(providedMutex_);
    provided_.insert_or_assign(interface, std::move(implementation));
}

std::shared_ptr<void> Platform::provided(std::type_index interface) const {
    const std::lock_guard lock(providedMutex_);
    const auto found = provided_.find(interface);
    return found == provided_.end() ? nullptr : found->second.lock();
}

} // namespace tarnel::platform
