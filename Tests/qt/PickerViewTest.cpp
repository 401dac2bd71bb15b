#include "QtDesk.hpp"

#include <TarnelSDK/ui/AlertController.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAccessible>
#include <QHelpEvent>
#include <QTextDocument>
#include <QToolTip>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using platform::CentralState;
using test::QtDesk;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(PickerView, StandsInTheMiddleOfTheWindowAtFourFifthsOfItsWidth) {
    QtDesk desk;
    const auto picker = desk.present();
    const auto* const card = desk.cardOf(*picker);
    ASSERT_TRUE(card->isVisible());
    EXPECT_EQ(card->window(), desk.window.get());
    EXPECT_EQ(card->parentWidget()->geometry(), desk.window->rect()) << "the overlay covers the window";
    EXPECT_EQ(card->width(), 512);
    EXPECT_LE(std::abs(card->geometry().center().x() - desk.window->rect().center().x()), 1);
    EXPECT_LE(std::abs(card->geometry().center().y() - desk.window->rect().center().y()), 1);
    desk.window->resize(1000, 300);
    desk.advance(10ms);
    EXPECT_EQ(card->parentWidget()->geometry(), desk.window->rect());
    EXPECT_EQ(card->width(), 800);
    EXPECT_LE(card->height(), 300);
    EXPECT_TRUE(card->parentWidget()->rect().contains(card->geometry()));
}

TEST(PickerView, HasItsTitleBelowTheUpperEdgeInBold) {
    QtDesk desk;
    const auto picker = desk.present();
    const auto* const title = desk.cardOf(*picker)->findChildren<QLabel*>().front();
    EXPECT_EQ(title->text(), "Choose your glasses");
    EXPECT_EQ(title->font().pixelSize(), 20);
    EXPECT_TRUE(title->font().bold());
    EXPECT_TRUE(title->wordWrap());
    EXPECT_EQ(title->y(), 0);
    EXPECT_EQ(title->contentsMargins(), QMargins(10, 20, 10, 0));
    EXPECT_EQ(title->width(), desk.cardOf(*picker)->width());
    picker->setTitle("Which ones?");
    desk.advance(10ms);
    EXPECT_EQ(title->text(), "Which ones?");
}

TEST(PickerView, SaysThatItLooksForGlassesUntilItHasFoundSome) {
    QtDesk desk;
    const auto picker = desk.present();
    EXPECT_THAT(desk.texts(*picker), ElementsAre("Choose your glasses", "Looking for glasses…",
                                                 "Switch your glasses on and keep them close."));
    desk.addGlasses("One", 1);
    desk.addGlasses("", 2);
    desk.advance(5s);
    EXPECT_THAT(desk.texts(*picker), ElementsAre("Choose your glasses"));
    EXPECT_THAT(desk.rows(*picker), ElementsAre("One", "Recovered glasses"));
}

TEST(PickerView, AClickOnARowLinksTheGlassesAndLeavesOnceTheyAreConnected) {
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        QtDesk desk(seed);
        desk.addGlasses("One", 1);
        const auto two = desk.addGlasses("Two", 2);
        desk.screen->opensPicker = true;
        desk.show();
        desk.advance(5s);
        auto picker = desk.screen->presentedViewController();
        ASSERT_TRUE(picker) << "a screen without glasses opens the picker";
        desk.clickRow(*picker, "Two");
        desk.advance(10s);
        EXPECT_TRUE(two->isConnected());
        EXPECT_TRUE(desk.isConnected());
        EXPECT_FALSE(desk.screen->presentedViewController());
        EXPECT_FALSE(desk.isSeen(*picker));
        EXPECT_FALSE(desk.manager().isScanning.value());
        const std::weak_ptr<ViewController> weak = picker;
        picker.reset();
        desk.advance(10ms);
        EXPECT_TRUE(weak.expired());
        EXPECT_EQ(desk.screen->appearance(), ViewController::Appearance::appeared);
        desk.click(desk.button);
        EXPECT_EQ(desk.clicks, 1) << "the window takes input again";
    }
}

TEST(PickerView, TheArrowsAndEnterLinkGlassesWithoutAMouse) {
    QtDesk desk;
    desk.addGlasses("One", 1);
    const auto two = desk.addGlasses("Two", 2);
    const auto picker = desk.present();
    desk.advance(5s);
    desk.press(Qt::Key_Home);
    desk.press(Qt::Key_Down);
    desk.press(Qt::Key_Return);
    desk.advance(10s);
    EXPECT_TRUE(two->isConnected());
    EXPECT_FALSE(desk.isSeen(*picker));
}

