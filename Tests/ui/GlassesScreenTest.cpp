#include "ScreensFixture.hpp"

#include <TarnelSDK/ui/GlassesScreen.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <any>
#include <functional>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using platform::ApplicationState;
using test::ScreensDesk;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* application = "org.example.application";

/// An application's screen that draws whenever the display is its own, and writes down what it is told. It passes none
/// of the hooks on.
struct DrawingScreen : GlassesScreen {
    using GlassesScreen::GlassesScreen;
    void onControlTaken() override {
        told.emplace_back("taken");
        EXPECT_TRUE(isActive());
        const auto device = TarnelManager::shared().currentDevice();
        device->canvas.drawBackground(Image(8, 8, PixelFormat::gray8, Bytes(64, 0xFF)), 0, 0, false);
        device->canvas.commit();
    }
    void onControlLost() override {
        told.emplace_back("lost");
        EXPECT_FALSE(isActive());
    }
    void onConnected() override { told.emplace_back("connected"); }
    void onDisconnected() override { ++disconnections; }
    void onTap(const platform::Notification& notification) override {
        told.emplace_back("tap");
        EXPECT_EQ(notification.object, TarnelManager::shared().currentDevice());
    }
    void onPowerButtonTap(const platform::Notification&) override { told.emplace_back("power"); }
    void onDisplayTimeout() override { told.emplace_back("timeout"); }
    void onAppLeave() override {
        told.emplace_back("leave");
        EXPECT_FALSE(isActive());
    }

    std::vector<std::string> take() { return std::exchange(told, {}); }

    std::vector<std::string> told;
    int disconnections = 0;
};

/// A screen that has appeared with no glasses linked, and two pairs within range.
class GlassesScreenTest : public ::testing::Test {
protected:
    GlassesScreenTest() { appear(); }
    ~GlassesScreenTest() override { screen.reset(); }

    void appear() {
        screen->beginAppearance(false);
        screen->endAppearance();
        desk.world.advance(5s);
    }
    void disappear() {
        screen->beginDisappearance(false);
        screen->endDisappearance();
        desk.world.advance(2s);
    }
    /// On the picker that is open.
    void pick(const std::string& name) {
        const auto picker = desk.picker();
        ASSERT_TRUE(picker);
        const auto rows = ScreensDesk::rows(*picker);
        const auto row = std::find(rows.begin(), rows.end(), name) - rows.begin();
        ASSERT_LT(row, static_cast<std::ptrdiff_t>(rows.size())) << ::testing::PrintToString(rows);
        picker->didSelectRow(0, static_cast<int>(row));
        desk.world.advance(10s);
        ASSERT_TRUE(desk.isConnected());
    }
    void setState(ApplicationState state) {
        desk.world.application().setState(state);
        desk.world.advance(2s);
    }
    static bool isLit(const glasses::SimulatedGlasses& pair) {
        return pair.controlOwner() == application && pair.frame().at(0, 0) == 3;
    }
    /// The first pair, linked through the picker.
    void startWithGlasses() {
        pick("First");
        ASSERT_TRUE(isLit(*first));
        screen->take();
    }

    ScreensDesk desk;
    std::shared_ptr<glasses::SimulatedGlasses> first = desk.addGlasses("First", 1);
    std::shared_ptr<glasses::SimulatedGlasses> second = desk.addGlasses("Second", 2);
    std::shared_ptr<DrawingScreen> screen = std::make_shared<DrawingScreen>();
};

TEST_F(GlassesScreenTest, HoldsNothingWithoutGlasses) {
    EXPECT_FALSE(screen->isActive());
    EXPECT_THAT(screen->told, IsEmpty());
    EXPECT_TRUE(desk.picker());
}

TEST_F(GlassesScreenTest, TakesTheDisplayOfTheGlassesThatArePicked) {
    pick("First");
    EXPECT_THAT(screen->take(), ElementsAre("connected", "taken"));
    EXPECT_TRUE(isLit(*first));
    first->tap(1);
    first->powerButton(1);
    desk.world.advance(1s);
    EXPECT_THAT(screen->take(), ElementsAre("tap", "power"));
}

TEST_F(GlassesScreenTest, TakesTheDisplayOfGlassesThatWereLinkedBefore) {
    pick("First");
    disappear();
    EXPECT_EQ(first->controlOwner(), std::nullopt);
    screen = std::make_shared<DrawingScreen>();
    appear();
    EXPECT_THAT(screen->take(), ElementsAre("connected", "taken"));
    EXPECT_TRUE(isLit(*first));
}

