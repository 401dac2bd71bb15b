#include "DeviceFixture.hpp"

namespace tarnel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using DeviceModelTest = test::DeviceFixture;

TEST(DeviceTypes, ReadRevisionsFromTheirTexts) {
    EXPECT_EQ(revisionFromRawValue("1.0.0"), Revision::v1);
    EXPECT_EQ(revisionFromRawValue("2"), Revision::v2);
    EXPECT_EQ(revisionFromRawValue("3"), Revision::v3);
    EXPECT_EQ(revisionFromRawValue("2.0"), Revision::unknown);
    EXPECT_EQ(rawValue(Revision::v1), "1.0.0");
}

TEST(DeviceTypes, ReadLayoutsFromTheirNumbers) {
    EXPECT_EQ(layoutFromRawValue(0), Layout::default_);
    EXPECT_EQ(layoutFromRawValue(4), Layout::canvas);
    EXPECT_EQ(layoutFromRawValue(5), std::nullopt);
    EXPECT_EQ(layoutFromRawValue(-1), std::nullopt);
}

TEST(DeviceTypes, ReadPropertiesFromTheirKeys) {
    EXPECT_EQ(propertyFromRawValue("led"), Property::brightness);
    EXPECT_EQ(propertyFromRawValue("brightness"), std::nullopt);
    EXPECT_EQ(rawValue(Property::deviceName), "dev_name");
    EXPECT_EQ(rawValue(Property::version), "app_ver");
    EXPECT_EQ(rawValue(Property::fontSize), "fontSize");
}

TEST_F(DeviceModelTest, StartsUnknownAndStartsNothingOnTheLink) {
    platform.run();
    EXPECT_EQ(device->state(), DeviceState::unknown);
    EXPECT_EQ(device->revision(), Revision::unknown);
    EXPECT_EQ(device->layout(), std::nullopt);
    EXPECT_EQ(device->batteryLevel.value(), -1);
    EXPECT_EQ(device->peripheralID(), peripheral->identifier());
    EXPECT_TRUE(device->shouldAutoReconnect());
    EXPECT_FALSE(device->isPaired());
    EXPECT_FALSE(device->isConnected.value());
    EXPECT_FALSE(device->hasControl());
    EXPECT_FALSE(device->hasDataInOutgoingQueue());
    EXPECT_EQ(peripheral->serviceDiscoveries, 0);
    EXPECT_THAT(peripheral->writes, IsEmpty());
}

TEST_F(DeviceModelTest, LogsAndPostsEveryStateThatIsSetAlsoTheSameOne) {
    observe(Tarnel::deviceStateChanged);
    observeLog();
    device->setState(DeviceState::connected);
    device->setState(DeviceState::connected);
    ASSERT_THAT(notifications, SizeIs(2));
    EXPECT_EQ(notifications[1].object, nullptr);
    EXPECT_EQ(std::any_cast<DeviceState>(notifications[1].userInfo.at("state")), DeviceState::connected);
    EXPECT_EQ(std::any_cast<std::shared_ptr<Tarnel>>(notifications[1].userInfo.at("device")), device);
    EXPECT_THAT(logLines, ElementsAre("Device state: connected", "Device state: connected"));
}

TEST_F(DeviceModelTest, UnlinksAtAnyStateButConnectedWhenItIsTo) {
    device->setUnlinkOnDisconnect(true);
    device->setState(DeviceState::connected);
    EXPECT_EQ(hosts->unlinks, 0);
    device->setState(DeviceState::connecting);
    EXPECT_EQ(hosts->unlinks, 1);
    EXPECT_FALSE(device->unlinkOnDisconnect());
    EXPECT_FALSE(device->shouldAutoReconnect());
    EXPECT_EQ(device->peripheralID(), std::nullopt);
}

TEST_F(DeviceModelTest, MirrorsItsAuthenticationForObservers) {
    std::vector<bool> seen;
    const auto listener = std::make_shared<BondListener<bool>>([&](bool value) { seen.push_back(value); });
    device->isConnected.bind(listener, false);
    device->setIsAuthenticated(true);
    platform.run();
    EXPECT_TRUE(device->isPaired());
    device->setIsAuthenticated(false);
    platform.run();
    EXPECT_THAT(seen, ElementsAre(true, false));
    EXPECT_TRUE(device->isPaired());
}

TEST_F(DeviceModelTest, DropsAHalfSentMessageWhenItIsNoLongerAuthenticated) {
    startSession();
    peripheral->room = 1;
    device->sendData(Bytes(1000, 7), ItemType::data);
    platform.run();
    ASSERT_THAT(peripheral->writes, SizeIs(1));
    EXPECT_TRUE(device->hasDataInOutgoingQueue());
    device->setIsAuthenticated(false);
    EXPECT_FALSE(device->hasDataInOutgoingQueue());
    EXPECT_EQ(device->pendingByteCount(), 0u);

    peripheral->room = 100;
    peripheral->writes.clear();
    device->setIsAuthenticated(true);
    device->screenOff();
    platform.run();
    ASSERT_THAT(peripheral->writes, SizeIs(1));
    EXPECT_EQ(peripheral->writes[0].value[0], 0) << "slot 0, no more chunks";
    EXPECT_THAT(test::valuesOf(messages(), "screen_off"), SizeIs(1));
}

TEST_F(DeviceModelTest, DropsAHalfReceivedMessageWhenItIsNoLongerAuthenticated) {
    startSession();
    observe("brightness");
    updateValue(GATTIdentifiers::GATT_IN_CHARACTERISTIC_UUID, {0x80, 0xC1, 0xC1});
    device->setIsAuthenticated(false);
    device->setIsAuthenticated(true);
    recieve(MessagePackValue::map({{"brightness", 5}}));
    EXPECT_THAT(notifications, SizeIs(1));
}

TEST_F(DeviceModelTest, ReportsTheLargestWriteAsItsPayloadSize) {
    EXPECT_EQ(device->maxPayloadSize(), 500);
    startSession();
    EXPECT_EQ(device->maxPayloadSize(), 495);
    EXPECT_EQ(Tarnel::MAX_PAYLOAD_SIZE, 10000);
}

TEST(DeviceDeathTest, NeedsTheCentral) {
    const test::TestPlatform platform;
    EXPECT_DEATH((void)Tarnel::make(std::make_shared<test::FakePeripheral>(UUID())), "central is made before a device");
}

} // namespace
} // namespace tarnel
