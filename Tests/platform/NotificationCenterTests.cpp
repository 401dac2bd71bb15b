#include <TarnelSDK/platform/NotificationCenter.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

namespace tarnel::platform {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class NotificationCenterTest : public ::testing::Test {
protected:
    NotificationCenter::Observer note(std::string name) {
        return [this, name = std::move(name)](const Notification&) { seen.push_back(name); };
    }
    void post(std::string name, std::shared_ptr<void> object = nullptr) {
        center.post({std::move(name), std::move(object), {}});
    }

    NotificationCenter center;
    std::vector<std::string> seen;
};

TEST_F(NotificationCenterTest, ObserversAreCalledInTheOrderOfTheirRegistration) {
    const auto first = center.observe("event", note("first"));
    const auto second = center.observe("event", note("second"));
    const auto other = center.observe("other event", note("other"));
    const auto third = center.observe("event", note("third"));
    post("event");
    EXPECT_THAT(seen, ElementsAre("first", "second", "third"));
}

TEST_F(NotificationCenterTest, TheObserverGetsNameSenderAndUserInfo) {
    const auto sender = std::make_shared<int>(7);
    std::optional<Notification> got;
    const auto observation = center.observe("event", [&](const Notification& notification) { got = notification; });
    center.post({"event", sender, {{"key", std::string("value")}}});
    ASSERT_TRUE(got);
    EXPECT_EQ(got->name, "event");
    EXPECT_EQ(got->object, sender);
    EXPECT_EQ(std::any_cast<std::string>(got->userInfo.at("key")), "value");
}

TEST_F(NotificationCenterTest, ASenderLimitsWhatIsDelivered) {
    const auto sender = std::make_shared<int>(1);
    const auto other = std::make_shared<int>(1);
    const auto fromSender = center.observe("event", note("filtered"), sender);
    const auto fromAny = center.observe("event", note("any"));
    post("event", other);
    post("event");
    EXPECT_THAT(seen, ElementsAre("any", "any"));
    seen.clear();
    post("event", sender);
    EXPECT_THAT(seen, ElementsAre("filtered", "any"));
}

TEST_F(NotificationCenterTest, ADeadSenderIsNobodyNotEvenTheAnonymousOne) {
    auto sender = std::make_shared<int>(1);
    const auto observation = center.observe("event", note("filtered"), sender);
    const std::weak_ptr<int> weak = sender;
    sender.reset();
    EXPECT_TRUE(weak.expired()) << "an observation does not keep its sender alive";
    post("event");
    post("event", std::make_shared<int>(1));
    EXPECT_THAT(seen, IsEmpty());
}

TEST_F(NotificationCenterTest, AnEndedObservationIsCalledNoMore) {
    { const auto observation = center.observe("event", note("ended")); }
    auto moved = center.observe("event", note("moved"));
    auto replaced = center.observe("event", note("replaced"));
    const auto keeper = std::move(moved);
    replaced = Observation();
    post("event");
    EXPECT_THAT(seen, ElementsAre("moved"));
}

TEST_F(NotificationCenterTest, AnObserverMayEndItselfAndOthersWhileItIsCalled) {
    std::optional<Observation> self;
    std::optional<Observation> later;
    self = center.observe("event", [&](const Notification&) {
        seen.push_back("self");
        self.reset();
        later.reset();
        seen.push_back("still here");
    });
    later = center.observe("event", note("later"));
    const auto last = center.observe("event", note("last"));
    post("event");
    post("event");
    EXPECT_THAT(seen, ElementsAre("self", "still here", "last", "last"));
}

TEST_F(NotificationCenterTest, AnObserverRegisteredWhilePostingIsCalledFromTheNextTimeOn) {
    std::vector<Observation> added;
    const auto observation = center.observe("event", [&](const Notification&) {
        seen.push_back("first");
        if (added.empty()) {
            added.push_back(center.observe("event", note("added")));
        }
    });
    post("event");
    EXPECT_THAT(seen, ElementsAre("first"));
    post("event");
    EXPECT_THAT(seen, ElementsAre("first", "first", "added"));
}

TEST_F(NotificationCenterTest, AnObserverMayPost) {
    const auto outer = center.observe("outer", [&](const Notification&) {
        seen.push_back("before");
        post("inner");
        seen.push_back("after");
    });
    const auto inner = center.observe("inner", note("inner"));
    post("outer");
    EXPECT_THAT(seen, ElementsAre("before", "inner", "after"));
}

TEST_F(NotificationCenterTest, AnObservationMayOutliveItsCentre) {
    std::optional<NotificationCenter> shortLived(std::in_place);
    const auto observation = shortLived->observe("event", note("never"));
    shortLived.reset();
}

TEST_F(NotificationCenterTest, WhatAnObserverHoldsGoesWithItsObservation) {
    const auto held = std::make_shared<int>(0);
    {
        const auto observation = center.observe("event", [held](const Notification&) {});
        EXPECT_EQ(held.use_count(), 2);
    }
    EXPECT_EQ(held.use_count(), 1);
}

} // namespace
} // namespace tarnel::platform
