#include "images/PNGWriter.hpp"
#include "images/Pictures.hpp"

#include <TarnelSDK/images/ImageFile.hpp>

#include <string>
#include <vector>

namespace tarnel {
namespace {

using test::PNGWriter;

constexpr int width = 13;
constexpr int height = 9;

int redAt(int x, int y) {
    return x * 19 + y;
}
int greenAt(int x, int y) {
    return 255 - y * 20 - x;
}
int blueAt(int x, int y) {
    return (x * y * 5) % 256;
}
int alphaAt(int x, int y) {
    return (x * 11 + y * 7) % 256;
}

/// Every way of storing is read progressively and interlaced.
class PNGKind : public testing::TestWithParam<bool> {
protected:
    PNGWriter writer(int depth, int colorType) const {
        return PNGWriter{
            .width = width, .height = height, .depth = depth, .colorType = colorType, .isInterlaced = GetParam()};
    }
    /// A sample of 8 bits at the file's depth.
    static unsigned int atDepth(int value, int depth) {
        return static_cast<unsigned int>(depth == 16 ? value * 257 : value);
    }
};

INSTANTIATE_TEST_SUITE_P(, PNGKind, testing::Bool(),
                         [](const auto& parameter) { return parameter.param ? "Interlaced" : "Sequential"; });

TEST_P(PNGKind, GreyOfEveryDepthBecomesGray8) {
    for (const int depth : {1, 2, 4, 8, 16}) {
        const int highest = depth >= 8 ? 255 : (1 << depth) - 1;
        const auto value = [&](int x, int y) { return (x * 5 + y * 3) % (highest + 1); };
        const Bytes file = writer(depth, PNGWriter::gray).write([&](int x, int y) {
            return std::vector<unsigned int>{atDepth(value(x, y), depth)};
        });
        const Image image = imageOf(decodeImage(file));
        ASSERT_EQ(image.format(), PixelFormat::gray8) << depth;
        const Image expected = makeGray(width, height, [&](int x, int y) { return value(x, y) * 255 / highest; });
        EXPECT_EQ(pixelsOf(image), pixelsOf(expected)) << depth;
    }
}

TEST_P(PNGKind, RGBOfEveryDepthBecomesOpaqueRGBA) {
    for (const int depth : {8, 16}) {
        const Bytes file = writer(depth, PNGWriter::rgb).write([&](int x, int y) {
            return std::vector<unsigned int>{atDepth(redAt(x, y), depth), atDepth(greenAt(x, y), depth),
                                             atDepth(blueAt(x, y), depth)};
        });
        const Image expected = makeImage(width, height, PixelFormat::rgba8, [](int x, int y) {
            return test::pixel({redAt(x, y), greenAt(x, y), blueAt(x, y), 255});
        });
        EXPECT_EQ(pixelsOf(imageOf(decodeImage(file))), pixelsOf(expected)) << depth;
    }
}

TEST_P(PNGKind, RGBAOfEveryDepthKeepsItsColoursUnmultiplied) {
    for (const int depth : {8, 16}) {
        const Bytes file = writer(depth, PNGWriter::rgba).write([&](int x, int y) {
            return std::vector<unsigned int>{atDepth(redAt(x, y), depth), atDepth(greenAt(x, y), depth),
                                             atDepth(blueAt(x, y), depth), atDepth(alphaAt(x, y), depth)};
        });
        const Image expected = makeImage(width, height, PixelFormat::rgba8, [](int x, int y) {
            return test::pixel({redAt(x, y), greenAt(x, y), blueAt(x, y), alphaAt(x, y)});
        });
        EXPECT_EQ(pixelsOf(imageOf(decodeImage(file))), pixelsOf(expected)) << depth;
    }
}

TEST_P(PNGKind, GreyWithAlphaOfEveryDepthBecomesRGBA) {
    for (const int depth : {8, 16}) {
        const Bytes file = writer(depth, PNGWriter::grayAlpha).write([&](int x, int y) {
            return std::vector<unsigned int>{atDepth(redAt(x, y), depth), atDepth(alphaAt(x, y), depth)};
        });
        const Image expected = makeImage(width, height, PixelFormat::rgba8, [](int x, int y) {
            return test::pixel({redAt(x, y), redAt(x, y), redAt(x, y), alphaAt(x, y)});
        });
        EXPECT_EQ(pixelsOf(imageOf(decodeImage(file))), pixelsOf(expected)) << depth;
    }
}

TEST_P(PNGKind, APaletteOfEveryDepthWithAndWithoutTransparencyBecomesRGBA) {
    for (const int depth : {1, 2, 4, 8}) {
        for (const bool isTransparent : {false, true}) {
            const int count = 1 << depth;
            PNGWriter png = writer(depth, PNGWriter::palette);
            for (int i = 0; i < count; ++i) {
                const Bytes color = test::pixel({i * 37 % 256, 255 - i, i * 5 % 256});
                png.palette_.insert(png.palette_.end(), color.begin(), color.end());
            }
            // Entries without a transparency of their own are opaque.
            if (isTransparent) {
                for (int i = 0; i < count / 2; ++i) {
                    png.transparency.push_back(static_cast<std::uint8_t>(i * 60));
                }
            }
            const auto index = [&](int x, int y) { return (x + 2 * y) % count; };
            const Bytes file = png.write(
                [&](int x, int y) { return std::vector<unsigned int>{static_cast<unsigned int>(index(x, y))}; });
            const Image expected = makeImage(width, height, PixelFormat::rgba8, [&](int x, int y) {
                const int i = index(x, y);
                const int alpha = isTransparent && i < count / 2 ? i * 60 % 256 : 255;
                return test::pixel({i * 37 % 256, 255 - i, i * 5 % 256, alpha});
            });
            EXPECT_EQ(pixelsOf(imageOf(decodeImage(file))), pixelsOf(expected)) << depth << isTransparent;
        }
    }
}

TEST_P(PNGKind, TheTransparentColourOfAGreyPictureIsTransparent) {
    PNGWriter png = writer(8, PNGWriter::gray);
    png.transparency = {0, 3};
    const Bytes file = png.write([](int x, int) { return std::vector<unsigned int>{static_cast<unsigned int>(x)}; });
    const Image image = imageOf(decodeImage(file));
    EXPECT_EQ(pixelAt(image, 3, 0), (Bytes{3, 3, 3, 0}));
    EXPECT_EQ(pixelAt(image, 4, 0), (Bytes{4, 4, 4, 255}));
}

TEST_P(PNGKind, TheTransparentColourOfAnRGBPictureIsTransparent) {
    PNGWriter png = writer(8, PNGWriter::rgb);
    png.transparency = {0, 3, 0, 1, 0, 2};
    const Bytes file = png.write([](int x, int) {
        return std::vector<unsigned int>{static_cast<unsigned int>(x), 1, 2};
    });
    const Image image = imageOf(decodeImage(file));
    EXPECT_EQ(pixelAt(image, 3, 0), (Bytes{3, 1, 2, 0}));
    EXPECT_EQ(pixelAt(image, 4, 0), (Bytes{4, 1, 2, 255}));
}

TEST_P(PNGKind, CutOffAnywhereIsAnError) {
    const Bytes file = writer(8, PNGWriter::rgb).write([](int x, int y) {
        return std::vector<unsigned int>{static_cast<unsigned int>(redAt(x, y)), 1,
                                         static_cast<unsigned int>(blueAt(x, y))};
    });
    for (std::size_t length = 0; length < file.size(); ++length) {
        EXPECT_FALSE(messageOf(decodeImage(ByteView(file).first(length))).empty()) << length;
    }
    EXPECT_EQ(messageOf(decodeImage(ByteView(file).first(file.size() - 20), "a.png")),
              "a.png ends early: the PNG file is cut off. Copy it again from its source");
}

TEST_P(PNGKind, AnyByteChangedGivesAPictureOrAnError) {
    const Bytes file = writer(4, PNGWriter::gray).write([](int x, int) {
        return std::vector<unsigned int>{static_cast<unsigned int>(x)};
    });
    for (std::size_t at = 0; at < file.size(); ++at) {
        for (const int flip : {0x01, 0x80, 0xFF}) {
            Bytes changed = file;
            changed[at] = static_cast<std::uint8_t>(changed[at] ^ flip);
            const ImageResult result = decodeImage(changed);
            EXPECT_TRUE(std::holds_alternative<Image>(result) || !messageOf(result).empty());
        }
    }
}

TEST(PNG, GammaIsNotApplied) {
    PNGWriter png{.width = 1, .height = 1, .depth = 8, .colorType = PNGWriter::gray};
    png.extraChunk = test::pngChunk("gAMA", {0, 0, 0x27, 0x10}); // 0.1
    EXPECT_EQ(pixelsOf(imageOf(decodeImage(png.write([](int, int) { return std::vector<unsigned int>{77}; })))),
              Bytes{77});
}

TEST(PNG, AnExifOrientationIsApplied) {
    PNGWriter png{.width = 2, .height = 1, .depth = 8, .colorType = PNGWriter::gray};
    png.extraChunk = test::pngChunk("eXIf", test::tiffWithOrientation(6, true));
    const Image image = imageOf(
        decodeImage(png.write([](int x, int) { return std::vector<unsigned int>{static_cast<unsigned int>(x + 1)}; })));
    EXPECT_EQ(image.width(), 1);
    EXPECT_EQ(pixelsOf(image), (Bytes{1, 2}));
}

TEST(PNG, ADamagedPixelIsAnErrorThatNamesTheFile) {
    const PNGWriter png{.width = 20, .height = 20, .depth = 8, .colorType = PNGWriter::gray};
    Bytes file =
        png.write([](int x, int y) { return std::vector<unsigned int>{static_cast<unsigned int>(x * y % 256)}; });
    file[file.size() - 20] ^= 0x55;
    const std::string message = messageOf(decodeImage(file, "map.png"));
    EXPECT_TRUE(message.starts_with("map.png is a damaged or unsupported PNG file (")) << message;
}

TEST(PNG, AHeaderThatClaimsTooMuchIsRefusedBeforeAnyMemoryIsTaken) {
    const PNGWriter png{.width = 60'000, .height = 60'000, .depth = 8, .colorType = PNGWriter::rgba};
    Bytes file = png.writeHeaderOnly();
    const Bytes pixels = test::pngChunk("IDAT", {0x78, 0x9C});
    file.insert(file.end(), pixels.begin(), pixels.end());
    EXPECT_EQ(messageOf(decodeImage(file, "huge.png")),
              "huge.png says that it is 60000 x 60000 pixels; a side may have 32768 and the whole 67108864. "
              "Save it smaller");
}

TEST(PNG, EncodesEveryPixelFormatWithoutLoss) {
    const Image gray = makeGray(7, 3, [](int x, int y) { return x * 30 + y; });
    EXPECT_EQ(pixelsOf(imageOf(decodeImage(std::get<Bytes>(encodePNG(gray))))), pixelsOf(gray));
    const Image color = makeImage(7, 3, PixelFormat::rgba8, [](int x, int y) {
        return test::pixel({x, y, x * 20, 255 - y * 100});
    });
    EXPECT_EQ(pixelsOf(imageOf(decodeImage(std::get<Bytes>(encodePNG(color))))), pixelsOf(color));
    const Image multiplied(3, 1, PixelFormat::grayAlpha8, {50, 100, 0, 0, 255, 255});
    EXPECT_EQ(pixelsOf(imageOf(decodeImage(std::get<Bytes>(encodePNG(multiplied))))),
              (Bytes{128, 128, 128, 100, 0, 0, 0, 0, 255, 255, 255, 255}));
}

TEST(PNG, EncodesWithoutTheSlackOfRows) {
    const Image image(1, 2, PixelFormat::gray8, 2, {1, 99, 2, 99});
    EXPECT_EQ(pixelsOf(imageOf(decodeImage(std::get<Bytes>(encodePNG(image))))), (Bytes{1, 2}));
}

TEST(PNG, AnEmptyPictureCannotBeEncoded) {
    const auto result = encodePNG(Image());
    ASSERT_TRUE(std::holds_alternative<ImageError>(result));
    EXPECT_EQ(std::get<ImageError>(result).message, "a picture without pixels cannot be written as PNG");
}

} // namespace
} // namespace tarnel
