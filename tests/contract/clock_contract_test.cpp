// tests/contract/clock_contract_test.cpp: what every implementation of platform/clock.h promises.
#include "sharedlib/platform/clock.h"
#include <gtest/gtest.h>

namespace {

TEST(ClockContract, CounterHasAConstantFrequencyAboveAMillisecond) {
    std::int64_t const frequency = platform::performanceFrequency();
    EXPECT_GT(frequency, 1'000'000) << "finer than a microsecond";
    EXPECT_EQ(platform::performanceFrequency(), frequency);
}

TEST(ClockContract, CountersNeverRunBack) {
    std::int64_t counter = platform::performanceCounter();
    std::int64_t seconds = platform::systemSeconds();
    for (int i = 0; i < 100'000; ++i) {
        std::int64_t const next = platform::performanceCounter();
        ASSERT_LE(counter, next);
        counter = next;
    }
    EXPECT_LE(seconds, platform::systemSeconds());
}

TEST(ClockContract, SleepLastsAtLeastAsLongAsAskedOnEveryClock) {
    std::int64_t const frequency = platform::performanceFrequency();
    std::int64_t const counter = platform::performanceCounter();
    std::uint32_t const ticks = platform::tickCountMs();
    platform::sleepMs(0);
    platform::sleepMs(20);
    std::uint32_t const sleptTicks = platform::tickCountMs() - ticks;
    std::int64_t const sleptMs = (platform::performanceCounter() - counter) * 1000 / frequency;
    EXPECT_GE(sleptTicks, 4U) << "both ends are cut to a step of the tick count, 16 at most";
    EXPECT_GE(sleptMs, 19) << "the frequency may be off by a thousandth";
    EXPECT_LT(sleptMs, 5000);
    EXPECT_LT(sleptTicks, 5000U);
}

} // namespace
