#include "Messages.hpp"
#include "WiredGlasses.hpp"

#include <TarnelGlasses/Chunks.hpp>
#include <TarnelGlasses/Firmware.hpp>
#include <TarnelGlasses/Rle.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace tarnel::glasses {
namespace {

using namespace std::chrono_literals;
using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(Rle, takesEveryFormOfHeaderApart) {
    EXPECT_EQ(decodeRle(Bytes{0x8a, 0x05}, 10), Bytes(10, 5));
    EXPECT_EQ(decodeRle(Bytes{0x80, 0xc8, 0x00, 0x00}, 200), Bytes(200, 0));
    EXPECT_EQ(decodeRle(Bytes{0x02, 1, 2, 0x84, 3, 0x02, 4, 5}, 8), (Bytes{1, 2, 3, 3, 3, 3, 4, 5}));
    Bytes literal{0x00, 0x7f, 0x00};
    literal.insert(literal.end(), 127, 9);
    EXPECT_EQ(decodeRle(literal, 127), Bytes(127, 9));
    EXPECT_EQ(decodeRle(Bytes{0xff, 0x00, 0x00, 0x01, 0x00, 0x07}, 65'536), Bytes(65'536, 7));
    Bytes veryLong{0x7f, 0x00, 0x00, 0x01, 0x00};
    veryLong.insert(veryLong.end(), 65'536, 8);
    EXPECT_EQ(decodeRle(veryLong, 65'536), Bytes(65'536, 8));
    EXPECT_EQ(decodeRle({}, 0), Bytes());
}

TEST(Rle, refusesWhatDoesNotGiveTheStatedSize) {
    EXPECT_EQ(decodeRle(Bytes{0x8a, 0x05}, 9), std::nullopt);
    EXPECT_EQ(decodeRle(Bytes{0x8a, 0x05}, 11), std::nullopt);
    EXPECT_EQ(decodeRle(Bytes{0x8a}, 10), std::nullopt);
    EXPECT_EQ(decodeRle(Bytes{0x03, 1, 2}, 3), std::nullopt);
    EXPECT_EQ(decodeRle(Bytes{0x80, 0xc8}, 200), std::nullopt);
    EXPECT_EQ(decodeRle(Bytes{0xff, 0xff, 0xff, 0xff, 0xff, 0x00}, 100), std::nullopt);
}

TEST(Chunks, areJoinedPerIdAndEmptyPayloadsComplete) {
    ChunkJoiner joiner(100);
    EXPECT_FALSE(joiner.add(Bytes{0x85, 1, 2}));
    EXPECT_FALSE(joiner.add(Bytes{0x86, 9}));
    EXPECT_FALSE(joiner.add(Bytes{}));
    EXPECT_EQ(joiner.add(Bytes{0x06, 8})->bytes, (Bytes{9, 8}));
    EXPECT_EQ(joiner.add(Bytes{0x05})->bytes, (Bytes{1, 2}));
    EXPECT_EQ(joiner.add(Bytes{0x05, 7})->bytes, (Bytes{7}));
}

TEST(Chunks, ofSeveralMessagesTakeTurnsUnderIdsOfTheirOwn) {
    ChunkCutter cutter;
    EXPECT_THAT(cutter.cut({{1, 2, 3}, {4, 5}}, 3), ElementsAre(Bytes{0x80, 1, 2}, Bytes{1, 4, 5}, Bytes{0, 3}));
    EXPECT_THAT(cutter.cut({{}}, 3), ElementsAre(Bytes{2}));
}

TEST(MessagePack, refusesWhatNoMessageHas) {
    EXPECT_FALSE(unpackMessage({}));
    EXPECT_FALSE(unpackMessage(Bytes{0x81, 0xa1, 'a'})) << "cut short";
    EXPECT_FALSE(unpackMessage(Bytes{0xc0, 0xc0})) << "bytes behind the value";
    EXPECT_FALSE(unpackMessage(Bytes{0x81, 0x01, 0x02})) << "a key that is no text";
    EXPECT_FALSE(unpackMessage(Bytes{0x82, 0xa1, 'a', 1, 0xa1, 'a', 2})) << "a key that comes twice";
    EXPECT_FALSE(unpackMessage(Bytes{0xd4, 0x01, 0x02})) << "an extension";
    EXPECT_FALSE(unpackMessage(Bytes{0xdd, 0xff, 0xff, 0xff, 0xff})) << "more elements than bytes";
    EXPECT_FALSE(unpackMessage(Bytes(10'000, 0x91))) << "too deep";
    EXPECT_EQ(unpackMessage(Bytes{0x81, 0xa1, 'a', 0xcd, 0x01, 0x00}), entry("a", 256));
}

TEST(Firmware, givesControlToTheApplicationThatAsksAndTakesItBack) {
    Glasses glasses;
    // {"control": [false, 180, 4, "a.b", true]}
    glasses.receive(
        {0x81, 0xa7, 'c', 'o', 'n', 't', 'r', 'o', 'l', 0x95, 0xc2, 0xcc, 180, 0x04, 0xa3, 'a', '.', 'b', 0xc3});
    EXPECT_EQ(glasses.firmware.controlOwner(), "a.b");
    EXPECT_EQ(glasses.firmware.layout(), canvasLayout);
    EXPECT_TRUE(glasses.firmware.hidesStatusBar());
    EXPECT_TRUE(glasses.firmware.isDisplayOn());

    glasses.receive(control("tn", 0));
    EXPECT_EQ(glasses.firmware.controlOwner(), std::nullopt);
    EXPECT_EQ(glasses.firmware.layout(), 0);
    EXPECT_FALSE(glasses.firmware.hidesStatusBar());
    EXPECT_THAT(glasses.answers(), IsEmpty());
}

TEST(Firmware, failsAControlThatIsNotWellFormedAndChangesNothing) {
    Glasses glasses;
    for (const auto& value : {list(), list(false, 0, 4, "app"), list(0, 0, 4, "app", false),
                              list(false, -1, 4, "app", false), list(false, 0, 5, "app", false),
                              list(false, 0, 4, 7, false), list(false, 0, 4, "app", 1), list(false, 0, 4, "tn", false),
                              list(false, 0, 0, "app", false), list(false, 0, 4, "app", false, false), Value()}) {
        glasses.receive(message("control", value));
        EXPECT_EQ(glasses.errorCode(), 2) << value.description();
        EXPECT_EQ(glasses.firmware.controlOwner(), std::nullopt);
    }
}

TEST(Firmware, answersEachPropertyThatIsAskedForWithAMessage) {
    Glasses glasses;
    glasses.receive(
        message("req", list(list(0, "dev_name"), list(1, "led"), list(1, "app_ver"), list(1, "nav_y_offset"))));
    EXPECT_THAT(glasses.answers(), ElementsAre(entry("dev_name", "Brenlo Glasses"), entry("led", 50),
                                               entry("app_ver", 123), entry("nav_y_offset", 0)));
}

TEST(Firmware, failsARequestAsAWhole) {
    Glasses glasses;
    for (const auto& value : {list(list(0, "dev_name"), list(0, "nonsense")), list(list(1, "dev_name")),
                              list(list(0, "led")), list(list(2, "led")), list("led"), Value("led")}) {
        glasses.receive(message("req", value));
        EXPECT_EQ(glasses.errorCode(), 2) << value.description();
    }
}

TEST(Firmware, storesPropertiesOfTheRightType) {
    Glasses glasses;
    glasses.receive(message("dev_name", "Mine"));
    glasses.receive(message("led", 7));
    glasses.receive(message("fontSize", 3));
    EXPECT_THAT(glasses.answers(), IsEmpty());
    EXPECT_EQ(glasses.firmware.property("dev_name"), Value("Mine"));
    EXPECT_EQ(glasses.firmware.property("led"), Value(7));
    EXPECT_EQ(glasses.firmware.property("fontSize"), Value(3));
    glasses.receive(message("dev_name", 5));
    EXPECT_EQ(glasses.errorCode(), 2);
    glasses.receive(message("led", "bright"));
    EXPECT_EQ(glasses.errorCode(), 2);
    EXPECT_EQ(glasses.firmware.property("led"), Value(7));
    EXPECT_EQ(glasses.firmware.property("nonsense"), std::nullopt);
}

TEST(Firmware, keepsTheTimeRunning) {
    Glasses glasses;
    EXPECT_EQ(glasses.firmware.clock(), std::nullopt);
    glasses.now = 5s;
    glasses.receive(message("set_time", "20281231T235958"));
    EXPECT_EQ(glasses.firmware.time(), "20281231T235958");
    glasses.now = 8s;
    EXPECT_EQ(glasses.firmware.clock(), "20290101T000001");
}

TEST(Firmware, failsATimeThatIsNone) {
    Glasses glasses;
    for (const auto* text : {"", "20260229T000000", "20261301T000000", "20260101T240000", "20260101T006000",
                             "20260101 000000", "20260101T0000", "2026-01-01T0000"}) {
        glasses.receive(message("set_time", text));
        EXPECT_EQ(glasses.errorCode(), 2) << text;
    }
    glasses.receive(message("set_time", 20260101));
    EXPECT_EQ(glasses.errorCode(), 2);
    EXPECT_EQ(glasses.firmware.time(), std::nullopt);
}

TEST(Firmware, drawsOutOfSightUntilTheFlush) {
    Glasses glasses;
    glasses.takeCanvas();
    glasses.receive(canvas("cnvs_clrblk", list(10, 20, 40, 60, 3)));
    EXPECT_TRUE(glasses.firmware.frame().isDark());
    glasses.flush();
    Frame expected;
    expected.fill(10, 20, 40, 60, 3);
    EXPECT_EQ(glasses.firmware.frame(), expected);

    glasses.receive(canvas("cnvs_clrblk", list(10, 20, 40, 30)));
    EXPECT_EQ(glasses.firmware.frame(), expected);
    glasses.flush();
    expected.fill(10, 20, 40, 30, 0);
    EXPECT_EQ(glasses.firmware.frame(), expected);

    glasses.receive(canvas("cnvs_clr", {}));
    glasses.flush();
    EXPECT_TRUE(glasses.firmware.frame().isDark());
    EXPECT_THAT(glasses.answers(), IsEmpty());
}

TEST(Firmware, drawsTheCornersOfABlockExclusively) {
    Glasses glasses;
    glasses.takeCanvas();
    glasses.receive(canvas("cnvs_clrblk", list(639, 479, 640, 480, 2)));
    glasses.receive(canvas("cnvs_clrblk", list(5, 5, 5, 9, 3)));
    glasses.flush();
    Frame expected;
    expected.set(639, 479, 2);
    EXPECT_EQ(glasses.firmware.frame(), expected);
}

TEST(Firmware, drawsPixelsOfTwoBitsWithoutRowPadding) {
    Glasses glasses;
    glasses.takeCanvas();
    // 3 x 2 pixels 1 2 3 / 3 2 1: 01 10 11 11, 10 01
    glasses.receive(image(100, 50, 3, 2, {0x02, 0b01101111, 0b10010000}));
    glasses.flush();
    Frame expected;
    expected.set(100, 50, 1);
    expected.set(101, 50, 2);
    expected.set(102, 50, 3);
    expected.set(100, 51, 3);
    expected.set(101, 51, 2);
    expected.set(102, 51, 1);
    EXPECT_EQ(glasses.firmware.frame(), expected);
}

TEST(Firmware, clipsAnImageAtTheDisplay) {
    Glasses glasses;
    glasses.takeCanvas();
    glasses.receive(image(638, 478, 4, 4, {0x84, 0xff}));
    glasses.receive(image(5'000, 5'000, 4, 4, {0x84, 0xff}));
    glasses.receive(image(0, 0, 5'000, 1, {0x80, 0xe2, 0x04, 0xaa}));
    glasses.flush();
    Frame expected;
    expected.fill(638, 478, 640, 480, 3);
    expected.fill(0, 0, 640, 1, 2);
    EXPECT_EQ(glasses.firmware.frame(), expected);
    EXPECT_THAT(glasses.answers(), IsEmpty());
}

TEST(Firmware, failsADrawingThatIsNotWellFormedAndDrawsNothing) {
    Glasses glasses;
    glasses.takeCanvas();
    const Bytes pixels{0x84, 0xff};
    for (const auto& wrong : {image(0, 0, 4, 4, {0x83, 0xff}),
                              image(0, 0, 4, 4, {0x85, 0xff}),
                              image(0, 0, 4, 4, {0x84}),
                              image(0, 0, 0, 4, {}),
                              image(0, 0, 4, 65536, pixels),
                              image(0, 0, 2049, 2048, {0xff, 0x01, 0x02, 0x10, 0x00, 0xff}),
                              image(0, 0, 4, -4, pixels),
                              image(-1, 0, 4, 4, pixels),
                              canvas("cnvs_img", list(list(0, 0), list(4, 4), 1)),
                              canvas("cnvs_img", list(0, 0, 4, 4, 1, pixels)),
                              canvas("cnvs_img", list(list(0, 0), list(4, 4), 0, pixels)),
                              canvas("cnvs_img", list(list(0, 0), list(4, 4), 1, "text")),
                              canvas("cnvs_img", list(list(0, 0, 0), list(4, 4), 1, pixels)),
                              canvas("cnvs_img", {}),
                              canvas("cnvs_clrblk", list(0, 0, 4)),
                              canvas("cnvs_clrblk", list(0, 0, 4, 4, 4)),
                              canvas("cnvs_clrblk", list(0, 0, 4, 4, 3, 3)),
                              canvas("cnvs_clrblk", list(4, 0, 0, 4, 3)),
                              canvas("cnvs_clrblk", list(0, 0, 4, Value(UINT64_MAX), 3)),
                              canvas("cnvs_clr", 1),
                              canvas("flush", true),
                              message("canvas", {}),
                              message("canvas", list("flush"))}) {
        glasses.receive(wrong);
        EXPECT_EQ(glasses.errorCode(), 2) << unpackMessage(wrong)->description();
    }
    glasses.flush();
    EXPECT_TRUE(glasses.firmware.frame().isDark());
}

TEST(Firmware, drawsOnlyForTheApplicationInControlOfTheCanvas) {
    Glasses glasses;
    const auto draws = [&] {
        glasses.receive(canvas("cnvs_clrblk", list(0, 0, 640, 480, 3)));
        return glasses.errorCode() == 0;
    };
    EXPECT_FALSE(draws());
    glasses.receive(control("app", 1));
    EXPECT_FALSE(draws());
    glasses.takeCanvas();
    EXPECT_TRUE(draws());
    glasses.firmware.takeControl("another");
    EXPECT_EQ(glasses.onlyAnswer(), entry("control", "another"));
    EXPECT_FALSE(draws());
    EXPECT_EQ(glasses.firmware.controlOwner(), "another");
}

TEST(Firmware, emptiesTheLayersWhenControlIsTaken) {
    Glasses glasses;
    glasses.takeCanvas();
    glasses.receive(canvas("cnvs_clrblk", list(0, 0, 640, 480, 3)));
    glasses.flush();
    glasses.takeCanvas();
    EXPECT_TRUE(glasses.firmware.frame().isDark());
    glasses.flush();
    EXPECT_TRUE(glasses.firmware.frame().isDark());
}

TEST(Firmware, turnsTheDisplayOffAndLightsItWithTheNextFlush) {
    Glasses glasses;
    glasses.takeCanvas();
    glasses.receive(canvas("cnvs_clrblk", list(0, 0, 640, 480, 1)));
    glasses.flush();
    const int changes = glasses.frameChanges;
    glasses.receive(message("screen_off", {}));
    EXPECT_FALSE(glasses.firmware.isDisplayOn());
    EXPECT_TRUE(glasses.firmware.frame().isDark());
    EXPECT_EQ(glasses.frameChanges, changes + 1);
    EXPECT_EQ(glasses.firmware.controlOwner(), "app");
    glasses.flush();
    EXPECT_FALSE(glasses.firmware.frame().isDark());
    glasses.receive(message("screen_off", 1));
    EXPECT_EQ(glasses.errorCode(), 2);
}

TEST(Firmware, endsControlWhenTheDisplayTimesOut) {
    Glasses glasses;
    glasses.receive(control("app", canvasLayout, 180));
    ASSERT_EQ(glasses.timers.size(), 1U);
    EXPECT_EQ(glasses.timers[0].first, 180s);
    glasses.timers[0].second();
    EXPECT_EQ(glasses.onlyAnswer(), entry("disp_timeout", {}));
    EXPECT_EQ(glasses.firmware.controlOwner(), std::nullopt);
    EXPECT_FALSE(glasses.firmware.isDisplayOn());
}

TEST(Firmware, countsTheTimeoutFromTheLastControl) {
    Glasses glasses;
    glasses.receive(control("app", canvasLayout, 180));
    glasses.receive(control("app", canvasLayout, 60));
    ASSERT_EQ(glasses.timers.size(), 2U);
    glasses.timers[0].second();
    EXPECT_THAT(glasses.answers(), IsEmpty());
    EXPECT_EQ(glasses.firmware.controlOwner(), "app");
    glasses.timers[1].second();
    EXPECT_EQ(glasses.answers().size(), 1U);
}

TEST(Firmware, turnsTheDisplayOffWithoutAWordAfterControlWasGivenBack) {
    Glasses glasses;
    glasses.receive(control("tn", 0, 10));
    EXPECT_TRUE(glasses.firmware.isDisplayOn());
    glasses.timers.at(0).second();
    EXPECT_FALSE(glasses.firmware.isDisplayOn());
    EXPECT_THAT(glasses.answers(), IsEmpty());
}

TEST(Firmware, answersUnknownCommands) {
    Glasses glasses;
    for (const auto* name : {"nonsense", "flush", "cnvs_clr", "label", "time_req", ""}) {
        glasses.receive(message(name, {}));
        EXPECT_EQ(glasses.onlyAnswer(), entry("cmp_err", list(1, std::string("unknown command: ") + name)));
    }
    glasses.takeCanvas();
    glasses.receive(canvas("nonsense", {}));
    EXPECT_EQ(glasses.onlyAnswer(), entry("cmp_err", list(1, "unknown command: nonsense")));
    glasses.receive(message("\x01\xff", {}));
    EXPECT_EQ(glasses.onlyAnswer(), entry("cmp_err", list(1, "unknown command: ??")));
}

TEST(Firmware, answersWhatIsNoMessage) {
    Glasses glasses;
    for (const auto& bytes : {Bytes{}, Bytes{0xc1}, Bytes{0xc0}, Bytes{0x80}, Bytes{0x93, 1, 2, 3},
                              Bytes{0x82, 0xa1, 'a', 1, 0xa1, 'b', 2}}) {
        glasses.receive(bytes);
        EXPECT_EQ(glasses.errorCode(), 1);
    }
    EXPECT_EQ(glasses.firmware.errorCount(), 6U);
}

TEST(Firmware, takesMessagesOfTenThousandBytesAndNoLongerOnes) {
    Glasses glasses;
    const auto name = [](std::size_t total) { return message("dev_name", std::string(total - 13, 'x')); };
    ASSERT_EQ(name(10'000).size(), 10'000U);
    glasses.receive(name(10'000));
    EXPECT_THAT(glasses.answers(), IsEmpty());
    EXPECT_EQ(glasses.firmware.property("dev_name")->string()->size(), 10'000U - 13);
    glasses.receive(name(10'001));
    EXPECT_EQ(glasses.onlyAnswer(), entry("cmp_err", list(1, "message too long")));
    glasses.receive(message("dev_name", "short"));
    EXPECT_EQ(glasses.firmware.property("dev_name"), Value("short"));
}

TEST(Firmware, forgetsHalfMessagesAndControlWithTheConnection) {
    Glasses glasses;
    glasses.takeCanvas();
    const auto name = message("dev_name", "Mine");
    glasses.firmware.receive(chunk(0x83, name));
    glasses.firmware.disconnected();
    EXPECT_EQ(glasses.firmware.controlOwner(), std::nullopt);
    glasses.firmware.connected(495);
    glasses.firmware.receive(chunk(0x03, name));
    EXPECT_EQ(glasses.firmware.property("dev_name"), Value("Mine"));
    EXPECT_EQ(glasses.firmware.errorCount(), 0U);
}

TEST(Firmware, keepsPropertiesThroughARestartAndForgetsTheTime) {
    Glasses glasses;
    glasses.receive(message("led", 9));
    glasses.receive(message("set_time", "20260101T000000"));
    glasses.firmware.restart();
    EXPECT_EQ(glasses.firmware.property("led"), Value(9));
    EXPECT_EQ(glasses.firmware.time(), std::nullopt);
}

TEST(Firmware, saysNothingWithoutAConnection) {
    Glasses glasses;
    glasses.firmware.disconnected();
    glasses.firmware.tap(1);
    glasses.firmware.displayTimeout();
    EXPECT_TRUE(glasses.values.empty());
}

TEST(Firmware, tellsWhatTheWearerDoes) {
    Glasses glasses;
    glasses.firmware.tap(2);
    glasses.firmware.powerButton(1);
    glasses.firmware.requestTime();
    EXPECT_THAT(glasses.answers(), ElementsAre(entry("tap", 2), entry("power_btn", 1), entry("time_req", {})));
}

TEST(Firmware, remembersWhatItReceivedAndForgetsTheOldest) {
    Glasses glasses;
    for (std::size_t i = 0; i < Firmware::maximumRecords + 3; ++i) {
        glasses.receive(message("led", static_cast<std::int64_t>(i)));
    }
    const auto messages = glasses.firmware.receivedMessages();
    ASSERT_EQ(messages.size(), Firmware::maximumRecords);
    EXPECT_EQ(messages.front().value, entry("led", 3));
    EXPECT_EQ(glasses.firmware.receivedCount(), Firmware::maximumRecords + 3);
}

TEST(Firmware, survivesAHundredThousandHostileMessages) {
    const std::vector<Bytes> good = {control("app", canvasLayout, 5),
                                     control("tn", 0),
                                     image(1, 2, 4, 4, {0x84, 0xff}),
                                     image(600, 400, 200, 200, {0x80, 0x10, 0x27, 0x55}),
                                     canvas("cnvs_clrblk", list(0, 0, 640, 480, 3)),
                                     canvas("flush", {}),
                                     message("req", list(list(0, "dev_name"), list(1, "led"))),
                                     message("set_time", "20260101T000000"),
                                     message("led", 5)};
    for (const unsigned seed : {1U, 2U, 3U, 4U}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        Glasses glasses;
        for (int i = 0; i < 25'000; ++i) {
            const auto bytes = hostileBytes(random, good);
            glasses.firmware.receive(i % 5 == 0 ? bytes : chunk(static_cast<std::uint8_t>(i % 128), bytes));
            glasses.values.clear();
            glasses.timers.clear();
        }
        // It goes on working.
        glasses.firmware.disconnected();
        glasses.firmware.connected(495);
        glasses.takeCanvas();
        glasses.receive(canvas("cnvs_clrblk", list(0, 0, 1, 1, 3)));
        glasses.flush();
        EXPECT_EQ(glasses.firmware.frame().at(0, 0), 3);
        EXPECT_GT(glasses.firmware.errorCount(), 10'000U);
    }
}

TEST(Frame, isHandedOutAsPixels) {
    Frame frame;
    frame.set(1, 0, 3);
    frame.set(0, 1, 2);
    const auto gray = frame.toGray();
    ASSERT_EQ(gray.size(), 640U * 480);
    EXPECT_EQ(gray[1], 255);
    EXPECT_EQ(gray[640], 170);
    const auto green = frame.toGreen();
    ASSERT_EQ(green.size(), 640U * 480 * 3);
    EXPECT_EQ(Bytes(green.begin() + 3, green.begin() + 6), (Bytes{0, 255, 0}));
}

TEST(FrameDeathTest, hasNoPixelsBeyondItsEdges) {
    Frame frame;
    EXPECT_DEATH(frame.set(640, 0, 1), "a pixel lies in the frame");
    EXPECT_DEATH(frame.set(0, 0, 4), "a level lies in 0...3");
}

} // namespace
} // namespace tarnel::glasses
