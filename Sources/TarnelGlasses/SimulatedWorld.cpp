#include <TarnelGlasses/ApplicationScheduler.hpp>
#include <TarnelGlasses/SimulatedWorld.hpp>
#include <TarnelSDK/schedulers/SimulatedClock.hpp>
#include <TarnelSDK/schedulers/SimulatedRandom.hpp>

#include <cstddef>
#include <utility>

namespace tarnel::glasses {

SimulatedWorld::SimulatedWorld(const WorldOptions& options)
    : options_(options), scheduler_(std::make_shared<SimulatedScheduler>(options.seed)),
      random_(std::make_shared<SimulatedRandom>(options.seed)),
      userDefaults_(std::make_shared<MemoryUserDefaults>(options.bundleIdentifier.value_or(std::string()))),
      application_(std::make_shared<SettableApplication>(options.bundleIdentifier)),
      userNotifications_(MemoryUserNotifications::make(scheduler_->mainQueue(), application_)),
      radio_(Radio::make(
          *scheduler_,
          [scheduler = std::weak_ptr(scheduler_)] {
              const auto running = scheduler.lock();
              return running ? running->now() : platform::Duration::max();
          },
          options.link)),
      notificationProvider_(ancs::NotificationProvider::make(radio_->queuePointer())),
      sharedNotifications_(ancs::OwnNotifications::make(userNotifications_, notificationProvider_, application_,
                                                        std::make_shared<SimulatedClock>(scheduler_))),
      bluetooth_(SimulatedBluetooth::make(radio_, notificationProvider_)) {
    bluetooth_->setState(options.bluetooth);
    install();
}

SimulatedWorld::~SimulatedWorld() {
    platform::Platform::tearDown();
    scheduler_->shutDown();
}

std::shared_ptr<SimulatedGlasses> SimulatedWorld::addGlasses(GlassesOptions options) {
    if (options.identifier == GlassesOptions().identifier) {
        options.identifier = freshIdentifier();
    }
    identifiers_.insert(options.identifier);
    return SimulatedGlasses::make(radio_, options);
}

UUID SimulatedWorld::freshIdentifier() const {
    auto bytes = GlassesOptions().identifier.bytes();
    while (identifiers_.contains(UUID(bytes))) {
        // The node's six bytes, as one number.
        for (std::size_t at = bytes.size(); at > 10 && ++bytes.at(at - 1) == 0; --at) {
        }
    }
    return UUID(bytes);
}

void SimulatedWorld::relaunch() {
    platform::Platform::tearDown();
    scheduler_->run();
    install();
}

void SimulatedWorld::install() {
    platform::Platform::install({.scheduler = std::make_shared<ApplicationScheduler>(scheduler_),
                                 .clock = std::make_shared<SimulatedClock>(scheduler_),
                                 .random = random_,
                                 .application = application_,
                                 .userDefaults = userDefaults_,
                                 .bluetooth = bluetooth_,
                                 .userNotifications = userNotifications_});
}

} // namespace tarnel::glasses
