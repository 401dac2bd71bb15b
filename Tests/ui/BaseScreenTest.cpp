#include "ScreensFixture.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <any>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using platform::ApplicationState;
using test::ReadingScreen;
using test::ScreensDesk;
using ::testing::IsEmpty;
using ::testing::SizeIs;

std::size_t layoutCommands(const glasses::SimulatedGlasses& pair) {
    std::size_t count = 0;
    for (const auto& message : pair.receivedMessages()) {
        const auto* entries = message.value.dictionary();
        count += entries && entries->contains("control") ? 1 : 0;
    }
    return count;
}

/// Linked glasses, and a screen that has appeared.
class BaseScreen : public ::testing::Test {
protected:
    BaseScreen() {
        EXPECT_TRUE(desk.link());
        desk.show();
    }

    void post(const char* name, const std::shared_ptr<void>& sender) {
        platform::Platform::current().notificationCenter().post({name, sender, {}});
        desk.world.run();
    }

    ReadingScreen& screen() { return *desk.screen; }

    ScreensDesk desk;
    const std::shared_ptr<glasses::SimulatedGlasses> pair = desk.addGlasses("Mine");
};

TEST(BaseScreenValues, AreThoseOfAFreshScreenHoweverItIsMade) {
    const ScreensDesk desk;
    for (const auto& screen :
         {std::make_shared<TarnelBaseViewController>(), std::make_shared<TarnelBaseViewController>("Reader", "/folder"),
          std::make_shared<TarnelBaseViewController>(MessagePackValue())}) {
        EXPECT_FALSE(screen->isActive());
        EXPECT_EQ(screen->displayTimeout(), 180);
        EXPECT_FALSE(screen->hideStatusBar());
        EXPECT_EQ(screen->layout(), Layout::canvas);
    }
}

TEST(BaseScreenNames, AreTheStringsThatThisDeviceReports) {
    EXPECT_STREQ(NotificationName::tap, "tap");
    EXPECT_STREQ(NotificationName::led, "brightness");
    EXPECT_STREQ(NotificationName::displayTimeout, "disp_timeout");
    EXPECT_STREQ(NotificationName::power_button, "power_btn");
    EXPECT_STREQ(NotificationName::version, "app_ver");
}

TEST_F(BaseScreen, TakesTheDisplayWithItsLayoutAndGivesItBack) {
    EXPECT_FALSE(screen().isActive());
    screen().setDisplayTimeout(60);
    screen().setHideStatusBar(true);
    screen().startControl();
    desk.world.advance(1s);
    EXPECT_TRUE(screen().isActive());
    EXPECT_EQ(pair->layout(), static_cast<int>(Layout::canvas));
    EXPECT_TRUE(pair->hidesStatusBar());
    EXPECT_EQ(pair->controlOwner(), "org.example.application");
    screen().stopControl();
    desk.world.advance(1s);
    EXPECT_FALSE(screen().isActive());
    EXPECT_EQ(pair->layout(), static_cast<int>(Layout::default_));
    EXPECT_NE(pair->controlOwner(), "org.example.application");
}

TEST_F(BaseScreen, StartControlInTheBackgroundChangesNothing) {
    desk.world.application().setState(ApplicationState::background);
    screen().startControl();
    desk.world.advance(1s);
    EXPECT_FALSE(screen().isActive());
    EXPECT_EQ(layoutCommands(*pair), 0u);
    desk.world.application().setState(ApplicationState::inactive);
    screen().startControl();
    EXPECT_TRUE(screen().isActive());
}

TEST_F(BaseScreen, StartControlTwiceSendsOneLayoutCommand) {
    screen().startControl();
    screen().startControl();
    desk.world.advance(1s);
    EXPECT_EQ(layoutCommands(*pair), 1u);
    screen().stopControl();
    screen().stopControl();
    desk.world.advance(1s);
    EXPECT_EQ(layoutCommands(*pair), 2u);
}

TEST_F(BaseScreen, HearsTapsThePowerButtonAndTheDisplaysTimeoutOnTheMainQueue) {
    screen().startControl();
    desk.world.advance(1s);
    pair->tap(2);
    pair->powerButton(1);
    desk.world.advance(1s);
    ASSERT_THAT(screen().taps, SizeIs(1));
    EXPECT_EQ(std::any_cast<Value>(screen().taps[0].userInfo.at("tap")), Value(2));
    EXPECT_EQ(screen().taps[0].object, desk.device());
    EXPECT_THAT(screen().presses, SizeIs(1));
    pair->displayTimeout();
    desk.world.advance(1s);
    EXPECT_EQ(screen().timeouts, 1);
}

TEST_F(BaseScreen, HearsOnlyTheDeviceThatWasCurrentWhenItWasLoaded) {
    const auto other = std::make_shared<int>();
    for (const char* name : {"tap", "disp_timeout", "power_btn"}) {
        post(name, other);
        post(name, nullptr);
    }
    EXPECT_THAT(screen().taps, IsEmpty());
    EXPECT_THAT(screen().presses, IsEmpty());
    EXPECT_EQ(screen().timeouts, 0);
    post("tap", desk.device());
    EXPECT_THAT(screen().taps, SizeIs(1));
}

