#include <TarnelSDK/schedulers/SimulatedRandom.hpp>

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace tarnel {
namespace {

std::vector<std::uint8_t> bytesOf(SimulatedRandom& random, std::size_t count) {
    std::vector<std::uint8_t> bytes(count);
    EXPECT_TRUE(random.fill(bytes));
    return bytes;
}

TEST(SimulatedRandom, TheSameSeedGivesTheSameBytesAndAnotherSeedOthers) {
    SimulatedRandom first(7);
    SimulatedRandom second(7);
    SimulatedRandom other(8);
    const auto bytes = bytesOf(first, 64);
    EXPECT_EQ(bytesOf(second, 64), bytes);
    EXPECT_NE(bytesOf(other, 64), bytes);
    EXPECT_NE(bytesOf(first, 64), bytes);
}

TEST(SimulatedRandom, FillsAnyNumberOfBytesWhole) {
    SimulatedRandom random(1);
    for (std::size_t size = 0; size <= 33; ++size) {
        std::vector<bool> touched(size, false);
        for (int round = 0; round < 20; ++round) {
            const auto bytes = bytesOf(random, size);
            for (std::size_t i = 0; i < size; ++i) {
                touched[i] = touched[i] || bytes[i] != 0;
            }
        }
        EXPECT_EQ(touched, std::vector<bool>(size, true)) << size;
    }
}

TEST(SimulatedRandom, WhileItFailsItLeavesTheBytesAsTheyAre) {
    SimulatedRandom random(1);
    random.setFails(true);
    std::array<std::uint8_t, 4> bytes{1, 2, 3, 4};
    EXPECT_FALSE(random.fill(bytes));
    EXPECT_EQ(bytes, (std::array<std::uint8_t, 4>{1, 2, 3, 4}));
    random.setFails(false);
    EXPECT_TRUE(random.fill(bytes));
}

} // namespace
} // namespace tarnel