TEST(PickerView, ShowsThatPickedGlassesAreBeingConnected) {
    QtDesk desk;
    const auto one = desk.addGlasses("One", 1);
    desk.addGlasses("Two", 2);
    const auto picker = desk.present();
    desk.advance(5s);
    one->leaveRange();
    const auto before = desk.tableOf(*picker)->grab().toImage();
    desk.clickRow(*picker, "One");
    desk.advance(10s);
    EXPECT_TRUE(desk.isSeen(*picker));
    EXPECT_TRUE(desk.tableOf(*picker)->isBusy(one->identifier().string()));
    desk.tableOf(*picker)->setCurrentItem(nullptr);
    EXPECT_NE(desk.tableOf(*picker)->grab().toImage(), before);
    desk.clickRow(*picker, "Two");
    desk.advance(10s);
    EXPECT_FALSE(desk.isSeen(*picker)) << "others can be picked meanwhile";
    EXPECT_TRUE(desk.isConnected());
}

TEST(PickerView, OverConnectedGlassesShowsThemWithACheckMark) {
    QtDesk desk;
    const auto mine = desk.addGlasses("Mine");
    ASSERT_TRUE(desk.link());
    const auto picker = desk.present();
    EXPECT_THAT(desk.rows(*picker), ElementsAre("Mine ✓"));
    desk.clickRow(*picker, "Mine");
    desk.advance(5s);
    EXPECT_TRUE(desk.isSeen(*picker));
    EXPECT_EQ(mine->counters().connections, 1u);
}

TEST(PickerView, FollowsGlassesThatVanishWhileItIsShownAndComeBack) {
    QtDesk desk;
    const auto mine = desk.addGlasses("Mine", 1);
    ASSERT_TRUE(desk.link());
    desk.addGlasses("Other", 2);
    const auto picker = desk.present();
    ASSERT_THAT(desk.rows(*picker), ElementsAre("Mine ✓"));
    mine->leaveRange();
    desk.advance(20s);
    EXPECT_THAT(desk.rows(*picker), ElementsAre("Other"));
    mine->enterRange();
    desk.advance(20s);
    EXPECT_TRUE(desk.isConnected());
    EXPECT_FALSE(desk.isSeen(*picker));
}

TEST(PickerView, TellsInAnAlertThatThePairingIsLost) {
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Escape}) {
        QtDesk desk;
        const auto mine = desk.world.addGlasses({.name = "Mine", .requiresPairing = true});
        ASSERT_TRUE(desk.link());
        const auto picker = desk.present();
        mine->loseBond();
        desk.advance(20s);
        auto alert = picker->presentedViewController();
        ASSERT_TRUE(alert);
        ASSERT_TRUE(desk.isSeen(*alert));
        EXPECT_THAT(desk.texts(*alert),
                    ElementsAre("Pairing lost", "Your glasses have forgotten this device. Remove them in the Bluetooth "
                                                "settings, then choose them here again."));
        EXPECT_LE(desk.cardOf(*alert)->width(), 512);
        desk.clickRow(*picker, "Mine");
        desk.advance(1s);
        EXPECT_FALSE(desk.isConnected()) << "the picker takes no input below the alert";
        desk.press(key);
        desk.advance(1s);
        EXPECT_FALSE(picker->presentedViewController());
        EXPECT_FALSE(desk.isSeen(*alert));
        ASSERT_TRUE(desk.isSeen(*picker));
        desk.world.bluetooth().forgetBond(mine->identifier());
        desk.advance(5s);
        desk.clickRow(*picker, "Mine");
        desk.advance(10s);
        EXPECT_TRUE(desk.isConnected());
        EXPECT_FALSE(desk.isSeen(*picker));
    }
}

