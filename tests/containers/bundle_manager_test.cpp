// tests/containers/bundle_manager_test.cpp: the pool of queue blocks.
#include "sharedlib/containers/bundle_manager.h"
#include "sharedlib/containers/fifo_buffer.h"
#include "tests/support/failing_alloc.h"
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

CBundleManager& pool() {
    return *CBundleManager::getInstance();
}

class BundleManager : public testing::Test {
protected:
    BundleManager() { pool().clear(); }
    ~BundleManager() override { pool().clear(); }
};

TEST_F(BundleManager, HandsOutTheBlockThatCameBackLast) {
    const int total = pool().getTotalBundleCount();
    BufferBundle* const first = pool().getBundle(100);
    BufferBundle* const second = pool().getBundle(100);
    std::memset(first->data(), 'x', 100);
    first->used = 100;
    first->next = second;
    pool().returnBundle(second);
    pool().returnBundle(first);
    EXPECT_EQ(pool().getFreeBundleCount(), 2);
    EXPECT_EQ(pool().getBundle(100), first);
    EXPECT_EQ(first->next, nullptr);
    EXPECT_EQ(first->used, 0);
    EXPECT_EQ(first->capacity, 100);
    EXPECT_EQ(pool().getFreeBundleCount(), 1);
    EXPECT_EQ(pool().getTotalBundleCount(), total + 2);
    pool().clear();
    EXPECT_EQ(pool().getTotalBundleCount(), total + 1);
    pool().returnBundle(first);
}

TEST_F(BundleManager, BlocksOfOtherSizesStayApart) {
    constexpr int kSizes[] = {10000, 30000, 100, 1};
    std::vector<BufferBundle*> blocks;
    for (int round = 0; round < 3; ++round) {
        for (const int size : kSizes) {
            blocks.push_back(pool().getBundle(size));
        }
    }
    for (BufferBundle* const block : blocks) {
        pool().returnBundle(block);
    }
    const int total = pool().getTotalBundleCount();
    for (int round = 0; round < 3; ++round) {
        for (const int size : kSizes) {
            BufferBundle* const block = pool().getBundle(size);
            EXPECT_EQ(block->capacity, size);
            EXPECT_EQ(pool().getBundleSize(), size);
            std::memset(block->data(), round, static_cast<std::size_t>(size));
        }
    }
    EXPECT_EQ(pool().getTotalBundleCount(), total) << "every block was found again";
    EXPECT_EQ(pool().getFreeBundleCount(), 0);
    for (BufferBundle* const block : blocks) {
        pool().returnBundle(block);
    }
    EXPECT_EQ(pool().getFreeBundleCount(), 12);
}

TEST_F(BundleManager, QueuesKeepTheirBytesWhenTheBundleSizeChanges) {
    CFifoBuffer queue;
    std::string expected;
    std::string seen;
    for (const int size : {10000, 30000, 100, 10000, 1, 30000}) {
        queue.setBundleSize(size);
        const std::string bytes(35000, static_cast<char>('a' + size % 26));
        queue.append(bytes.data(), 35000);
        expected += bytes;
        for (int taken = 0; taken < 20000;) {
            const char* data = nullptr;
            int length = 0;
            queue.getFirstBundle(&data, &length);
            seen.append(data, static_cast<std::size_t>(length));
            queue.clearBytes(length);
            taken += length;
        }
    }
    EXPECT_EQ(seen, expected.substr(0, seen.size()));
    EXPECT_EQ(queue.getByteCount(), static_cast<int>(expected.size() - seen.size()));
}

TEST_F(BundleManager, RefusesWhatCannotBeABlock) {
    const int total = pool().getTotalBundleCount();
    EXPECT_EQ(pool().getBundle(0), nullptr);
    EXPECT_EQ(pool().getBundle(-1), nullptr);
    EXPECT_EQ(pool().getBundleSize(), -1);
    const FailingAlloc scarce(1);
    EXPECT_EQ(pool().getBundle(50), nullptr);
    EXPECT_TRUE(scarce.failed());
    EXPECT_EQ(pool().getTotalBundleCount(), total);
}

TEST_F(BundleManager, InitForgetsWithoutFreeing) {
    BufferBundle* const block = pool().getBundle(100);
    BufferBundle* const pooled = pool().getBundle(100);
    pool().returnBundle(pooled);
    CBundleManager::init();
    EXPECT_EQ(pool().getBundleSize(), 0);
    EXPECT_EQ(pool().getTotalBundleCount(), 0);
    EXPECT_EQ(pool().getFreeBundleCount(), 0);
    BufferBundle* const fresh = pool().getBundle(100);
    EXPECT_NE(fresh, pooled);
    for (BufferBundle* const each : {block, pooled, fresh}) {
        pool().returnBundle(each);
    }
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

TEST_F(BundleManager, BlocksThatComeBackAfterUnloadAreFreed) {
    CBundleManager::init();
    g_queueThatOutlivesThePool = new CFifoBuffer;
    g_queueThatOutlivesThePool->setBundleSize(10);
    g_queueThatOutlivesThePool->append("twenty-five bytes of it..", 25);
    EXPECT_EQ(pool().getTotalBundleCount(), 3) << "the rest of this test runs after main";
}

} // namespace
