#include <TarnelSDK/messagepack/MessagePackValue.hpp>

#include <gmock/gmock.h>

#include <limits>
#include <string>
#include <vector>

namespace tarnel {
namespace {

using ::testing::ElementsAre;
using Map = MessagePackMap;
using Value = MessagePackValue;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

std::vector<std::string> keys(const Map& map) {
    std::vector<std::string> result;
    for (const auto& entry : map) {
        result.push_back(entry.key.description());
    }
    return result;
}

/// A map of `count` numbers, each with its square.
Map squares(std::int64_t count) {
    Map map;
    for (std::int64_t i = 0; i < count; ++i) {
        map.set(i, i * i);
    }
    return map;
}

TEST(MessagePackMap, KeepsTheOrderOfInsertion) {
    Map map{{"z", 1}, {"a", 2}};
    map.set("m", 3);
    map.set("z", 4);
    EXPECT_THAT(keys(map), ElementsAre("string(z)", "string(a)", "string(m)"));
    EXPECT_EQ(*map.find("z"), 4);
    EXPECT_EQ(map.find("q"), nullptr);
}

TEST(MessagePackMap, TakesAnIntAndAnUintOfOneNumberForTheSameKey) {
    for (const std::int64_t others : {1, 100}) {
        Map map = squares(others);
        map.set(std::int64_t{1000}, "int");
        map.set(std::uint64_t{1000}, "uint");
        map.set(std::int64_t{-1}, "negative");
        EXPECT_EQ(map.size(), static_cast<std::size_t>(others) + 2);
        EXPECT_EQ(*map.find(1000), "uint");
        EXPECT_EQ(map.find(UINT64_MAX), nullptr);
    }
}

TEST(MessagePackMap, FindsEveryKeyAmongManyAndReplacesIt) {
    Map map = squares(1000);
    map.set(500, "new");
    EXPECT_EQ(map.size(), 1000U);
    EXPECT_EQ(*map.find(999U), 999 * 999);
    EXPECT_EQ(*map.find(500), "new");
    EXPECT_EQ(map.find(1000), nullptr);
}

TEST(MessagePackMap, TellsKeysOfDifferentCasesApart) {
    const std::vector<Value> different{nullptr,
                                       false,
                                       true,
                                       0,
                                       -1,
                                       0.0F,
                                       0.0,
                                       "",
                                       "0",
                                       Bytes(),
                                       Bytes{'0'},
                                       Value::array({}),
                                       Value::array({0}),
                                       Value::map({}),
                                       Value::map({{0, 0}}),
                                       Value(0, Bytes()),
                                       Value(1, Bytes()),
                                       Value::array({"a", "b"}),
                                       Value::array({"ab"}),
                                       1.0F,
                                       1.0,
                                       Value::array({Value::array({1}), 2}),
                                       Value::array({Value::array({1, 2})})};
    Map map;
    for (std::size_t i = 0; i < different.size(); ++i) {
        map.set(different[i], i);
    }
    ASSERT_EQ(map.size(), different.size());
    for (std::size_t i = 0; i < different.size(); ++i) {
        EXPECT_EQ(*map.find(different[i]), i) << different[i].description();
    }
}

TEST(MessagePackMap, FindsContainersByTheirContents) {
    Map map;
    map.set(Value::array({1, -0.0}), "array");
    map.set(Value::map({{"a", 1}, {"b", 2}}), "map");
    EXPECT_EQ(*map.find(Value::array({1U, 0.0})), "array");
    EXPECT_EQ(*map.find(Value::map({{"b", 2U}, {"a", 1}})), "map");
    EXPECT_EQ(map.find(Value::map({{"a", 2}, {"b", 1}})), nullptr);
}

TEST(MessagePackMap, FindsZeroWhateverItsSign) {
    for (const std::int64_t others : {1, 100}) {
        Map map = squares(others);
        map.set(-0.0, "zero");
        EXPECT_EQ(*map.find(0.0), "zero");
    }
}

TEST(MessagePackMap, NeverFindsANaN) {
    for (const std::int64_t others : {1, 100}) {
        Map map = squares(others);
        const auto before = map.size();
        map.set(nan, 1);
        map.set(nan, 2);
        map.set(Value::array({nan}), 3);
        map.set(std::numeric_limits<float>::quiet_NaN(), 4);
        EXPECT_EQ(map.size(), before + 4);
        EXPECT_EQ(map.find(nan), nullptr);
        EXPECT_EQ(map.find(Value::array({nan})), nullptr);
        EXPECT_FALSE(map == map);
    }
}

TEST(MessagePackMap, ComparesWithoutRegardToOrder) {
    EXPECT_EQ((Map{{"a", 1}, {"b", 2}}), (Map{{"b", 2}, {"a", 1}}));
    EXPECT_FALSE((Map{{"a", 1}}) == (Map{{"a", 2}}));
    EXPECT_FALSE((Map{{"a", 1}}) == (Map{{"b", 1}}));
    EXPECT_FALSE((Map{{"a", 1}}) == (Map{{"a", 1}, {"b", 2}}));
    Map shifted;
    for (std::int64_t i = 99; i >= 0; --i) {
        shifted.set(i, i * i);
    }
    EXPECT_EQ(squares(100), shifted);
}

TEST(MessagePackMap, CopiesShareNothing) {
    for (const std::int64_t count : {3, 100}) {
        const Map original = squares(count);
        Map copy = original;
        copy.set(0, "changed");
        copy.set("new", true);
        EXPECT_EQ(*original.find(0), 0);
        EXPECT_FALSE(original.contains("new"));
        EXPECT_EQ(*copy.find(0), "changed");
        Map assigned;
        assigned = copy;
        EXPECT_EQ(assigned, copy);
        const Map moved = std::move(copy);
        EXPECT_EQ(moved, assigned);
    }
}

} // namespace
} // namespace tarnel
