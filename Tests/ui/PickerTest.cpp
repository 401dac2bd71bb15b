#include "ScreensFixture.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using platform::CentralState;
using test::ScreensDesk;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

TEST(Picker, HasTheCardTheTitleAndACloseButton) {
    ScreensDesk desk;
    const auto picker = desk.present();
    EXPECT_EQ(picker->overlay().background, SystemColor::black);
    EXPECT_DOUBLE_EQ(picker->overlay().alpha, 0.4);
    EXPECT_DOUBLE_EQ(picker->backgroundView().widthFraction, 0.8);
    EXPECT_DOUBLE_EQ(picker->backgroundView().cornerRadius, 12);
    EXPECT_TRUE(picker->backgroundView().clipsToBounds);
    EXPECT_EQ(picker->backgroundView().background, SystemColor::systemGray5);
    EXPECT_EQ(picker->label().text, "Choose your glasses");
    EXPECT_EQ(picker->title(), picker->label().text);
    EXPECT_DOUBLE_EQ(picker->label().top, 20);
    EXPECT_DOUBLE_EQ(picker->label().sides, 10);
    EXPECT_DOUBLE_EQ(picker->label().fontSize, 20);
    EXPECT_TRUE(picker->label().isBold);
    EXPECT_EQ(picker->label().numberOfLines, 0);
    ASSERT_THAT(picker->buttonStack(), SizeIs(1));
    EXPECT_EQ(picker->buttonStack()[0]->action->title, "Close");
    picker->setTitle("Which ones?");
    EXPECT_EQ(picker->label().text, "Which ones?");
}

TEST(Picker, ShowsThatItScansUntilGlassesAreFound) {
    ScreensDesk desk;
    const auto picker = desk.present();
    EXPECT_TRUE(desk.manager().isScanning.value());
    EXPECT_EQ(picker->titleForHeader(0), "Glasses nearby");
    ASSERT_TRUE(picker->emptyState());
    EXPECT_EQ(picker->emptyState()->text, "Looking for glasses…");
    EXPECT_EQ(picker->emptyState()->hint, "Switch your glasses on and keep them close.");
    EXPECT_TRUE(picker->emptyState()->isBusy);
    const auto view = std::static_pointer_cast<test::FakeScreens::View>(picker->view());
    const int reloads = view->reloads;
    desk.addGlasses("One", 1);
    desk.addGlasses("", 2);
    desk.addGlasses("Three", 3);
    desk.world.advance(5s);
    EXPECT_GE(view->reloads, reloads + 3);
    EXPECT_FALSE(picker->emptyState());
    EXPECT_THAT(desk.rows(*picker), ElementsAre("One", "Recovered glasses", "Three"));
    const auto cell = picker->cellForRow(0, 0);
    EXPECT_EQ(cell.reuseIdentifier, "deviceItem");
    EXPECT_EQ(cell.accessory, Accessory::none);
}

TEST(Picker, LinksThePickedGlassesAndLeavesOnceTheyAreConnected) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        ScreensDesk desk(seed);
        desk.addGlasses("One", 1);
        const auto two = desk.addGlasses("Two", 2);
        desk.show();
        const std::weak_ptr<TarnelPickerController> weak = desk.picker();
        {
            const auto picker = desk.picker();
            ASSERT_TRUE(picker);
            desk.world.advance(5s);
            ASSERT_THAT(desk.rows(*picker), ElementsAre("One", "Two"));
            picker->didSelectRow(0, 1);
            ASSERT_TRUE(desk.world.runUntil([&] { return picker->isConnected(); }));
            EXPECT_THAT(desk.rows(*picker), ElementsAre("✓ Two"));
            EXPECT_EQ(picker->titleForHeader(0), std::nullopt);
            EXPECT_EQ(picker->cellForRow(0, 0).tint, SystemColor::darkGray);
        }
        desk.world.advance(5s);
        EXPECT_TRUE(two->isConnected());
        EXPECT_EQ(desk.device()->peripheralID(), two->identifier());
        EXPECT_THAT(desk.toolkit->shown, IsEmpty());
        EXPECT_FALSE(desk.manager().isScanning.value());
        EXPECT_TRUE(weak.expired()) << "the picker is gone once it has left";
    }
}

