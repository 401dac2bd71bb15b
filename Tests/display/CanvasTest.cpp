#include "CanvasFixture.hpp"
#include "support/RLEDecoder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace tarnel {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class CanvasTest : public test::CanvasFixture {
protected:
    MessagePackValue argument(const char* command, std::size_t n) const {
        return CanvasFixture::argument("canvas", command, n);
    }
};

TEST(SplitImage, KeepsAnImageOf39603PixelsInOneBandAndSplitsOneOf39604) {
    EXPECT_THAT(splitImage({39603, 1}, 2), ElementsAre(Rect{0, 0, 39603, 1}));
    EXPECT_THAT(splitImage({19802, 2}, 2), ElementsAre(Rect{0, 0, 19802, 1}, Rect{0, 1, 19802, 1}));
}

TEST(SplitImage, HasNoEmptyLastBandWhereTheHeightIsAMultipleOfTheBands) {
    // 39,600 / 400 = 99 rows a band.
    EXPECT_THAT(splitImage({400, 198}, 2), ElementsAre(Rect{0, 0, 400, 99}, Rect{0, 99, 400, 99}));
    EXPECT_THAT(splitImage({400, 199}, 2),
                ElementsAre(Rect{0, 0, 400, 99}, Rect{0, 99, 400, 99}, Rect{0, 198, 400, 1}));
}

TEST(SplitImage, CoversAWholeDisplayInBandsOf61Rows) {
    const auto bands = splitImage({640, 480}, 2);
    ASSERT_THAT(bands, SizeIs(8));
    EXPECT_EQ(bands.front(), (Rect{0, 0, 640, 61}));
    EXPECT_EQ(bands.back(), (Rect{0, 427, 640, 53}));
}

TEST(SplitImage, HoldsFewerRowsAtMoreBitsAPixel) {
    EXPECT_EQ(splitImage({640, 480}, 1).front().height, 123);
    EXPECT_EQ(splitImage({640, 480}, 8).front().height, 15);
}

TEST(SplitImage, GivesNothingForAnEmptyImageOrRowsLongerThanABand) {
    EXPECT_THAT(splitImage({0, 5}, 2), IsEmpty());
    EXPECT_THAT(splitImage({39601, 2}, 2), IsEmpty());
}

TEST(SplitImageDeathTest, TakesNoPixelsWithoutBits) {
    EXPECT_DEATH((void)splitImage({10, 10}, 0), "a pixel has");
}

TEST_F(CanvasTest, DrawsASmallImageAsOneBandAtItsPlace) {
    canvas.drawBackground(gray(3, 2, 0xFF), 10, 20, false);
    ASSERT_THAT(device->messages, SizeIs(1));
    EXPECT_THAT(device->types, ElementsAre(ItemType::longwrite));
    const auto image = argument("cnvs_img", 0);
    ASSERT_EQ(image.count(), 4u);
    EXPECT_THAT(numbers(*image[0]), ElementsAre(10, 20));
    EXPECT_THAT(numbers(*image[1]), ElementsAre(3, 2));
    EXPECT_EQ(image[2]->uint64Value(), 1u);
    // Twelve set bits, the rows not padded.
    EXPECT_EQ(image[3]->dataValue(), Bytes({0x02, 0xFF, 0xF0}));
}

TEST_F(CanvasTest, SendsTheBandsOfALargeImageTopDownAndTogetherTheyAreTheImage) {
    Bytes pixels(640 * 480);
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        pixels[i] = static_cast<std::uint8_t>((i * 7919 + i / 640 * 31) & 0xC0);
    }
    canvas.drawBackground(Image(640, 480, PixelFormat::gray8, pixels), 0, 0, false);
    ASSERT_THAT(device->messages, SizeIs(8));
    EXPECT_THAT(device->sizes, Each(::testing::Le(10000u)));
    Bytes shown;
    for (std::size_t n = 0; n < device->messages.size(); ++n) {
        const auto image = argument("cnvs_img", n);
        EXPECT_EQ(numbers(*image[0])[1], 61 * n);
        const auto packed = test::decodeRLE(*image[3]->dataValue());
        ASSERT_TRUE(packed);
        for (std::size_t i = 0; i < numbers(*image[1])[0] * numbers(*image[1])[1]; ++i) {
            shown.push_back(static_cast<std::uint8_t>(((*packed)[i / 4] >> (6 - i % 4 * 2)) << 6));
        }
    }
    EXPECT_EQ(shown, pixels);
}

