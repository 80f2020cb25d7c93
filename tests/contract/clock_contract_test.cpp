// tests/contract/clock_contract_test.cpp: what every implementation of platform/clock.h promises.
#include "sharedlib/platform/clock.h"
#include <gtest/gtest.h>

TEST(ClockContract, CounterIsFineAndNeverRunsBack) {
    std::int64_t const frequency = platform::performanceFrequency();
    EXPECT_GT(frequency, 1'000'000) << "finer than a microsecond";
    std::int64_t counter = platform::performanceCounter();
    std::int64_t const seconds = platform::systemSeconds();
    for (int i = 0; i < 100'000; ++i) {
        std::int64_t const stretch = platform::stretchCounter();
        std::int64_t const next = platform::performanceCounter();
        ASSERT_TRUE(counter <= next && counter - 1 <= stretch && stretch <= next + 1);
        counter = next;
    }
    EXPECT_LE(seconds, platform::systemSeconds());
    EXPECT_EQ(platform::performanceFrequency(), frequency) << "constant";
}

TEST(ClockContract, SleepLastsAtLeastAsLongAsAskedOnEveryClock) {
    std::int64_t const counter = platform::performanceCounter();
    std::uint32_t const ticks = platform::tickCountMs();
    platform::sleepMs(0);
    platform::sleepMs(20);
    std::uint32_t const sleptTicks = platform::tickCountMs() - ticks;
    std::int64_t const sleptMs = (platform::performanceCounter() - counter) * 1000 / platform::performanceFrequency();
    EXPECT_TRUE(sleptTicks >= 4 && sleptTicks < 5000) << "both ends are cut to a step of 16 at most: " << sleptTicks;
    EXPECT_TRUE(sleptMs >= 19 && sleptMs < 5000) << "the frequency may be off by a thousandth: " << sleptMs;
}
