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

TEST(Mirror, FillsARectangleWithAGrey) {
    Mirror mirror(2, 3);
    mirror.fill({1, -1, 5, 2}, 7);
    EXPECT_EQ(pixels(mirror), Bytes({0, 0, 0, 0, 0, 7}));
}

TEST(Mirror, BlendsWhatIsPartlyTransparentWithWhatIsThere) {
    Mirror mirror(4, 1);
    mirror.fill({0, 0, 4, 1}, 100);
    // Opaque, half and wholly transparent white, and pure green, whose luminance is 0.59.
    mirror.blend(Image(4, 1, PixelFormat::rgba8,
                       Bytes{255, 255, 255, 255, 255, 255, 255, 128, 255, 255, 255, 0, 0, 255, 0, 255}),
                 0, 0);
    EXPECT_EQ(pixels(mirror), Bytes({255, 178, 100, 150}));
}

TEST(Mirror, BlendsGreysWhollyAndOnlyWhereItIs) {
    Mirror mirror(2, 2);
    mirror.blend(Image(2, 2, PixelFormat::gray8, Bytes{1, 2, 3, 4}), 1, 1);
    mirror.blend(Image(1, 1, PixelFormat::grayAlpha8, Bytes{50, 200}), 0, 0);
    EXPECT_EQ(pixels(mirror), Bytes({0, 3, 50, 0}));
}

TEST(MirrorDeathTest, TakesNoOtherFormat) {
    Mirror mirror(1, 1);
    EXPECT_DEATH(mirror.draw(Image(1, 1, PixelFormat::rgba8, Bytes(4)), 0, 0), "gray8");
}

} // namespace
} // namespace tarnel
