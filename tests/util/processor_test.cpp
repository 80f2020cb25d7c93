// tests/util/processor_test.cpp: the processors that the process may use.
#include "sharedlib/platform/clock.h"
#include "sharedlib/util/processor.h"
#include <bit>
#include <gtest/gtest.h>

namespace {

TEST(Processor, ChoiceIsOneOfTheProcesssProcessorsAndHoldsWithinATick) {
    unsigned long const mask = GetProcessAffinityMask();
    int agreements = 0;
    for (int i = 0; i < 100; ++i) {
        std::uint32_t const tick = platform::tickCountMs();
        unsigned long const first = ChooseRandomProcessor();
        unsigned long const second = ChooseRandomProcessor();
        ASSERT_EQ(std::popcount(first), mask == 0 ? 0 : 1);
        ASSERT_EQ(first & mask, first);
        if (tick == platform::tickCountMs()) {
            ASSERT_EQ(first, second);
            ++agreements;
        }
    }
    EXPECT_GT(agreements, 0);
}

} // namespace
