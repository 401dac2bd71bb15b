#include "listings/ReaderScreen.inc"

#include <TarnelQt/glasses/QtGlassesWindow.hpp>
#include <TarnelSDK/ui/TarnelPickerController.hpp>

#include <gtest/gtest.h>
#include <qt/QtDesk.hpp>

#include <QDir>

/// The screen that Documentation/Screens.md shows, in a window and with the picker of TarnelQt.
namespace tarnel {
namespace {

using namespace std::chrono_literals;
using platform::ApplicationState;
using test::QtDesk;

class TheScreenOfThePage : public ::testing::Test {
protected:
    ~TheScreenOfThePage() override {
        window.reset();
        screen.reset();
        test::settle();
    }

    void show() {
        window->resize(640, 480);
        window->show();
        test::activate(*window);
        desk.advance(5s);
    }
    /// By a click on the picker that is open.
    void pick(const QString& name) {
        const auto picker = screen->presentedViewController();
        ASSERT_TRUE(picker);
        auto* const table = QtDesk::tableOf(*picker);
        const auto found = table->findItems(name, Qt::MatchExactly);
        ASSERT_EQ(found.size(), 1);
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, table->visualItemRect(found.front()).center());
        desk.advance(10s);
        ASSERT_TRUE(QtDesk::isConnected());
        EXPECT_FALSE(screen->presentedViewController());
    }
    void setState(ApplicationState state) {
        desk.world.application().setState(state);
        desk.advance(5s);
    }
    static bool showsNothing(const glasses::SimulatedGlasses& pair) {
        return !pair.controlOwner() && pair.layout() == static_cast<int>(Layout::default_);
    }
    /// The page that the glasses show, as a picture; each page is another one.
    static glasses::Frame page(const glasses::SimulatedGlasses& pair) {
        EXPECT_EQ(pair.controlOwner(), "org.example.application");
        EXPECT_FALSE(pair.frame().isDark());
        return pair.frame();
    }
    void tap(glasses::SimulatedGlasses& pair) {
        pair.tap(1);
        desk.advance(3s);
    }

    QtDesk desk;
    std::shared_ptr<glasses::SimulatedGlasses> first = desk.addGlasses("First", 1);
    std::shared_ptr<glasses::SimulatedGlasses> second = desk.addGlasses("Second", 2);
    std::shared_ptr<ReaderScreen> screen = std::make_shared<ReaderScreen>();
    std::unique_ptr<QtScreenWidget> window = std::make_unique<QtScreenWidget>(screen);
};

TEST_F(TheScreenOfThePage, ShowsItsPageOnTheGlassesThatArePickedAndTurnsItByTaps) {
    show();
    pick(QStringLiteral("First"));
    const auto one = page(*first);
    tap(*first);
    const auto two = page(*first);
    EXPECT_NE(two, one);
    tap(*first);
    EXPECT_NE(page(*first), one);
    EXPECT_NE(page(*first), two);
}

TEST_F(TheScreenOfThePage, ShowsItsPageOnGlassesThatWereLinkedBefore) {
    ASSERT_TRUE(desk.link());
    show();
    EXPECT_FALSE(screen->presentedViewController());
    const auto& pair = desk.device()->peripheralID() == first->identifier() ? first : second;
    const auto one = page(*pair);
    tap(*pair);
    EXPECT_NE(page(*pair), one);
}

TEST_F(TheScreenOfThePage, GoesOnAfterADropAndAReset) {
    show();
    pick(QStringLiteral("First"));
    tap(*first);
    const auto two = page(*first);
    first->dropConnection();
    desk.advance(20s);
    EXPECT_EQ(page(*first), two);
    first->reset();
    desk.advance(20s);
    EXPECT_EQ(page(*first), two);
    tap(*first);
    EXPECT_NE(page(*first), two);
}

TEST_F(TheScreenOfThePage, MovesToAnotherPairThatIsPicked) {
    show();
    pick(QStringLiteral("First"));
    window->hide();
    screen = std::make_shared<ReaderScreen>(); // loaded while the first pair is linked
    window = std::make_unique<QtScreenWidget>(screen);
    show();
    const auto one = page(*first);
    desk.manager().unlink();
    desk.advance(5s);
    screen->present(std::make_shared<TarnelPickerController>(), true);
    desk.advance(5s);
    pick(QStringLiteral("Second"));
    EXPECT_EQ(page(*second), one);
    tap(*second);
    EXPECT_NE(page(*second), one);
    EXPECT_TRUE(showsNothing(*first));
}

TEST_F(TheScreenOfThePage, LeavesWithTheApplicationAndReturnsWithIt) {
    show();
    pick(QStringLiteral("First"));
    tap(*first);
    const auto two = page(*first);
    setState(ApplicationState::background);
    EXPECT_TRUE(showsNothing(*first));
    setState(ApplicationState::active);
    EXPECT_EQ(page(*first), two);
    window->hide();
    desk.advance(3s);
    EXPECT_TRUE(showsNothing(*first));
    show();
    EXPECT_EQ(page(*first), two);
}

TEST_F(TheScreenOfThePage, IsWokenByATapWhenTheDisplayHasGoneDark) {
    show();
    pick(QStringLiteral("First"));
    const auto one = page(*first);
    first->displayTimeout();
    desk.advance(3s);
    EXPECT_TRUE(first->frame().isDark());
    tap(*first);
    EXPECT_NE(page(*first), one);
}

TEST_F(TheScreenOfThePage, IsSeenOnTheDisplay) {
    show();
    pick(QStringLiteral("First"));
    tap(*first);
    QtGlassesWindow glassesWindow(first);
    glassesWindow.show();
    desk.advance(1s);
    QDir().mkpath(QStringLiteral(TARNEL_PICTURES));
    const QString file = QStringLiteral(TARNEL_PICTURES "/reader.png");
    EXPECT_EQ(glassesWindow.saveFrame(file), QString());
    EXPECT_GT(QImage(file).width(), 0);
}

} // namespace
} // namespace tarnel