TEST(BaseScreenWithoutGlasses, HearsEverySender) {
    ScreensDesk desk;
    desk.show();
    for (const auto& sender : {std::make_shared<int>(), std::shared_ptr<int>()}) {
        platform::Platform::current().notificationCenter().post({"tap", sender, {}});
    }
    desk.world.run();
    EXPECT_THAT(desk.screen->taps, SizeIs(2));
}

TEST_F(BaseScreen, LearnsThatTheApplicationLeavesTheFront) {
    desk.world.application().setState(ApplicationState::inactive);
    desk.world.application().setState(ApplicationState::background);
    desk.world.run();
    EXPECT_EQ(screen().departures, 1);
    desk.world.application().setState(ApplicationState::active);
    desk.world.run();
    EXPECT_EQ(screen().departures, 1);
}

TEST_F(BaseScreen, LearnsOnceThatTheGlassesAreGone) {
    EXPECT_EQ(screen().disconnections, 0);
    pair->leaveRange();
    ASSERT_TRUE(desk.world.runUntil([&] { return !desk.isConnected(); }));
    desk.world.run();
    EXPECT_EQ(screen().disconnections, 1);
}

TEST_F(BaseScreen, WatchesTheGlassesThatTakeThePlaceOfOthers) {
    const auto first = desk.device();
    const auto second = desk.addGlasses("Second", 2);
    pair->leaveRange();
    ASSERT_TRUE(desk.link());
    EXPECT_EQ(desk.device()->peripheralID(), second->identifier());
    const int before = screen().disconnections;
    first->isConnected.setValue(false);
    desk.world.run();
    EXPECT_EQ(screen().disconnections, before) << "the first pair is nobody's any more";
    second->dropConnection();
    desk.world.advance(1s);
    EXPECT_GT(screen().disconnections, before);
}

TEST_F(BaseScreen, LearnsThatTheGlassesWereUnlinked) {
    desk.manager().unlink();
    desk.world.advance(1s);
    EXPECT_GE(screen().disconnections, 1);
    EXPECT_EQ(desk.picker(), nullptr) << "the picker opens when the screen appears";
}

TEST(BaseScreenWithoutGlasses, OpensThePickerOnAppearing) {
    ScreensDesk desk;
    desk.show();
    ASSERT_TRUE(desk.picker());
    EXPECT_EQ(desk.screen->presentedViewController(), desk.picker());
    EXPECT_THAT(desk.toolkit->shown, SizeIs(1));
    EXPECT_GE(desk.screen->disconnections, 1);
}

TEST_F(BaseScreen, WithLinkedGlassesOpensNoPicker) {
    EXPECT_THAT(desk.toolkit->shown, IsEmpty());
    pair->leaveRange();
    desk.world.advance(30s);
    screen().beginDisappearance(false);
    screen().endDisappearance();
    desk.show();
    EXPECT_THAT(desk.toolkit->shown, IsEmpty()) << "glasses out of reach are linked all the same";
}

TEST(BaseScreenWithoutGlasses, TakesControlOfNothingYetIsActive) {
    ScreensDesk desk;
    desk.screen->startControl();
    EXPECT_TRUE(desk.screen->isActive());
    desk.screen->stopControl();
    EXPECT_FALSE(desk.screen->isActive());
}

TEST_F(BaseScreen, LeavesNoListenerBehindAndIsCalledNoMore) {
    const auto device = desk.device();
    const auto listeners = device->isConnected.listenerCount();
    const auto linkListeners = desk.manager().isLinked.listenerCount();
    pair->tap(1);
    pair->dropConnection();
    desk.screen.reset();
    EXPECT_EQ(device->isConnected.listenerCount(), listeners - 1);
    EXPECT_EQ(desk.manager().isLinked.listenerCount(), linkListeners - 1);
    desk.world.advance(10s);
}

TEST(BaseScreenAtAnyMoment, MayEnd) {
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        ScreensDesk desk(seed);
        const auto pair = desk.addGlasses("Mine");
        desk.screen->beginAppearance(true);
        desk.screen->endAppearance();
        desk.world.advance(std::chrono::milliseconds(20 * seed));
        if (const auto picker = desk.picker()) {
            picker->didSelectRow(0, 0);
        }
        desk.world.advance(std::chrono::milliseconds(20 * seed));
        desk.screen->startControl();
        pair->tap(1);
        desk.world.application().setState(ApplicationState::background);
        platform::Platform::current().notificationCenter().post({Bluetooth::peerRemovedPairingInfo, nullptr, {}});
        desk.screen.reset();
        desk.world.advance(10s);
        EXPECT_THAT(desk.toolkit->shown, IsEmpty());
        EXPECT_FALSE(desk.picker());
    }
}

TEST(BaseScreenAtAnyMoment, MayOutliveThePlatform) {
    auto screen = std::make_shared<ReadingScreen>();
    {
        ScreensDesk desk;
        desk.screen = screen;
        desk.show();
    }
    screen.reset();
    SUCCEED();
}

TEST(BaseScreenDeathTest, HasNoNegativeTimeout) {
    ScreensDesk desk;
    desk.addGlasses("Mine");
    ASSERT_TRUE(desk.link());
    desk.screen->setDisplayTimeout(-1);
    EXPECT_DEATH(desk.screen->startControl(), "a display time-out is not negative");
}

} // namespace
} // namespace tarnel
