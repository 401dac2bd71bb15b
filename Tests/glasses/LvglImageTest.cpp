#include "LvglData.hpp"

#include <TarnelGlasses/LvglImage.hpp>
#include <TarnelGlasses/LvglLabel.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

namespace tarnel::glasses {
namespace {

using namespace test;
using nlohmann::json;

using RGB = std::array<std::uint8_t, 3>;

const json& imageCases() {
    static const json cases = lvglJSON("images/images.json").at("cases");
    return cases;
}

LvglImage decode(const Bytes& file) {
    return std::get<LvglImage>(LvglImage::decode(file));
}

/// One image and the pictures that LVGL made of it.
class ImageCase {
public:
    explicit ImageCase(const json& given)
        : given_(given), image_(decode(lvglBytes(file("file")))),
          box_(alignLvglBox(static_cast<LvglAnchor>(given.at("anchor").get<int>()), given.at("xOffset"),
                            given.at("yOffset"), {image_.width(), image_.height()})) {}

    const json& given() const { return given_; }
    const LvglImage& image() const { return image_; }
    const LvglBox& box() const { return box_; }
    std::string file(const char* key) const { return "images/" + given_.at(key).get<std::string>(); }

    /// The image's colour at a pixel of the display; null outside of it and where it is transparent.
    const LvglImage::Colour* colour(int x, int y) const {
        if (x < box_.x || y < box_.y || x >= box_.x + box_.width || y >= box_.y + box_.height) {
            return nullptr;
        }
        const auto& colour = image_.at(x - box_.x, y - box_.y);
        EXPECT_TRUE(colour.alpha == 0 || colour.alpha == 255);
        return colour.alpha == 0 ? nullptr : &colour;
    }

    /// Compares a picture with the image laid over `below` at every pixel.
    template <typename Below>
    void expectPicture(const char* key, bool isDrawn, const Below& below) const {
        const auto picture = lvglPicture(file(key));
        ASSERT_EQ(picture.width(), Frame::width);
        const auto size = picture.bytesPerPixel();
        int different = 0;
        for (int y = 0; y < Frame::height; ++y) {
            const auto* pixel = picture.row(y).data();
            for (int x = 0; x < Frame::width; ++x, pixel += size) {
                const auto* over = isDrawn ? colour(x, y) : nullptr;
                const RGB expected = over == nullptr ? below(x, y) : RGB{over->red, over->green, over->blue};
                const RGB found = size == 1 ? RGB{pixel[0], pixel[0], pixel[0]} : RGB{pixel[0], pixel[1], pixel[2]};
                different += found == expected ? 0 : 1;
            }
        }
        EXPECT_EQ(different, 0);
    }

private:
    const json& given_;
    LvglImage image_;
    LvglBox box_;
};

RGB black(int /*x*/, int /*y*/) {
    return {};
}

template <typename Check>
void forEachImage(const Check& check) {
    for (const auto& given : imageCases()) {
        SCOPED_TRACE(given.at("id").get<std::string>());
        check(ImageCase(given));
    }
}

TEST(LvglImageCases, areDecodedAndPlacedAsLvglDoes) {
    forEachImage([](const ImageCase& image) {
        EXPECT_EQ(image.image().width(), image.given().at("width"));
        EXPECT_EQ(image.image().height(), image.given().at("height"));
        EXPECT_EQ(image.image().bitsPerPixel(), image.given().at("bits"));
        EXPECT_EQ(image.box().x, image.given().at("result").at("x"));
        EXPECT_EQ(image.box().y, image.given().at("result").at("y"));
    });
}

TEST(LvglImageCases, areDrawnAsLvglDoes) {
    forEachImage(
        [](const ImageCase& image) { image.expectPicture("picture", image.image().isDrawnByObjects(), black); });
}

TEST(LvglImageCases, areDrawnOverGreyAsLvglDoes) {
    forEachImage([](const ImageCase& image) {
        const auto& grey = image.given().at("grey_rectangle");
        const int left = grey.at("x");
        const int top = grey.at("y");
        const int right = left + grey.at("width").get<int>();
        const int bottom = top + grey.at("height").get<int>();
        image.expectPicture("picture_on_grey", image.image().isDrawnByObjects(), [&](int x, int y) {
            return x >= left && x < right && y >= top && y < bottom ? RGB{0x80, 0x80, 0x80} : RGB{};
        });
    });
}

TEST(LvglImageCases, haveThePixelsThatLvglDrawsDirectly) {
    forEachImage([](const ImageCase& image) {
        const bool isSpecial = image.given().contains("picture_drawn_directly");
        EXPECT_EQ(isSpecial, !image.image().isDrawnByObjects());
        image.expectPicture(isSpecial ? "picture_drawn_directly" : "picture", true, black);
    });
}

TEST(LvglImageCases, areDrawnInLevels) {
    forEachImage([](const ImageCase& image) {
        Frame frame;
        frame.fill(0, 0, Frame::width, Frame::height, 1);
        image.image().draw(frame, image.box().x, image.box().y);
        int different = 0;
        for (int y = 0; y < Frame::height; ++y) {
            for (int x = 0; x < Frame::width; ++x) {
                const auto* over = image.image().isDrawnByObjects() ? image.colour(x, y) : nullptr;
                different += frame.at(x, y) == (over == nullptr ? 1 : levelOfGreen(over->green)) ? 0 : 1;
            }
        }
        EXPECT_EQ(different, 0);
    });
}

TEST(LvglImage, hasAllTheCasesOfTheData) {
    EXPECT_EQ(imageCases().size(), 26U);
}

TEST(LvglImage, mapsTheGreensOfThePaletteToLevels) {
    EXPECT_EQ(levelOfGreen(0x00), 0);
    EXPECT_EQ(levelOfGreen(0x40), 1);
    EXPECT_EQ(levelOfGreen(0x80), 2);
    EXPECT_EQ(levelOfGreen(0xC0), 3);
    EXPECT_EQ(levelOfGreen(0xFF), 3);
}

TEST(LvglImage, mixesATranslucentColourWithWhatLiesBelow) {
    auto file = lvglBytes("images/i1-2x2.bin");
    file[11] = 0x80;
    Frame frame;
    decode(file).draw(frame, 0, 0);
    Frame opaque;
    decode(lvglBytes("images/i1-2x2.bin")).draw(opaque, 0, 0);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(frame.at(i % 2, i / 2), opaque.at(i % 2, i / 2) == 3 ? 2 : 0);
    }
}

TEST(LvglImage, refusesBytesThatAreNoImage) {
    const auto good = lvglBytes("images/i2-13x5.bin");
    for (std::size_t size = 0; size < good.size(); ++size) {
        EXPECT_TRUE(std::holds_alternative<std::string>(LvglImage::decode(ByteView(good).first(size))));
    }
    auto longer = good;
    longer.push_back(0);
    EXPECT_TRUE(std::holds_alternative<std::string>(LvglImage::decode(longer)));
    for (int format = 0; format < 256; ++format) {
        auto file = good;
        file[0] = static_cast<std::uint8_t>(format);
        EXPECT_EQ(std::holds_alternative<LvglImage>(LvglImage::decode(file)), format == 8) << format;
    }
    EXPECT_TRUE(std::holds_alternative<std::string>(LvglImage::decode(Bytes{7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})));
}

} // namespace
} // namespace tarnel::glasses
