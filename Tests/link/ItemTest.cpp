#include "LinkFixture.hpp"

#include <TarnelSDK/link/ChunkHeader.hpp>
#include <TarnelSDK/link/Item.hpp>

#include <gmock/gmock.h>

namespace tarnel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::SizeIs;

class ItemTest : public LinkFixture {
protected:
    ItemTest() { OutgoingManager::setMaximumWriteValueLength(20); }

    /// Cuts the item up to its last chunk, each with its header.
    std::vector<Bytes> cutWithHeaders(Item& item) {
        std::vector<Bytes> values;
        do {
            values.push_back(cutFramed(item));
        } while (item.hasMoreChunks());
        return values;
    }

    static Bytes join(const std::vector<Bytes>& values, std::size_t headerLength) {
        Bytes joined;
        for (const auto& value : values) {
            joined.insert(joined.end(), value.begin() + static_cast<std::ptrdiff_t>(headerLength), value.end());
        }
        return joined;
    }
};

TEST_F(ItemTest, AFramedMessageOf45BytesGoesOutInChunksOf19And19And7) {
    Item item(5, message(45), ItemType::data);
    const auto values = cutWithHeaders(item);
    EXPECT_THAT(values, ElementsAre(SizeIs(20), SizeIs(20), SizeIs(8)));
    EXPECT_EQ(values.at(0).front(), 5 + 128);
    EXPECT_EQ(values.at(1).front(), 5 + 128);
    EXPECT_EQ(values.at(2).front(), 5);
    EXPECT_EQ(join(values, 1), message(45));
}

TEST_F(ItemTest, AFramedMessageOfWholeChunksEndsWithAFullChunkAndNoEmptyOne) {
    Item item(5, message(38), ItemType::control);
    const auto values = cutWithHeaders(item);
    EXPECT_THAT(values, ElementsAre(SizeIs(20), SizeIs(20)));
    EXPECT_EQ(values.at(0).front(), 5 + 128);
    EXPECT_EQ(values.at(1).front(), 5);
    EXPECT_EQ(join(values, 1), message(38));
}

TEST_F(ItemTest, AMessageWithoutHeaderIsCutIntoRawSlicesOfTheWholeWrite) {
    Item item(5, message(45), ItemType::noHeader);
    const auto values = cutWithHeaders(item);
    EXPECT_THAT(values, ElementsAre(SizeIs(20), SizeIs(20), SizeIs(5)));
    EXPECT_EQ(join(values, 0), message(45));
}

TEST_F(ItemTest, OnlyTheMessageWithoutHeaderIsNotFramed) {
    EXPECT_TRUE(shouldChunk(ItemType::data));
    EXPECT_FALSE(shouldChunk(ItemType::noHeader));
    EXPECT_TRUE(shouldChunk(ItemType::replaceable));
    EXPECT_TRUE(shouldChunk(ItemType::control));
    EXPECT_TRUE(shouldChunk(ItemType::longwrite));
}

TEST_F(ItemTest, TheOrderOfTheTypesIsFixed) {
    EXPECT_EQ(static_cast<int>(ItemType::data), 0);
    EXPECT_EQ(static_cast<int>(ItemType::noHeader), 1);
    EXPECT_EQ(static_cast<int>(ItemType::replaceable), 2);
    EXPECT_EQ(static_cast<int>(ItemType::control), 3);
    EXPECT_EQ(static_cast<int>(ItemType::longwrite), 4);
}

TEST_F(ItemTest, AnItemWithoutDataHasNoChunk) {
    Item item(5, std::nullopt, ItemType::data);
    EXPECT_FALSE(item.hasMoreChunks());
    EXPECT_FALSE(item.getNextChunk());
    EXPECT_EQ(item.pendingByteCount(), 0U);
}

TEST_F(ItemTest, AnEmptyMessageHasOneEmptyChunk) {
    Item item(5, Bytes(), ItemType::data);
    EXPECT_FALSE(item.hasMoreChunks());
    EXPECT_THAT(item.getNextChunk(), Optional(IsEmpty()));
}

TEST_F(ItemTest, AnExhaustedMessageGivesEmptyChunks) {
    Item item(5, message(3), ItemType::data);
    EXPECT_THAT(item.getNextChunk(), Optional(ElementsAre(0, 1, 2)));
    EXPECT_THAT(item.getNextChunk(), Optional(IsEmpty()));
    EXPECT_EQ(item.position(), 3U);
}

TEST_F(ItemTest, CuttingMovesThePositionAndLeavesTheData) {
    Item item(5, message(45), ItemType::data);
    EXPECT_EQ(item.position(), 0U);
    EXPECT_EQ(item.pendingByteCount(), 45U);
    item.getNextChunk();
    EXPECT_EQ(item.position(), 19U);
    EXPECT_EQ(item.pendingByteCount(), 26U);
    EXPECT_TRUE(item.hasMoreChunks());
    EXPECT_THAT(item.data(), Optional(message(45)));
}

TEST_F(ItemTest, AChunkIsAsLongAsAWriteIsWhenItIsCut) {
    Item item(5, message(45), ItemType::data);
    EXPECT_THAT(item.getNextChunk(), Optional(SizeIs(19)));
    OutgoingManager::setMaximumWriteValueLength(2);
    EXPECT_THAT(item.getNextChunk(), Optional(ElementsAre(19)));
    OutgoingManager::setMaximumWriteValueLength(100);
    EXPECT_THAT(item.getNextChunk(), Optional(SizeIs(25)));
}

} // namespace
} // namespace tarnel
