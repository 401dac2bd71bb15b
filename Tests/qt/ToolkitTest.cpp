#include "QtDesk.hpp"

#include <TarnelSDK/ui/AlertController.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAnimationDriver>
#include <QShortcut>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using test::QtDesk;
using test::settle;
using ::testing::ElementsAre;

std::shared_ptr<AlertController> makeAlert(std::vector<std::string>& chosen, const std::vector<AlertAction>& actions) {
    auto alert = std::make_shared<AlertController>("Title", "Message", AlertController::Style::alert);
    for (auto action : actions) {
        action.handler = [&chosen, title = action.title] { chosen.push_back(title); };
        alert->addAction(action);
    }
    return alert;
}

/// Animations at the time that the test says.
class StillTime : public QAnimationDriver {
public:
    StillTime() { install(); }
    ~StillTime() override { uninstall(); }
    qint64 elapsed() const override { return elapsed_; }
    void pass(qint64 milliseconds) {
        elapsed_ += milliseconds;
        advanceAnimation();
    }

private:
    qint64 elapsed_ = 0;
};

TEST(Toolkit, TheWindowBelowAScreenTakesNoInput) {
    QtDesk desk;
    int shortcuts = 0;
    QShortcut shortcut(QKeySequence(Qt::CTRL | Qt::Key_R), desk.window.get());
    QObject::connect(&shortcut, &QShortcut::activated, &shortcut, [&shortcuts] { ++shortcuts; });
    desk.show();
    desk.click(desk.button);
    desk.press(Qt::Key_R, Qt::ControlModifier);
    desk.press(Qt::Key_R, Qt::AltModifier);
    ASSERT_EQ(shortcuts, 1);
    ASSERT_TRUE(QTest::qWaitFor([&desk] { return desk.clicks == 2; })) << "a button is seen to go down first";
    const auto picker = desk.present();
    desk.click(desk.button);
    desk.press(Qt::Key_R, Qt::ControlModifier);
    desk.press(Qt::Key_R, Qt::AltModifier);
    QTest::keyClick(desk.button, Qt::Key_Space);
    EXPECT_FALSE(desk.button->isDown());
    EXPECT_EQ(shortcuts, 1);
    EXPECT_EQ(desk.clicks, 2);
    desk.button->setFocus();
    desk.press(Qt::Key_Space);
    EXPECT_EQ(desk.clicks, 2) << "not even with the focus";
    EXPECT_TRUE(desk.cardOf(*picker)->isAncestorOf(QApplication::focusWidget())) << "which goes back";
    desk.press(Qt::Key_Escape);
    desk.press(Qt::Key_R, Qt::ControlModifier);
    desk.click(desk.button);
    EXPECT_EQ(shortcuts, 2);
    EXPECT_EQ(desk.clicks, 3);
}

TEST(Toolkit, TheTabulatorGoesRoundWithinTheScreen) {
    QtDesk desk;
    const auto picker = desk.present();
    picker->addAction({.title = "Help"});
    desk.advance(10ms);
    std::vector<QWidget*> visited;
    for (int step = 0; step < 4; ++step) {
        visited.push_back(QApplication::focusWidget());
        desk.press(Qt::Key_Tab);
    }
    EXPECT_THAT(visited, ElementsAre(desk.tableOf(*picker), desk.buttonOf(*picker, "Close"),
                                     desk.buttonOf(*picker, "Help"), desk.tableOf(*picker)));
    desk.press(Qt::Key_Backtab, Qt::ShiftModifier);
    EXPECT_EQ(QApplication::focusWidget(), desk.tableOf(*picker));
}

TEST(Toolkit, GivesTheFocusBackWhenAScreenLeaves) {
    QtDesk desk;
    desk.show();
    desk.button->setFocus();
    desk.present();
    EXPECT_NE(QApplication::focusWidget(), desk.button);
    desk.press(Qt::Key_Escape);
    EXPECT_EQ(QApplication::focusWidget(), desk.button);
}

TEST(Toolkit, AnAlertCallsTheHandlerOfTheChosenButton) {
    std::vector<std::string> chosen;
    const std::vector<AlertAction> actions{{.title = "Delete", .style = AlertAction::Style::destructive},
                                           {.title = "Keep", .style = AlertAction::Style::default_},
                                           {.title = "Cancel", .style = AlertAction::Style::cancel}};
    for (int way = 0; way < 4; ++way) {
        QtDesk desk;
        desk.show();
        const auto alert = makeAlert(chosen, actions);
        desk.screen->present(alert, true);
        desk.advance(10ms);
        ASSERT_TRUE(desk.isSeen(*alert));
        switch (way) {
        case 0:
            desk.press(Qt::Key_Return); // the first that destroys nothing
            break;
        case 1:
            desk.press(Qt::Key_Escape);
            break;
        case 2:
            desk.click(desk.buttonOf(*alert, "Delete"));
            break;
        default:
            desk.press(Qt::Key_Tab);
            desk.press(Qt::Key_Space);
        }
        desk.advance(10ms);
        EXPECT_FALSE(desk.isSeen(*alert));
    }
    EXPECT_THAT(chosen, ElementsAre("Keep", "Cancel", "Delete", "Cancel"));
}

