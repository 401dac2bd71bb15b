#include "CanvasFixture.hpp"

#include <TarnelSDK/display/LVGLSlotManager.hpp>

#include <chrono>
#include <cmath>
#include <string>

namespace tarnel {
namespace {

using std::chrono::seconds;

class LVGLSlotManagerTest : public test::DisplayFixture {
protected:
    int addImage(int xOffset = 0) {
        return LVGLSlotManager::getSlotIn(manager.imageSlots, {Anchor::center, xOffset, 2, 30, 40, false});
    }
    int addText(const std::string& text) { return manager.getTextSlot(text, {}); }
    std::string textOf(int id) { return manager.getLVGLObject(LVGLType::text, id)->textProperties->text; }

    LVGLSlotManager manager{7, 3, 1};
};

using LVGLSlotManagerDeathTest = LVGLSlotManagerTest;

TEST_F(LVGLSlotManagerTest, StartsWithSevenLabelsThreeImagesAndOneAnimationAllEmpty) {
    EXPECT_EQ(manager.textSlots.size(), 7u);
    EXPECT_EQ(manager.imageSlots.size(), 3u);
    EXPECT_EQ(manager.animationSlots.size(), 1u);
    for (const auto type : {LVGLType::text, LVGLType::image, LVGLType::animation}) {
        for (int id = 0; id < static_cast<int>(manager.slotsOf(type).size()); ++id) {
            EXPECT_EQ(manager.getLVGLObject(type, id), nullptr);
            EXPECT_EQ(manager.getMetrics(type, id), std::nullopt);
        }
    }
}

TEST_F(LVGLSlotManagerTest, PutsANewObjectIntoTheFirstEmptySlotWithItsPlaceAndNothingElse) {
    platform.advance(seconds(5));
    EXPECT_EQ(addImage(1), 0);
    EXPECT_EQ(addImage(), 1);
    const auto* object = manager.getLVGLObject(LVGLType::image, 0);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->metrics, (LVGLMetrics{Anchor::center, 1, 2, 30, 40, false}));
    EXPECT_EQ(object->creationDate, platform.clock->now());
    EXPECT_FALSE(object->messagePack);
    EXPECT_FALSE(object->textProperties);
    EXPECT_FALSE(object->imageValue);
}

TEST_F(LVGLSlotManagerTest, TheEighthLabelTakesTheSlotOfTheOldest) {
    for (int n = 0; n < 7; ++n) {
        EXPECT_EQ(addText(std::to_string(n)), n);
        platform.advance(seconds(1));
    }
    // Slot 0 is the youngest now, and slot 1 the oldest.
    manager.removeSlot(LVGLType::text, 0);
    EXPECT_EQ(addText("new"), 0);
    EXPECT_EQ(addText("eighth"), 1);
    EXPECT_EQ(textOf(1), "eighth");
    EXPECT_EQ(textOf(2), "2");
}

TEST_F(LVGLSlotManagerTest, OfEquallyOldLabelsTheLowestGivesWay) {
    addText("older");
    manager.textSlots[0]->creationDate += seconds(3);
    for (int n = 1; n < 7; ++n) {
        addText(std::to_string(n));
    }
    EXPECT_EQ(addText("eighth"), 1);
    EXPECT_EQ(addText("ninth"), 1) << "its date is still the same as the others'";
}

TEST_F(LVGLSlotManagerTest, AFourthImageTakesTheSlotOfTheOldest) {
    for (int n = 0; n < 3; ++n) {
        EXPECT_EQ(addImage(n), n);
        platform.advance(seconds(1));
    }
    EXPECT_EQ(addImage(100), 0);
    EXPECT_EQ(manager.getMetrics(LVGLType::image, 0)->xOffset, 100);
    platform.advance(seconds(1));
    EXPECT_EQ(addImage(), 1);
}

TEST_F(LVGLSlotManagerTest, ARemovedObjectFreesItsSlotForTheNext) {
    for (int n = 0; n < 3; ++n) {
        addImage(n);
    }
    manager.removeSlot(LVGLType::image, 2);
    manager.removeSlot(LVGLType::image, 1);
    EXPECT_EQ(manager.getLVGLObject(LVGLType::image, 1), nullptr);
    EXPECT_EQ(addImage(), 1);
    EXPECT_EQ(addImage(), 2);
}

TEST_F(LVGLSlotManagerTest, GivesNoSlotWhileTheDeviceIsNotConnectedOrNoneIsCurrent) {
    device->isConnected = false;
    EXPECT_EQ(addImage(), -1);
    EXPECT_EQ(addText("text"), -1);
    device->isConnected = true;
    device->isCurrent = false;
    EXPECT_EQ(addImage(), -1);
    EXPECT_EQ(addText("text"), -1);
    EXPECT_EQ(manager.getLVGLObject(LVGLType::text, 0), nullptr);
}

TEST_F(LVGLSlotManagerTest, GivesNoSlotOfATableWithoutAny) {
    LVGLSlotManager none(0, 0, 0);
    EXPECT_EQ(LVGLSlotManager::getSlotIn(none.imageSlots, {}), -1);
    EXPECT_EQ(none.getTextSlot("text", {}), -1);
}

TEST_F(LVGLSlotManagerTest, StoresTheTextAndItsMeasureInItsSlot) {
    const int id = manager.getTextSlot("Grüße", {.textAlignment = TextAlignment::right,
                                                 .textColor = Color::mid,
                                                 .anchor = Anchor::midLeft,
                                                 .xOffset = -4,
                                                 .yOffset = 9,
                                                 .isVisible = false,
                                                 .height = 77,
                                                 .wrapMode = TextWrapMode::clip});
    ASSERT_EQ(id, 0);
    const TextProperties properties{"Grüße", TextAlignment::right, Color::mid, TextWrapMode::clip};
    EXPECT_EQ(manager.getLVGLObject(LVGLType::text, 0)->textProperties, properties);
    const Size size = properties.estimatedSize();
    EXPECT_EQ(manager.getMetrics(LVGLType::text, 0),
              (LVGLMetrics{Anchor::midLeft, -4, 9, size.width, size.height, false}));
}

TEST_F(LVGLSlotManagerTest, AGivenWidthIsTakenInsteadOfTheMeasuredOne) {
    EXPECT_EQ(manager.getMetrics(LVGLType::text, manager.getTextSlot("text", {.width = 300}))->width, 300);
    EXPECT_EQ(manager.getMetrics(LVGLType::text, manager.getTextSlot("text", {.width = -2}))->width, -2)
        << "only -1 stands for the measured width";
}

TEST_F(LVGLSlotManagerTest, AnEstimatedSizeIsThatOfTheInkRoundedUpWithOneMoreAcross) {
    const TextProperties properties{"Wellenlänge", {}, {}, {}};
    const auto bounds = properties.ctLine().imageBounds();
    EXPECT_GT(bounds.width, 50);
    EXPECT_GT(bounds.height, 10);
    EXPECT_EQ(properties.estimatedSize(),
              (Size{static_cast<int>(std::ceil(bounds.width + 1)), static_cast<int>(std::ceil(bounds.height))}));
}

TEST_F(LVGLSlotManagerTest, AnEstimatedSizeFollowsTheFontSizeOfTheCurrentDevice) {
    const TextProperties properties{"text", {}, {}, {}};
    device->glypher.setFontSize(56);
    const Size large = properties.estimatedSize();
    device->glypher.setFontSize(28);
    const Size usual = properties.estimatedSize();
    EXPECT_GT(large.height, usual.height * 3 / 2);
    EXPECT_GT(large.width, usual.width * 3 / 2);
    const auto bounds = properties.ctLine().imageBounds();
    device->isCurrent = false;
    EXPECT_EQ(properties.ctLine().imageBounds(), bounds) << "28 pixels without a device";
    EXPECT_EQ(properties.estimatedSize(), Size());
}

TEST_F(LVGLSlotManagerTest, ANewTextMakesTheWrapModeOfALabelTheDefaultOne) {
    const int id = manager.getTextSlot("old", {.textColor = Color::dim, .wrapMode = TextWrapMode::scrollCircular});
    manager.setText(id, "new");
    EXPECT_EQ(manager.getLVGLObject(LVGLType::text, id)->textProperties,
              (TextProperties{"new", TextAlignment::auto_, Color::dim, TextWrapMode::default_}));
}

TEST_F(LVGLSlotManagerTest, SetsNoTextWhereThereIsNoLabel) {
    manager.setText(3, "new");
    EXPECT_EQ(manager.getLVGLObject(LVGLType::text, 3), nullptr);
    const int id = LVGLSlotManager::getSlotIn(manager.textSlots, {});
    manager.setText(id, "new");
    EXPECT_FALSE(manager.getLVGLObject(LVGLType::text, id)->textProperties);
}

TEST_F(LVGLSlotManagerTest, SetsThePlaceOfAnObjectAndOfNoEmptySlot) {
    const LVGLMetrics metrics{Anchor::bottomLeft, 9, 8, 7, 6, true};
    addImage();
    manager.setMetrics(LVGLType::image, 0, metrics);
    manager.setMetrics(LVGLType::image, 1, metrics);
    EXPECT_EQ(manager.getMetrics(LVGLType::image, 0), metrics);
    EXPECT_EQ(manager.getMetrics(LVGLType::image, 1), std::nullopt);
}

TEST_F(LVGLSlotManagerTest, KeepsTheKindsApartAndTakesAnyOtherForLabels) {
    addText("text");
    EXPECT_EQ(addImage(), 0);
    EXPECT_EQ(manager.getLVGLObject(LVGLType::animation, 0), nullptr);
    EXPECT_EQ(&manager.slotsOf(static_cast<LVGLType>(17)), &manager.textSlots);
}

TEST_F(LVGLSlotManagerDeathTest, StopsAtAnIdThatNoSlotHas) {
    EXPECT_DEATH(manager.removeSlot(LVGLType::image, 3), "the id of an object");
    EXPECT_DEATH((void)manager.getMetrics(LVGLType::text, -1), "the id of an object");
    EXPECT_DEATH(manager.setMetrics(LVGLType::animation, 1, {}), "the id of an object");
    EXPECT_DEATH(manager.setText(7, ""), "the id of an object");
    EXPECT_DEATH((void)manager.getLVGLObject(LVGLType::text, 7), "the id of an object");
}

} // namespace
} // namespace tarnel
