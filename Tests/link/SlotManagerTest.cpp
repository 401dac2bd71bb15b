#include "LinkFixture.hpp"

#include <TarnelSDK/link/SlotManager.hpp>

#include <gmock/gmock.h>

#include <map>
#include <set>

namespace tarnel {
namespace {

using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::IsEmpty;
using ::testing::Optional;

class SlotManagerTest : public LinkFixture {
protected:
    static std::set<int> takeAll(SlotManager& manager) {
        std::set<int> slots;
        while (manager.hasSlots()) {
            slots.insert(manager.request().value());
        }
        return slots;
    }
};

TEST_F(SlotManagerTest, OneSlotIsHandedOutThenNothingUntilItIsReturned) {
    const auto manager = SlotManager::make({0, 1});
    EXPECT_THAT(manager->request(), Optional(0));
    EXPECT_FALSE(manager->hasSlots());
    EXPECT_THAT(logged(), IsEmpty());
    EXPECT_FALSE(manager->request());
    EXPECT_THAT(logged(), ElementsAre("no Slots"));
    manager->return_(0);
    EXPECT_TRUE(manager->hasSlots());
    EXPECT_THAT(manager->request(), Optional(0));
}

TEST_F(SlotManagerTest, ReturningASlotTwiceIsLoggedOnceAndItIsFreeOnce) {
    const auto manager = SlotManager::make({0, 1});
    EXPECT_THAT(manager->request(), Optional(0));
    manager->return_(0);
    manager->return_(0);
    EXPECT_THAT(takeAll(*manager), ElementsAre(0));
    EXPECT_THAT(logged(), ElementsAre("We have an issue"));
}

TEST_F(SlotManagerTest, ARetiredSlotThatIsReturnedStaysRetired) {
    const auto manager = SlotManager::make({0, 1});
    manager->removeSlots({0, 1});
    EXPECT_FALSE(manager->hasSlots());
    manager->return_(0);
    EXPECT_FALSE(manager->hasSlots());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(SlotManagerTest, ASlotRetiredWhileHandedOutDoesNotComeBack) {
    const auto manager = SlotManager::make({0, 3});
    EXPECT_THAT(takeAll(*manager), ElementsAre(0, 1, 2));
    manager->removeSlots({1, 2});
    for (const int slot : {0, 1, 2}) {
        manager->return_(slot);
    }
    EXPECT_THAT(takeAll(*manager), ElementsAre(0, 2));
}

TEST_F(SlotManagerTest, OnlyTheSlotsOfTheRangeAreRetired) {
    const auto manager = SlotManager::make({0, 6});
    manager->removeSlots({2, 4});
    EXPECT_THAT(takeAll(*manager), ElementsAre(0, 1, 4, 5));
}

TEST_F(SlotManagerTest, SlotsAskedForAtOnceWaitForTheFilling) {
    EXPECT_TRUE(SlotManager::make({0, 1})->hasSlots());
    EXPECT_TRUE(SlotManager::make({126, 128})->hasSlots());
    EXPECT_FALSE(SlotManager::make({5, 5})->hasSlots());
}

TEST_F(SlotManagerTest, EverySlotOfTheRangeIsHandedOutOnce) {
    const auto manager = SlotManager::make({3, 128});
    std::set<int> slots;
    for (int count = 3; count < 128; ++count) {
        const int slot = manager->request().value();
        EXPECT_TRUE(slot >= 3 && slot < 128) << slot;
        EXPECT_TRUE(slots.insert(slot).second) << slot << " is handed out twice";
    }
    EXPECT_FALSE(manager->request());
}

TEST_F(SlotManagerTest, EveryFreeSlotIsHandedOutEquallyOften) {
    constexpr int slots = 4;
    constexpr int rounds = 4000;
    const auto manager = SlotManager::make({0, slots});
    std::map<int, int> counts;
    for (int round = 0; round < rounds; ++round) {
        const int slot = manager->request().value();
        ++counts[slot];
        manager->return_(slot);
    }
    for (int slot = 0; slot < slots; ++slot) {
        EXPECT_NEAR(counts[slot], rounds / slots, 150) << "slot " << slot; // more than five standard deviations
    }
}

TEST_F(SlotManagerTest, ChangesOrderedBeforeTheManagerIsGoneDoNothing) {
    auto manager = SlotManager::make({0, 2});
    manager->return_(7);
    const std::weak_ptr<SlotManager> gone = manager;
    manager.reset();
    EXPECT_TRUE(gone.expired());
    platform.run();
}

using SlotManagerDeathTest = SlotManagerTest;

TEST_F(SlotManagerDeathTest, ARangeThatEndsBeforeItBeginsIsAProgrammingError) {
    EXPECT_DEATH(SlotManager::make({2, 1}), "a slot range does not end before it begins");
    const auto manager = SlotManager::make({0, 1});
    EXPECT_DEATH(manager->removeSlots({2, 1}), "a slot range does not end before it begins");
}

} // namespace
} // namespace tarnel