TEST(Picker, OverLinkedAndConnectedGlassesShowsThemWithACheckMark) {
    ScreensDesk desk;
    const auto pair = desk.addGlasses("Mine");
    ASSERT_TRUE(desk.link());
    const auto picker = desk.present();
    EXPECT_TRUE(picker->isConnected());
    EXPECT_THAT(desk.rows(*picker), ElementsAre("✓ Mine"));
    auto cell = picker->cellForRow(0, 0);
    picker->willDisplayCell(cell, 0, 0);
    EXPECT_EQ(cell.background, SystemColor::clear);
    EXPECT_FALSE(picker->emptyState());
    EXPECT_EQ(picker->appearance(), ViewController::Appearance::appeared) << "it stays until the user leaves";
    picker->didSelectRow(0, 0);
    desk.world.advance(5s);
    EXPECT_EQ(pair->counters().connections, 1u) << "the row of the linked glasses selects nothing";
}

TEST(Picker, GoesOnScanningBehindTheCheckMark) {
    ScreensDesk desk;
    desk.addGlasses("Mine", 1);
    ASSERT_TRUE(desk.link());
    desk.addGlasses("Other", 2);
    const auto picker = desk.present();
    desk.world.advance(5s);
    EXPECT_TRUE(desk.manager().isScanning.value());
    EXPECT_THAT(desk.rows(*picker), ElementsAre("✓ Mine"));
    EXPECT_THAT(picker->scannedPeripherals(), SizeIs(1)) << "the connected ones are not met again";
}

TEST(Picker, WhoseLinkedGlassesVanishListsWhatIsLeftAndLeavesWhenTheyAreBack) {
    ScreensDesk desk;
    const auto mine = desk.addGlasses("Mine", 1);
    ASSERT_TRUE(desk.link());
    desk.addGlasses("Other", 2);
    const auto picker = desk.present();
    mine->leaveRange();
    ASSERT_TRUE(desk.world.runUntil([&] { return !picker->isConnected(); }));
    desk.world.advance(5s);
    EXPECT_THAT(desk.rows(*picker), ElementsAre("Other"));
    EXPECT_TRUE(desk.manager().isScanning.value());
    EXPECT_EQ(desk.device()->peripheralID(), mine->identifier()) << "they stay linked";
}

TEST(Picker, DropsTheLinkOfGlassesThatItMeetsDisconnectedSoThatTheyCanBePickedAgain) {
    ScreensDesk desk;
    const auto mine = desk.addGlasses("Mine");
    ASSERT_TRUE(desk.link());
    desk.device()->setShouldAutoReconnect(false);
    mine->dropConnection();
    desk.world.advance(5s);
    ASSERT_FALSE(desk.isConnected());
    const auto picker = desk.present();
    desk.world.advance(5s);
    EXPECT_EQ(desk.device(), nullptr);
    EXPECT_THAT(desk.rows(*picker), ElementsAre("Mine"));
    picker->didSelectRow(0, 0);
    desk.world.advance(10s);
    EXPECT_TRUE(desk.isConnected());
    EXPECT_THAT(desk.toolkit->shown, IsEmpty());
}

TEST(Picker, LeavesGlassesAloneThatAreAboutToConnect) {
    ScreensDesk desk;
    const auto mine = desk.addGlasses("Mine");
    ASSERT_TRUE(desk.link());
    mine->leaveRange();
    ASSERT_TRUE(desk.world.runUntil([&] { return !desk.isConnected(); }));
    desk.device()->connect();
    desk.world.advance(1s);
    const auto picker = desk.present();
    EXPECT_FALSE(picker->isConnected());
    mine->enterRange();
    desk.world.advance(20s);
    EXPECT_TRUE(desk.isConnected());
    ASSERT_TRUE(desk.device()) << "the link is not dropped";
    EXPECT_THAT(desk.toolkit->shown, IsEmpty()) << "nothing is left to pick";
}

