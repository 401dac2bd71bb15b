#include "CanvasFixture.hpp"

#include <TarnelSDK/images/UIImage+Extension.hpp>

#include <chrono>

namespace tarnel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// Images and animations, and what is done to every object.
class CanvasObjectsTest : public test::CanvasFixture {
protected:
    static MessagePackValue object(const char* command, MessagePackValue argument) {
        return message("lvgl_obj", command, std::move(argument));
    }
    MessagePackValue image(unsigned id, unsigned anchor, int x, int y, bool isVisible, const Image& picture) const {
        return object("image", MessagePackValue::array({id, anchor, x, y, isVisible, toTNImage(picture, 2).value()}));
    }
    const MessagePackValue flush = object("flush", nullptr);
};

using CanvasObjectsDeathTest = CanvasObjectsTest;

TEST_F(CanvasObjectsTest, SendsAnImageInTheDeviceFormatAndGivesItsId) {
    const Image picture = gray(4, 2, 0xFF);
    EXPECT_EQ(canvas.createImage(picture, {.anchor = Anchor::midRight, .xOffset = -5, .yOffset = 6}), 0);
    EXPECT_EQ(canvas.createImage(picture, {.isVisible = false}), 1);
    EXPECT_THAT(device->messages, ElementsAre(image(0, 8, -5, 6, true, picture), image(1, 1, 0, 0, false, picture)));
    EXPECT_THAT(device->types, testing::Each(ItemType::longwrite));
    canvas.commit();
    EXPECT_EQ(device->messages.at(2), flush);
    canvas.commit();
    EXPECT_THAT(device->messages, SizeIs(3)) << "nothing is left to commit";
}

TEST_F(CanvasObjectsTest, AnImageWhoseMessageHas10001BytesIsNotSent) {
    const Image picture = gray(316, 126);
    ASSERT_TRUE(canvas.createImage(picture, {}));
    EXPECT_THAT(device->sizes, ElementsAre(10000u));
    canvas.commit();
    device->messages.clear();
    // An offset of two bytes instead of one.
    EXPECT_EQ(canvas.createImage(picture, {.xOffset = 200}), std::nullopt);
    EXPECT_FALSE(canvas.updateImage(gray(317, 127), 0));
    EXPECT_THAT(device->messages, IsEmpty());
    canvas.commit();
    EXPECT_THAT(device->messages, IsEmpty()) << "nothing has changed";
    EXPECT_EQ(canvas.createImage(gray(1, 1), {}), 1) << "no slot was taken";
}

TEST_F(CanvasObjectsTest, MakesNoObjectOfAnEmptyImageOrWithoutAConnection) {
    EXPECT_EQ(canvas.createImage(Image(), {}), std::nullopt);
    EXPECT_EQ(canvas.createImage(Image(3000, 0, PixelFormat::gray8, {}), {}), std::nullopt);
    device->isConnected = false;
    EXPECT_EQ(canvas.createImage(gray(1, 1), {}), std::nullopt);
    EXPECT_FALSE(canvas.createAnimation(std::vector{gray(1, 1)}, {}));
    device->isCurrent = false;
    EXPECT_EQ(canvas.createImage(gray(1, 1), {}), std::nullopt);
    canvas.commit();
    EXPECT_THAT(device->messages, IsEmpty());
    expectMirrorIsBlack();
}

TEST_F(CanvasObjectsTest, AFourthImageReusesTheIdOfTheOldestWithoutRemovingIt) {
    for (int n = 0; n < 3; ++n) {
        ASSERT_EQ(canvas.createImage(gray(1, 1), {}), n);
        platform.advance(std::chrono::seconds(1));
    }
    EXPECT_EQ(canvas.createImage(gray(2, 2), {}), 0);
    ASSERT_THAT(device->messages, SizeIs(4));
    EXPECT_EQ(device->messages[3], image(0, 1, 0, 0, true, gray(2, 2)));
}

TEST_F(CanvasObjectsTest, DrawsAnImageInTheMirrorWhereItsAnchorSays) {
    canvas.createImage(gray(4, 2, 0xFF), {.xOffset = 10, .yOffset = 20});
    expectMirrorShowsOnly({10, 20, 4, 2}, 0xC0);
    canvas.removeImage(0);
    canvas.createImage(gray(4, 2, 0x50), {.anchor = Anchor::bottomRight, .xOffset = -1, .yOffset = -3});
    expectMirrorShowsOnly({635, 481, 4, 2}, 0x40);
    canvas.removeImage(0);
    canvas.createImage(gray(4, 2, 0x90), {.anchor = Anchor::center});
    expectMirrorShowsOnly({318, 237, 4, 2}, 0x80);
}