TEST(PickerView, FollowsBluetoothOffAndOn) {
    QtDesk desk(1, CentralState::poweredOff);
    desk.addGlasses("Mine");
    const auto picker = desk.present();
    EXPECT_THAT(desk.texts(*picker),
                ElementsAre("Choose your glasses", "Bluetooth is not available. Switch it on to find your glasses."));
    for (int round = 0; round < 2; ++round) {
        desk.world.bluetooth().setState(CentralState::poweredOn);
        desk.advance(5s);
        EXPECT_THAT(desk.rows(*picker), ElementsAre("Mine"));
        desk.world.bluetooth().setState(CentralState::poweredOff);
        desk.advance(1s);
        EXPECT_THAT(desk.rows(*picker), IsEmpty());
        EXPECT_EQ(desk.texts(*picker).size(), 2u);
    }
    desk.world.bluetooth().setState(CentralState::poweredOn);
    desk.advance(5s);
    desk.clickRow(*picker, "Mine");
    desk.advance(10s);
    EXPECT_TRUE(desk.isConnected());
}

TEST(PickerView, ItsCloseButtonAndEscapeStopTheScanAndTakeItAway) {
    for (int way = 0; way < 3; ++way) {
        QtDesk desk;
        const auto picker = desk.present();
        ASSERT_TRUE(desk.manager().isScanning.value());
        auto* const close = desk.buttonOf(*picker, "Close");
        ASSERT_TRUE(close);
        switch (way) {
        case 0:
            desk.click(close);
            break;
        case 1:
            desk.press(Qt::Key_Tab);
            EXPECT_EQ(QApplication::focusWidget(), close);
            desk.press(Qt::Key_Return);
            break;
        default:
            desk.press(Qt::Key_Escape);
        }
        EXPECT_FALSE(desk.manager().isScanning.value());
        EXPECT_FALSE(desk.isSeen(*picker));
        EXPECT_EQ(picker->appearance(), ViewController::Appearance::disappeared);
        EXPECT_FALSE(desk.screen->presentedViewController());
    }
}

TEST(PickerView, NothingReachesItOnceItHasLeft) {
    QtDesk desk;
    const auto picker = desk.present();
    desk.press(Qt::Key_Escape);
    desk.advance(1s);
    const auto mine = desk.addGlasses("Mine");
    ASSERT_TRUE(desk.link());
    mine->dropConnection();
    desk.advance(5s);
    platform::Platform::current().notificationCenter().post({Bluetooth::peerRemovedPairingInfo, nullptr, {}});
    desk.advance(5s);
    EXPECT_FALSE(picker->presentedViewController());
    EXPECT_FALSE(desk.isSeen(*picker));
    EXPECT_THAT(desk.rows(*picker), IsEmpty());
}

TEST(PickerView, ComesBackAfterItHasLeft) {
    QtDesk desk;
    desk.addGlasses("Mine");
    const auto picker = desk.present();
    desk.press(Qt::Key_Escape);
    desk.advance(1s);
    desk.screen->present(picker, true);
    desk.advance(5s);
    ASSERT_TRUE(desk.isSeen(*picker));
    EXPECT_THAT(desk.rows(*picker), ElementsAre("Mine"));
    desk.clickRow(*picker, "Mine");
    desk.advance(10s);
    EXPECT_TRUE(desk.isConnected());
}

TEST(PickerView, KeepsTheKeyboardOnARowWhenOthersComeAndGo) {
    QtDesk desk;
    desk.addGlasses("Middle", 5);
    const auto picker = desk.present();
    desk.advance(5s);
    desk.press(Qt::Key_Home);
    desk.press(Qt::Key_Down);
    auto* const table = desk.tableOf(*picker);
    ASSERT_EQ(table->currentItem()->text(), "Middle");
    const auto middle = table->currentItem();
    desk.addGlasses("First", 1);
    desk.addGlasses("Last", 9);
    desk.advance(5s);
    EXPECT_THAT(desk.rows(*picker), ElementsAre("First", "Middle", "Last"));
    EXPECT_EQ(table->currentItem(), middle);
    desk.press(Qt::Key_Space);
    desk.advance(10s);
    ASSERT_TRUE(desk.isConnected());
    EXPECT_EQ(desk.device()->getName(), "Middle");
}

TEST(PickerView, ItsHeaderIsNoRow) {
    QtDesk desk;
    desk.addGlasses("Mine");
    const auto picker = desk.present();
    desk.advance(5s);
    desk.clickRow(*picker, "Glasses nearby");
    desk.tableOf(*picker)->setCurrentRow(0);
    desk.press(Qt::Key_Return);
    desk.advance(10s);
    EXPECT_TRUE(desk.isSeen(*picker));
    EXPECT_FALSE(desk.isConnected());
}

