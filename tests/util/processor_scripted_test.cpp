// tests/util/processor_scripted_test.cpp: the choice among processors that this machine may not have.
#include "sharedlib/util/processor.h"
#include "tests/scripted/clock.h"
#include "tests/scripted/processor.h"
#include <gtest/gtest.h>
#include <set>

namespace {

std::set<unsigned long> choices(std::uint64_t mask) {
    scripted::affinityMask() = mask;
    std::set<unsigned long> chosen;
    for (int i = 0; i < 500; ++i) {
        scripted::clock().ticks += 16;
        chosen.insert(ChooseRandomProcessor());
    }
    return chosen;
}

TEST(Processor, ChoosesEveryProcessorThatCanBeDrawn) {
    EXPECT_EQ(choices(0), std::set<unsigned long>{0});
    EXPECT_EQ(choices(1), std::set<unsigned long>{1});
    EXPECT_EQ(choices(0x80000001), (std::set<unsigned long>{1, 0x80000000}));
    EXPECT_EQ(choices(0x100000002), std::set<unsigned long>{2}) << "only the first 32 take part";
    EXPECT_EQ(choices(std::uint64_t{5} << 40), (std::set<unsigned long>{1UL << 40, 1UL << 42}))
        << "none of the first 32";
}

} // namespace
