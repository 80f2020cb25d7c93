// tests/containers/bundle_manager_test.cpp: the pool of queue blocks.
#include "sharedlib/containers/bundle_manager.h"
#include "sharedlib/containers/fifo_buffer.h"
#include "tests/support/failing_alloc.h"
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

namespace {

CBundleManager& pool() {
    return *CBundleManager::getInstance();
}

TEST(BundleManager, BlocksComeBackLastFirstToRequestsOfTheirOwnSize) {
    constexpr std::array kSizes{10000, 30000, 100, 1, 10000, 100, 1, 30000};
    std::array<BufferBundle*, kSizes.size()> blocks{};
    pool().clear();
    const int total = pool().getTotalBundleCount();
    std::transform(kSizes.begin(), kSizes.end(), blocks.begin(), [](int size) { return pool().getBundle(size); });
    for (int round = 0; round < 2; ++round) {
        for (BufferBundle* const block : blocks) {
            block->used = 1;
            block->next = blocks[0];
            pool().returnBundle(block);
        }
        EXPECT_EQ(pool().getTotalBundleCount(), total + 8);
        for (int i = 8; i-- > 0;) {
            BufferBundle* const block = pool().getBundle(kSizes.at(static_cast<std::size_t>(i)));
            EXPECT_EQ(block, blocks.at(static_cast<std::size_t>(i)));
            EXPECT_TRUE(block->next == nullptr && block->used == 0);
            EXPECT_EQ(pool().getFreeBundleCount(), i);
            std::memset(block->data(), round, static_cast<std::size_t>(pool().getBundleSize()));
        }
    }
    std::for_each(blocks.begin(), blocks.end(), [](BufferBundle* block) { pool().returnBundle(block); });
    pool().clear();
    EXPECT_EQ(pool().getTotalBundleCount(), total);
    EXPECT_EQ(pool().getFreeBundleCount(), 0);
}

TEST(BundleManager, RefusesWhatCannotBeABlock) {
    const int total = pool().getTotalBundleCount();
    EXPECT_EQ(pool().getBundle(0), nullptr);
    EXPECT_EQ(pool().getBundle(-1), nullptr);
    const FailingAlloc scarce(1);
    EXPECT_EQ(pool().getBundle(51), nullptr);
    EXPECT_EQ(pool().getBundleSize(), 51);
    EXPECT_EQ(pool().getTotalBundleCount(), total);
}

// A queue as static hosts have it: it dies after every static object of the library, the pool's blocks included.
CFifoBuffer* g_queueThatOutlivesThePool = nullptr;

[[gnu::destructor]] void dieLate() {
    if (g_queueThatOutlivesThePool == nullptr) {
        return;
    }
    delete g_queueThatOutlivesThePool;
    if (pool().getFreeBundleCount() != 0 || pool().getTotalBundleCount() != 0) {
        std::fputs("late blocks were pooled instead of freed\n", stderr);
        std::_Exit(1);
    }
}

TEST(BundleManager, ForgetsItsBlocksOnInitAndFreesLateOnesAfterUnload) {
    pool().clear();
    BufferBundle* const forgotten = pool().getBundle(10);
    pool().returnBundle(forgotten);
    CBundleManager::init();
    EXPECT_EQ(pool().getBundleSize() + pool().getTotalBundleCount() + pool().getFreeBundleCount(), 0);
    g_queueThatOutlivesThePool = new CFifoBuffer;
    g_queueThatOutlivesThePool->setBundleSize(10);
    g_queueThatOutlivesThePool->append("twenty-five bytes of it..", 25);
    EXPECT_EQ(pool().getTotalBundleCount(), 3) << "no pooled block was left; the rest of this test runs after main";
    ::operator delete(forgotten);
}

} // namespace