TEST(PickerView, ShowsTheButtonsThatTheApplicationAdds) {
    QtDesk desk;
    const auto picker = desk.present();
    int helps = 0;
    picker->addAction({.title = "Help && more", .handler = [&](const PopupAction&) { ++helps; }});
    picker->addAction({.title = "Search & find", .handler = [&](const PopupAction&) { picker->removeAllButtons(); }});
    desk.advance(10ms);
    auto* const help = desk.buttonOf(*picker, "Help &&&& more");
    auto* const search = desk.buttonOf(*picker, "Search && find");
    ASSERT_TRUE(help && search);
    EXPECT_GT(help->mapTo(desk.window.get(), QPoint()).y(),
              desk.buttonOf(*picker, "Close")->mapTo(desk.window.get(), QPoint()).y());
    desk.click(help);
    EXPECT_EQ(helps, 1);
    desk.click(search);
    desk.advance(10ms);
    EXPECT_FALSE(desk.buttonOf(*picker, "Close"));
    EXPECT_TRUE(desk.isSeen(*picker));
    desk.press(Qt::Key_Escape);
    EXPECT_FALSE(desk.isSeen(*picker));
}

TEST(PickerView, AMillionLettersInANameStayInTheirRow) {
    QtDesk desk;
    desk.addGlasses(std::string(1'000'000, 'W'));
    const auto picker = desk.present();
    desk.advance(5s);
    EXPECT_EQ(desk.cardOf(*picker)->width(), 512);
    EXPECT_FALSE(desk.cardOf(*picker)->grab().isNull());
    EXPECT_LE(desk.tableOf(*picker)->item(1)->toolTip().size(), 300);
}

TEST(PickerView, ItsToolTipsShowNamesLetterByLetterWhateverMarkupIsInThem) {
    const std::vector<std::string> names{
        "<h1>Loud</h1><u>x</u>", "<img src=picture.png>", "A <b>bold</b> pair", "1 < 2 && 3 > 2", "&lt;b&gt;", "Plain"};
    QtDesk desk;
    std::uint8_t number = 0;
    for (const auto& name : names) {
        desk.addGlasses(name, ++number);
    }
    const auto picker = desk.present();
    desk.advance(5s);
    ASSERT_EQ(desk.rows(*picker), names);
    auto* const table = desk.tableOf(*picker);
    for (int at = 1; at < table->count(); ++at) {
        const QPoint place = table->visualItemRect(table->item(at)).center();
        QHelpEvent hovering(QEvent::ToolTip, place, table->viewport()->mapToGlobal(place));
        QApplication::sendEvent(table->viewport(), &hovering);
        ASSERT_TRUE(QToolTip::isVisible());
        QString seen = QToolTip::text();
        if (Qt::mightBeRichText(seen)) {
            QTextDocument document;
            document.setHtml(seen);
            seen = document.toPlainText();
        }
        EXPECT_EQ(seen.toStdString(), table->item(at)->text().toStdString());
        QToolTip::hideText();
    }
}

TEST(PickerView, IsAModalDialogWithAListForAssistiveTechnology) {
    QtDesk desk;
    desk.addGlasses("One", 1);
    const auto picker = desk.present();
    desk.advance(5s);
    auto* const dialog = QAccessible::queryAccessibleInterface(desk.cardOf(*picker));
    ASSERT_TRUE(dialog);
    EXPECT_EQ(dialog->role(), QAccessible::Dialog);
    EXPECT_TRUE(dialog->state().modal);
    EXPECT_EQ(dialog->text(QAccessible::Name), "Choose your glasses");
    auto* const list = QAccessible::queryAccessibleInterface(desk.tableOf(*picker));
    ASSERT_TRUE(list);
    EXPECT_EQ(list->role(), QAccessible::List);
    EXPECT_EQ(list->text(QAccessible::Name), "Glasses nearby");
    ASSERT_EQ(list->childCount(), 2);
    EXPECT_EQ(list->child(1)->text(QAccessible::Name), "One");
    auto* const close = QAccessible::queryAccessibleInterface(desk.buttonOf(*picker, "Close"));
    EXPECT_EQ(close->role(), QAccessible::PushButton);
    close->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_TRUE(QTest::qWaitFor([&] { return !desk.isSeen(*picker); })) << "a button is seen to go down first";
}

} // namespace
} // namespace tarnel
