// tests/platform/clock_test.cpp: the real clocks, held against those of the C++ library.
#include "sharedlib/platform/clock.h"
#include <atomic>
#include <chrono>
#include <cmath>
#include <ctime>
#include <gtest/gtest.h>
#include <thread>

namespace {

using std::chrono::steady_clock;

// A reading of the counter and of the reference, close together.
std::pair<double, double> readBoth() {
    std::int64_t before = 0;
    std::int64_t after = 0;
    steady_clock::time_point reference;
    double const patience = 5e-6 * static_cast<double>(platform::performanceFrequency());
    do {
        before = platform::performanceCounter();
        reference = steady_clock::now();
        after = platform::performanceCounter();
    } while (static_cast<double>(after - before) > patience);
    return {static_cast<double>(before + after) / 2,
            std::chrono::duration<double>(reference.time_since_epoch()).count()};
}

TEST(Clock, CounterKeepsTimeToATenthOfAPercent) {
    auto const [firstCounter, firstSeconds] = readBoth();
    platform::sleepMs(100);
    auto const [lastCounter, lastSeconds] = readBoth();
    double const measured = (lastCounter - firstCounter) / static_cast<double>(platform::performanceFrequency());
    EXPECT_NEAR(measured / (lastSeconds - firstSeconds), 1.0, 0.001);
}

TEST(Clock, StretchCounterCountsTheSameTicks) {
    std::int64_t const before = platform::performanceCounter();
    std::int64_t const reading = platform::stretchCounter();
    std::int64_t const after = platform::performanceCounter();
    EXPECT_GE(reading, before - 1);
    EXPECT_LE(reading, after + 1);
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
    using namespace std::chrono;
    auto const steadyMs = duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
    constexpr std::uint32_t kStep = 16;
    EXPECT_LT(platform::tickCountMs() - static_cast<std::uint32_t>(steadyMs) + kStep, 1000U);
    EXPECT_LE(std::abs(platform::systemSeconds() - std::time(nullptr)), 1);
}

} // namespace
