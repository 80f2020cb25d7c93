// tests/contract/address_space_contract_test.cpp: what every implementation of platform/address_space.h promises.
#include "sharedlib/platform/address_space.h"
#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>

namespace {

TEST(AddressSpaceContract, GrowsWithItsContentAndZerosBehindIt) {
    std::size_t size = 1;
    auto* block = static_cast<unsigned char*>(platform::reserveZeroed(size));
    ASSERT_NE(block, nullptr);
    block[0] = 1;
    for (const std::size_t larger : {std::size_t{2}, std::size_t{4096}, std::size_t{4097}, std::size_t{1} << 22}) {
        block = static_cast<unsigned char*>(platform::growZeroed(block, size, larger));
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(std::count(block, block + size, 1), static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(std::count(block + size, block + larger, 0), static_cast<std::ptrdiff_t>(larger - size));
        std::fill(block + size, block + larger, 1);
        size = larger;
    }
    platform::releaseZeroed(block, size);
}

TEST(AddressSpaceContract, FourGibibytesAreJustAddresses) {
    constexpr std::size_t kSize = std::size_t{1} << 32;
    auto* block = static_cast<unsigned char*>(platform::growZeroed(platform::reserveZeroed(4096), 4096, kSize));
    ASSERT_NE(block, nullptr);
    block[kSize - 1] = 1;
    EXPECT_EQ(block[kSize / 2], 0);
    platform::releaseZeroed(block, kSize);
}

TEST(AddressSpaceContract, RefusalLeavesTheOldBlock) {
    EXPECT_EQ(platform::reserveZeroed(0), nullptr);
    EXPECT_EQ(platform::reserveZeroed(SIZE_MAX / 2), nullptr);
    auto* block = static_cast<unsigned char*>(platform::reserveZeroed(100));
    ASSERT_NE(block, nullptr);
    block[99] = 9;
    EXPECT_EQ(platform::growZeroed(block, 100, SIZE_MAX / 2), nullptr);
    EXPECT_EQ(block[99], 9);
    platform::releaseZeroed(block, 100);
    platform::releaseZeroed(nullptr, 0);
}

} // namespace
