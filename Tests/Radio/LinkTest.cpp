#include "Drawing.hpp"
#include "RadioTest.hpp"

#include <TarnelSDK/device/NotificationNames.hpp>

#include <algorithm>

namespace tarnel::radio {
namespace {

class Link : public RadioTest {
protected:
    /// Draws through the air and in one process, and compares.
    void expectSameFrame(const Drawn& expected, const std::function<void(Tarnel&)>& draw) {
        host->device()->setLayout(Layout::canvas, 0, true);
        ASSERT_TRUE(host->await([&] { return pair().describe().layout == 4; }));
        draw(*host->device());
        EXPECT_TRUE(host->await([&] { return pair().describe().messages >= expected.messages; }));
        EXPECT_EQ(pair().describe().errors, 0u);
        EXPECT_EQ(pair().describe().messages, expected.messages);
        EXPECT_TRUE(pair().frame() == expected.frame);
    }
};

TEST_F(Link, showsTheFrameOfTheRunInOneProcess) {
    const Drawn expected = drawInProcess(drawScene);
    ASSERT_GT(expected.messages, 5u);
    ASSERT_NO_FATAL_FAILURE(startLinked());
    expectSameFrame(expected, drawScene);
}

TEST_F(Link, drawsOnGlassesWithTheLeastMtu) {
    const Drawn expected = drawInProcess(drawScene);
    ASSERT_NO_FATAL_FAILURE(startLinked({"--mtu", "23"}));
    expectSameFrame(expected, drawScene);
    EXPECT_EQ(pair().describe().longest, 20u);
}

TEST_F(Link, drawsOnGlassesOfTheFirstProtocol) {
    const Drawn expected = drawInProcess(drawScene);
    ASSERT_NO_FATAL_FAILURE(startLinked({"--protocol", "1"}));
    EXPECT_EQ(host->device()->protocolVersion(), 1);
    expectSameFrame(expected, drawScene);
}

TEST_F(Link, showsTextsWithTheirFonts) {
    const auto draw = [](Tarnel& device) {
        device.setLayout(Layout::textBottomLeftAlign, 0, true);
        device.sendText("Grüße, мир, 世界");
    };
    const Drawn expected = drawInProcess(draw);
    ASSERT_NO_FATAL_FAILURE(startLinked());
    expectSameFrame(expected, draw);
    EXPECT_TRUE(pair().describe().isLit);
}

TEST_F(Link, hearsTapsAndButtonsAndTheBattery) {
    ASSERT_NO_FATAL_FAILURE(startLinked());
    host->observe(NotificationName::tap);
    host->observe(NotificationName::power_button);
    EXPECT_TRUE(host->await([&] { return host->device()->batteryLevel.value() == 80; }));
    host->device()->setLayout(Layout::canvas, 0, true);
    ASSERT_TRUE(host->await([&] { return pair().describe().layout == 4; }));
    constexpr int taps = 20;
    for (int i = 0; i < taps; ++i) {
        pair().tell("tap " + std::to_string(i % 3 + 1));
    }
    pair().tell("power 1");
    pair().tell("battery 42");
    EXPECT_TRUE(host->await([&] { return host->count(NotificationName::tap) == taps; }));
    EXPECT_TRUE(host->await([&] { return host->count(NotificationName::power_button) == 1; }));
    EXPECT_TRUE(host->await([&] { return host->device()->batteryLevel.value() == 42; }));
}

TEST_F(Link, keepsGlassesInUpdateModeApart) {
    ASSERT_NO_FATAL_FAILURE(start());
    pair().tell("advertise update");
    host.emplace();
    host->observe(Bluetooth::scannedPeripheralChange);
    ASSERT_TRUE(host->scan(0));
    EXPECT_TRUE(host->await([&] { return host->count(Bluetooth::scannedPeripheralChange) == 1; }));
    EXPECT_TRUE(host->found().empty());
    pair().tell("advertise other");
    host->run(2s);
    EXPECT_TRUE(host->found().empty()) << "glasses in another mode than the normal one";
    pair().tell("advertise normal");
    EXPECT_TRUE(host->scan());
}

TEST_F(Link, drawsOnTheChosenOneOfTwoPairs) {
    const Drawn expected = drawInProcess(drawScene);
    ASSERT_NO_FATAL_FAILURE(start({{"--name", "First"}, {"--name", "Second"}}));
    host.emplace();
    ASSERT_TRUE(host->scan(2));
    const auto found = host->found();
    const auto chosen =
        std::find_if(found.begin(), found.end(), [](const auto& peripheral) { return peripheral->name() == "Second"; });
    ASSERT_NE(chosen, found.end());
    host->manager().link(*chosen, [](const auto&) {});
    ASSERT_TRUE(host->awaitConnection());
    std::swap(glasses[0], glasses[1]);
    expectSameFrame(expected, drawScene);
    EXPECT_EQ(glasses[1]->describe().connections, 0u);
}

TEST_F(Link, isFoundAgainByTheNextRun) {
    ASSERT_NO_FATAL_FAILURE(startLinked());
    host.reset();
    ASSERT_TRUE(eventually([&] { return !pair().describe().isConnected; })) << "the end of the program is the end";
    host.emplace();
    EXPECT_TRUE(host->awaitConnection()) << "nothing was scanned";
    EXPECT_TRUE(host->found().empty());
}

TEST_F(Link, isSharedWithAnotherProgramThatHoldsTheConnection) {
    const Drawn expected = drawInProcess(drawScene);
    ASSERT_NO_FATAL_FAILURE(start());
    ASSERT_FALSE(stack->connectByAnother("hci0").empty());
    ASSERT_TRUE(eventually([&] { return pair().describe().isConnected; }));
    host.emplace();
    ASSERT_TRUE(host->link());
    expectSameFrame(expected, drawScene);
    EXPECT_EQ(pair().describe().connections, 1u);
}

} // namespace
} // namespace tarnel::radio
