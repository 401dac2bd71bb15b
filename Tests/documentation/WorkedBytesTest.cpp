#include <TarnelGlasses/SimulatedWorld.hpp>
#include <TarnelSDK/foundation/Data+Extensions.hpp>
#include <TarnelSDK/images/UIImage+Extension.hpp>
#include <TarnelSDK/manager/TarnelManager.hpp>
#include <TarnelSDK/messagepack/Pack.hpp>

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

/// The bytes that Documentation/LinkProtocol.md and Documentation/Messages.md work out.
namespace tarnel {
namespace {

using ::testing::ElementsAre;

constexpr std::uint8_t levels[] = {0x00, 0x40, 0x80, 0xc0};

/// The picture of 16 x 3 pixels: a white row, a row that repeats the four levels, a dark row.
Image picture() {
    Bytes pixels;
    for (int x = 0; x < 16; ++x) {
        pixels.push_back(levels[3]);
    }
    for (int x = 0; x < 16; ++x) {
        pixels.push_back(levels[x % 4]);
    }
    for (int x = 0; x < 16; ++x) {
        pixels.push_back(levels[0]);
    }
    return Image(16, 3, PixelFormat::gray8, std::move(pixels));
}

/// Glasses on a link whose values have 20 bytes, connected and at rest.
class WorkedBytesOnTheAir : public ::testing::Test {
protected:
    WorkedBytesOnTheAir() : world_({.link = {.mtu = 23}}), glasses_(world_.addGlasses()) {
        auto& manager = TarnelManager::shared();
        EXPECT_TRUE(world_.runUntil([&] { return manager.isReady.value(); }));
        manager.startScan([&](const platform::PeripheralPointer& peripheral) {
            manager.stopScan();
            manager.link(peripheral, [](const std::shared_ptr<Tarnel>&) {});
        });
        EXPECT_TRUE(world_.runUntil([&] { return manager.isLinked.value() && glasses_->time().has_value(); }));
        world_.advance(std::chrono::seconds(1));
        glasses_->setTrace([this](const glasses::GattTraceEvent& event) {
            if (event.kind == glasses::GattTraceEvent::Kind::writeWithoutResponse) {
                values_.push_back(hexEncodedString(event.value));
            }
        });
    }

    std::shared_ptr<Tarnel> device() { return TarnelManager::shared().currentDevice(); }

    /// What was written to the glasses since the last time, each value in hexadecimal.
    std::vector<std::string> takeValues() {
        world_.advance(std::chrono::seconds(1));
        return std::exchange(values_, {});
    }

    /// Likewise, joined into messages.
    std::vector<std::string> takeMessages() {
        std::vector<std::string> messages;
        std::string message;
        for (const auto& value : takeValues()) {
            message += value.substr(2);
            if (value[0] < '8') {
                messages.push_back(std::exchange(message, {}));
            }
        }
        return messages;
    }

