#include "support/FakeScreens.hpp"
#include "support/TestPlatform.hpp"

#include <TarnelSDK/ui/ViewController.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// Notes its life.
struct Screen : ViewController {
    explicit Screen(std::vector<std::string>& notes_) : notes(notes_) {}
    void loadView() override { notes.emplace_back("loadView"); }
    void viewDidLoad() override { notes.emplace_back("viewDidLoad"); }
    void viewWillAppear(bool) override { notes.emplace_back("viewWillAppear"); }
    void viewDidAppear(bool animated) override {
        notes.emplace_back(animated ? "viewDidAppear" : "viewDidAppear at once");
    }
    void viewWillDisappear(bool) override { notes.emplace_back("viewWillDisappear"); }
    void viewDidDisappear(bool) override { notes.emplace_back("viewDidDisappear"); }
    std::vector<std::string>& notes;
};

class ViewControllerTest : public ::testing::Test {
protected:
    ViewControllerTest() { platform::Provided<ScreenToolkit>::provide(toolkit); }

    test::TestPlatform platform;
    const std::shared_ptr<test::FakeScreens> toolkit = std::make_shared<test::FakeScreens>();
    std::vector<std::string> notes;
    std::vector<std::string> otherNotes;
    std::shared_ptr<Screen> screen = std::make_shared<Screen>(notes);
    std::shared_ptr<Screen> other = std::make_shared<Screen>(otherNotes);
};

TEST_F(ViewControllerTest, LivesInItsOrderAndLoadsItsViewOnce) {
    EXPECT_FALSE(screen->isViewLoaded());
    for (int round = 0; round < 2; ++round) {
        screen->beginAppearance(true);
        screen->endAppearance();
        screen->beginDisappearance(true);
        screen->endDisappearance();
    }
    EXPECT_THAT(notes, ElementsAre("loadView", "viewDidLoad", "viewWillAppear", "viewDidAppear", "viewWillDisappear",
                                   "viewDidDisappear", "viewWillAppear", "viewDidAppear", "viewWillDisappear",
                                   "viewDidDisappear"));
}

TEST_F(ViewControllerTest, IgnoresWhatDoesNotFollowFromItsAppearance) {
    screen->endAppearance();
    screen->beginDisappearance(true);
    screen->endDisappearance();
    EXPECT_THAT(notes, IsEmpty());
    screen->beginAppearance(false);
    screen->beginAppearance(false);
    screen->endAppearance();
    screen->endAppearance();
    EXPECT_THAT(notes, ElementsAre("loadView", "viewDidLoad", "viewWillAppear", "viewDidAppear at once"));
}

TEST_F(ViewControllerTest, MayLeaveBeforeItIsAllThereAndComeBackBeforeItIsGone) {
    screen->beginAppearance(true);
    screen->beginDisappearance(true);
    screen->endAppearance();
    EXPECT_EQ(screen->appearance(), ViewController::Appearance::disappearing);
    screen->beginAppearance(true);
    screen->endDisappearance();
    EXPECT_EQ(screen->appearance(), ViewController::Appearance::appearing);
    EXPECT_THAT(notes, ElementsAre("loadView", "viewDidLoad", "viewWillAppear", "viewWillDisappear", "viewWillAppear"));
}

TEST_F(ViewControllerTest, PresentsOneScreenAndCallsTheCompletionWhenItIsThere) {
    int completions = 0;
    screen->present(other, true, [&] { ++completions; });
    EXPECT_EQ(screen->presentedViewController(), other);
    EXPECT_EQ(other->presentingViewController(), screen);
    platform.advance(1s);
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(other->appearance(), ViewController::Appearance::appeared);
    std::vector<std::string> thirdNotes;
    const auto third = std::make_shared<Screen>(thirdNotes);
    screen->present(third, true, [&] { ++completions; });
    third->present(other, true);
    screen->present(screen, true);
    platform.advance(1s);
    EXPECT_THAT(thirdNotes, IsEmpty());
    EXPECT_EQ(completions, 1);
    EXPECT_THAT(toolkit->shown, ElementsAre(other));
}