TEST(Toolkit, AnAlertWithoutButtonsLeavesByEscapeAndOneWithChoicesDoesNot) {
    std::vector<std::string> chosen;
    QtDesk desk;
    desk.show();
    const auto silent = makeAlert(chosen, {});
    desk.screen->present(silent, true);
    desk.press(Qt::Key_Escape);
    EXPECT_FALSE(desk.isSeen(*silent));
    const auto choice = makeAlert(chosen, {{.title = "One"}, {.title = "Two"}});
    desk.screen->present(choice, true);
    desk.press(Qt::Key_Escape);
    EXPECT_TRUE(desk.isSeen(*choice));
    EXPECT_TRUE(chosen.empty());
}

TEST(Toolkit, AScreenComesAndGoesInTimeAndAnyKeyEndsThat) {
    StillTime time;
    QtDesk desk;
    desk.toolkit->setAnimation(160ms);
    desk.show();
    int completions = 0;
    const auto picker = std::make_shared<TarnelPickerController>();
    desk.screen->present(picker, true, [&] { ++completions; });
    desk.advance(1s);
    time.pass(40);
    EXPECT_EQ(picker->appearance(), ViewController::Appearance::appearing);
    EXPECT_TRUE(desk.cardOf(*picker)->graphicsEffect());
    time.pass(100);
    EXPECT_EQ(completions, 0);
    time.pass(100);
    EXPECT_EQ(picker->appearance(), ViewController::Appearance::appeared);
    EXPECT_EQ(completions, 1);
    EXPECT_FALSE(desk.cardOf(*picker)->graphicsEffect());
    desk.press(Qt::Key_Escape);
    time.pass(40);
    EXPECT_EQ(picker->appearance(), ViewController::Appearance::disappearing);
    EXPECT_FALSE(desk.manager().isScanning.value());
    desk.press(Qt::Key_Down);
    EXPECT_EQ(picker->appearance(), ViewController::Appearance::disappeared);
    EXPECT_FALSE(desk.isSeen(*picker));
    desk.screen->present(picker, true, [&] { ++completions; });
    desk.press(Qt::Key_Down);
    EXPECT_EQ(picker->appearance(), ViewController::Appearance::appeared);
    EXPECT_EQ(completions, 2);
}

TEST(Toolkit, AScreenThatStillGoesMayBePresentedAgain) {
    StillTime time;
    QtDesk desk;
    desk.toolkit->setAnimation(160ms);
    desk.show();
    const auto picker = std::make_shared<TarnelPickerController>();
    desk.screen->present(picker, true);
    time.pass(40);
    picker->close(); // before it is all there
    time.pass(40);
    desk.screen->present(picker, true);
    for (int step = 0; step < 10; ++step) {
        time.pass(40);
        desk.advance(10ms);
    }
    EXPECT_EQ(picker->appearance(), ViewController::Appearance::appeared);
    EXPECT_TRUE(desk.isSeen(*picker));
}

TEST(Toolkit, AHiddenWindowTakesItsScreensAway) {
    QtDesk desk;
    const auto picker = desk.present();
    std::vector<std::string> chosen;
    const auto alert = makeAlert(chosen, {{.title = "OK"}});
    picker->present(alert, true);
    ASSERT_TRUE(desk.isSeen(*alert));
    desk.window->close();
    desk.advance(10ms);
    EXPECT_FALSE(desk.screen->presentedViewController());
    EXPECT_FALSE(desk.manager().isScanning.value());
    EXPECT_EQ(picker->appearance(), ViewController::Appearance::disappeared);
    EXPECT_EQ(alert->appearance(), ViewController::Appearance::disappeared);
    desk.show();
    EXPECT_FALSE(desk.isSeen(*picker));
}

TEST(Toolkit, ADestroyedWindowTakesItsScreensAway) {
    QtDesk desk;
    const auto picker = desk.present();
    desk.window.reset();
    desk.advance(1s);
    EXPECT_EQ(picker->appearance(), ViewController::Appearance::disappeared);
    EXPECT_FALSE(desk.manager().isScanning.value());
    EXPECT_FALSE(desk.screen->presentedViewController());
    desk.screen->present(picker, true);
    desk.advance(1s);
    EXPECT_TRUE(desk.isSeen(*picker)) << "in a window of its own";
    EXPECT_TRUE(desk.cardOf(*picker)->window()->isWindow());
    const QPointer<QWidget> own = desk.cardOf(*picker)->window();
    picker->close();
    desk.advance(1s);
    EXPECT_FALSE(desk.isSeen(*picker));
    EXPECT_FALSE(own) << "which goes with it";
}

