#include "FontFolder.hpp"

#include <TarnelSDK/glyphs/GlyphRun.hpp>
#include <TarnelSDK/glyphs/Typeface.hpp>
#include <TarnelSDK/images/Image.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace tarnel::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class GlyphRunTest : public ::testing::Test {
protected:
    std::vector<std::uint16_t> glyphs(std::u32string_view text) const {
        std::vector<std::uint16_t> result;
        for (const char32_t codePoint : text) {
            result.push_back(static_cast<std::uint16_t>(font.typeface()->glyph(codePoint)));
        }
        return result;
    }

    TestPlatform platform;
    const Font font = *Font::withFile(notoSans, 28);
};

TEST_F(GlyphRunTest, ASpaceGivesTheConsoleLineAndAnEmptyBitmapInItsPlace) {
    const auto three = glyphs(U"l l");
    const auto boxes = boundingRects(font, three);
    ::testing::internal::CaptureStdout();
    const auto bitmaps = toPixelData(font, boxes, three);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "problem with bounding box: (0.0, 0.0, 0.0, 0.0)\n");
    ASSERT_THAT(bitmaps, SizeIs(3));
    EXPECT_THAT(bitmaps[1], IsEmpty());
    EXPECT_EQ(bitmaps[0], bitmaps[2]);
    EXPECT_FALSE(bitmaps[0].empty());
}

TEST_F(GlyphRunTest, AGlyphThreeWideAndThreeHighGivesTwoBytes) {
    const auto dot = glyphs(U".");
    const std::vector<GlyphBox> box{{2, 0, 3, 3}};
    const auto bitmaps = toPixelData(font, box, dot);
    ASSERT_THAT(bitmaps, SizeIs(1));
    EXPECT_THAT(bitmaps[0], SizeIs(2));
}

TEST_F(GlyphRunTest, ABoxIsRoundedDownInWidthAndUpInHeight) {
    const auto dot = glyphs(U".");
    const auto bits = [&](double width, double height) {
        return toPixelData(font, std::vector<GlyphBox>{{0, 0, width, height}}, dot)[0].size();
    };
    EXPECT_EQ(bits(8.9, 7.1), 8U);
    EXPECT_EQ(bits(9, 8), 9U);
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(bits(0.9, 3), 0U);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "problem with bounding box: (0.0, 0.0, 0.9, 3.0)\n");
}

TEST_F(GlyphRunTest, TheBoxHoldsTheInkExactly) {
    const auto letters = glyphs(U"AgjQ.|ÄЖ@");
    const auto boxes = boundingRects(font, letters);
    const auto exact = toPixelData(font, boxes, letters);
    for (std::size_t i = 0; i < letters.size(); ++i) {
        // One pixel more on every side holds nothing more.
        const auto& box = boxes[i];
        const std::vector<GlyphBox> larger{{box.x - 1, box.y - 1, box.width + 2, box.height + 2}};
        const auto count = [](const Bytes& bytes) {
            int bits = 0;
            for (const auto byte : bytes) {
                bits += __builtin_popcount(byte);
            }
            return bits;
        };
        EXPECT_EQ(count(toPixelData(font, larger, std::vector{letters[i]})[0]), count(exact[i]));
        const std::vector<GlyphBox> smaller{{box.x + 1, box.y, box.width - 1, box.height}};
        EXPECT_LT(count(toPixelData(font, smaller, std::vector{letters[i]})[0]), count(exact[i]));
    }
    EXPECT_EQ(boxes[0].y, 0) << "a capital stands on the baseline";
    EXPECT_LT(boxes[1].y, 0) << "g goes below it";
}

TEST_F(GlyphRunTest, EachPictureIsPostedAsImageTest) {
    std::vector<Image> images;
    const auto observation =
        platform.notificationCenter().observe("imageTest", [&](const platform::Notification& notification) {
            images.push_back(std::any_cast<Image>(notification.userInfo.at("image")));
        });
    const auto letters = glyphs(U"l.");
    const auto boxes = boundingRects(font, letters);
    toPixelData(font, boxes, letters);
    ASSERT_THAT(images, SizeIs(2));
    EXPECT_EQ(images[0].width(), boxes[0].width);
    EXPECT_EQ(images[0].height(), boxes[0].height);
    EXPECT_EQ(images[0].format(), PixelFormat::gray8);
    for (const auto pixel : images[0].data()) {
        EXPECT_EQ(pixel, 255) << "l is a plain bar";
    }
}

TEST_F(GlyphRunTest, PicturesThatAreHeldArePostedInTheirOrderAtTheEnd) {
    std::vector<int> widths;
    const auto observation =
        platform.notificationCenter().observe("imageTest", [&](const platform::Notification& notification) {
            widths.push_back(std::any_cast<Image>(notification.userInfo.at("image")).width());
        });
    const auto letters = glyphs(U"lm");
    const auto boxes = boundingRects(font, letters);
    {
        const HeldGlyphImages outer;
        {
            const HeldGlyphImages inner;
            toPixelData(font, boxes, letters);
        }
        EXPECT_THAT(widths, IsEmpty());
    }
    EXPECT_THAT(widths, ElementsAre(static_cast<int>(boxes[0].width), static_cast<int>(boxes[1].width)));
    toPixelData(font, boxes, letters);
    EXPECT_THAT(widths, SizeIs(4));
}

TEST_F(GlyphRunTest, AdvancesAreTheFontsOwn) {
    EXPECT_THAT(advances(font, glyphs(U"n ")),
                ElementsAre(::testing::DoubleNear(28 * 0.618, 0.01), ::testing::DoubleNear(28 * 0.260, 0.01)));
}

TEST_F(GlyphRunTest, AGlyphIsDrawnAtEachSizeItself) {
    const auto letter = glyphs(U"H");
    EXPECT_EQ(boundingRects(font, letter)[0].height, 20);
    EXPECT_EQ(boundingRects(font.withSize(14), letter)[0].height, 10);
    EXPECT_EQ(boundingRects(font, letter)[0].height, 20);
}

TEST_F(GlyphRunTest, NoBoxesGiveNothing) {
    EXPECT_THAT(toPixelData(font, {}, {}), IsEmpty());
}

TEST_F(GlyphRunTest, BrokenBoxesStopTheProgram) {
    const auto dot = glyphs(U".");
    const std::vector<GlyphBox> endless{{0, 0, std::numeric_limits<double>::infinity(), 3}};
    const std::vector<GlyphBox> undefined{{0, 0, 3, std::numeric_limits<double>::quiet_NaN()}};
    EXPECT_DEATH(toPixelData(font, endless, dot), "box is finite");
    EXPECT_DEATH(toPixelData(font, undefined, dot), "box is finite");
    EXPECT_DEATH(toPixelData(font, {}, dot), "every glyph has a box");
}

TEST_F(GlyphRunTest, BoxesBeyondReasonGiveEmptyBitmaps) {
    const auto dot = glyphs(U".");
    for (const GlyphBox& box : {GlyphBox{0, 0, 1e9, 1e9}, GlyphBox{1e300, 0, 3, 3}, GlyphBox{0, 0, -3, 3}}) {
        EXPECT_THAT(toPixelData(font, std::vector{box}, dot), ElementsAre(IsEmpty()));
    }
}

} // namespace
} // namespace tarnel::test
