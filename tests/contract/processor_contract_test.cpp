// tests/contract/processor_contract_test.cpp: what every implementation of platform/processor.h promises.
#include "sharedlib/platform/processor.h"
#include <bit>
#include <gtest/gtest.h>
#include <thread>

namespace {

TEST(ProcessorContract, AffinityMaskHasABitForEachProcessorOfTheProcess) {
    auto const processors = static_cast<int>(std::thread::hardware_concurrency());
    if (processors == 0 || processors > 64) {
        EXPECT_LE(std::popcount(platform::processorAffinityMask()), 64);
        return;
    }
    EXPECT_EQ(std::popcount(platform::processorAffinityMask()), processors);
}

} // namespace