TEST_F(GlassesScreenTest, TakesTheDisplayAgainWhenTheGlassesComeBack) {
    for (const auto& fault :
         std::vector<std::function<void()>>{[&] { first->dropConnection(); }, [&] { first->reset(); },
                                            [&] {
                                                first->leaveRange();
                                                desk.world.advance(30s);
                                                EXPECT_FALSE(screen->isActive());
                                                first->enterRange();
                                            }}) {
        if (!desk.device()) {
            startWithGlasses();
        }
        fault();
        desk.world.advance(30s);
        EXPECT_THAT(screen->take(), ElementsAre("lost", "connected", "taken"));
        EXPECT_TRUE(isLit(*first));
        first->tap(1);
        desk.world.advance(1s);
        EXPECT_THAT(screen->take(), ElementsAre("tap"));
    }
    EXPECT_GE(screen->disconnections, 3);
}

TEST_F(GlassesScreenTest, MovesToTheGlassesThatTakeThePlaceOfOthers) {
    startWithGlasses();
    disappear();
    screen = std::make_shared<DrawingScreen>(); // loaded while the first pair is linked
    appear();
    ASSERT_TRUE(isLit(*first));
    screen->take();
    const auto before = desk.device();
    desk.manager().startScan([&](const platform::PeripheralPointer& peripheral) {
        if (peripheral->identifier() == second->identifier()) {
            ScreensDesk::manager().link(peripheral, nullptr);
        }
    });
    desk.world.advance(10s);
    ASSERT_EQ(desk.device()->peripheralID(), second->identifier());
    EXPECT_THAT(screen->take(), ElementsAre("lost", "connected", "taken"));
    EXPECT_TRUE(isLit(*second));
    EXPECT_EQ(first->controlOwner(), std::nullopt) << "the first pair is free for others";
    first->tap(1);
    platform::Platform::current().notificationCenter().post({NotificationName::tap, before, {}});
    desk.world.advance(1s);
    EXPECT_THAT(screen->take(), IsEmpty());
    second->tap(1);
    desk.world.advance(1s);
    EXPECT_THAT(screen->take(), ElementsAre("tap"));
}

TEST_F(GlassesScreenTest, MovesToOtherGlassesAfterTheFirstWereUnlinked) {
    startWithGlasses();
    desk.manager().unlink();
    desk.world.advance(5s);
    EXPECT_THAT(screen->take(), ElementsAre("lost"));
    screen->present(std::make_shared<TarnelPickerController>(), true);
    desk.world.advance(5s);
    pick("Second");
    EXPECT_THAT(screen->take(), ElementsAre("connected", "taken"));
    EXPECT_TRUE(isLit(*second));
    second->tap(1);
    desk.world.advance(1s);
    EXPECT_THAT(screen->take(), ElementsAre("tap"));
}

TEST_F(GlassesScreenTest, GivesTheDisplayBackWhenTheApplicationIsLeftAndTakesItOnReturn) {
    startWithGlasses();
    setState(ApplicationState::inactive);
    EXPECT_THAT(screen->take(), ElementsAre("lost", "leave"));
    EXPECT_EQ(first->controlOwner(), std::nullopt);
    setState(ApplicationState::background);
    setState(ApplicationState::inactive);
    EXPECT_THAT(screen->take(), IsEmpty());
    setState(ApplicationState::active);
    EXPECT_THAT(screen->take(), ElementsAre("taken"));
    EXPECT_TRUE(isLit(*first));
}

TEST_F(GlassesScreenTest, TakesNothingWhileTheApplicationIsAway) {
    startWithGlasses();
    for (const auto state : {ApplicationState::inactive, ApplicationState::background}) {
        setState(state);
        first->dropConnection();
        desk.world.advance(30s);
        ASSERT_TRUE(desk.isConnected());
        screen->startControl();
        desk.world.advance(2s);
        EXPECT_FALSE(screen->isActive());
        EXPECT_EQ(first->controlOwner(), std::nullopt);
    }
    screen->take();
    setState(ApplicationState::active);
    EXPECT_THAT(screen->take(), ElementsAre("taken"));
}

TEST_F(GlassesScreenTest, TakesTheDisplayWhereThePlatformDoesNotTellOfTheReturn) {
    startWithGlasses();
    platform::Platform::current().notificationCenter().post({platform::Application::willResignActive, nullptr, {}});
    desk.world.advance(2s);
    EXPECT_FALSE(screen->isActive());
    screen->startControl();
    EXPECT_TRUE(screen->isActive());
}

