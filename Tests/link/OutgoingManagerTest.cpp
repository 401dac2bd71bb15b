#include "LinkFixture.hpp"

#include <gmock/gmock.h>

namespace tarnel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Messages are told apart by their first byte.
class OutgoingManagerTest : public LinkFixture {
protected:
    OutgoingManagerTest() { OutgoingManager::setMaximumWriteValueLength(20); }

    static constexpr std::size_t oneChunk = 19;
    static constexpr std::size_t twoChunks = 20;
    static constexpr std::size_t oversized = 21;

    void makeManager(SlotRange slots) { manager = std::make_unique<OutgoingManager>(queue, slots); }

    void add(std::uint8_t name, ItemType type = ItemType::data, std::size_t size = oneChunk) {
        manager->add(message(size, name), false, type);
    }
    void addHighPriority(std::uint8_t name, ItemType type = ItemType::data, std::size_t size = oneChunk) {
        manager->add(message(size, name), true, type);
    }

    static int nameOf(const std::shared_ptr<Item>& item) { return item ? item->data()->front() : nothing; }

    /// Serves the next item without cutting it; gives its name.
    int serve() { return nameOf(manager->next()); }

    std::vector<int> serve(int times) {
        std::vector<int> names;
        for (int time = 0; time < times; ++time) {
            names.push_back(serve());
        }
        return names;
    }

    /// Sends until nothing is left; gives the names of the messages in the order of their last chunks.
    std::vector<int> sendAll() {
        std::vector<int> names;
        while (const auto item = manager->next()) {
            write(*manager, item);
            if (!item->hasMoreChunks()) {
                names.push_back(nameOf(item));
            }
        }
        return names;
    }

    static constexpr int nothing = -1;
    std::unique_ptr<OutgoingManager> manager = std::make_unique<OutgoingManager>(queue);
};

TEST_F(OutgoingManagerTest, WithOneSlotTheSecondMessageWaitsForTheLastChunkOfTheFirst) {
    add('a', ItemType::data, twoChunks);
    add('b');
    const auto first = manager->next();
    EXPECT_EQ(first->id(), 0);
    write(*manager, first);
    EXPECT_EQ(manager->next(), first);
    write(*manager, first);

    const auto second = manager->next();
    EXPECT_EQ(nameOf(second), 'b');
    EXPECT_EQ(second->id(), 0);
}

TEST_F(OutgoingManagerTest, AHighPriorityMessageIsServedNextAmongThreeActiveItems) {
    makeManager({0, 4});
    for (const char name : {'a', 'b', 'c'}) {
        add(static_cast<std::uint8_t>(name));
    }
    EXPECT_THAT(serve(2), ElementsAre('a', 'b'));
    addHighPriority('H');
    EXPECT_EQ(nameOf(manager->getCurrentItem()), 'b');
    EXPECT_THAT(serve(6), ElementsAre('H', 'c', 'a', 'b', 'H', 'c'));
}

TEST_F(OutgoingManagerTest, AHighPriorityMessageIsServedNextAfterTheLastItemWhichStaysCurrent) {
    makeManager({0, 4});
    for (const char name : {'a', 'b', 'c'}) {
        add(static_cast<std::uint8_t>(name));
    }
    EXPECT_THAT(serve(3), ElementsAre('a', 'b', 'c'));
    addHighPriority('H');
    EXPECT_EQ(nameOf(manager->getCurrentItem()), 'c');
    EXPECT_THAT(serve(5), ElementsAre('H', 'a', 'b', 'c', 'H'));
}

TEST_F(OutgoingManagerTest, AHighPriorityMessageBeforeTheFirstServiceIsServedFirst) {
    makeManager({0, 4});
    add('a');
    addHighPriority('H');
    EXPECT_EQ(manager->getCurrentItem(), nullptr);
    EXPECT_THAT(serve(3), ElementsAre('H', 'a', 'H'));
}

TEST_F(OutgoingManagerTest, AHighPriorityMessageIsFirstAmongThoseThatWait) {
    add('a');
    add('b');
    addHighPriority('G');
    addHighPriority('H');
    EXPECT_THAT(sendAll(), ElementsAre('a', 'H', 'G', 'b'));
}

TEST_F(OutgoingManagerTest, OfTwoReplaceableMessagesThatWaitOnlyTheFirstIsSent) {
    add('a');
    add('r', ItemType::replaceable);
    add('b');
    add('s', ItemType::replaceable);
    EXPECT_THAT(sendAll(), ElementsAre('a', 'r', 'b'));
}

TEST_F(OutgoingManagerTest, AReplaceableMessageIsTakenAgainWhenTheOlderOneIsActive) {
    add('r', ItemType::replaceable);
    add('s', ItemType::replaceable);
    EXPECT_THAT(sendAll(), ElementsAre('r', 's'));
}

