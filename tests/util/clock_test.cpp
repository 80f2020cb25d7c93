// tests/util/clock_test.cpp: the process-wide adjustable clock.
#include "sharedlib/util/clock.h"
#include <ctime>
#include <gtest/gtest.h>
#include <limits>
#include <utility>

TEST(AdjustableClock, FollowsTheSystemTimeUntilItIsSet) {
    std::int64_t const before = std::time(nullptr);
    std::int64_t const now = GetSecondsSinceEpoch();
    EXPECT_TRUE(before <= now && now <= std::time(nullptr)) << now;
}

TEST(AdjustableClock, ContinuesFromTheValueItIsSetTo) {
    using Limits = std::numeric_limits<std::int64_t>;
    // The session id repeats after 94608000 seconds; negative seconds count as unsigned.
    std::pair<std::int64_t, unsigned long> const cases[] = {
        {1'700'000'000, 2'749'920'000},         {94'607'000, 2'838'210'000},   {94'608'000, 0}, {-2'000, 68'088'480},
        {Limits::max() - 2'000, 1'453'134'210}, {Limits::min(), 1'453'194'240}};
    for (auto const& [seconds, id] : cases) {
        SetSecondsSinceEpoch(seconds);
        // A second may pass at any moment.
        EXPECT_LE(static_cast<std::uint64_t>(GetSecondsSinceEpoch() - seconds), 60U) << seconds;
        EXPECT_LE(getTimeSessionId() - id, 30UL * 60) << seconds;
    }
    SetSecondsSinceEpoch(std::time(nullptr));
    cleanupSharedTools();
}
