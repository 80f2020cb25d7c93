// tests/contract/processor_contract_test.cpp: what every implementation of platform/processor.h promises.
#include "sharedlib/platform/processor.h"
#include <bit>
#include <gtest/gtest.h>
#include <thread>

TEST(ProcessorContract, AffinityMaskHasABitForEachProcessorOfTheProcess) {
    unsigned int const processors = std::thread::hardware_concurrency();
    if (processors == 0 || processors > 64) {
        GTEST_SKIP() << "more processors than bits, or nobody knows";
    }
    EXPECT_EQ(std::popcount(platform::processorAffinityMask()), static_cast<int>(processors));
}
