#include "images/PNGWriter.hpp"
#include "images/Pictures.hpp"

#include <TarnelSDK/images/ImageFile.hpp>

#include <jpeglib.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace tarnel {
namespace {

/// Four quarters of one colour each, no two corners alike; inner edges lie on compression blocks.
constexpr int pictureWidth = 64;
constexpr int pictureHeight = 32;

Bytes colorAt(int x, int y) {
    if (y < pictureHeight / 2) {
        return x < pictureWidth / 2 ? Bytes{220, 30, 40} : Bytes{20, 200, 60};
    }
    return x < pictureWidth / 2 ? Bytes{30, 50, 210} : Bytes{240, 230, 120};
}

struct JPEGOptions {
    J_COLOR_SPACE stored = JCS_YCbCr;
    bool isProgressive = false;
    bool hasAdobeMarker = true;
    /// The content of an APP1 marker; none when empty.
    Bytes app1 = {};
    int restartInterval = 0;
    /// The scans of a progressive picture; the usual ones when empty.
    std::vector<jpeg_scan_info> scans = {};
};

/// The picture's samples in the colour space that goes in with `options.stored`.
Bytes samplesAt(int x, int y, const JPEGOptions& options) {
    const Bytes color = colorAt(x, y);
    if (options.stored == JCS_GRAYSCALE) {
        return {color[0]};
    }
    if (options.stored == JCS_CMYK || options.stored == JCS_YCCK) {
        Bytes inks;
        for (const std::uint8_t light : color) {
            inks.push_back(options.hasAdobeMarker ? light : static_cast<std::uint8_t>(255 - light));
        }
        inks.push_back(options.hasAdobeMarker ? 255 : 0);
        return inks;
    }
    return color;
}

Bytes writeJPEG(const JPEGOptions& options) {
    jpeg_compress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    unsigned char* buffer = nullptr;
    unsigned long length = 0;
    jpeg_mem_dest(&jpeg, &buffer, &length);
    const bool isInk = options.stored == JCS_CMYK || options.stored == JCS_YCCK;
    const bool isGray = options.stored == JCS_GRAYSCALE;
    jpeg.image_width = pictureWidth;
    jpeg.image_height = pictureHeight;
    jpeg.input_components = isGray ? 1 : isInk ? 4 : 3;
    jpeg.in_color_space = isGray ? JCS_GRAYSCALE : isInk ? JCS_CMYK : JCS_RGB;
    jpeg_set_defaults(&jpeg);
    jpeg_set_colorspace(&jpeg, options.stored);
    jpeg_set_quality(&jpeg, 95, TRUE);
    jpeg.restart_interval = static_cast<unsigned int>(options.restartInterval);
    if (isInk && !options.hasAdobeMarker) {
        jpeg.write_Adobe_marker = FALSE;
    }
    if (options.isProgressive) {
        jpeg_simple_progression(&jpeg);
    }
    if (!options.scans.empty()) {
        jpeg.scan_info = options.scans.data();
        jpeg.num_scans = static_cast<int>(options.scans.size());
    }
    jpeg_start_compress(&jpeg, TRUE);
    if (!options.app1.empty()) {
        jpeg_write_marker(&jpeg, JPEG_APP0 + 1, options.app1.data(), static_cast<unsigned int>(options.app1.size()));
    }
    for (int y = 0; y < pictureHeight; ++y) {
        Bytes row;
        for (int x = 0; x < pictureWidth; ++x) {
            const Bytes samples = samplesAt(x, y, options);
            row.insert(row.end(), samples.begin(), samples.end());
        }
        JSAMPROW line = row.data();
        jpeg_write_scanlines(&jpeg, &line, 1);
    }
    jpeg_finish_compress(&jpeg);
    Bytes file(buffer, buffer + length);
    jpeg_destroy_compress(&jpeg);
    std::free(buffer);
    return file;
}

void expectThePicture(const Image& image) {
    ASSERT_EQ(image.width(), pictureWidth);
    ASSERT_EQ(image.height(), pictureHeight);
    ASSERT_EQ(image.format(), PixelFormat::rgba8);
    for (const auto& [x, y] : {std::pair(8, 6), std::pair(pictureWidth - 8, 6), std::pair(8, pictureHeight - 6),
                               std::pair(pictureWidth - 8, pictureHeight - 6)}) {
        const Bytes expected = colorAt(x, y);
        const Bytes actual = pixelAt(image, x, y);
        for (std::size_t channel = 0; channel < 3; ++channel) {
            EXPECT_NEAR(actual[channel], expected[channel], 6) << x << ", " << y << " channel " << channel;
        }
        EXPECT_EQ(actual[3], 255);
    }
}

Bytes exif(int orientation, bool isBigEndian) {
    Bytes block = {'E', 'x', 'i', 'f', 0, 0};
    const Bytes tiff = test::tiffWithOrientation(orientation, isBigEndian);
    block.insert(block.end(), tiff.begin(), tiff.end());
    return block;
}

TEST(JPEG, ReadsColourPicturesOfEveryKind) {
    expectThePicture(imageOf(decodeImage(writeJPEG({}))));
    expectThePicture(imageOf(decodeImage(writeJPEG({.isProgressive = true}))));
    expectThePicture(imageOf(decodeImage(writeJPEG({.stored = JCS_RGB}))));
    expectThePicture(imageOf(decodeImage(writeJPEG({.restartInterval = 2}))));
}

TEST(JPEG, ReadsInkPicturesOfEveryKind) {
    for (const J_COLOR_SPACE stored : {JCS_CMYK, JCS_YCCK}) {
        for (const bool isProgressive : {false, true}) {
            SCOPED_TRACE(testing::Message() << "stored as " << stored << ", progressive " << isProgressive);
            expectThePicture(imageOf(decodeImage(writeJPEG({.stored = stored, .isProgressive = isProgressive}))));
        }
    }
    expectThePicture(imageOf(decodeImage(writeJPEG({.stored = JCS_CMYK, .hasAdobeMarker = false}))));
}

TEST(JPEG, ReadsGreyPictures) {
    for (const bool isProgressive : {false, true}) {
        const Image image = imageOf(decodeImage(writeJPEG({.stored = JCS_GRAYSCALE, .isProgressive = isProgressive})));
        ASSERT_EQ(image.format(), PixelFormat::gray8);
        EXPECT_NEAR(pixelAt(image, 8, 6)[0], 220, 4);
        EXPECT_NEAR(pixelAt(image, pictureWidth - 8, 6)[0], 20, 4);
    }
}

/// What a camera held that way stores of the upright picture: pixel (x, y) of the result is this one of `image`.
std::pair<int, int> storedFrom(int orientation, int x, int y, int uprightWidth, int uprightHeight) {
    const int right = uprightWidth - 1;
    const int bottom = uprightHeight - 1;
    switch (orientation) {
    case 2:
        return {right - x, y};
    case 3:
        return {right - x, bottom - y};
    case 4:
        return {x, bottom - y};
    case 5:
        return {y, x};
    case 6:
        return {right - y, x};
    case 7:
        return {right - y, bottom - x};
    case 8:
        return {y, bottom - x};
    default:
        return {x, y};
    }
}

TEST(Orientation, AllEightOrientationsOfAPictureGiveTheSameUprightPicture) {
    // Kept whole by PNG, so that the comparison is exact; the block is the same.
    constexpr int uprightWidth = 5;
    constexpr int uprightHeight = 3;
    const auto gray = [](int x, int y) { return static_cast<unsigned int>(1 + x + 10 * y); };
    const Image expected =
        makeGray(uprightWidth, uprightHeight, [&](int x, int y) { return static_cast<int>(gray(x, y)); });
    for (int orientation = 1; orientation <= 8; ++orientation) {
        for (const bool isBigEndian : {false, true}) {
            const bool isTurned = orientation >= 5;
            test::PNGWriter png{.width = isTurned ? uprightHeight : uprightWidth,
                                .height = isTurned ? uprightWidth : uprightHeight};
            png.extraChunk = test::pngChunk("eXIf", test::tiffWithOrientation(orientation, isBigEndian));
            const Image image = imageOf(decodeImage(png.write([&](int x, int y) {
                const auto [fromX, fromY] = storedFrom(orientation, x, y, uprightWidth, uprightHeight);
                return std::vector<unsigned int>{gray(fromX, fromY)};
            })));
            EXPECT_EQ(image.width(), uprightWidth) << orientation;
            EXPECT_EQ(pixelsOf(image), pixelsOf(expected)) << orientation;
        }
    }
}

TEST(JPEG, AnOrientationInItsExifBlockIsApplied) {
    const Image plain = imageOf(decodeImage(writeJPEG({})));
    for (const bool isBigEndian : {false, true}) {
        const Image turned = imageOf(decodeImage(writeJPEG({.app1 = exif(6, isBigEndian)})));
        ASSERT_EQ(turned.width(), pictureHeight);
        ASSERT_EQ(turned.height(), pictureWidth);
        EXPECT_EQ(pixelAt(turned, pictureHeight - 1 - 3, 5), pixelAt(plain, 5, 3));
    }
    EXPECT_EQ(pixelsOf(imageOf(decodeImage(writeJPEG({.app1 = exif(1, true)})))), pixelsOf(plain));
}

TEST(JPEG, AnExifBlockThatMakesNoSenseLeavesThePictureAsItIs) {
    const Image plain = imageOf(decodeImage(writeJPEG({})));
    std::vector<Bytes> blocks = {
        exif(0, true), exif(9, false), exif(255, true), {'E', 'x', 'i', 'f', 0, 0}, {'h', 't'}};
    const Bytes whole = exif(6, true);
    for (std::size_t length = 0; length < 24; ++length) {
        blocks.emplace_back(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    }
    for (const Bytes& block : blocks) {
        EXPECT_EQ(pixelsOf(imageOf(decodeImage(writeJPEG({.app1 = block})))), pixelsOf(plain));
    }
}

TEST(JPEG, CutOffAnywhereIsAnErrorAndNotAGreyHalf) {
    for (const bool isProgressive : {false, true}) {
        const Bytes file = writeJPEG({.isProgressive = isProgressive, .app1 = exif(3, true)});
        for (std::size_t length = 0; length < file.size(); ++length) {
            EXPECT_FALSE(messageOf(decodeImage(ByteView(file).first(length))).empty()) << length;
        }
        EXPECT_EQ(messageOf(decodeImage(ByteView(file).first(file.size() / 2), "a.jpg")),
                  "a.jpg ends early: the JPEG file is cut off. Copy it again from its source");
    }
}

TEST(JPEG, CutOffAndEndedByAnEndMarkerIsAnErrorToo) {
    Bytes file = writeJPEG({});
    file.resize(file.size() - 12);
    file.insert(file.end(), {0xFF, 0xD9});
    const std::string message = messageOf(decodeImage(file, "a.jpg"));
    EXPECT_TRUE(message.starts_with("a.jpg is a damaged or unsupported JPEG file (")) << message;
}

TEST(JPEG, BytesAfterTheEndAreIgnored) {
    Bytes file = writeJPEG({});
    file.insert(file.end(), 100, 0x41);
    expectThePicture(imageOf(decodeImage(file)));
}

TEST(JPEG, AnyByteChangedGivesAPictureOrAnError) {
    for (const bool isProgressive : {false, true}) {
        const Bytes file = writeJPEG({.isProgressive = isProgressive, .app1 = exif(3, true)});
        for (std::size_t at = 0; at < file.size(); ++at) {
            Bytes changed = file;
            changed[at] ^= 0x5A;
            const ImageResult result = decodeImage(changed, "a.jpg", {.side = 4'096, .pixels = 1'000'000});
            EXPECT_TRUE(std::holds_alternative<Image>(result) || !messageOf(result).empty());
        }
    }
}

TEST(JPEG, AHeaderThatClaimsTooMuchIsRefusedBeforeAnyMemoryIsTaken) {
    Bytes file = writeJPEG({});
    for (std::size_t at = 0; at + 8 < file.size(); ++at) {
        if (file[at] == 0xFF && file[at + 1] == 0xC0) {
            // Start of frame: length, precision, height, width.
            file[at + 5] = file[at + 7] = 60'000 / 256;
            file[at + 6] = file[at + 8] = 60'000 % 256;
            break;
        }
    }
    EXPECT_EQ(messageOf(decodeImage(file, "huge.jpg")),
              "huge.jpg says that it is 60000 x 60000 pixels; a side may have 32768 and the whole 67108864. "
              "Save it smaller");
}

/// A grey picture that brings each coefficient in a scan of its own, with `refinements` further scans for every one.
std::vector<jpeg_scan_info> oneScanACoefficient(int refinements) {
    std::vector<jpeg_scan_info> scans = {{1, {0}, 0, 0, 0, 0}};
    for (int coefficient = 1; coefficient < DCTSIZE2; ++coefficient) {
        scans.push_back({1, {0}, coefficient, coefficient, 0, refinements});
        for (int bit = refinements; bit > 0; --bit) {
            scans.push_back({1, {0}, coefficient, coefficient, bit, bit - 1});
        }
    }
    return scans;
}

TEST(JPEG, MoreThanAHundredScansAreRefused) {
    const std::vector<jpeg_scan_info> few = oneScanACoefficient(0);
    const std::vector<jpeg_scan_info> many = oneScanACoefficient(1);
    EXPECT_EQ(messageOf(decodeImage(writeJPEG({.stored = JCS_GRAYSCALE, .scans = few}))), "");
    EXPECT_EQ(messageOf(decodeImage(writeJPEG({.stored = JCS_GRAYSCALE, .scans = many}), "a.jpg")),
              "a.jpg is a damaged or unsupported JPEG file (more than 100 scans). Copy it again, or save it anew from "
              "another program");
}

} // namespace
} // namespace tarnel
