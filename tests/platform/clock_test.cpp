// tests/platform/clock_test.cpp: the real clocks, held against those of the C++ library.
#include "sharedlib/platform/clock.h"
#include <atomic>
#include <chrono>
#include <ctime>
#include <gtest/gtest.h>
#include <thread>

using std::chrono::steady_clock;

TEST(Clock, CounterKeepsTimeToATenthOfAPercent) {
    auto const frequency = static_cast<double>(platform::performanceFrequency());
    // How far the counter is ahead of the reference, in seconds, from readings close together.
    auto const lead = [frequency] {
        for (;;) {
            std::int64_t const before = platform::performanceCounter();
            std::chrono::duration<double> const reference = steady_clock::now().time_since_epoch();
            std::int64_t const after = platform::performanceCounter();
            if (static_cast<double>(after - before) < 5e-6 * frequency) {
                return static_cast<double>(before) / frequency - reference.count();
            }
        }
    };
    auto const start = steady_clock::now();
    double const leadBefore = lead();
    platform::sleepMs(100);
    std::chrono::duration<double> const measured = steady_clock::now() - start;
    EXPECT_NEAR(lead() - leadBefore, 0, 0.001 * measured.count());
}

TEST(Clock, CounterNeverRunsBackFromOneThreadToAnother) {
    // Each thread hands on its newest reading; whoever sees it must read no less afterwards.
    std::atomic<std::int64_t> newest{platform::performanceCounter()};
    std::atomic<int> backwardSteps{0};
    auto const race = [&] {
        for (int i = 0; i < 200'000; ++i) {
            std::int64_t const seen = newest.load(std::memory_order_acquire);
            std::int64_t const now = platform::performanceCounter();
            backwardSteps += now < seen ? 1 : 0;
            newest.store(now, std::memory_order_release);
        }
    };
    std::thread other(race);
    race();
    other.join();
    EXPECT_EQ(backwardSteps, 0);
}

TEST(Clock, TickCountAndWallClockFollowTheSystem) {
    auto const steadyMs = steady_clock::now().time_since_epoch() / std::chrono::milliseconds(1);
    constexpr std::uint32_t kStep = 16;
    EXPECT_LT(platform::tickCountMs() - static_cast<std::uint32_t>(steadyMs) + kStep, 1000U);
    EXPECT_NEAR(static_cast<double>(platform::systemSeconds() - std::time(nullptr)), 0, 1);
}
