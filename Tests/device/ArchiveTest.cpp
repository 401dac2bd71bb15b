#include "DeviceFixture.hpp"

namespace tarnel {
namespace {

class ArchiveTest : public test::DeviceFixture {
protected:
    static constexpr const char* uuid = "00112233-4455-6677-8899-AABBCCDDEEFF";
};

TEST_F(ArchiveTest, BringsADeviceBackPairedAndUnknown) {
    device->setState(DeviceState::connected);
    device->setShouldAutoReconnect(false);
    const auto restored = Tarnel::make(device->encode());
    ASSERT_TRUE(restored);
    EXPECT_EQ(restored->uuid(), device->uuid());
    EXPECT_EQ(restored->uuidString(), device->uuidString());
    EXPECT_EQ(restored->peripheralID(), peripheral->identifier());
    EXPECT_EQ(restored->peripheral(), nullptr);
    EXPECT_TRUE(restored->isPaired());
    EXPECT_TRUE(restored->shouldAutoReconnect());
    EXPECT_FALSE(restored->isAuthenticated());
    EXPECT_EQ(restored->state(), DeviceState::unknown);
    EXPECT_EQ(restored->protocolVersion(), 0);
    EXPECT_EQ(restored->layout(), std::nullopt);
    EXPECT_EQ(restored->batteryLevel.value(), -1);
}

TEST_F(ArchiveTest, WritesItsThreeKeysInTheirOrder) {
    peripheral->advertisedName = "Name";
    device->setPeripheral(peripheral);
    const auto archived = device->encode();
    const auto* map = archived.dictionaryValue();
    ASSERT_TRUE(map);
    std::vector<std::string> keys;
    for (const auto& entry : *map) {
        keys.push_back(*entry.key.stringValue());
    }
    EXPECT_THAT(keys, ::testing::ElementsAre("uuid", "peripheralID", "peripheralName"));
    EXPECT_EQ(*archived["peripheralName"], MessagePackValue("Name"));
    EXPECT_EQ(Tarnel::make(archived)->peripheralName(), "Name");
}

TEST_F(ArchiveTest, LeavesOutAnAbsentIdentifierAndWritesAnAbsentNameAsNil) {
    device->setPeripheralID(std::nullopt);
    const auto archived = device->encode();
    EXPECT_EQ(archived["peripheralID"], nullptr);
    ASSERT_TRUE(archived["peripheralName"]);
    EXPECT_TRUE(archived["peripheralName"]->isNil());
    const auto restored = Tarnel::make(archived);
    ASSERT_TRUE(restored);
    EXPECT_EQ(restored->peripheralID(), std::nullopt);
    EXPECT_EQ(restored->peripheralName(), std::nullopt);
}

TEST_F(ArchiveTest, GivesNoDeviceWithoutAValidIdentity) {
    EXPECT_EQ(Tarnel::make(MessagePackValue::map({{"peripheralName", "x"}})), nullptr);
    EXPECT_EQ(Tarnel::make(MessagePackValue::map({{"uuid", 5}})), nullptr);
    EXPECT_EQ(Tarnel::make(MessagePackValue::map({{"uuid", "not a UUID"}})), nullptr);
    EXPECT_EQ(Tarnel::make(MessagePackValue("text")), nullptr);
}

TEST_F(ArchiveTest, TakesAnInvalidPeripheralForAnAbsentOne) {
    const auto restored =
        Tarnel::make(MessagePackValue::map({{"uuid", uuid}, {"peripheralID", "nonsense"}, {"peripheralName", 5}}));
    ASSERT_TRUE(restored);
    EXPECT_EQ(restored->uuidString(), uuid);
    EXPECT_EQ(restored->peripheralID(), std::nullopt);
    EXPECT_EQ(restored->peripheralName(), std::nullopt);
}

} // namespace
} // namespace tarnel
