#pragma once

#include "support/FakeScreens.hpp"

#include <TarnelGlasses/SimulatedWorld.hpp>
#include <TarnelSDK/manager/TarnelManager.hpp>
#include <TarnelSDK/ui/TarnelBaseViewController.hpp>
#include <TarnelSDK/ui/TarnelPickerController.hpp>

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tarnel::test {

/// A screen of an application, which counts what it is told.
struct ReadingScreen : TarnelBaseViewController {
    using TarnelBaseViewController::TarnelBaseViewController;
    void onTap(const platform::Notification& notification) override { taps.push_back(notification); }
    void onDisplayTimeout() override { ++timeouts; }
    void onPowerButtonTap(const platform::Notification& notification) override { presses.push_back(notification); }
    void onDisconnected() override { ++disconnections; }
    void onAppLeave() override { ++departures; }

    std::vector<platform::Notification> taps;
    std::vector<platform::Notification> presses;
    int timeouts = 0;
    int disconnections = 0;
    int departures = 0;
};

/// A simulated host with a toolkit, glasses around it, and one screen of an application.
class ScreensDesk {
public:
    explicit ScreensDesk(std::uint64_t seed = 1, platform::CentralState bluetooth = platform::CentralState::poweredOn)
        : trace_(__FILE__, __LINE__, "seed " + std::to_string(seed)), world({.seed = seed, .bluetooth = bluetooth}) {
        platform::Provided<ScreenToolkit>::provide(toolkit);
        manager();
        world.advance(std::chrono::seconds(1));
    }

    static TarnelManager& manager() { return TarnelManager::shared(); }
    static std::shared_ptr<Tarnel> device() { return manager().currentDevice(); }
    static bool isConnected() { return device() && device()->isConnected.value(); }

    std::shared_ptr<glasses::SimulatedGlasses> addGlasses(const std::string& name, std::uint8_t number = 1) {
        glasses::GlassesOptions options{.identifier = identifier(number), .name = name};
        return world.addGlasses(options);
    }

    /// Links what the air has, without a screen.
    bool link() {
        manager().startScan([](const auto& peripheral) { manager().link(peripheral, nullptr); });
        const bool linked = world.runUntil(isConnected);
        world.advance(std::chrono::seconds(1));
        return linked;
    }

    /// The screen appears, and what it presents.
    void show() {
        screen->beginAppearance(false);
        screen->endAppearance();
        world.advance(std::chrono::seconds(1));
    }

    /// A picker over the screen, whoever is linked.
    std::shared_ptr<TarnelPickerController> present() {
        auto picker = std::make_shared<TarnelPickerController>();
        screen->present(picker, true);
        world.advance(std::chrono::seconds(1));
        return picker;
    }

    std::shared_ptr<TarnelPickerController> picker() const { return toolkit->picker(); }

    static std::vector<std::string> rows(const TarnelPickerController& picker) {
        std::vector<std::string> texts;
        for (int row = 0; row < picker.numberOfRows(0); ++row) {
            const auto cell = picker.cellForRow(0, row);
            texts.push_back((cell.accessory == Accessory::checkmark ? "✓ " : "") + cell.text);
        }
        return texts;
    }

    static UUID identifier(std::uint8_t number) {
        std::array<std::uint8_t, 16> bytes{};
        bytes.back() = number;
        return UUID(bytes);
    }

private:
    const ::testing::ScopedTrace trace_;

public:
    glasses::SimulatedWorld world;
    std::shared_ptr<FakeScreens> toolkit = std::make_shared<FakeScreens>();
    std::shared_ptr<ReadingScreen> screen = std::make_shared<ReadingScreen>();
};

} // namespace tarnel::test