TEST(Toolkit, ClosingTheWindowOfAScreenThatHasItsOwnTakesTheScreenAway) {
    QtDesk desk;
    const auto picker = std::make_shared<TarnelPickerController>();
    desk.screen->present(picker, true);
    desk.advance(1s);
    ASSERT_TRUE(desk.isSeen(*picker));
    desk.cardOf(*picker)->window()->close();
    desk.advance(1s);
    EXPECT_FALSE(desk.screen->presentedViewController());
    EXPECT_FALSE(desk.manager().isScanning.value());
}

TEST(Toolkit, ThatGoesTakesEverythingAlong) {
    QtDesk desk;
    const auto picker = desk.present();
    desk.toolkit.reset();
    settle();
    EXPECT_EQ(picker->appearance(), ViewController::Appearance::disappeared);
    EXPECT_FALSE(desk.isSeen(*picker));
    desk.click(desk.button);
    EXPECT_EQ(desk.clicks, 1);
    EXPECT_FALSE(QtScreenToolkit::provided());
}

TEST(Toolkit, AScreenWithoutAWidgetAppearsUnseen) {
    QtDesk desk;
    desk.show();
    const auto plain = std::make_shared<ViewController>();
    int completions = 0;
    desk.screen->present(plain, true, [&] { ++completions; });
    EXPECT_EQ(plain->appearance(), ViewController::Appearance::appeared);
    plain->dismiss(true, [&] { ++completions; });
    EXPECT_EQ(plain->appearance(), ViewController::Appearance::disappeared);
    EXPECT_EQ(completions, 2);
    desk.click(desk.button);
    EXPECT_EQ(desk.clicks, 1);
}

/// A screen that draws itself.
struct OwnScreen : ViewController {
    void loadView() override {
        auto label = std::make_unique<QLabel>(QStringLiteral("drawn by the application"));
        label->setFixedSize(200, 100);
        setView(std::make_shared<QtScreenView>(std::move(label), [this] { ++reloads; }));
    }
    using ViewController::reload;
    int reloads = 0;
};

TEST(Toolkit, AnApplicationPresentsAScreenThatItDrawsItself) {
    QtDesk desk;
    desk.show();
    const auto own = std::make_shared<OwnScreen>();
    desk.screen->present(own, true);
    ASSERT_TRUE(desk.isSeen(*own));
    EXPECT_EQ(desk.cardOf(*own)->size(), QSize(200, 100));
    EXPECT_EQ(desk.cardOf(*own)->pos(), QPoint(220, 190));
    own->reload();
    own->reload();
    EXPECT_EQ(own->reloads, 0);
    settle();
    EXPECT_EQ(own->reloads, 1) << "once for all changes";
    own->dismiss(true);
    EXPECT_FALSE(desk.isSeen(*own));
}

/// Over a window that becomes as bright as text.
struct BrightScreen : ViewController {
    struct View : QtScreenView {
        using QtScreenView::QtScreenView;
        Overlay overlay() const override { return {.background = SystemColor::label, .alpha = 1}; }
    };
    void loadView() override {
        auto label = std::make_unique<QLabel>(QStringLiteral("in the middle"));
        label->setFixedSize(200, 100);
        setView(std::make_shared<View>(std::move(label)));
    }
};

TEST(Toolkit, TheWindowAroundAScreenHasTheColourOfItsOverlay) {
    QtDesk desk;
    desk.show();
    const auto bright = std::make_shared<BrightScreen>();
    desk.screen->present(bright, false);
    ASSERT_TRUE(desk.isSeen(*bright));
    auto* const window = desk.cardOf(*bright)->window();
    EXPECT_EQ(window->grab().toImage().pixelColor(5, 5), window->palette().color(QPalette::WindowText));
    bright->dismiss(false);
}

TEST(Toolkit, ScreensMayComeGoAndEndAtAnyMoment) {
    for (std::uint64_t seed = 1; seed <= 24; ++seed) {
        QtDesk desk(seed);
        const auto mine = desk.addGlasses("Mine");
        const auto moment = std::chrono::milliseconds(seed * 37);
        desk.show();
        std::weak_ptr<ViewController> weak;
        {
            auto picker = std::make_shared<TarnelPickerController>();
            weak = picker;
            desk.screen->present(picker, true);
        }
        desk.advance(moment);
        if (const auto picker = std::dynamic_pointer_cast<TarnelPickerController>(weak.lock())) {
            picker->didSelectRow(0, 0);
        }
        desk.world.advance(moment);
        switch (seed % 6) {
        case 0:
            desk.window.reset();
            break;
        case 1:
            desk.screen.reset();
            desk.window.reset();
            break;
        case 2:
            desk.toolkit.reset();
            break;
        case 3:
            desk.press(Qt::Key_Escape);
            break;
        case 4:
            desk.window->hide();
            break;
        default:
            mine->dropConnection();
            desk.screen->dismiss(true);
            desk.window.reset();
            desk.screen.reset();
        }
        desk.advance(30s);
        desk.screen.reset();
        desk.window.reset();
        settle();
        EXPECT_TRUE(weak.expired());
        EXPECT_FALSE(desk.manager().isScanning.value());
    }
}

} // namespace
} // namespace tarnel
