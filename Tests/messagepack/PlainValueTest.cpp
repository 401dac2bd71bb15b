#include <TarnelSDK/messagepack/PlainValue.hpp>

#include <gtest/gtest.h>

namespace tarnel {
namespace {

using Packed = MessagePackValue;
using Plain = tarnel::Value;

TEST(PlainValue, OfAScalarIsTheScalar) {
    EXPECT_TRUE(toPlainValue(nullptr).isNull());
    EXPECT_EQ(toPlainValue(true), Plain(true));
    EXPECT_EQ(toPlainValue(-5), Plain(-5));
    EXPECT_EQ(toPlainValue(5U), Plain(5));
    EXPECT_EQ(toPlainValue(UINT64_MAX), Plain(UINT64_MAX));
    EXPECT_EQ(toPlainValue(0.5F), Plain(0.5));
    EXPECT_EQ(toPlainValue(0.1), Plain(0.1));
    EXPECT_EQ(toPlainValue("text"), Plain("text"));
    EXPECT_EQ(toPlainValue(Bytes{1, 2}), Plain(Bytes{1, 2}));
}

TEST(PlainValue, OfAnExtensionIsItsData) {
    EXPECT_EQ(toPlainValue(Packed(3, Bytes{1, 2})), Plain(Bytes{1, 2}));
}

TEST(PlainValue, OfContainersIsConvertedThroughout) {
    EXPECT_EQ(toPlainValue(Packed::map({{"list", Packed::array({1U, Packed::map({{"k", 0.5F}})})}})),
              Plain(Plain::Dictionary{{"list", Plain::Array{1, Plain::Dictionary{{"k", 0.5}}}}}));
}

TEST(PlainValue, KeysBecomeText) {
    EXPECT_EQ(toPlainValue(Packed::map(
                  {{-7, 1}, {7U, 2}, {UINT64_MAX, 3}, {Bytes{'k'}, 4}, {Bytes{0xFF}, 5}, {nullptr, 6}, {true, 7}})),
              Plain(Plain::Dictionary{{"-7", 1},
                                      {"7", 2},
                                      {"18446744073709551615", 3},
                                      {"k", 4},
                                      {"binary(ff)", 5},
                                      {"nil", 6},
                                      {"bool(true)", 7}}));
}

TEST(PlainValue, TheLastOfKeysThatBecomeTheSameCounts) {
    EXPECT_EQ(toPlainValue(Packed::map({{7, 1}, {"7", 2}})), Plain(Plain::Dictionary{{"7", 2}}));
}

} // namespace
} // namespace tarnel
