#include <TarnelSDK/platform/Random.hpp>
#include <TarnelSDK/schedulers/SimulatedRandom.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <deque>
#include <vector>

namespace tarnel {
namespace {

/// Draws these numbers, one a fill.
class ScriptedRandom : public platform::Random {
public:
    explicit ScriptedRandom(std::deque<std::uint64_t> numbers) : numbers_(std::move(numbers)) {}

    bool fill(std::span<std::uint8_t> bytes) override {
        const auto number = std::bit_cast<std::array<std::uint8_t, 8>>(numbers_.front());
        numbers_.pop_front();
        std::copy_n(number.begin(), bytes.size(), bytes.begin());
        return true;
    }

    std::size_t left() const { return numbers_.size(); }

private:
    std::deque<std::uint64_t> numbers_;
};

TEST(RandomBelow, IsUniformByChiSquare) {
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        SimulatedRandom random(seed);
        for (const std::size_t bound : {2U, 3U, 10U, 128U}) {
            constexpr double expected = 500;
            std::vector<int> counts(bound, 0);
            for (std::size_t i = 0; i < bound * static_cast<std::size_t>(expected); ++i) {
                ++counts.at(random.below(bound));
            }
            double chiSquare = 0;
            for (const int count : counts) {
                chiSquare += (count - expected) * (count - expected) / expected;
            }
            // The mean is bound - 1, the deviation sqrt(2 (bound - 1)); six of them are beyond any honest source.
            const double freedom = static_cast<double>(bound - 1);
            EXPECT_LT(chiSquare, freedom + 6 * std::sqrt(2 * freedom) + 8) << bound;
        }
    }
}

TEST(RandomBelow, OneLeavesNoChoice) {
    SimulatedRandom random(1);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(random.below(1), 0U);
    }
}

TEST(RandomBelow, HugeBoundsAreKeptAndReachedInBothHalves) {
    for (const std::uint64_t bound : {(std::uint64_t{1} << 63) + 1, UINT64_MAX, std::uint64_t{1} << 63}) {
        SimulatedRandom random(3);
        int upper = 0;
        for (int i = 0; i < 2000; ++i) {
            const auto number = random.below(bound);
            ASSERT_LT(number, bound);
            upper += number >= bound / 2 ? 1 : 0;
        }
        EXPECT_NEAR(upper, 1000, 150) << bound;
    }
}

TEST(RandomBelow, NumbersThatWouldFavourSmallResultsAreDrawnAgain) {
    // 2^64 mod 10 = 6: six numbers are too many.
    ScriptedRandom random({0, 5, 6, 17});
    EXPECT_EQ(random.below(10), 6U);
    EXPECT_EQ(random.left(), 1U);
    EXPECT_EQ(random.below(10), 7U);
    ScriptedRandom powers({0, 1, 7});
    EXPECT_EQ(powers.below(8), 0U);
    EXPECT_EQ(powers.below(8), 1U);
    EXPECT_EQ(powers.below(8), 7U);
}

TEST(RandomBelow, WithoutABoundOrASourceItStopsTheProgram) {
    SimulatedRandom random(1);
    EXPECT_DEATH(random.below(0), "the bound of a random number is positive");
    random.setFails(true);
    EXPECT_DEATH(random.below(5), "the random source works");
}

} // namespace
} // namespace tarnel
