#pragma once

#include <TarnelSDK/platform/Platform.hpp>
#include <TarnelSDK/schedulers/MemoryUserDefaults.hpp>
#include <TarnelSDK/schedulers/MemoryUserNotifications.hpp>
#include <TarnelSDK/schedulers/SettableApplication.hpp>
#include <TarnelSDK/schedulers/SimulatedClock.hpp>
#include <TarnelSDK/schedulers/SimulatedRandom.hpp>
#include <TarnelSDK/schedulers/SimulatedScheduler.hpp>

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace tarnel::test {

/// A machine without Bluetooth.
class NoBluetooth : public platform::BluetoothProvider {
public:
    std::shared_ptr<platform::BluetoothCentral> makeCentral(std::weak_ptr<platform::BluetoothCentralDelegate>,
                                                            std::shared_ptr<platform::Queue>,
                                                            platform::CentralOptions) override {
        return nullptr;
    }
};

struct TestPlatformOptions {
    std::uint64_t seed = 1;
    /// A provider that needs the scheduler is made with the one given below.
    std::shared_ptr<platform::BluetoothProvider> bluetooth = std::make_shared<NoBluetooth>();
    std::optional<std::filesystem::path> documentDirectory = std::nullopt;
    std::shared_ptr<SimulatedScheduler> scheduler = nullptr; ///< empty: one of `seed`
    bool hasUserNotifications = true;
};

/// Installs a platform of virtual time for as long as it lives: nothing happens until the test moves the scheduler.
/// A failure tells the seed.
class TestPlatform {
public:
    static constexpr const char* bundleIdentifier = "com.example.test";

    explicit TestPlatform(TestPlatformOptions options = {})
        : scheduler(options.scheduler ? options.scheduler : std::make_shared<SimulatedScheduler>(options.seed)),
          clock(std::make_shared<SimulatedClock>(scheduler)), random(std::make_shared<SimulatedRandom>(options.seed)),
          trace_(__FILE__, __LINE__, "seed " + std::to_string(scheduler->seed())) {
        application->setDocumentDirectory(std::move(options.documentDirectory));
        platform::Platform::install({scheduler, clock, random, application, userDefaults, std::move(options.bluetooth),
                                     options.hasUserNotifications ? userNotifications : nullptr});
    }
    ~TestPlatform() { platform::Platform::tearDown(); }
    TestPlatform(const TestPlatform&) = delete;
    TestPlatform& operator=(const TestPlatform&) = delete;

    platform::NotificationCenter& notificationCenter() { return platform::Platform::current().notificationCenter(); }

    /// Runs what may run now, without moving time.
    void run() { scheduler->run(); }
    void advance(platform::Duration duration) { scheduler->advance(duration); }

    const std::shared_ptr<SimulatedScheduler> scheduler;
    const std::shared_ptr<SimulatedClock> clock;
    const std::shared_ptr<SimulatedRandom> random;
    const std::shared_ptr<SettableApplication> application = std::make_shared<SettableApplication>(bundleIdentifier);
    const std::shared_ptr<MemoryUserDefaults> userDefaults = std::make_shared<MemoryUserDefaults>(bundleIdentifier);
    const std::shared_ptr<MemoryUserNotifications> userNotifications =
        MemoryUserNotifications::make(scheduler->mainQueue(), application);

private:
    const ::testing::ScopedTrace trace_;
};

} // namespace tarnel::test