TEST_F(CanvasTest, SendsAnOversizedBandInTwoWhereItsEncodingIsTooLargeForTheGlasses) {
    // Literals of 127 bytes, which take a long header, between runs of three: the encoding is longer than the bitmap.
    Bytes pixels;
    for (std::size_t byte = 0; pixels.size() < 396 * 100; ++byte) {
        const std::uint8_t packed = byte % 130 < 127 ? static_cast<std::uint8_t>(byte % 2 == 0 ? 0x1B : 0xE4) : 0xFF;
        for (int shift = 6; shift >= 0; shift -= 2) {
            pixels.push_back(static_cast<std::uint8_t>((packed >> shift) << 6));
        }
    }
    ASSERT_THAT(splitImage({396, 100}, 2), SizeIs(1));
    canvas.drawBackground(Image(396, 100, PixelFormat::gray8, pixels), 5, 7, false);
    ASSERT_THAT(device->messages, SizeIs(2));
    EXPECT_THAT(device->sizes, Each(::testing::Le(10000u)));
    EXPECT_THAT(numbers(*argument("cnvs_img", 0)[0]), ElementsAre(5, 7));
    EXPECT_THAT(numbers(*argument("cnvs_img", 0)[1]), ElementsAre(396, 50));
    EXPECT_THAT(numbers(*argument("cnvs_img", 1)[0]), ElementsAre(5, 57));
    EXPECT_THAT(numbers(*argument("cnvs_img", 1)[1]), ElementsAre(396, 50));
}

TEST_F(CanvasTest, FlushesAfterEveryBandWhenItIsToCommitImmediately) {
    canvas.drawBackground(gray(400, 198), 0, 0, true);
    ASSERT_THAT(device->messages, SizeIs(4));
    EXPECT_TRUE(isFlush(1));
    EXPECT_TRUE(isFlush(3));
    canvas.commit();
    EXPECT_THAT(device->messages, SizeIs(4)) << "nothing is left to commit";
}

TEST_F(CanvasTest, SendsNothingForAnEmptyImageOrOneWithoutBands) {
    canvas.drawBackground(Image(), 0, 0, false);
    canvas.drawBackground(gray(39601, 2), 0, 0, false);
    EXPECT_THAT(device->messages, IsEmpty());
}

TEST_F(CanvasTest, ClearsTheBackground) {
    canvas.drawBackground(gray(640, 480), 0, 0, true);
    device->messages.clear();
    canvas.clearBackground();
    EXPECT_TRUE(argument("cnvs_clr", 0).isNil());
    const Image mirror = canvas.mirror();
    EXPECT_THAT(Bytes(mirror.data().begin(), mirror.data().end()), Each(0));
    canvas.commit();
    EXPECT_TRUE(isFlush(1));
}

TEST_F(CanvasTest, SendsTheCornersOfARectangleToClear) {
    canvas.clearBackgroundRect(10, 20, 30, 40);
    EXPECT_THAT(numbers(argument("cnvs_clrblk", 0)), ElementsAre(10, 20, 40, 60));
    canvas.commit();
    EXPECT_TRUE(isFlush(1));
}

TEST_F(CanvasTest, CommitsOnlyWhatIsNotShownYet) {
    canvas.commit();
    EXPECT_THAT(device->messages, IsEmpty());
    canvas.drawBackground(gray(1, 1), 0, 0, false);
    canvas.commit();
    canvas.commit();
    ASSERT_THAT(device->messages, SizeIs(2));
    EXPECT_TRUE(isFlush(1));
}

TEST_F(CanvasTest, MirrorsWhatWasDrawnAndCutsItAtTheEdges) {
    canvas.drawBackground(gray(4, 4, 0xFF), 638, 478, false);
    canvas.drawBackground(gray(1, 1, 0x50), 0, 0, false);
    const Image mirror = canvas.mirror();
    EXPECT_EQ(mirror.width(), Canvas::WIDTH);
    EXPECT_EQ(mirror.height(), Canvas::HEIGHT);
    EXPECT_EQ(mirror.row(0)[0], 0x40) << "the nearest level";
    EXPECT_EQ(mirror.row(477)[638], 0);
    EXPECT_EQ(mirror.row(478)[637], 0);
    EXPECT_EQ(mirror.row(478)[638], 0xC0);
    EXPECT_EQ(mirror.row(479)[639], 0xC0);
}

TEST_F(CanvasTest, ResetForgetsWhatWasDrawnAndSendsNothing) {
    canvas.drawBackground(gray(640, 480), 0, 0, false);
    device->messages.clear();
    canvas.reset();
    canvas.commit();
    EXPECT_THAT(device->messages, IsEmpty());
    const Image mirror = canvas.mirror();
    EXPECT_THAT(Bytes(mirror.data().begin(), mirror.data().end()), Each(0));
}

TEST_F(CanvasTest, DropsCommandsWhileNoDeviceIsCurrent) {
    device->isCurrent = false;
    canvas.drawBackground(gray(2, 2), 0, 0, true);
    canvas.clearBackground();
    EXPECT_THAT(device->messages, IsEmpty());
}

using CanvasDeathTest = CanvasTest;

TEST_F(CanvasDeathTest, StopsAtNegativeAndOverflowingCoordinates) {
    EXPECT_DEATH(canvas.drawBackground(gray(2, 2), -1, 0, false), "not negative");
    EXPECT_DEATH(canvas.drawBackground(gray(2, 2), 0, -1, false), "not negative");
    EXPECT_DEATH(canvas.clearBackgroundRect(0, 0, -1, 1), "not negative");
    EXPECT_DEATH(canvas.clearBackgroundRect(1, 1, 2147483647, 1), "overflow");
}

} // namespace
} // namespace tarnel
