#include <TarnelSDK/messagepack/MessagePackValue.hpp>

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <string>
#include <unordered_set>

namespace tarnel {
namespace {

using Value = MessagePackValue;
using Type = MessagePackValue::Type;

constexpr float nan32 = std::numeric_limits<float>::quiet_NaN();

TEST(MessagePackValue, ConvertsFromWhatItHolds) {
    EXPECT_EQ(Value().type(), Type::nil);
    EXPECT_EQ(Value(nullptr).type(), Type::nil);
    EXPECT_EQ(Value(std::monostate()).type(), Type::nil);
    EXPECT_EQ(Value(true).type(), Type::bool_);
    EXPECT_EQ(Value(1).type(), Type::int_);
    EXPECT_EQ(Value(std::int8_t{1}).type(), Type::int_);
    EXPECT_EQ(Value(1LL).type(), Type::int_);
    EXPECT_EQ(Value(1U).type(), Type::uint);
    EXPECT_EQ(Value(std::uint8_t{1}).type(), Type::uint);
    EXPECT_EQ(Value(1ULL).type(), Type::uint);
    EXPECT_EQ(Value(1.0F).type(), Type::float_);
    EXPECT_EQ(Value(1.0).type(), Type::double_);
    EXPECT_EQ(Value("text").type(), Type::string);
    EXPECT_EQ(Value(std::string("text")).type(), Type::string);
    EXPECT_EQ(Value(std::string_view("text")).type(), Type::string);
    EXPECT_EQ(Value(Bytes{1}).type(), Type::binary);
    EXPECT_EQ(Value(Value::Array{1}).type(), Type::array);
    EXPECT_EQ(Value(Value::Map{{1, 2}}).type(), Type::map);
    EXPECT_EQ(Value(5, Bytes{1}).type(), Type::extended);
    EXPECT_EQ(Value::array({1, "a"}).type(), Type::array);
    EXPECT_EQ(Value::map({{"a", 1}}).type(), Type::map);
}

TEST(MessagePackValue, ConvertsFromACharacter) {
    EXPECT_EQ(Value('a'), "a");
    EXPECT_EQ(Value(U'a'), "a");
    EXPECT_EQ(Value(U'ü'), "ü");
    EXPECT_EQ(Value(U'€'), "€");
    EXPECT_EQ(Value(U'👓'), "👓");
}

TEST(MessagePackValueDeathTest, WhatIsNoCharacterStopsTheProgram) {
    EXPECT_DEATH(Value(static_cast<char>(0x80)), "ASCII");
    EXPECT_DEATH(Value(char32_t{0xD800}), "scalar value");
    EXPECT_DEATH(Value(char32_t{0x110000}), "scalar value");
}

TEST(MessagePackValue, AnIntAndAnUintOfOneNumberAreEqual) {
    EXPECT_EQ(Value(3), Value(3U));
    EXPECT_EQ(Value(3U), Value(3));
    EXPECT_EQ(Value(0), Value(0U));
    EXPECT_EQ(Value(INT64_MAX), Value(std::uint64_t{INT64_MAX}));
    EXPECT_FALSE(Value(-1) == Value(UINT64_MAX));
    EXPECT_FALSE(Value(INT64_MIN) == Value(std::uint64_t{1} << 63));
    EXPECT_EQ(Value(3).hash(), Value(3U).hash());
}

TEST(MessagePackValue, OtherCasesAreUnequal) {
    EXPECT_FALSE(Value(1.0F) == Value(1.0));
    EXPECT_FALSE(Value(1) == Value(1.0));
    EXPECT_FALSE(Value(1) == Value(true));
    EXPECT_FALSE(Value(nullptr) == Value(0));
    EXPECT_FALSE(Value("a") == Value(Bytes{'a'}));
    EXPECT_FALSE(Value::array({}) == Value::map({}));
}

TEST(MessagePackValue, FloatsCompareAsIEEEHasIt) {
    EXPECT_FALSE(Value(nan32) == Value(nan32));
    EXPECT_EQ(Value(0.0), Value(-0.0));
    EXPECT_EQ(Value(0.0).hash(), Value(-0.0).hash());
}

TEST(MessagePackValue, ArraysAndExtensionsCompareByContents) {
    EXPECT_EQ(Value::array({1, "a"}), Value::array({1U, "a"}));
    EXPECT_FALSE(Value::array({1, 2}) == Value::array({2, 1}));
    EXPECT_FALSE(Value::array({1}) == Value::array({1, 1}));
    EXPECT_EQ(Value(1, Bytes{2}), Value(1, Bytes{2}));
    EXPECT_FALSE(Value(1, Bytes{2}) == Value(2, Bytes{2}));
    EXPECT_FALSE(Value(1, Bytes{2}) == Value(1, Bytes{3}));
}

TEST(MessagePackValue, ContainersHashByTheirCountAlone) {
    EXPECT_EQ(Value::array({1, 2}).hash(), Value::array({"a", nullptr}).hash());
    EXPECT_FALSE(Value::array({1, 2}) == Value::array({"a", nullptr}));
    EXPECT_EQ(Value::map({{1, 2}}).hash(), Value::map({{3, 4}}).hash());
    EXPECT_EQ(Value().hash(), 0U);
    EXPECT_EQ(Value(1, Bytes{2}).hash(), Value(1, Bytes{2}).hash());
    EXPECT_NE(Value(1, Bytes{2}).hash(), Value(2, Bytes{2}).hash());
}

TEST(MessagePackValue, SuitsAHashTable) {
    const std::unordered_set<Value> set{1, 1U, "a", Bytes{1}, nullptr, Value::array({1})};
    EXPECT_EQ(set.size(), 5U);
    EXPECT_TRUE(set.contains(Value(1U)));
}

TEST(MessagePackValue, CountsElementsAndEntriesAlone) {
    EXPECT_EQ(Value::array({1, 2}).count(), 2U);
    EXPECT_EQ(Value::map({{1, 2}}).count(), 1U);
    EXPECT_EQ(Value("text").count(), std::nullopt);
    EXPECT_EQ(Value().count(), std::nullopt);
}

TEST(MessagePackValue, ASubscriptFindsAnElementOrNothing) {
    const Value array = Value::array({"a", "b"});
    EXPECT_EQ(*array[0], "a");
    EXPECT_EQ(*array[std::size_t{1}], "b");
    EXPECT_EQ(array[2], nullptr);
    EXPECT_EQ(array[UINT64_MAX], nullptr);
    EXPECT_EQ(Value("text")[0], nullptr);
    EXPECT_EQ(array["a"], nullptr);
}

TEST(MessagePackValueDeathTest, ANegativeIndexStopsTheProgram) {
    const Value array = Value::array({1});
    EXPECT_DEATH(static_cast<void>(array[-1]), "not negative");
}

TEST(MessagePackValue, ASubscriptFindsAKeyOrNothing) {
    const Value map = Value::map({{"a", 1}, {7, "seven"}});
    EXPECT_EQ(*map["a"], 1);
    EXPECT_EQ(*map[Value(7U)], "seven");
    EXPECT_EQ(map["b"], nullptr);
    EXPECT_EQ(map[7], nullptr);
    EXPECT_EQ(*map[std::string("a")], 1);
}

TEST(MessagePackValue, SignedAccessorsGiveWhatFits) {
    EXPECT_EQ(Value(-1).integerValue(), -1);
    EXPECT_EQ(Value(std::uint64_t{INT64_MAX}).int64Value(), INT64_MAX);
    EXPECT_EQ(Value(std::uint64_t{INT64_MAX} + 1).intValue(), std::nullopt);
    EXPECT_EQ(Value(127).int8Value(), 127);
    EXPECT_EQ(Value(127U).int8Value(), 127);
    EXPECT_EQ(Value(128).int8Value(), std::nullopt);
    EXPECT_EQ(Value(128U).int8Value(), std::nullopt);
    EXPECT_EQ(Value(-128).int8Value(), -128);
    EXPECT_EQ(Value(-129).int8Value(), std::nullopt);
    EXPECT_EQ(Value(32767U).int16Value(), 32767);
    EXPECT_EQ(Value(32768U).int16Value(), std::nullopt);
    EXPECT_EQ(Value(-32768).int16Value(), -32768);
    EXPECT_EQ(Value(-32769).int16Value(), std::nullopt);
    EXPECT_EQ(Value(INT32_MAX).int32Value(), INT32_MAX);
    EXPECT_EQ(Value(std::int64_t{INT32_MAX} + 1).int32Value(), std::nullopt);
    EXPECT_EQ(Value(std::int64_t{INT32_MIN} - 1).int32Value(), std::nullopt);
    EXPECT_EQ(Value(1.0).integerValue(), std::nullopt);
    EXPECT_EQ(Value(true).integerValue(), std::nullopt);
    EXPECT_EQ(Value("1").integerValue(), std::nullopt);
}

TEST(MessagePackValue, UnsignedAccessorsGiveWhatFits) {
    EXPECT_EQ(Value(UINT64_MAX).unsignedIntegerValue(), UINT64_MAX);
    EXPECT_EQ(Value(0).uint64Value(), 0U);
    EXPECT_EQ(Value(-1).uintValue(), std::nullopt);
    EXPECT_EQ(Value(255).uint8Value(), 255);
    EXPECT_EQ(Value(256).uint8Value(), std::nullopt);
    EXPECT_EQ(Value(-1).uint8Value(), std::nullopt);
    EXPECT_EQ(Value(-1).uint16Value(), std::nullopt);
    EXPECT_EQ(Value(-1).uint32Value(), std::nullopt);
    EXPECT_EQ(Value(65535U).uint16Value(), 65535);
    EXPECT_EQ(Value(65536U).uint16Value(), std::nullopt);
    EXPECT_EQ(Value(UINT32_MAX).uint32Value(), UINT32_MAX);
    EXPECT_EQ(Value(std::uint64_t{UINT32_MAX} + 1).uint32Value(), std::nullopt);
    EXPECT_EQ(Value().uint32Value(), std::nullopt);
}

TEST(MessagePackValue, FloatValueGivesFloatsAndDoublesThatSurviveTheRoundTrip) {
    EXPECT_EQ(Value(1.5F).floatValue(), 1.5F);
    EXPECT_TRUE(std::isnan(*Value(nan32).floatValue()));
    EXPECT_EQ(Value(1.5).floatValue(), 1.5F);
    EXPECT_EQ(Value(0.1).floatValue(), std::nullopt);
    EXPECT_EQ(Value(double{nan32}).floatValue(), std::nullopt);
    EXPECT_EQ(Value(1e300).floatValue(), std::nullopt);
    EXPECT_EQ(Value(-1e300).floatValue(), std::nullopt);
    EXPECT_EQ(Value(double{std::numeric_limits<float>::max()}).floatValue(), std::numeric_limits<float>::max());
    EXPECT_EQ(Value(std::numeric_limits<double>::infinity()).floatValue(), std::numeric_limits<float>::infinity());
    EXPECT_EQ(Value(1).floatValue(), std::nullopt);
}

TEST(MessagePackValue, DoubleValueGivesDoublesAndFloatsThatAreNumbers) {
    EXPECT_EQ(Value(0.1).doubleValue(), 0.1);
    EXPECT_TRUE(std::isnan(*Value(double{nan32}).doubleValue()));
    EXPECT_EQ(Value(0.5F).doubleValue(), 0.5);
    EXPECT_EQ(Value(nan32).doubleValue(), std::nullopt);
    EXPECT_EQ(Value(1).doubleValue(), std::nullopt);
}

TEST(MessagePackValue, OtherAccessorsGiveTheirCase) {
    EXPECT_EQ(Value(true).boolValue(), true);
    EXPECT_EQ(Value(false).boolValue(), false);
    EXPECT_EQ(Value(1).boolValue(), std::nullopt);
    EXPECT_TRUE(Value().isNil());
    EXPECT_FALSE(Value(0).isNil());
    EXPECT_EQ(Value("ü").stringValue(), "ü");
    EXPECT_EQ(Value(Bytes{0xC3, 0xBC}).stringValue(), "ü");
    EXPECT_EQ(Value(Bytes{0xC3}).stringValue(), std::nullopt);
    EXPECT_EQ(Value(1).stringValue(), std::nullopt);
    EXPECT_EQ(Value(Bytes{1}).dataValue(), Bytes{1});
    EXPECT_EQ(Value(5, Bytes{2}).dataValue(), Bytes{2});
    EXPECT_EQ(Value("a").dataValue(), std::nullopt);
    const Value array = Value::array({1});
    EXPECT_EQ(*array.arrayValue(), Value::Array{1});
    EXPECT_EQ(array.dictionaryValue(), nullptr);
    const Value map = Value::map({{"a", 1}});
    EXPECT_EQ(map.dictionaryValue()->size(), 1U);
    EXPECT_EQ(map.arrayValue(), nullptr);
    const Value extended(-5, Bytes{2});
    EXPECT_EQ(*extended.extendedValue(), (MessagePackExtended{-5, {2}}));
    EXPECT_EQ(extended.extendedType(), -5);
    EXPECT_EQ(map.extendedValue(), nullptr);
    EXPECT_EQ(map.extendedType(), std::nullopt);
}

TEST(MessagePackValue, DescribesItselfByCaseAndPayload) {
    const Value value = Value::map({{"k", Value::array({-1, 2U, true, nullptr, 1.5F, 2.5})}, {Bytes{0x0A, 0xFF}, "v"}});
    EXPECT_EQ(value.description(),
              "map([string(k): array([int(-1), uint(2), bool(true), nil, float(1.5), double(2.5)]),"
              " binary(0aff): string(v)])");
    EXPECT_EQ(Value(-2, Bytes{1}).description(), "extended(-2, 01)");
}

} // namespace
} // namespace tarnel