TEST_F(OutgoingManagerTest, AReplaceableMessageOfHighPriorityWaitsAtTheEndAndIsThenServedNext) {
    makeManager({0, 2});
    add('a', ItemType::data, twoChunks);
    add('b');
    add('c');
    addHighPriority('r', ItemType::replaceable);
    manager->remove(manager->next());
    EXPECT_THAT(serve(2), ElementsAre('b', 'c'));
    manager->remove(manager->getCurrentItem());
    EXPECT_THAT(serve(2), ElementsAre('r', 'b'));
}

TEST_F(OutgoingManagerTest, AMessageOneByteLongerThanAWriteWaitsUntilNothingElseIsWaitingOrActive) {
    makeManager({0, 2});
    add('a');
    add('L', ItemType::data, oversized);
    EXPECT_THAT(serve(2), ElementsAre('a', 'a')) << "a slot is free, but an item is active";
    add('b');
    add('c');
    EXPECT_THAT(sendAll(), ElementsAre('b', 'c', 'a', 'L'));
}

TEST_F(OutgoingManagerTest, AMessageAsLongAsAWriteIsNotLong) {
    add('a');
    add('b', ItemType::data, twoChunks);
    add('L', ItemType::longwrite);
    add('c');
    EXPECT_THAT(sendAll(), ElementsAre('a', 'b', 'c', 'L'));
}

TEST_F(OutgoingManagerTest, ALongMessageKeepsItsType) {
    add('L', ItemType::control, oversized);
    EXPECT_EQ(manager->next()->type(), ItemType::control);
}

TEST_F(OutgoingManagerTest, LongMessagesAreActiveOneByOneWithoutRegardToPriority) {
    makeManager({0, 8});
    add('L', ItemType::longwrite, 50);
    add('M', ItemType::longwrite);
    addHighPriority('N', ItemType::longwrite);
    EXPECT_THAT(serve(2), ElementsAre('L', 'L'));
    EXPECT_THAT(sendAll(), ElementsAre('L', 'M', 'N'));
}

TEST_F(OutgoingManagerTest, LongReplaceableMessagesAreAllSent) {
    add('a');
    add('r', ItemType::replaceable, oversized);
    add('s', ItemType::replaceable, oversized);
    EXPECT_THAT(sendAll(), ElementsAre('a', 'r', 's'));
}

TEST_F(OutgoingManagerTest, NothingIsNextInAnEmptyQueueHoweverOftenAsked) {
    EXPECT_THAT(serve(3), ElementsAre(nothing, nothing, nothing));
    EXPECT_EQ(manager->getCurrentItem(), nullptr);
    EXPECT_FALSE(manager->hasItems());
    add('a');
    EXPECT_THAT(serve(1), ElementsAre('a'));
}

TEST_F(OutgoingManagerTest, TheOnlyItemIsNextEveryTime) {
    add('a');
    EXPECT_THAT(serve(3), ElementsAre('a', 'a', 'a'));
    EXPECT_EQ(nameOf(manager->getCurrentItem()), 'a');
}

TEST_F(OutgoingManagerTest, ActiveMessagesTakeTurnsChunkByChunk) {
    makeManager({0, 3});
    for (const char name : {'a', 'b', 'c'}) {
        add(static_cast<std::uint8_t>(name), ItemType::data, name == 'b' ? oneChunk : twoChunks);
    }
    std::vector<int> names;
    while (const auto item = manager->next()) {
        names.push_back(nameOf(item));
        write(*manager, item);
    }
    EXPECT_THAT(names, ElementsAre('a', 'b', 'c', 'a', 'c'));
}

TEST_F(OutgoingManagerTest, ALongMessageThatWaitsIsStillDeliveredAfterClear) {
    add('a');
    add('b');
    add('L', ItemType::longwrite, 50);
    EXPECT_EQ(serve(), 'a');
    manager->clear();
    EXPECT_EQ(manager->getCurrentItem(), nullptr);
    EXPECT_THAT(sendAll(), ElementsAre('L'));
}

