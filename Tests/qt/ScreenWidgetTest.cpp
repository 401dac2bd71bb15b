#include "QtDesk.hpp"

#include <gtest/gtest.h>

#include <QMainWindow>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using Appearance = ViewController::Appearance;
using test::QtDesk;
using test::settle;

TEST(ScreenWidget, ItsScreenAppearsAndDisappearsWithIt) {
    QtDesk desk;
    EXPECT_EQ(desk.screen->appearance(), Appearance::disappeared);
    EXPECT_FALSE(desk.screen->isViewLoaded());
    desk.show();
    EXPECT_EQ(desk.screen->appearance(), Appearance::appeared);
    desk.window->hide();
    EXPECT_EQ(desk.screen->appearance(), Appearance::disappeared);
    desk.window->show();
    desk.window->hide();
    settle();
    EXPECT_EQ(desk.screen->appearance(), Appearance::disappeared) << "also when it was not all there";
    desk.show();
    desk.window.reset();
    EXPECT_EQ(desk.screen->appearance(), Appearance::disappeared);
}

TEST(ScreenWidget, WithoutGlassesOpensThePickerOverTheWholeWindowThatItStandsIn) {
    QtDesk desk;
    desk.screen->opensPicker = true;
    QMainWindow main;
    main.setCentralWidget(desk.window.release());
    main.resize(800, 600);
    main.show();
    test::activate(main);
    desk.advance(1s);
    const auto picker = desk.screen->presentedViewController();
    ASSERT_TRUE(picker);
    ASSERT_TRUE(desk.isSeen(*picker));
    EXPECT_EQ(desk.cardOf(*picker)->parentWidget()->parentWidget(), &main);
    EXPECT_EQ(desk.cardOf(*picker)->parentWidget()->size(), main.size());
    main.hide();
    desk.advance(1s);
    EXPECT_FALSE(desk.manager().isScanning.value());
    main.show();
    desk.advance(1s);
    EXPECT_TRUE(desk.screen->presentedViewController()) << "coming back asks for glasses again";
}

/// Takes the display while it is shown.
struct ControllingScreen : TarnelBaseViewController {
    void loadView() override {
        setView(std::make_shared<QtScreenView>(std::make_unique<QLabel>(QStringLiteral("text"))));
    }
    void viewDidAppear(bool animated) override {
        TarnelBaseViewController::viewDidAppear(animated);
        startControl();
    }
    void viewWillDisappear(bool animated) override {
        stopControl();
        TarnelBaseViewController::viewWillDisappear(animated);
    }
};

TEST(ScreenWidget, IsFilledWithTheScreensViewAndHasTheDisplayWhileItIsShown) {
    QtDesk desk;
    const auto mine = desk.addGlasses("Mine");
    ASSERT_TRUE(desk.link());
    const auto screen = std::make_shared<ControllingScreen>();
    {
        QtScreenWidget widget(screen);
        widget.resize(300, 200);
        widget.show();
        desk.advance(2s);
        const auto* const label = widget.findChild<QLabel*>();
        ASSERT_TRUE(label);
        EXPECT_EQ(label->size(), widget.size());
        EXPECT_EQ(mine->controlOwner(), "org.example.application");
    }
    desk.advance(2s);
    EXPECT_EQ(mine->controlOwner(), std::nullopt);
}

} // namespace
} // namespace tarnel
