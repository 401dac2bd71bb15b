#include "DeviceFixture.hpp"

namespace tarnel {
namespace {

using test::valuesOf;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class CommandsTest : public test::DeviceFixture {
protected:
    CommandsTest() { startSession(); }

    MessagePackValue onlyValueOf(const char* key) {
        platform.run();
        const auto values = valuesOf(messages(), key);
        EXPECT_THAT(values, SizeIs(1)) << key;
        return values.empty() ? MessagePackValue() : values[0];
    }
};

TEST_F(CommandsTest, TakesTheDisplayForTheApplication) {
    device->setLayout(Layout::canvas, 180, true);
    EXPECT_EQ(device->layout(), Layout::canvas);
    EXPECT_TRUE(device->hasControl());
    EXPECT_EQ(onlyValueOf("control"),
              MessagePackValue::array({false, 180u, 4u, test::TestPlatform::bundleIdentifier, true}));
}

TEST_F(CommandsTest, GivesTheDisplayBackUnderAFixedName) {
    device->setLayout(Layout::canvas, 180, false);
    platform.run();
    peripheral->writes.clear();
    device->setLayout(Layout::default_, 0, false);
    EXPECT_EQ(device->layout(), Layout::default_);
    EXPECT_FALSE(device->hasControl());
    EXPECT_EQ(onlyValueOf("control"), MessagePackValue::array({false, 0u, 0u, "tn", false}));
}

TEST_F(CommandsTest, NeedsABundleIdentifierForALayout) {
    platform.application->setBundleIdentifier(std::nullopt);
    device->setLayout(Layout::canvas, 180, false);
    device->setLayout(Layout::default_, 0, false);
    platform.run();
    EXPECT_FALSE(device->hasControl());
    EXPECT_THAT(peripheral->writes, IsEmpty());
}

TEST_F(CommandsTest, TakesNoDisplayInTheBackgroundButGivesItBack) {
    platform.application->setState(platform::ApplicationState::background);
    device->setLayout(Layout::navigation, 180, false);
    platform.run();
    EXPECT_EQ(device->layout(), Layout::default_);
    EXPECT_THAT(peripheral->writes, IsEmpty());
    device->setLayout(Layout::default_, 10, false);
    EXPECT_EQ(onlyValueOf("control"), MessagePackValue::array({false, 10u, 0u, "tn", false}));
}

TEST_F(CommandsTest, ResetsTheCanvasWithItsLayoutAlone) {
    const Image dot(1, 1, PixelFormat::gray8, Bytes{0xFF});
    device->canvas.drawBackground(dot, 0, 0, false);
    device->setLayout(Layout::textBottomLeftAlign, 180, false);
    EXPECT_EQ(device->canvas.mirror().row(0)[0], 0xC0);
    device->setLayout(Layout::canvas, 180, false);
    EXPECT_EQ(device->canvas.mirror().row(0)[0], 0);
}

TEST_F(CommandsTest, SwitchesTheScreenOff) {
    device->screenOff();
    EXPECT_TRUE(onlyValueOf("screen_off").isNil());
}

TEST_F(CommandsTest, AsksForTheSettingsInTheirOrderAndWithTheirTypes) {
    device->getSettings();
    EXPECT_EQ(onlyValueOf("req"), MessagePackValue::array({
                                      MessagePackValue::array({0u, "dev_name"}),
                                      MessagePackValue::array({1u, "led"}),
                                      MessagePackValue::array({1u, "app_ver"}),
                                      MessagePackValue::array({1u, "nav_y_offset"}),
                                  }));
}

TEST_F(CommandsTest, StoresAndSendsAnIntegerProperty) {
    device->setIntProperty(Property::brightness, 3);
    EXPECT_EQ(device->getIntProperty(Property::brightness), 3);
    EXPECT_EQ(device->getStringProperty(Property::brightness), std::nullopt);
    EXPECT_EQ(onlyValueOf("led"), MessagePackValue(3));
}

TEST_F(CommandsTest, StoresAndSendsATextProperty) {
    device->setStringProperty(Property::deviceName, "Grüße");
    EXPECT_EQ(device->getStringProperty(Property::deviceName), "Grüße");
    EXPECT_EQ(device->getIntProperty(Property::deviceName), std::nullopt);
    EXPECT_EQ(onlyValueOf("dev_name"), MessagePackValue("Grüße"));
}

TEST_F(CommandsTest, ReadsPropertiesWithoutSending) {
    EXPECT_EQ(device->getIntProperty(Property::version), std::nullopt);
    EXPECT_EQ(device->getStringProperty(Property::deviceName), std::nullopt);
    platform.run();
    EXPECT_THAT(peripheral->writes, IsEmpty());
}

TEST_F(CommandsTest, NamesTheGlassesByTheirSettingElseByThePeripheralElseByTheMaker) {
    EXPECT_EQ(device->getName(), "Brenlo Glasses");
    peripheral->advertisedName = "Peripheral";
    EXPECT_EQ(device->getName(), "Peripheral");
    device->setStringProperty(Property::deviceName, "");
    EXPECT_EQ(device->getName(), "Peripheral");
    device->setStringProperty(Property::deviceName, "Mine");
    EXPECT_EQ(device->getName(), "Mine");
}

TEST_F(CommandsTest, AsksTheCentralToConnectAndReconnect) {
    device->setShouldAutoReconnect(false);
    device->connect();
    EXPECT_TRUE(device->shouldAutoReconnect());
    EXPECT_EQ(hosts->connects, 1);
}

TEST_F(CommandsTest, EndsTheSessionWhenItDisconnects) {
    device->screenOff();
    device->disconnect();
    EXPECT_FALSE(device->isAuthenticated());
    EXPECT_EQ(device->protocolVersion(), 0);
    EXPECT_EQ(hosts->disconnects, 1);
    platform.run();
    EXPECT_THAT(peripheral->writes, IsEmpty());
    device->disconnect();
    EXPECT_EQ(hosts->disconnects, 2) << "a second time is harmless";
}

TEST_F(CommandsTest, ForgetsThePeripheralWhenItIsUnlinked) {
    device->setUnlinkOnDisconnect(true);
    device->unlinkDevice();
    EXPECT_EQ(hosts->unlinks, 1);
    EXPECT_FALSE(device->unlinkOnDisconnect());
    EXPECT_FALSE(device->shouldAutoReconnect());
    EXPECT_EQ(device->peripheralID(), std::nullopt);
    EXPECT_EQ(device->peripheralName(), std::nullopt);
    EXPECT_FALSE(device->isConnected.value());
}

TEST_F(CommandsTest, DropsWhatIsSentWhileNotConnected) {
    device->setIsAuthenticated(false);
    device->screenOff();
    device->setIsAuthenticated(true);
    platform.run();
    EXPECT_THAT(peripheral->writes, IsEmpty());
}

TEST_F(CommandsTest, KeepsTheOlderOfTwoReplaceableMessagesThatWait) {
    peripheral->room = 0;
    device->sendData(pack(MessagePackValue::map({{"first", 1}})));
    device->sendTextData(pack(MessagePackValue::map({{"older", 1}})));
    device->sendTextData(pack(MessagePackValue::map({{"newer", 1}})));
    peripheral->room = 100;
    report([this](auto& delegate) { delegate.isReadyToSendWriteWithoutResponse(peripheral); });
    EXPECT_THAT(valuesOf(messages(), "first"), SizeIs(1));
    EXPECT_THAT(valuesOf(messages(), "older"), SizeIs(1));
    EXPECT_THAT(valuesOf(messages(), "newer"), IsEmpty());
}

} // namespace
} // namespace tarnel