TEST(Picker, GlassesThatVanishAfterTheyWerePickedAreWaitedForWhileOthersCanBePicked) {
    ScreensDesk desk;
    const auto one = desk.addGlasses("One", 1);
    const auto two = desk.addGlasses("Two", 2);
    const auto picker = desk.present();
    desk.world.advance(5s);
    one->leaveRange();
    picker->didSelectRow(0, 0);
    desk.world.advance(1min);
    EXPECT_FALSE(desk.isConnected());
    EXPECT_THAT(desk.rows(*picker), ElementsAre("One", "Two"));
    picker->didSelectRow(0, 1);
    desk.world.advance(10s);
    EXPECT_EQ(desk.device()->peripheralID(), two->identifier());
    EXPECT_THAT(desk.toolkit->shown, IsEmpty());
}

TEST(Picker, TellsThatTheGlassesHaveForgottenThePairing) {
    ScreensDesk desk;
    const auto mine = desk.world.addGlasses({.name = "Mine", .requiresPairing = true});
    ASSERT_TRUE(desk.link());
    const auto picker = desk.present();
    ASSERT_TRUE(picker->isConnected());
    mine->loseBond();
    desk.world.advance(20s);
    const auto alert = desk.toolkit->alert();
    ASSERT_TRUE(alert);
    EXPECT_EQ(alert->title(), "Pairing lost");
    EXPECT_EQ(alert->message(), "Your glasses have forgotten this device. Remove them in the Bluetooth settings, then "
                                "choose them here again.");
    EXPECT_EQ(alert->preferredStyle(), AlertController::Style::alert);
    ASSERT_THAT(alert->actions(), SizeIs(1));
    EXPECT_EQ(alert->actions()[0].title, "OK");
    EXPECT_EQ(alert->actions()[0].style, AlertAction::Style::default_);
    EXPECT_FALSE(alert->actions()[0].handler);
    EXPECT_FALSE(picker->isConnected());
    EXPECT_EQ(desk.device(), nullptr);
    EXPECT_TRUE(desk.manager().isScanning.value()) << "they can be picked again";
    alert->choose(0);
    desk.world.bluetooth().forgetBond(mine->identifier());
    desk.world.advance(5s);
    EXPECT_THAT(desk.toolkit->shown, ElementsAre(picker));
    ASSERT_THAT(desk.rows(*picker), ElementsAre("Mine"));
    picker->didSelectRow(0, 0);
    desk.world.advance(10s);
    EXPECT_TRUE(desk.isConnected());
    EXPECT_THAT(desk.toolkit->shown, IsEmpty());
}

TEST(Picker, WaitsForBluetoothAndSaysSo) {
    ScreensDesk desk(1, CentralState::poweredOff);
    desk.addGlasses("Mine");
    desk.show();
    const auto picker = desk.picker();
    ASSERT_TRUE(picker);
    EXPECT_FALSE(desk.manager().isScanning.value());
    ASSERT_TRUE(picker->emptyState());
    EXPECT_EQ(picker->emptyState()->text, "Bluetooth is not available. Switch it on to find your glasses.");
    EXPECT_FALSE(picker->emptyState()->isBusy);
    desk.world.bluetooth().setState(CentralState::poweredOn);
    desk.world.advance(5s);
    EXPECT_TRUE(desk.manager().isScanning.value());
    EXPECT_THAT(desk.rows(*picker), ElementsAre("Mine"));
}

TEST(Picker, ScansAgainWhenBluetoothWasOffAndIsOn) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        ScreensDesk desk(seed);
        desk.addGlasses("Mine");
        const auto picker = desk.present();
        desk.world.advance(5s);
        ASSERT_THAT(desk.rows(*picker), ElementsAre("Mine"));
        for (int round = 0; round < 2; ++round) {
            desk.world.bluetooth().setState(CentralState::poweredOff);
            desk.world.advance(1s);
            EXPECT_THAT(desk.rows(*picker), IsEmpty()) << "what was found cannot be reached";
            EXPECT_FALSE(desk.manager().isScanning.value());
            EXPECT_FALSE(picker->emptyState()->isBusy);
            desk.world.bluetooth().setState(CentralState::poweredOn);
            desk.world.advance(5s);
            EXPECT_THAT(desk.rows(*picker), ElementsAre("Mine"));
        }
        picker->didSelectRow(0, 0);
        desk.world.advance(10s);
        EXPECT_TRUE(desk.isConnected());
    }
}

