#include "QtDesk.hpp"

#include <TarnelQt/QtApplicationState.hpp>
#include <TarnelQt/QtLanguage.hpp>
#include <TarnelQt/QtMainQueue.hpp>
#include <TarnelQt/QtSimulatedTime.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using platform::ApplicationState;
using test::QtDesk;
using test::settle;
using ::testing::ElementsAre;

/// Works Qt's events off until the condition holds; at most ten seconds.
bool waitFor(const std::function<bool()>& condition) {
    return QTest::qWaitFor(condition, 10'000);
}

TEST(QtMainQueue, RunsTheBlocksOfTheMainQueueInTheirOrderOnTheThreadOfTheEventLoop) {
    ThreadScheduler scheduler;
    const QtMainQueue queue(scheduler);
    const auto main = scheduler.mainQueue();
    std::vector<int> ran;
    main->async([&] {
        EXPECT_TRUE(main->isCurrent());
        ran.push_back(1);
        main->async([&ran] { ran.push_back(3); });
    });
    main->async([&ran] { ran.push_back(2); });
    EXPECT_TRUE(ran.empty());
    EXPECT_TRUE(waitFor([&ran] { return ran.size() == 3; }));
    EXPECT_THAT(ran, ElementsAre(1, 2, 3));
}

TEST(QtMainQueue, IsWokenByOtherThreads) {
    ThreadScheduler scheduler;
    const QtMainQueue queue(scheduler);
    const auto worker = scheduler.makeSerialQueue("worker");
    const auto gui = std::this_thread::get_id();
    constexpr int count = 1000;
    int ran = 0;
    std::atomic<int> waited = 0;
    worker->async([&, main = scheduler.mainQueue()] {
        for (int i = 0; i < count; ++i) {
            main->async([&ran, gui] {
                EXPECT_EQ(std::this_thread::get_id(), gui);
                ++ran;
            });
        }
        main->sync([&ran] { ++ran; });
        waited = 1;
        main->asyncAfter(1ms, [&ran] { ++ran; });
    });
    EXPECT_TRUE(waitFor([&] { return ran == count + 2; }));
    EXPECT_EQ(waited, 1);
}

TEST(QtMainQueue, LetsQtsEventsThroughBetweenBlocksThatGoOnForEver) {
    ThreadScheduler scheduler;
    const QtMainQueue queue(scheduler);
    const auto main = scheduler.mainQueue();
    bool isOver = false;
    std::function<void()> again = [&] {
        if (!isOver) {
            main->async(again);
        }
    };
    main->async(again);
    QMetaObject::invokeMethod(
        qApp, [&isOver] { isOver = true; }, Qt::QueuedConnection);
    EXPECT_TRUE(waitFor([&isOver] { return isOver; }));
}

TEST(QtMainQueue, ThatIsGoneRunsNothing) {
    ThreadScheduler scheduler;
    bool hasRun = false;
    {
        const QtMainQueue queue(scheduler);
        scheduler.mainQueue()->async([&hasRun] { hasRun = true; });
    }
    settle();
    EXPECT_FALSE(hasRun);
    const QtMainQueue next(scheduler);
    settle();
    EXPECT_TRUE(hasRun);
}

TEST(QtSimulatedTime, PassesWithTheClock) {
    SimulatedScheduler scheduler(1);
    bool hasRun = false;
    scheduler.mainQueue()->asyncAfter(30ms, [&hasRun] { hasRun = true; });
    const QtSimulatedTime time(scheduler);
    QElapsedTimer clock;
    clock.start();
    EXPECT_TRUE(waitFor([&hasRun] { return hasRun; }));
    EXPECT_GE(clock.elapsed(), 29);
    EXPECT_LE(scheduler.now(), std::chrono::milliseconds(clock.elapsed() + 50));
}

TEST(QtApplicationState, TellsWhenTheApplicationLeavesTheFrontAndComesBack) {
    QtDesk desk;
    desk.show();
    std::vector<ApplicationState> states;
    const QtApplicationState state([&](ApplicationState next) {
        states.push_back(next);
        desk.world.application().setState(next);
    });
    ASSERT_THAT(states, ElementsAre(ApplicationState::active));
    desk.window->hide();
    ASSERT_TRUE(waitFor([&] { return states.size() == 2; }));
    EXPECT_EQ(states.back(), ApplicationState::background);
    EXPECT_EQ(state.state(), ApplicationState::background);
    desk.advance(1s);
    EXPECT_EQ(desk.screen->departures, 1);
    desk.screen->startControl();
    EXPECT_FALSE(desk.screen->isActive()) << "not in the background";
    desk.show();
    ASSERT_TRUE(waitFor([&] { return states.back() == ApplicationState::active; }));
    desk.screen->startControl();
    EXPECT_TRUE(desk.screen->isActive());
}

TEST(QtLanguage, LaysOutAsTheLanguageIsWritten) {
    setLayoutDirection("ar-EG");
    EXPECT_EQ(QGuiApplication::layoutDirection(), Qt::RightToLeft);
    for (const char* locale : {"de-DE", "zh-Hans-CN", "", "no language"}) {
        setLayoutDirection("he-IL");
        setLayoutDirection(locale);
        EXPECT_EQ(QGuiApplication::layoutDirection(), Qt::LeftToRight) << locale;
    }
}

} // namespace
} // namespace tarnel
