#include <TarnelSDK/platform/UUID.hpp>

#include <gtest/gtest.h>
#include <support/TestPlatform.hpp>

#include <algorithm>
#include <set>
#include <unordered_set>

namespace tarnel {
namespace {

constexpr const char* canonical = "39191400-BFC2-4BEE-A81A-28C23B6AC84A";

TEST(UUID, ReadsTheCanonicalFormInOrderOfItsText) {
    const auto uuid = UUID::parse("00112233-4455-6677-8899-aAbBcCdDeEfF");
    ASSERT_TRUE(uuid);
    for (std::size_t i = 0; i < 16; ++i) {
        EXPECT_EQ(uuid->bytes()[i], i * 0x11);
    }
    EXPECT_EQ(uuid->string(), "00112233-4455-6677-8899-AABBCCDDEEFF");
}

TEST(UUID, UpperAndLowerCaseAreTheSame) {
    EXPECT_EQ(UUID::parse("39191400-bfc2-4bee-a81a-28c23b6ac84a"), UUID::parse(canonical));
    EXPECT_EQ(UUID::parse(canonical)->string(), canonical);
}

TEST(UUID, IsZeroByDefault) {
    EXPECT_EQ(UUID().string(), "00000000-0000-0000-0000-000000000000");
}

TEST(UUID, RefusesEverythingElse) {
    for (const char* text : {
             "",
             "-",
             "39191400-BFC2-4BEE-A81A-28C23B6AC84",
             "39191400-BFC2-4BEE-A81A-28C23B6AC84A0",
             "39191400BFC24BEEA81A28C23B6AC84A",
             "39191400-BFC2-4BEE-A81A028C23B6AC84A",
             "39191400-BFC2-4BEE-A81A-28C23B6AC84G",
             "39191400-BFC2-4BEE-A81A-28C23B6AC84-",
             "3919140-0BFC2-4BEE-A81A-28C23B6AC84A",
             " 9191400-BFC2-4BEE-A81A-28C23B6AC84A",
             "{9191400-BFC2-4BEE-A81A-28C23B6AC84}",
             "180F",
         }) {
        EXPECT_FALSE(UUID::parse(text)) << text;
    }
}

TEST(UUID, EveryCharacterOfTheTextIsChecked) {
    const std::string text = canonical;
    for (std::size_t i = 0; i < text.size(); ++i) {
        for (const char wrong : {'\0', '/', ':', '@', 'G', '`', 'g', '\x7F', '\xFF'}) {
            auto broken = text;
            broken[i] = wrong;
            EXPECT_FALSE(UUID::parse(broken)) << i;
            EXPECT_FALSE(UUID::parse(text.substr(0, i))) << i;
        }
    }
}

TEST(UUID, ShortBluetoothFormsAreCompletedWithTheBaseUUID) {
    const std::string battery = "0000180F-0000-1000-8000-00805F9B34FB";
    for (const char* text : {"180F", "180f", "0x180F", "0x180f", "0X180F", "0000180F", "0x0000180f"}) {
        const auto uuid = UUID::parseBluetooth(text);
        ASSERT_TRUE(uuid) << text;
        EXPECT_EQ(uuid->string(), battery) << text;
    }
    EXPECT_EQ(UUID::parseBluetooth("0x180a")->string(), "0000180A-0000-1000-8000-00805F9B34FB");
    EXPECT_EQ(UUID::parseBluetooth("FE59")->string(), "0000FE59-0000-1000-8000-00805F9B34FB");
    EXPECT_EQ(UUID::parseBluetooth("12345678")->string(), "12345678-0000-1000-8000-00805F9B34FB");
    EXPECT_EQ(UUID::parseBluetooth(battery), UUID::bluetooth("180F"));
    EXPECT_EQ(UUID::parseBluetooth(canonical), UUID::parse(canonical));
}

TEST(UUID, RefusesWhatIsNoBluetoothUUID) {
    for (const char* text :
         {"", "0", "0x", "180", "0x180", "180FF", "x180F", "18-F", "180G", "0x180G", "1234567-", "0x0x180F",
          "0x1234567", "0x123456789", "0x39191400-BFC2-4BEE-A81A-28C23B6AC84A", "180F ", "00180F"}) {
        EXPECT_FALSE(UUID::parseBluetooth(text)) << text;
    }
}

TEST(UUID, AConstantThatIsNoBluetoothUUIDStopsTheProgram) {
    EXPECT_DEATH(UUID::bluetooth("180G"), "the text is a Bluetooth UUID");
}

TEST(UUID, SortsAsItsTextDoes) {
    const test::TestPlatform platform;
    std::vector<UUID> uuids;
    for (int i = 0; i < 100; ++i) {
        uuids.push_back(UUID::random());
    }
    std::sort(uuids.begin(), uuids.end());
    EXPECT_TRUE(std::is_sorted(uuids.begin(), uuids.end(),
                               [](const auto& a, const auto& b) { return a.string() < b.string(); }));
    EXPECT_LT(UUID::bluetooth("180A"), UUID::bluetooth("180F"));
    EXPECT_LT(UUID::bluetooth("7FFF"), UUID::bluetooth("8000"));
}

TEST(UUID, RandomOnesAreOfVersionFourAndDiffer) {
    const test::TestPlatform platform;
    std::set<UUID> seen;
    std::unordered_set<UUID> hashed;
    std::set<char> variants;
    for (int i = 0; i < 1000; ++i) {
        const auto uuid = UUID::random();
        const auto text = uuid.string();
        EXPECT_EQ(text[14], '4');
        variants.insert(text[19]);
        EXPECT_EQ(UUID::parse(text), uuid);
        seen.insert(uuid);
        hashed.insert(uuid);
    }
    EXPECT_EQ(seen.size(), 1000U);
    EXPECT_EQ(hashed.size(), 1000U);
    EXPECT_EQ(variants, (std::set<char>{'8', '9', 'A', 'B'}));
}

TEST(UUID, ARandomOneFromAFailingSourceStopsTheProgram) {
    const test::TestPlatform platform;
    platform.random->setFails(true);
    EXPECT_DEATH(UUID::random(), "the random source works");
}

} // namespace
} // namespace tarnel
