#include "LinkFixture.hpp"

#include <TarnelSDK/link/IncomingManager.hpp>

#include <gmock/gmock.h>

namespace tarnel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;

class IncomingManagerTest : public LinkFixture {
protected:
    /// Appends chunks of `chunkSize` until the message has `size` bytes.
    void recieve(int id, std::size_t size, std::size_t chunkSize) {
        for (std::size_t sent = 0; sent < size; sent += chunkSize) {
            incoming.append(id, message(std::min(chunkSize, size - sent)));
        }
    }

    static constexpr std::size_t longest = IncomingManager::MAX_MESSAGE_SIZE;
    IncomingManager incoming;
};

TEST_F(IncomingManagerTest, FinishingAnIdNeverAppendedYieldsNothingAndChangesNothing) {
    incoming.append(4, Bytes{1});
    EXPECT_FALSE(incoming.finish(3));
    EXPECT_THAT(incoming.finish(4), Optional(ElementsAre(1)));
}

TEST_F(IncomingManagerTest, InterleavedChunksOfTwoIdsAreJoinedSeparately) {
    incoming.append(3, Bytes{1, 2});
    incoming.append(5, Bytes{11});
    incoming.append(3, Bytes{3});
    incoming.append(5, Bytes{12, 13});
    EXPECT_THAT(incoming.finish(3), Optional(ElementsAre(1, 2, 3)));
    EXPECT_FALSE(incoming.finish(3));

    incoming.append(5, Bytes{14});
    EXPECT_THAT(incoming.finish(5), Optional(ElementsAre(11, 12, 13, 14)));
}

TEST_F(IncomingManagerTest, AnEmptyPayloadMakesAnEmptyMessage) {
    incoming.append(0, {});
    EXPECT_THAT(incoming.finish(0), Optional(IsEmpty()));
    EXPECT_FALSE(incoming.finish(0));
}

TEST_F(IncomingManagerTest, AnEmptyPayloadAddsNothingToAMessage) {
    incoming.append(127, Bytes{1});
    incoming.append(127, {});
    EXPECT_THAT(incoming.finish(127), Optional(ElementsAre(1)));
}

TEST_F(IncomingManagerTest, ClearForgetsPartialMessages) {
    incoming.append(1, Bytes{1});
    incoming.append(2, Bytes{2});
    incoming.clear();
    EXPECT_FALSE(incoming.finish(1));
    incoming.append(2, Bytes{3});
    EXPECT_THAT(incoming.finish(2), Optional(ElementsAre(3)));
}

TEST_F(IncomingManagerTest, TheLongestMessageIsJoined) {
    recieve(7, longest, 499);
    const auto joined = incoming.finish(7);
    ASSERT_TRUE(joined);
    EXPECT_EQ(joined->size(), longest);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(IncomingManagerTest, AMessageThatGrowsTooLongIsDroppedWholeUntilItsEnd) {
    recieve(7, longest + 1, 499);
    recieve(7, 20, 10);
    EXPECT_FALSE(incoming.finish(7));
    EXPECT_THAT(logged(), ElementsAre("Message too long, dropped"));

    incoming.append(7, Bytes{1});
    EXPECT_THAT(incoming.finish(7), Optional(ElementsAre(1))) << "the next message of the id is good again";
}

TEST_F(IncomingManagerTest, AnotherMessageIsNotHurtByOneThatGrowsTooLong) {
    incoming.append(8, Bytes{1});
    recieve(7, 2 * longest, longest);
    incoming.append(8, Bytes{2});
    EXPECT_THAT(incoming.finish(8), Optional(ElementsAre(1, 2)));
}

TEST_F(IncomingManagerTest, ClearForgetsThatAMessageWasTooLong) {
    recieve(7, longest + 1, longest);
    incoming.clear();
    incoming.append(7, Bytes{1});
    EXPECT_THAT(incoming.finish(7), Optional(ElementsAre(1)));
}

using IncomingManagerDeathTest = IncomingManagerTest;

TEST_F(IncomingManagerDeathTest, AnIdThatNoHeaderCarriesIsAProgrammingError) {
    EXPECT_DEATH(incoming.append(128, {}), "an id in 0...127");
    EXPECT_DEATH(incoming.append(-1, {}), "an id in 0...127");
}

} // namespace
} // namespace tarnel
