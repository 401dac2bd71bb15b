#include "images/Pictures.hpp"

#include <TarnelSDK/images/Geometry.hpp>

#include <limits>

namespace tarnel {
namespace {

TEST(Image, IsEmptyWhenNothingWasPutIn) {
    const Image image;
    EXPECT_TRUE(image.isEmpty());
    EXPECT_TRUE(image.data().empty());
    EXPECT_EQ(image.bytesPerRow(), 0U);
}

TEST(Image, ARowLeavesOutItsSlack) {
    const Image image(2, 2, PixelFormat::gray8, 3, {1, 2, 99, 3, 4, 99});
    EXPECT_EQ(pixelsOf(image), (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(image.data().size(), 6U);
}

TEST(Image, RowsWithoutSlackAreAsLongAsTheirPixels) {
    EXPECT_EQ(Image(3, 1, PixelFormat::gray8, Bytes(3)).bytesPerRow(), 3U);
    EXPECT_EQ(Image(3, 1, PixelFormat::grayAlpha8, Bytes(6)).bytesPerRow(), 6U);
    EXPECT_EQ(Image(3, 1, PixelFormat::rgba8, Bytes(12)).bitsPerPixel(), 32U);
}

TEST(Image, CopiesShareTheirPixels) {
    const Image image(1, 1, PixelFormat::gray8, {7});
    const Image copy = image;
    EXPECT_EQ(copy.data().data(), image.data().data());
}

TEST(ImageDeathTest, StopsAtBytesThatDoNotMakeTheSize) {
    EXPECT_DEATH(Image(2, 2, PixelFormat::gray8, Bytes(3)), "as many bytes as its rows");
    EXPECT_DEATH(Image(2, 1, PixelFormat::rgba8, 7, Bytes(7)), "at least as long as its pixels");
    EXPECT_DEATH(Image(-1, 1, PixelFormat::gray8, Bytes()), "no negative size");
    EXPECT_DEATH(Image(std::numeric_limits<int>::max(), std::numeric_limits<int>::max(), PixelFormat::rgba8,
                       std::size_t{1} << 60, Bytes()),
                 "as many bytes as its rows");
}

TEST(ImageDeathTest, StopsAtARowOutsideThePicture) {
    const Image image(1, 1, PixelFormat::gray8, {7});
    EXPECT_DEATH(image.row(1), "within the image");
    EXPECT_DEATH(image.row(-1), "within the image");
}

TEST(Rect, IntersectionIsWhatLiesInBoth) {
    EXPECT_EQ(intersection({0, 0, 10, 10}, {5, -5, 10, 10}), (Rect{5, 0, 5, 5}));
    EXPECT_EQ(intersection({0, 0, 10, 10}, {10, 0, 5, 5}), Rect{});
    EXPECT_EQ(intersection({0, 0, 10, 10}, {2, 3, -4, 5}), Rect{});
}

TEST(Rect, IntersectionHoldsAtTheEndsOfTheNumbers) {
    constexpr int most = std::numeric_limits<int>::max();
    constexpr int least = std::numeric_limits<int>::min();
    EXPECT_EQ(intersection({0, 0, 10, 10}, {5, 5, most, most}), (Rect{5, 5, 5, 5}));
    EXPECT_EQ(intersection({0, 0, 10, 10}, {least, least, most, most}), Rect{});
    EXPECT_EQ(intersection({most, most, most, most}, {least, least, 1, 1}), Rect{});
}

} // namespace
} // namespace tarnel
