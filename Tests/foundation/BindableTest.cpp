#include "support/TestPlatform.hpp"

#include <TarnelSDK/foundation/Bindable.hpp>

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace tarnel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Bindables : public ::testing::Test {
protected:
    std::shared_ptr<BondListener<int>> listener(std::string name) {
        return std::make_shared<BondListener<int>>(
            [this, name](int value) { calls.push_back(name + std::to_string(value)); });
    }

    test::TestPlatform platform;
    std::vector<std::string> calls;
};

TEST_F(Bindables, BindingWithFireCallsSynchronouslyWithTheCurrentValue) {
    Bindable<int> bindable(5);
    const auto a = listener("a");
    bindable.bind(a, true);
    EXPECT_THAT(calls, ElementsAre("a5"));
}

TEST_F(Bindables, BindingWithoutFireCallsNothing) {
    Bindable<int> bindable(5);
    const auto a = listener("a");
    bindable.bind(a, false);
    platform.run();
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(Bindables, BindingAnEmptyListenerWithFireCallsNothing) {
    Bindable<int> bindable(5);
    const auto empty = std::make_shared<BondListener<int>>(nullptr);
    bindable.bind(empty, true);
    EXPECT_EQ(bindable.listenerCount(), 1U);
}

TEST_F(Bindables, AWriteNotifiesOnTheMainQueueAndNotInsideTheSetter) {
    Bindable<int> bindable(0);
    bool onMain = false;
    const auto a =
        std::make_shared<BondListener<int>>([&](int) { onMain = platform.scheduler->mainQueue()->isCurrent(); });
    bindable.bind(a, false);
    bindable.setValue(1);
    EXPECT_FALSE(onMain);
    EXPECT_EQ(bindable.value(), 1);
    platform.run();
    EXPECT_TRUE(onMain);
}

TEST_F(Bindables, AReleasedListenerIsDroppedByTheNextWriteAndNobodyIsCalled) {
    Bindable<int> bindable(0);
    auto a = listener("a");
    bindable.bind(a, false);
    a.reset();
    EXPECT_EQ(bindable.listenerCount(), 1U);
    bindable.setValue(1);
    EXPECT_EQ(bindable.listenerCount(), 0U);
    platform.run();
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(Bindables, AListenerWhoseCallbackIsEmptyWhenItFiresIsRemoved) {
    Bindable<int> bindable(0);
    const auto a = listener("a");
    const auto b = listener("b");
    bindable.bind(a, false);
    bindable.bind(b, false);
    a->setListener(nullptr);
    bindable.setValue(1);
    EXPECT_EQ(bindable.listenerCount(), 1U);
    platform.run();
    EXPECT_THAT(calls, ElementsAre("b1"));
}

TEST_F(Bindables, TheMostRecentlyBoundIsCalledFirst) {
    Bindable<int> bindable(0);
    const auto a = listener("a");
    const auto b = listener("b");
    bindable.bind(a, false);
    bindable.bind(b, false);
    bindable.setValue(1);
    platform.run();
    EXPECT_THAT(calls, ElementsAre("b1", "a1"));
}

TEST_F(Bindables, WritingTheSameValueAgainStillNotifiesEveryListener) {
    Bindable<int> bindable(1);
    const auto a = listener("a");
    const auto b = listener("b");
    bindable.bind(a, false);
    bindable.bind(b, false);
    bindable.setValue(1);
    platform.run();
    EXPECT_THAT(calls, ElementsAre("b1", "a1"));
}

TEST_F(Bindables, TwoQuickWritesDeliverTheLaterValueTwice) {
    Bindable<int> bindable(0);
    const auto a = listener("a");
    bindable.bind(a, false);
    bindable.setValue(1);
    bindable.setValue(2);
    platform.run();
    EXPECT_THAT(calls, ElementsAre("a2", "a2"));
}

TEST_F(Bindables, NoCallbackComesWhenTheBindableIsReleasedBeforeTheMainQueueRuns) {
    auto bindable = std::make_unique<Bindable<int>>(0);
    const auto a = listener("a");
    bindable->bind(a, false);
    bindable->setValue(1);
    bindable.reset();
    platform.run();
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(Bindables, NoCallbackComesWhenTheListenerIsReleasedBeforeTheMainQueueRuns) {
    Bindable<int> bindable(0);
    auto a = listener("a");
    bindable.bind(a, false);
    bindable.setValue(1);
    a.reset();
    platform.run();
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(Bindables, NoCallbackComesWhenTheListenerIsUnboundBeforeTheMainQueueRuns) {
    Bindable<int> bindable(0);
    const auto a = listener("a");
    bindable.bind(a, false);
    bindable.setValue(1);
    bindable.unbind(a);
    platform.run();
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(Bindables, NoCallbackComesWhenTheListenerIsEmptiedBeforeTheMainQueueRuns) {
    Bindable<int> bindable(0);
    const auto a = listener("a");
    bindable.bind(a, false);
    bindable.setValue(1);
    a->setListener(nullptr);
    platform.run();
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(Bindables, UnbindingRemovesTheFirstBindingOfThatObjectAlone) {
    Bindable<int> bindable(0);
    const auto a = listener("a");
    const auto b = listener("b");
    bindable.bind(a, false);
    bindable.bind(b, false);
    bindable.bind(a, false);
    bindable.unbind(a);
    bindable.setValue(1);
    platform.run();
    EXPECT_THAT(calls, ElementsAre("a1", "b1"));
}

TEST_F(Bindables, UnbindingPassesOverReleasedListenersWithoutRemovingThem) {
    Bindable<int> bindable(0);
    auto gone = listener("gone");
    const auto a = listener("a");
    const auto stranger = listener("stranger");
    bindable.bind(gone, false);
    bindable.bind(a, false);
    gone.reset();
    bindable.unbind(stranger);
    EXPECT_EQ(bindable.listenerCount(), 2U);
    bindable.unbind(a);
    EXPECT_EQ(bindable.listenerCount(), 1U);
}

TEST_F(Bindables, AListenerMayWriteBindAndUnbindInTurn) {
    Bindable<int> bindable(0);
    const auto b = listener("b");
    std::shared_ptr<BondListener<int>> a;
    a = std::make_shared<BondListener<int>>([&](int value) {
        bindable.bind(b, true);
        bindable.unbind(a);
        bindable.setValue(value + 1);
    });
    bindable.bind(a, false);
    bindable.setValue(1);
    platform.run();
    EXPECT_THAT(calls, ElementsAre("b1", "b2"));
}

TEST_F(Bindables, AValueMayReadItsBindableWhileItIsDestroyed) {
    struct Reader {
        explicit Reader(std::function<void()> read_) : read(std::move(read_)) {}
        ~Reader() { read(); }
        std::function<void()> read;
    };
    Bindable<std::shared_ptr<Reader>> bindable(nullptr);
    bool wasReplaced = false;
    bindable.setValue(std::make_shared<Reader>([&] { wasReplaced = bindable.value() == nullptr; }));
    bindable.setValue(nullptr);
    EXPECT_TRUE(wasReplaced);
}

TEST(BindablesWithoutAPlatform, AreSetAndReadAsLongAsNobodyListens) {
    Bindable<int> bindable(0);
    bindable.setValue(1);
    EXPECT_EQ(bindable.value(), 1);
}

TEST(BindablesDeathTest, BindingNoListenerStopsTheProgram) {
    Bindable<int> bindable(0);
    EXPECT_DEATH(bindable.bind(nullptr, false), "a listener is bound");
}

} // namespace
} // namespace tarnel
