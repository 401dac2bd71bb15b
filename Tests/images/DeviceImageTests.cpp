#include "images/Pictures.hpp"

#include <TarnelSDK/images/DeviceImage.hpp>
#include <TarnelSDK/images/UIImage+Extension.hpp>

namespace tarnel {
namespace {

TEST(ImageFromTNImage, ShowsTheFourLevelsAndTransparency) {
    const Bytes device = toTNImage(Image(4, 1, PixelFormat::gray8, {0x00, 0x40, 0x80, 0xC0}), 2).value();
    const Image image = imageOf(imageFromTNImage(device));
    ASSERT_EQ(image.format(), PixelFormat::rgba8);
    EXPECT_EQ(pixelsOf(image), (Bytes{0x00, 0x00, 0x00, 0x00, 0x55, 0x55, 0x55, 0xFF, //
                                      0xAA, 0xAA, 0xAA, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST(ImageFromTNImage, ShowsTheTwoLevelsAndTransparency) {
    const Bytes device = toTNImage(Image(2, 1, PixelFormat::gray8, {0x00, 0xFF}), 1).value();
    EXPECT_EQ(pixelsOf(imageOf(imageFromTNImage(device))), (Bytes{0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST(ImageFromTNImage, TakesAlphaFromThePalette) {
    const Bytes device = {0x07, 0x04, 0x20, 0x00, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0x80, 0x00};
    EXPECT_EQ(pixelsOf(imageOf(imageFromTNImage(device))), (Bytes{0, 0, 0, 0xFF}));
}

TEST(ImageFromTNImage, GivesBackWhatToTNImageMadeForEverySmallSize) {
    for (const int bpp : {1, 2}) {
        const int highest = (1 << bpp) - 1;
        for (int width = 1; width <= 70; ++width) {
            const auto level = [&](int x, int y) { return (x * 3 + y * 7 + x * y) % (highest + 1); };
            const Image image = makeGray(width, 9, [&](int x, int y) { return level(x, y) << (8 - bpp); });
            const Image shown = imageOf(imageFromTNImage(toTNImage(image, bpp).value()));
            ASSERT_EQ(shown.width(), width);
            ASSERT_EQ(shown.height(), 9);
            for (int y = 0; y < 9; ++y) {
                for (int x = 0; x < width; ++x) {
                    ASSERT_EQ(pixelAt(shown, x, y).front(), level(x, y) * 255 / highest) << x << ", " << y;
                }
            }
        }
    }
}

TEST(ImageFromTNImage, RefusesAnotherColourFormat) {
    Bytes device = toTNImage(flatGray(4, 4, 0), 2).value();
    device[0] = 9;
    EXPECT_EQ(messageOf(imageFromTNImage(device, "logo.bin")),
              "logo.bin has colour format 9; the glasses show 7 (1 bit indexed) and 8 (2 bits indexed)");
}

TEST(ImageFromTNImage, RefusesDataOfAnyOtherLength) {
    const Bytes device = toTNImage(flatGray(5, 3, 0), 2).value();
    for (std::size_t length = 0; length < device.size(); ++length) {
        EXPECT_FALSE(messageOf(imageFromTNImage(ByteView(device).first(length))).empty()) << length;
    }
    EXPECT_EQ(messageOf(imageFromTNImage(ByteView(device).first(25))),
              "the device image is cut off: 5 x 3 pixels of 2 bit take 26 bytes, it has 25");
    EXPECT_EQ(messageOf(imageFromTNImage(ByteView(device).first(3))),
              "the device image is no device image: it has 3 bytes, the header alone has 4");
    Bytes longer = device;
    longer.push_back(0);
    EXPECT_EQ(messageOf(imageFromTNImage(longer)),
              "the device image is too long: 5 x 3 pixels of 2 bit take 26 bytes, it has 27");
}

} // namespace
} // namespace tarnel