TEST_F(OutgoingManagerTest, ClearGivesTheSlotsBack) {
    makeManager({3, 5});
    add('a');
    add('b');
    manager->clear();
    EXPECT_FALSE(manager->hasItems());
    add('c');
    add('d');
    EXPECT_THAT(serve(2), ElementsAre('c', 'd'));
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(OutgoingManagerTest, RemovingAnItemThatIsNotActiveIsLoggedAndChangesNothing) {
    makeManager({0, 2});
    add('a');
    add('b');
    EXPECT_EQ(serve(), 'a');
    const auto active = manager->getCurrentItem();
    manager->remove(std::make_shared<Item>(active->id(), active->data(), active->type()));
    EXPECT_THAT(logged(), ElementsAre("issue"));
    EXPECT_EQ(manager->getCurrentItem(), active);
    EXPECT_EQ(serve(), 'b');
}

TEST_F(OutgoingManagerTest, AnItemRemovedTwiceGivesItsSlotBackOnce) {
    add('a');
    const auto item = manager->next();
    manager->remove(item);
    manager->remove(item);
    platform.run();
    EXPECT_THAT(logged(), ElementsAre("issue"));
}

TEST_F(OutgoingManagerTest, RemovalsPastTheFirstItemLeaveTheTurnWithTheFirst) {
    makeManager({0, 4});
    for (const char name : {'a', 'b', 'c', 'd'}) {
        add(static_cast<std::uint8_t>(name));
    }
    manager->next();
    const auto second = manager->next();
    const auto third = manager->next();
    EXPECT_THAT(serve(2), ElementsAre('d', 'a'));
    for (const auto& item : {second, third}) {
        manager->remove(item);
        EXPECT_EQ(manager->getCurrentItem(), nullptr);
    }
    EXPECT_THAT(serve(3), ElementsAre('a', 'd', 'a'));
}

TEST_F(OutgoingManagerTest, AfterARemovalTheItemThatMovedIntoThePlaceIsNext) {
    makeManager({0, 3});
    for (const char name : {'a', 'b', 'c'}) {
        add(static_cast<std::uint8_t>(name));
    }
    EXPECT_THAT(serve(2), ElementsAre('a', 'b'));
    manager->remove(manager->getCurrentItem());
    EXPECT_THAT(serve(3), ElementsAre('c', 'a', 'c'));
}

TEST_F(OutgoingManagerTest, ActiveMessagesHoldDifferentSlotsOfTheRange) {
    makeManager({5, 8});
    for (const char name : {'a', 'b', 'c', 'd'}) {
        add(static_cast<std::uint8_t>(name));
    }
    std::set<int> ids;
    for (int count = 0; count < 3; ++count) {
        ids.insert(manager->next()->id());
    }
    EXPECT_THAT(ids, ElementsAre(5, 6, 7));
    EXPECT_EQ(serve(), 'a') << "there is no slot for the fourth";
}

TEST_F(OutgoingManagerTest, ARetiredSlotIsUsedToTheEndOfItsMessageAndNotAgain) {
    makeManager({0, 2});
    manager->slotsChange({0, 1});
    add('a');
    add('b');
    EXPECT_EQ(manager->next()->id(), 1);
    manager->slotsChange({1, 2});
    EXPECT_EQ(serve(), 'a');
    manager->remove(manager->getCurrentItem());
    EXPECT_FALSE(manager->hasItems()) << "no slot is left";
    EXPECT_EQ(manager->pendingByteCount(), oneChunk) << "the second message still waits";
}

TEST_F(OutgoingManagerTest, PendingBytesAreThoseNotYetCutOfAllMessages) {
    EXPECT_EQ(manager->pendingByteCount(), 0U);
    add('a', ItemType::data, 20);
    add('b', ItemType::data, 10);
    add('L', ItemType::longwrite, 100);
    EXPECT_EQ(manager->pendingByteCount(), 130U);
    write(*manager, manager->next());
    EXPECT_EQ(manager->pendingByteCount(), 111U);
    write(*manager, manager->next());
    EXPECT_EQ(manager->pendingByteCount(), 110U);
    manager->clear();
    EXPECT_EQ(manager->pendingByteCount(), 100U);
}

TEST_F(OutgoingManagerTest, AnOperationMayBeCalledOnTheQueueItself) {
    add('a');
    int served = nothing;
    queue->async([&] {
        served = serve();
        manager->remove(manager->getCurrentItem());
    });
    platform.run();
    EXPECT_EQ(served, 'a');
    EXPECT_FALSE(manager->hasItems());
}

TEST(MaximumWriteValueLength, Is500OnEveryNewPlatformUntilItIsSet) {
    for (int round = 0; round < 2; ++round) {
        const TestPlatform platform;
        EXPECT_EQ(OutgoingManager::maximumWriteValueLength(), 500);
        OutgoingManager::setMaximumWriteValueLength(182);
        EXPECT_EQ(OutgoingManager::maximumWriteValueLength(), 182);
    }
}

using OutgoingManagerDeathTest = OutgoingManagerTest;

TEST_F(OutgoingManagerDeathTest, AWriteWithoutRoomForAHeaderAndAByteIsAProgrammingError) {
    OutgoingManager::setMaximumWriteValueLength(2);
    EXPECT_DEATH(OutgoingManager::setMaximumWriteValueLength(1), "room for a header and a byte");
}

} // namespace
} // namespace tarnel