TEST_F(CanvasObjectsTest, MovesAnImageThereAndInTheMirror) {
    canvas.createImage(gray(40, 30, 0xFF), {.xOffset = 10, .yOffset = 20});
    device->messages.clear();
    canvas.moveImage(0, 30, 25);
    EXPECT_THAT(device->messages, ElementsAre(object("move", MessagePackValue::array({1, 0, 30, 25}))));
    expectMirrorShowsOnly({30, 25, 40, 30}, 0xC0);
    canvas.moveImage(0, 0, 0);
    expectMirrorShowsOnly({0, 0, 40, 30}, 0xC0);
}

TEST_F(CanvasObjectsTest, ReplacesThePictureOfAnImageWhereItWasMovedTo) {
    canvas.createImage(gray(40, 30, 0xFF), {.anchor = Anchor::topCenter, .isVisible = false});
    canvas.moveImage(0, 5, 6);
    canvas.setImageVisible(0, true);
    canvas.commit();
    device->messages.clear();
    EXPECT_TRUE(canvas.updateImage(gray(20, 10, 0x50), 0));
    EXPECT_THAT(device->messages, ElementsAre(image(0, 2, 5, 6, true, gray(20, 10, 0x50))));
    expectMirrorShowsOnly({315, 6, 20, 10}, 0x40);
    canvas.commit();
    EXPECT_EQ(device->messages.at(1), flush);
    canvas.moveImage(0, 0, 0);
    expectMirrorShowsOnly({310, 0, 20, 10}, 0x40);
}

TEST_F(CanvasObjectsTest, ReplacesNoPictureWhereThereIsNoImage) {
    EXPECT_FALSE(canvas.updateImage(gray(1, 1), 2));
    canvas.createImage(gray(8, 8, 0xFF), {});
    canvas.commit();
    device->messages.clear();
    EXPECT_FALSE(canvas.updateImage(Image(), 0));
    canvas.commit();
    EXPECT_THAT(device->messages, IsEmpty());
    expectMirrorShowsOnly({0, 0, 8, 8}, 0xC0);
}

TEST_F(CanvasObjectsTest, HidesShowsAndRemovesObjectsOfEachKind) {
    canvas.setImageVisible(2, false);
    canvas.setTextVisible(6, true);
    canvas.setAnimationVisible(false);
    canvas.removeImage(2);
    canvas.removeText(6);
    canvas.removeAninimation();
    EXPECT_THAT(device->messages, ElementsAre(object("set_vis", MessagePackValue::array({1, 2, false})),
                                              object("set_vis", MessagePackValue::array({0, 6, true})),
                                              object("set_vis", MessagePackValue::array({2, 0, false})),
                                              object("object_clr", MessagePackValue::array({1, 2})),
                                              object("object_clr", MessagePackValue::array({0, 6})),
                                              object("object_clr", MessagePackValue::array({2, 0}))));
    device->messages.clear();
    canvas.moveText(6, 1, 2);
    canvas.moveAnimation(3, 4);
    EXPECT_THAT(device->messages, ElementsAre(object("move", MessagePackValue::array({0, 6, 1, 2})),
                                              object("move", MessagePackValue::array({2, 0, 3, 4}))));
}

TEST_F(CanvasObjectsTest, RemembersWhatWasHiddenForTheNextPicture) {
    canvas.createImage(gray(1, 1), {});
    canvas.setImageVisible(0, false);
    canvas.updateImage(gray(1, 1), 0);
    EXPECT_EQ(device->messages.back(), image(0, 1, 0, 0, false, gray(1, 1)));
}

TEST_F(CanvasObjectsTest, ARemovedImageLeavesTheMirrorAndItsIdForTheNext) {
    canvas.createImage(gray(8, 8, 0xFF), {});
    canvas.createImage(gray(8, 8, 0xFF), {.xOffset = 100});
    canvas.removeImage(0);
    expectMirrorShowsOnly({100, 0, 8, 8}, 0xC0);
    EXPECT_FALSE(canvas.updateImage(gray(1, 1), 0));
    EXPECT_EQ(canvas.createImage(gray(1, 1), {}), 0);
}

TEST_F(CanvasObjectsTest, SendsTheFramesOfAnAnimationAsHiddenImagesBeforeIt) {
    const std::vector frames{gray(4, 2, 0x40), gray(5, 3, 0x80), gray(6, 4, 0xC0)};
    EXPECT_TRUE(canvas.createAnimation(
        frames, {.anchor = Anchor::center, .xOffset = -7, .yOffset = 8, .duration = 900, .visible = false}));
    EXPECT_THAT(device->messages,
                ElementsAre(image(0, 9, -7, 8, false, frames[0]), image(1, 9, -7, 8, false, frames[1]),
                            image(2, 9, -7, 8, false, frames[2]),
                            object("animate", MessagePackValue::array(
                                                  {0, 900, 9, -7, 8, MessagePackValue::array({0, 1, 2}), false}))));
    canvas.commit();
    EXPECT_EQ(device->messages.back(), flush);
}