    std::vector<std::string> values_;
    glasses::SimulatedWorld world_;
    std::shared_ptr<glasses::SimulatedGlasses> glasses_;
};

TEST_F(WorkedBytesOnTheAir, aShortMessageIsOneChunkWithTheHeader00) {
    device()->screenOff();
    EXPECT_THAT(takeValues(), ElementsAre("00"
                                          "81aa73637265656e5f6f6666c0"));
}

TEST_F(WorkedBytesOnTheAir, aWholePictureIsTakenControlOfDrawnAndShown) {
    device()->setLayout(Layout::canvas, 180, false);
    EXPECT_THAT(takeValues(), ElementsAre("8081a7636f6e74726f6c95c2ccb404b76f72672e",
                                          "806578616d706c652e6170706c69636174696f6e", "00c2"));

    device()->canvas.drawBackground(picture(), 100, 200, false);
    device()->canvas.commit();
    EXPECT_THAT(takeValues(), ElementsAre("8081a663616e76617381a8636e76735f696d6794",
                                          "009264ccc892100301c40684ff841b8400", "0081a663616e76617381a5666c757368c0"));

    for (int x = 0; x < 16; ++x) {
        EXPECT_EQ(glasses_->frame().at(100 + x, 200), 3);
        EXPECT_EQ(glasses_->frame().at(100 + x, 201), x % 4);
        EXPECT_EQ(glasses_->frame().at(100 + x, 202), 0);
    }
    EXPECT_TRUE(glasses_->errors().empty());
}

TEST_F(WorkedBytesOnTheAir, objectsAreMadeMovedHiddenAndRemoved) {
    auto& canvas = device()->canvas;
    device()->setLayout(Layout::canvas, 180, false);
    device()->glypher.setShouldGlyph(false);
    (void)takeMessages();

    const TextArguments label{.textAlignment = TextAlignment::center, .anchor = Anchor::center, .yOffset = -20};
    canvas.createText("Grüße", label);
    canvas.commit();
    canvas.clear_all();
    auto wrapped = label;
    wrapped.width = 200;
    wrapped.wrapMode = TextWrapMode::wrap;
    canvas.createText("Grüße", wrapped);
    canvas.commit();
    EXPECT_THAT(takeMessages(), ElementsAre("81a86c76676c5f6f626a9281a56c6162656c980002030900ecc3a74772c3bcc39f65"
                                            "81a5666c757368c0",
                                            "81a86c76676c5f6f626a81a7636c725f616c6cc0",
                                            "81a86c76676c5f6f626a9281a56c6162656c9b0002030900ecc3a74772c3bcc39f65"
                                            "ccc8ff0081a5666c757368c0"));

    canvas.createAnimation(std::vector{picture(), picture()}, {});
    canvas.moveImage(0, 30, 25);
    canvas.setTextVisible(2, false);
    canvas.removeText(2);
    canvas.commit();
    canvas.drawRect({.x = 10, .y = 20, .width = 30, .height = 40, .fillColor = Color::mid});
    auto messages = takeMessages();
    messages.erase(messages.begin(), messages.begin() + 2); // the frames
    EXPECT_THAT(messages, ElementsAre("81a86c76676c5f6f626a81a7616e696d6174659700cd03e8010000920001c3",
                                      "81a86c76676c5f6f626a81a46d6f76659401001e19",
                                      "81a86c76676c5f6f626a81a77365745f766973930002c2",
                                      "81a86c76676c5f6f626a81aa6f626a6563745f636c72920002",
                                      "81a86c76676c5f6f626a81a5666c757368c0",
                                      "81a663616e76617381ab636e76735f636c72626c6b950a14283c02"));
    EXPECT_TRUE(glasses_->errors().empty());
}

TEST_F(WorkedBytesOnTheAir, textsAreShownInTheOtherLayouts) {
    device()->glypher.setShouldGlyph(false);
    device()->setLayout(Layout::textBottomLeftAlign, 180, false);
    (void)takeMessages();
    device()->sendText("Grüße");
    EXPECT_THAT(takeMessages(), ElementsAre("81a474626c6191a74772c3bcc39f65"));
    device()->setLayout(Layout::navigation, 180, false);
    (void)takeMessages();
    device()->sendTextAndImage("Grüße", std::nullopt);
    EXPECT_THAT(takeMessages(), ElementsAre("81a36e6176920091a74772c3bcc39f65"));
}

TEST(WorkedBytes, aMessageIsPackedAsTheDocumentsSay) {
    const auto packed = [](const char* key, MessagePackValue value) {
        return hexEncodedString(pack(MessagePackValue::map({{key, std::move(value)}})));
    };
    const auto canvas = [&](const char* key, MessagePackValue value) {
        return packed("canvas", MessagePackValue::map({{key, std::move(value)}}));
    };
    EXPECT_EQ(packed("led", 50), "81a36c656432");
    EXPECT_EQ(packed("set_time", "20261121T093000"), "81a87365745f74696d65af3230323631313231543039333030"
                                                     "30");
    EXPECT_EQ(packed("control", MessagePackValue::array({false, 0, 0, "tn", false})),
              "81a7636f6e74726f6c95c20000a2746ec2");
    EXPECT_EQ(canvas("cnvs_clr", nullptr), "81a663616e76617381a8636e76735f636c72c0");
    EXPECT_EQ(canvas("cnvs_clrblk", MessagePackValue::array({10, 20, 40, 60})),
              "81a663616e76617381ab636e76735f636c72626c6b940a14283c");
    EXPECT_EQ(packed("tap", 1), "81a374617001");
    EXPECT_EQ(packed("time_req", nullptr), "81a874696d655f726571c0");
    EXPECT_EQ(packed("cmp_err", MessagePackValue::array({2, "cnvs_img"})), "81a7636d705f6572729202a8636e76735f696d67");
}

TEST(WorkedBytes, aDeviceImageOfThreeByFourPixelsIsTheTwentyFourBytesOfTheDocument) {
    Bytes pixels;
    for (int y = 0; y < 4; ++y) {
        pixels.insert(pixels.end(), {levels[3], levels[2], levels[1]});
    }
    const auto image = toTNImage(Image(3, 4, PixelFormat::gray8, std::move(pixels)), 2);
    ASSERT_TRUE(image.has_value());
    EXPECT_EQ(hexEncodedString(*image), "080c8000"
                                        "00000000004000ff008000ff00c000ff"
                                        "e4e4e4e4");
}

} // namespace
} // namespace tarnel
