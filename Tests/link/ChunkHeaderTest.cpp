#include <TarnelSDK/link/ChunkHeader.hpp>

#include <gmock/gmock.h>

#include <cstdint>

namespace tarnel {
namespace {

using ::testing::ElementsAre;

TEST(ChunkHeader, Id127WithMoreDataIsTheByte0xFF) {
    const auto header = ChunkHeader::make(127, true);
    ASSERT_TRUE(header);
    EXPECT_EQ(header->id(), 127);
    EXPECT_TRUE(header->hasMoreData());
    EXPECT_THAT(header->data(), ElementsAre(0xFF));
}

TEST(ChunkHeader, Id128IsNoHeader) {
    EXPECT_FALSE(ChunkHeader::make(128, false));
    EXPECT_FALSE(ChunkHeader::make(128, true));
}

TEST(ChunkHeader, TheByte0x85IsId5WithMoreData) {
    const ChunkHeader header(0x85);
    EXPECT_EQ(header.id(), 5);
    EXPECT_TRUE(header.hasMoreData());
}

TEST(ChunkHeader, EveryByteIsAHeaderThatGivesTheByteBack) {
    for (int byte = 0; byte <= 255; ++byte) {
        const ChunkHeader header(static_cast<std::uint8_t>(byte));
        EXPECT_EQ(header.id(), byte % 128);
        EXPECT_EQ(header.hasMoreData(), byte >= 128);
        EXPECT_THAT(header.data(), ElementsAre(byte));
    }
    static_assert(ChunkHeader::LENGTH == 1);
}

TEST(ChunkHeaderDeathTest, ANegativeIdIsAHeaderThatHasNoByte) {
    const auto header = ChunkHeader::make(-1, false);
    ASSERT_TRUE(header);
    EXPECT_DEATH(static_cast<void>(header->data()), "a chunk header fits in a byte");
}

} // namespace
} // namespace tarnel