TEST_F(ViewControllerTest, LeavesWithAllThatStandsOnIt) {
    std::vector<std::string> thirdNotes;
    const auto third = std::make_shared<Screen>(thirdNotes);
    screen->present(other, true);
    other->present(third, true);
    platform.advance(1s);
    ASSERT_THAT(toolkit->shown, SizeIs(2));
    int completions = 0;
    other->dismiss(true, [&] { ++completions; });
    EXPECT_EQ(third->presentingViewController(), nullptr);
    platform.advance(1s);
    EXPECT_THAT(toolkit->shown, IsEmpty());
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(third->appearance(), ViewController::Appearance::disappeared);
    EXPECT_EQ(screen->presentedViewController(), nullptr);
    other->dismiss(true, [&] { ++completions; });
    platform.advance(1s);
    EXPECT_EQ(completions, 1) << "there is nothing to take away";
}

TEST_F(ViewControllerTest, ThatIsNotPresentedItselfDismissesWhatItPresents) {
    screen->present(other, true);
    screen->dismiss(true);
    platform.advance(1s);
    EXPECT_THAT(toolkit->shown, IsEmpty());
    EXPECT_EQ(other->appearance(), ViewController::Appearance::disappeared);
}

TEST_F(ViewControllerTest, TakesItsPresentedScreenAlongWhenItEnds) {
    screen->present(other, true);
    platform.advance(1s);
    screen.reset();
    platform.advance(1s);
    EXPECT_THAT(toolkit->shown, IsEmpty());
    EXPECT_EQ(otherNotes.back(), "viewDidDisappear");
    EXPECT_EQ(other->presentingViewController(), nullptr);
}

TEST_F(ViewControllerTest, PresentsNothingWithoutAToolkit) {
    platform::Provided<ScreenToolkit>::provide(std::weak_ptr<ScreenToolkit>());
    screen->present(other, true);
    EXPECT_EQ(screen->presentedViewController(), nullptr);
    EXPECT_THAT(otherNotes, IsEmpty());
}

TEST_F(ViewControllerTest, HasItsNamesFromItsMakerOrAnArchive) {
    const ViewController made("Reader", "/folder");
    EXPECT_EQ(made.nibName(), "Reader");
    EXPECT_EQ(made.bundle(), "/folder");
    const ViewController archived(MessagePackValue::map({{"nibName", "Reader"}, {"title", "Pages"}}));
    EXPECT_EQ(archived.nibName(), "Reader");
    EXPECT_EQ(archived.title(), "Pages");
    const ViewController empty(MessagePackValue("no map"));
    EXPECT_EQ(empty.nibName(), std::nullopt);
    EXPECT_EQ(empty.title(), "");
}

TEST_F(ViewControllerTest, OfAnAlertCallsTheHandlerOfItsActionOnceItIsGone) {
    const auto alert = std::make_shared<AlertController>("Title", "Message", AlertController::Style::alert);
    int chosen = 0;
    alert->addAction({.title = "OK", .handler = [&] { ++chosen; }});
    alert->choose(0);
    EXPECT_EQ(chosen, 0) << "nobody sees it";
    screen->present(alert, true);
    platform.advance(1s);
    EXPECT_EQ(toolkit->alert(), alert);
    alert->choose(1);
    alert->choose(0);
    alert->choose(0);
    EXPECT_EQ(chosen, 0);
    platform.advance(1s);
    EXPECT_EQ(chosen, 1);
    EXPECT_THAT(toolkit->shown, IsEmpty());
}

TEST(ViewControllerDeathTest, ThatNobodySharesCannotLoadItsView) {
    const test::TestPlatform platform;
    ViewController screen;
    EXPECT_DEATH(screen.loadViewIfNeeded(), "a screen is made with std::make_shared");
}

} // namespace
} // namespace tarnel