TEST_F(CanvasObjectsTest, FramesBeyondTheThirdTakeTheSlotsOfTheEarliest) {
    EXPECT_TRUE(canvas.createAnimation(std::vector<Image>(5, gray(1, 1)), {}));
    // All made at the same time, so the lowest slot gives way each time.
    EXPECT_THAT(numbers(*argument("lvgl_obj", "animate", 5)[5]), ElementsAre(0, 1, 2, 0, 0));
}

TEST_F(CanvasObjectsTest, LeavesFramesOutThatCannotBeSent) {
    EXPECT_TRUE(canvas.createAnimation(std::vector{gray(1, 1), Image(), gray(400, 400), gray(2, 2)}, {}));
    EXPECT_THAT(device->messages, SizeIs(3));
    EXPECT_THAT(numbers(*argument("lvgl_obj", "animate", 2)[5]), ElementsAre(0, 1));
}

TEST_F(CanvasObjectsTest, AnAnimationNoneOfWhoseFramesCanBeSentIsNone) {
    EXPECT_FALSE(canvas.createAnimation(std::vector{Image(), gray(400, 400)}, {}));
    EXPECT_THAT(device->messages, IsEmpty());
}

TEST_F(CanvasObjectsTest, MovesTheFirstFrameOfTheAnimationInTheMirror) {
    canvas.createAnimation(std::vector{gray(4, 2, 0xFF), gray(4, 2, 0x40)}, {});
    canvas.moveAnimation(50, 60);
    expectMirrorShowsOnly({50, 60, 4, 2}, 0xC0);
    canvas.removeAninimation();
    expectMirrorIsBlack();
}

TEST_F(CanvasObjectsTest, ClearsAllObjectsAndTheBackgroundOnlyWhenAsked) {
    canvas.createImage(gray(1, 1), {});
    canvas.createText("text", {});
    canvas.createAnimation(std::vector{gray(1, 1)}, {});
    device->messages.clear();
    canvas.clear(false);
    const auto all = object("clr_all", nullptr);
    EXPECT_THAT(device->messages, ElementsAre(all));
    EXPECT_EQ(canvas.createImage(gray(1, 1), {}), 0);
    EXPECT_EQ(canvas.createText("text", {}), 0);
    device->messages.clear();
    canvas.clear(true);
    EXPECT_THAT(device->messages, ElementsAre(all, message("canvas", "cnvs_clr", nullptr)));
}

TEST_F(CanvasObjectsTest, CommitsTextsThenObjectsThenTheBackground) {
    canvas.drawBackground(gray(1, 1), 0, 0, false);
    canvas.createImage(gray(1, 1), {});
    canvas.createText("text", {});
    device->messages.clear();
    canvas.commit();
    ASSERT_THAT(device->messages, SizeIs(3));
    EXPECT_TRUE(device->messages[0]["lvgl_obj"]->arrayValue());
    EXPECT_EQ(device->messages[1], flush);
    EXPECT_TRUE(isFlush(2));
    canvas.commit();
    EXPECT_THAT(device->messages, SizeIs(3));
}

TEST_F(CanvasObjectsTest, ResetForgetsAllObjectsAndWhatIsNotCommitted) {
    canvas.drawBackground(gray(1, 1, 0xFF), 0, 0, false);
    canvas.createImage(gray(1, 1, 0xFF), {});
    canvas.createText("text", {});
    device->messages.clear();
    canvas.reset();
    canvas.commit();
    EXPECT_THAT(device->messages, IsEmpty());
    expectMirrorIsBlack();
    EXPECT_EQ(canvas.createImage(gray(1, 1), {}), 0);
    EXPECT_EQ(canvas.createText("text", {}), 0);
}

TEST_F(CanvasObjectsDeathTest, StopsAtIdsWithoutSlotsNegativeMovesAndAnimationsWithoutFrames) {
    EXPECT_DEATH(canvas.moveImage(3, 0, 0), "the id of an object");
    EXPECT_DEATH(canvas.moveText(7, 0, 0), "the id of an object");
    EXPECT_DEATH(canvas.setImageVisible(-1, true), "the id of an object");
    EXPECT_DEATH(canvas.removeText(7), "the id of an object");
    EXPECT_DEATH((void)canvas.updateImage(gray(1, 1), 3), "the id of an object");
    EXPECT_DEATH(canvas.updateText("text", 7), "the id of an object");
    EXPECT_DEATH(canvas.moveImage(0, -1, 0), "not negative");
    EXPECT_DEATH(canvas.moveAnimation(0, -1), "not negative");
    EXPECT_DEATH((void)canvas.createAnimation({}, {}), "at least one frame");
    EXPECT_DEATH((void)canvas.createImage(gray(2048, 1), {}), "");
}

} // namespace
} // namespace tarnel
