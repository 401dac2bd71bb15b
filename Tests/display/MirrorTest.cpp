#include <TarnelSDK/display/Mirror.hpp>

#include <gtest/gtest.h>

namespace tarnel {
namespace {

Bytes pixels(const Mirror& mirror) {
    const Image image = mirror.image();
    return {image.data().begin(), image.data().end()};
}

TEST(Mirror, IsBlackAtFirst) {
    EXPECT_EQ(pixels(Mirror(2, 2)), Bytes({0, 0, 0, 0}));
}

TEST(Mirror, DrawsAnImageWithItsBottomLeftCornerCountedFromTheBottom) {
    Mirror mirror(3, 3);
    mirror.draw(Image(2, 1, PixelFormat::gray8, Bytes{1, 2}), 1, 0);
    EXPECT_EQ(pixels(mirror), Bytes({0, 0, 0, 0, 0, 0, 0, 1, 2}));
}

TEST(Mirror, CutsOffWhatLiesOutsideOnEverySide) {
    const Image image(4, 4, PixelFormat::gray8, Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    Mirror inside(2, 2);
    inside.draw(image, -1, -1);
    EXPECT_EQ(pixels(inside), Bytes({6, 7, 10, 11}));
    Mirror outside(2, 2);
    outside.draw(image, 2, 2);
    outside.draw(image, -4, -4);
    EXPECT_EQ(pixels(outside), Bytes({0, 0, 0, 0}));
}

TEST(Mirror, ClearsARectangleFromItsBottomLeftCornerUp) {
    Mirror mirror(2, 3);
    mirror.draw(Image(2, 3, PixelFormat::gray8, Bytes(6, 9)), 0, 0);
    mirror.clear({1, 1, 5, 1});
    EXPECT_EQ(pixels(mirror), Bytes({9, 9, 9, 0, 9, 9}));
}

TEST(MirrorDeathTest, TakesNoOtherFormat) {
    Mirror mirror(1, 1);
    EXPECT_DEATH(mirror.draw(Image(1, 1, PixelFormat::rgba8, Bytes(4)), 0, 0), "gray8");
}

} // namespace
} // namespace tarnel
