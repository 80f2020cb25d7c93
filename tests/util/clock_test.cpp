// tests/util/clock_test.cpp: the process-wide adjustable clock.
#include "sharedlib/util/clock.h"
#include <ctime>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace {

TEST(AdjustableClock, FollowsTheSystemTimeUntilItIsSet) {
    std::int64_t const before = std::time(nullptr);
    std::int64_t const now = GetSecondsSinceEpoch();
    EXPECT_LE(before, now);
    EXPECT_LE(now, std::time(nullptr));
}

TEST(AdjustableClock, ContinuesFromTheValueItIsSetTo) {
    constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
    constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();
    // The session id repeats after 94608000 seconds; negative seconds count as unsigned.
    for (auto [seconds, id] : std::vector<std::pair<std::int64_t, unsigned long>>{{1'700'000'000, 2'749'920'000},
                                                                                  {94'607'000, 2'838'210'000},
                                                                                  {94'608'000, 0},
                                                                                  {-2'000, 68'088'480},
                                                                                  {kLargest - 2'000, 1'453'134'210},
                                                                                  {kSmallest, 1'453'194'240}}) {
        SetSecondsSinceEpoch(seconds);
        // A second may pass at any moment.
        EXPECT_GE(GetSecondsSinceEpoch(), seconds);
        EXPECT_LE(GetSecondsSinceEpoch() - seconds, 60);
        EXPECT_GE(getTimeSessionId(), id);
        EXPECT_LE(getTimeSessionId(), id + 30 * 60);
    }
    SetSecondsSinceEpoch(std::time(nullptr));
    cleanupSharedTools();
}

} // namespace
