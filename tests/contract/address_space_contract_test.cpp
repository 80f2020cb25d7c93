// tests/contract/address_space_contract_test.cpp: what every implementation of platform/address_space.h promises.
#include "sharedlib/platform/address_space.h"
#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>

namespace {

TEST(AddressSpaceContract, GrowsWithItsContentAndZerosBehindIt) {
    std::size_t size = 0;
    std::uint8_t* block = nullptr;
    for (const std::size_t larger : {1, 2, 4096, 4097, 1 << 22}) {
        block = static_cast<std::uint8_t*>(platform::growZeroed(block, size, larger));
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(std::count(block, block + size, 1), static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(std::count(block + size, block + larger, 0), static_cast<std::ptrdiff_t>(larger - size));
        std::fill(block + size, block + larger, 1);
        size = larger;
    }
    EXPECT_EQ(platform::growZeroed(block, size, SIZE_MAX / 2), nullptr);
    EXPECT_EQ(block[size - 1], 1) << "a refusal leaves the old block";
    platform::releaseZeroed(block, size);
    EXPECT_EQ(platform::reserveZeroed(0), nullptr);
    EXPECT_EQ(platform::reserveZeroed(SIZE_MAX / 2), nullptr);
    platform::releaseZeroed(nullptr, 0);
}

TEST(AddressSpaceContract, FourGibibytesAreJustAddresses) {
    constexpr std::size_t kSize = std::size_t{1} << 32;
    auto* block = static_cast<std::uint8_t*>(platform::growZeroed(platform::reserveZeroed(4096), 4096, kSize));
    ASSERT_NE(block, nullptr);
    block[kSize - 1] = 1;
    EXPECT_EQ(block[kSize / 2], 0);
    platform::releaseZeroed(block, kSize);
}

} // namespace
