#include <TarnelSDK/messagepack/Subdata.hpp>

#include <gmock/gmock.h>

#include <algorithm>

namespace tarnel {
namespace {

using ::testing::ElementsAre;

const Bytes buffer{10, 11, 12, 13, 14};

TEST(Subdata, RunsFromTheStartIndexToTheEndOfTheBuffer) {
    EXPECT_EQ(Subdata(buffer).count(), 5U);
    const Subdata tail(buffer, 2);
    EXPECT_EQ(tail.count(), 3U);
    EXPECT_EQ(tail.baseStartIndex(), 2U);
    EXPECT_EQ(tail.baseEndIndex(), 5U);
    EXPECT_TRUE(Subdata(buffer, 5).isEmpty());
}

TEST(Subdata, CountsItsIndicesFromZero) {
    const Subdata middle(buffer, 1, 4);
    EXPECT_EQ(middle.startIndex(), 0U);
    EXPECT_EQ(middle.endIndex(), 3U);
    EXPECT_EQ(middle[0], 11);
    EXPECT_EQ(middle[2], 13);
    EXPECT_TRUE(std::equal(middle.begin(), middle.end(), buffer.begin() + 1, buffer.begin() + 4));
    EXPECT_THAT(middle.data(), ElementsAre(11, 12, 13));
}

TEST(Subdata, ASubrangeIsOnTheSameBuffer) {
    const Subdata part = Subdata(buffer, 1, 4).subrange(1, 3);
    EXPECT_THAT(part.data(), ElementsAre(12, 13));
    EXPECT_EQ(part.base().data(), buffer.data());
    EXPECT_EQ(part.baseStartIndex(), 2U);
}

TEST(SubdataDeathTest, WhatLiesOutsideStopsTheProgram) {
    EXPECT_DEATH(Subdata(buffer, 6), "lies in its buffer");
    EXPECT_DEATH(Subdata(buffer, 3, 2), "lies in its buffer");
    EXPECT_DEATH(Subdata(buffer, 0, 6), "lies in its buffer");
    EXPECT_DEATH(static_cast<void>(Subdata(buffer, 1, 4)[3]), "lies in its view");
    EXPECT_DEATH(Subdata(buffer, 1, 4).subrange(0, 4), "lies in its view");
    EXPECT_DEATH(Subdata(buffer, 1, 4).subrange(2, 1), "lies in its view");
}

} // namespace
} // namespace tarnel