TEST(Picker, ShowingLinkedGlassesFollowsBluetoothOffAndOn) {
    ScreensDesk desk;
    desk.addGlasses("Mine");
    ASSERT_TRUE(desk.link());
    const auto picker = desk.present();
    ASSERT_THAT(desk.rows(*picker), ElementsAre("✓ Mine"));
    desk.world.bluetooth().setState(CentralState::poweredOff);
    desk.world.advance(1s);
    EXPECT_THAT(desk.rows(*picker), IsEmpty());
    desk.world.bluetooth().setState(CentralState::poweredOn);
    desk.world.advance(20s);
    EXPECT_TRUE(desk.isConnected());
    EXPECT_THAT(desk.toolkit->shown, IsEmpty());
}

TEST(Picker, ScansWhicheverOfTheTwoSignsOfBluetoothComesLast) {
    ScreensDesk desk;
    desk.addGlasses("Mine");
    desk.manager().isBluetoothEnabled.setValue(false);
    const auto picker = desk.present();
    EXPECT_FALSE(desk.manager().isScanning.value());
    desk.manager().isBluetoothEnabled.setValue(true);
    desk.world.advance(5s);
    EXPECT_THAT(desk.rows(*picker), ElementsAre("Mine"));
}

TEST(Picker, TakesOverAScanThatIsUnderWay) {
    ScreensDesk desk;
    int others = 0;
    desk.manager().startScan([&](const auto&) { ++others; });
    desk.addGlasses("Mine");
    const auto picker = desk.present();
    desk.world.advance(5s);
    EXPECT_THAT(desk.rows(*picker), ElementsAre("Mine"));
}

TEST(Picker, ListsNoGlassesInUpdateModeButKnowsThem) {
    ScreensDesk desk;
    desk.world.addGlasses({.name = "Update", .advertisingMode = glasses::AdvertisingMode::update});
    const auto picker = desk.present();
    desk.world.advance(5s);
    EXPECT_THAT(desk.rows(*picker), IsEmpty());
    EXPECT_THAT(picker->dfuPeripherals(), SizeIs(1));
}

TEST(Picker, ItsCloseButtonStopsTheScanAndTakesItAway) {
    ScreensDesk desk;
    desk.show();
    auto picker = desk.picker();
    ASSERT_TRUE(desk.manager().isScanning.value());
    picker->buttonTouch(picker->buttonStack()[0]);
    EXPECT_FALSE(desk.manager().isScanning.value());
    desk.world.advance(5s);
    EXPECT_THAT(desk.toolkit->shown, IsEmpty());
    EXPECT_FALSE(desk.manager().isScanning.value());
    picker->close();
    const std::weak_ptr<TarnelPickerController> weak = picker;
    picker.reset();
    EXPECT_TRUE(weak.expired());
}

TEST(Picker, CallsTheHandlerOfEachButton) {
    ScreensDesk desk;
    const auto picker = desk.present();
    std::vector<std::string> touched;
    const auto note = [&](const PopupAction& action) { touched.push_back(action.title.value_or("untitled")); };
    picker->addAction({.title = "Help", .handler = note});
    picker->addAction({.handler = [&](const PopupAction& action) {
        note(action);
        picker->removeAllButtons();
    }});
    picker->addAction({.title = "Mute"});
    ASSERT_THAT(picker->buttonStack(), SizeIs(4));
    picker->buttonTouch(picker->buttonStack()[3]);
    picker->buttonTouch(picker->buttonStack()[1]);
    picker->buttonTouch(picker->buttonStack()[2]);
    picker->buttonTouch(std::make_shared<MessagePopUpButton>());
    picker->buttonTouch(nullptr);
    EXPECT_THAT(touched, ElementsAre("Help", "untitled"));
    EXPECT_THAT(picker->buttonStack(), IsEmpty());
    EXPECT_EQ(picker->appearance(), ViewController::Appearance::appeared);
}

