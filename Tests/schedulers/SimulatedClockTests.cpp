#include <TarnelSDK/schedulers/SimulatedClock.hpp>

#include <gtest/gtest.h>

#include <tuple>

namespace tarnel {
namespace {

using namespace std::chrono_literals;

auto fields(const platform::LocalTime& time) {
    return std::tuple(time.year, time.month, time.day, time.hour, time.minute, time.second, time.nanosecond);
}

TEST(SimulatedClock, StartsAtNoonOfTheFirstOfJanuary2026) {
    const SimulatedClock clock(std::make_shared<SimulatedScheduler>(1));
    EXPECT_EQ(clock.now().time_since_epoch(), 1'767'268'800s);
    EXPECT_EQ(fields(clock.localTime(clock.now())), std::tuple(2026, 1, 1, 12, 0, 0, 0));
}

TEST(SimulatedClock, MovesWithItsScheduler) {
    const auto scheduler = std::make_shared<SimulatedScheduler>(1);
    const SimulatedClock clock(scheduler);
    scheduler->advance(24h + 61s + 5ns);
    EXPECT_EQ(fields(clock.localTime(clock.now())), std::tuple(2026, 1, 2, 12, 1, 1, 5));
}

TEST(SimulatedClock, StartsWhereItIsTold) {
    const SimulatedClock clock(std::make_shared<SimulatedScheduler>(1), platform::TimePoint(951'782'399s));
    EXPECT_EQ(fields(clock.localTime(clock.now())), std::tuple(2000, 2, 28, 23, 59, 59, 0));
    EXPECT_EQ(fields(clock.localTime(clock.now() + 1s)), std::tuple(2000, 2, 29, 0, 0, 0, 0));
}

TEST(SimulatedClock, KnowsTheTimesBefore1970) {
    const SimulatedClock clock(std::make_shared<SimulatedScheduler>(1));
    EXPECT_EQ(fields(clock.localTime(platform::TimePoint(-1ns))), std::tuple(1969, 12, 31, 23, 59, 59, 999'999'999));
}

TEST(SimulatedClock, WithoutASchedulerStopsTheProgram) {
    EXPECT_DEATH(SimulatedClock(nullptr), "scheduler");
}

} // namespace
} // namespace tarnel
