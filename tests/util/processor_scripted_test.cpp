// tests/util/processor_scripted_test.cpp: the choice among processors that this machine may not have.
#include "sharedlib/util/processor.h"
#include "tests/scripted/clock.h"
#include "tests/scripted/processor.h"
#include <gtest/gtest.h>
#include <set>

namespace {

std::set<std::uint64_t> choices(std::uint64_t mask) {
    scripted::affinityMask = mask;
    std::set<std::uint64_t> chosen;
    for (int i = 0; i < 500; ++i) {
        scripted::clock().ticks += 16;
        std::uint64_t const first = *chosen.insert(ChooseRandomProcessor()).first;
        EXPECT_EQ(ChooseRandomProcessor(), first) << "seeded by the tick";
    }
    return chosen;
}

TEST(Processor, ChoosesEveryProcessorThatCanBeDrawn) {
    for (std::uint64_t mask : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{1} << 40}) {
        EXPECT_EQ(choices(mask), std::set{mask});
    }
    EXPECT_EQ(choices(0x80000001), (std::set<std::uint64_t>{1, 0x80000000}));
    EXPECT_EQ(choices(0x100000002), std::set<std::uint64_t>{2}) << "only the first 32 take part";
}

} // namespace