TEST(Picker, IgnoresRowsThatAreNotThere) {
    ScreensDesk desk;
    desk.addGlasses("Mine");
    const auto picker = desk.present();
    desk.world.advance(5s);
    for (const auto& [section, row] : std::vector<std::pair<int, int>>{{0, 1}, {0, -1}, {1, 0}, {-1, 0}}) {
        picker->didSelectRow(section, row);
        EXPECT_EQ(picker->cellForRow(section, row).text, "");
    }
    EXPECT_EQ(picker->numberOfRows(1), 0);
    EXPECT_EQ(picker->numberOfSections(), 1);
    desk.world.advance(10s);
    EXPECT_FALSE(desk.isConnected());
}

TEST(Picker, ANameThatIsNoTextCountsAsNone) {
    ScreensDesk desk;
    desk.addGlasses("\xFF\xFE");
    const auto picker = desk.present();
    desk.world.advance(5s);
    EXPECT_THAT(desk.rows(*picker), ElementsAre("Recovered glasses"));
}

TEST(Picker, SpeaksTheUsersLanguage) {
    ScreensDesk desk;
    desk.world.application().setLocale("ja-JP");
    const auto picker = desk.present();
    EXPECT_EQ(picker->label().text, "グラスを選択");
    EXPECT_EQ(picker->titleForHeader(0), "近くのグラス");
}

TEST(Picker, MayComeAndGoAndEndAtAnyMoment) {
    for (std::uint64_t seed = 1; seed <= 60; ++seed) {
        ScreensDesk desk(seed);
        const auto mine = desk.addGlasses("Mine");
        const auto moment = std::chrono::milliseconds(seed * 37);
        for (int round = 0; round < 3; ++round) {
            auto picker = std::make_shared<TarnelPickerController>();
            desk.screen->present(picker, true);
            desk.world.advance(moment);
            picker->didSelectRow(0, 0);
            desk.world.advance(moment);
            if (round == 1) {
                mine->dropConnection();
                desk.world.bluetooth().setState(CentralState::poweredOff);
                desk.world.bluetooth().setState(CentralState::poweredOn);
            }
            picker->close();
            const std::weak_ptr<TarnelPickerController> weak = picker;
            picker.reset();
            if (round == 2) {
                desk.screen.reset();
            }
            desk.world.advance(300ms);
            EXPECT_TRUE(weak.expired());
            EXPECT_FALSE(desk.manager().isScanning.value());
            desk.world.advance(round == 0 ? 0s : 30s);
        }
    }
}

TEST(Picker, ThatHasLeftNeitherLinksNorUnlinksNorListens) {
    ScreensDesk desk;
    const auto picker = desk.present();
    picker->close();
    desk.world.advance(1s);
    const auto view = std::static_pointer_cast<test::FakeScreens::View>(picker->view());
    const int reloads = view->reloads;
    const auto mine = desk.addGlasses("Mine");
    ASSERT_TRUE(desk.link());
    desk.device()->setShouldAutoReconnect(false);
    mine->dropConnection();
    desk.world.advance(5s);
    desk.manager().startScan([](const auto&) {});
    platform::Platform::current().notificationCenter().post({Bluetooth::peerRemovedPairingInfo, nullptr, {}});
    desk.world.advance(5s);
    EXPECT_TRUE(desk.device()) << "the link stays";
    EXPECT_EQ(desk.toolkit->alert(), nullptr);
    EXPECT_EQ(view->reloads, reloads);
}

TEST(Picker, ComesBackAfterItHasLeft) {
    ScreensDesk desk;
    desk.addGlasses("Mine");
    const auto picker = desk.present();
    desk.world.advance(5s);
    picker->close();
    desk.world.advance(1s);
    EXPECT_THAT(desk.rows(*picker), IsEmpty());
    desk.screen->present(picker, true);
    desk.world.advance(5s);
    EXPECT_THAT(desk.rows(*picker), ElementsAre("Mine"));
    EXPECT_THAT(picker->buttonStack(), SizeIs(1));
    picker->didSelectRow(0, 0);
    desk.world.advance(10s);
    EXPECT_TRUE(desk.isConnected());
}

TEST(PickerDeathTest, IsNotMadeFromAnArchive) {
    const ScreensDesk desk;
    EXPECT_DEATH(TarnelPickerController{MessagePackValue()}, "init\\(coder:\\) has not been implemented");
}

} // namespace
} // namespace tarnel