TEST_F(GlassesScreenTest, LeavesTheDisplayToAnotherApplicationThatTakesIt) {
    startWithGlasses();
    first->takeControl("org.example.other");
    desk.world.advance(5s);
    EXPECT_EQ(screen->take().front(), "lost");
    EXPECT_FALSE(screen->isActive());
    EXPECT_EQ(first->controlOwner(), "org.example.other");
    disappear();
    EXPECT_EQ(first->controlOwner(), "org.example.other") << "what is another's is not given back";
    appear();
    EXPECT_TRUE(isLit(*first));
}

TEST_F(GlassesScreenTest, TakesTheDisplayFromAnotherApplicationWhenItsOwnIsCalled) {
    startWithGlasses();
    first->takeControl("org.example.other");
    desk.world.advance(5s);
    setState(ApplicationState::inactive);
    EXPECT_EQ(first->controlOwner(), "org.example.other");
    setState(ApplicationState::active);
    EXPECT_TRUE(isLit(*first));
    first->takeControl("org.example.other");
    desk.world.advance(5s);
    screen->startControl();
    desk.world.advance(5s);
    EXPECT_TRUE(isLit(*first));
}

TEST_F(GlassesScreenTest, KeepsADisplayThatTheApplicationHasGivenBackFree) {
    startWithGlasses();
    screen->stopControl();
    screen->stopControl();
    EXPECT_THAT(screen->take(), ElementsAre("lost"));
    first->dropConnection();
    desk.world.advance(30s);
    setState(ApplicationState::inactive);
    setState(ApplicationState::active);
    EXPECT_THAT(screen->take(), ElementsAre("connected", "leave"));
    EXPECT_EQ(first->controlOwner(), std::nullopt);
    screen->startControl();
    screen->startControl();
    desk.world.advance(2s);
    EXPECT_THAT(screen->take(), ElementsAre("taken"));
    EXPECT_TRUE(isLit(*first));
}

TEST_F(GlassesScreenTest, LosesTheDisplayThatGoesDarkAndTakesItAgainWhenAsked) {
    startWithGlasses();
    first->displayTimeout();
    desk.world.advance(2s);
    EXPECT_THAT(screen->take(), ElementsAre("lost", "timeout"));
    EXPECT_FALSE(screen->isActive());
    screen->startControl();
    desk.world.advance(2s);
    EXPECT_THAT(screen->take(), ElementsAre("taken"));
    EXPECT_TRUE(isLit(*first));
}

TEST_F(GlassesScreenTest, TakesTheDisplayWithItsOwnLayout) {
    screen->setLayout(Layout::textBottomCenterAlign);
    screen->setHideStatusBar(true);
    pick("First");
    EXPECT_EQ(first->layout(), static_cast<int>(Layout::textBottomCenterAlign));
    EXPECT_TRUE(first->hidesStatusBar());
}

TEST_F(GlassesScreenTest, SendsOneLayoutForEachTimeItTakesTheDisplay) {
    const auto layouts = [&] {
        std::size_t count = 0;
        for (const auto& message : first->receivedMessages()) {
            const auto* entries = message.value.dictionary();
            count += entries && entries->contains("control") ? 1 : 0;
        }
        return count;
    };
    pick("First");
    EXPECT_EQ(layouts(), 1u);
    first->dropConnection();
    desk.world.advance(30s);
    EXPECT_EQ(layouts(), 2u);
}

TEST_F(GlassesScreenTest, LeavesNoListenerBehindAndIsCalledNoMore) {
    startWithGlasses();
    const auto device = desk.device();
    const auto listeners = device->isConnected.listenerCount();
    first->tap(1);
    first->dropConnection();
    screen.reset();
    EXPECT_EQ(device->isConnected.listenerCount(), listeners - 2) << "its own and its base's";
    setState(ApplicationState::inactive);
    setState(ApplicationState::active);
    desk.world.advance(10s);
}

TEST(GlassesScreenAtAnyMoment, MayEndOrOutliveThePlatform) {
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        auto screen = std::make_shared<DrawingScreen>();
        {
            ScreensDesk desk(seed);
            const auto pair = desk.addGlasses("Mine");
            screen->beginAppearance(true);
            screen->endAppearance();
            desk.world.advance(std::chrono::milliseconds(20 * seed));
            if (const auto picker = desk.picker()) {
                picker->didSelectRow(0, 0);
            }
            desk.world.advance(std::chrono::milliseconds(100 * seed));
            pair->tap(1);
            pair->dropConnection();
            desk.world.application().setState(ApplicationState::background);
            desk.world.application().setState(ApplicationState::active);
            if (seed % 2 == 0) {
                screen.reset();
                desk.world.advance(10s);
            }
        }
    }
}

} // namespace
} // namespace tarnel
