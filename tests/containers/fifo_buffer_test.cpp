// tests/containers/fifo_buffer_test.cpp: the byte queue against a plain string.
#include "sharedlib/containers/fifo_buffer.h"
#include "tests/support/failing_alloc.h"
#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

namespace {

// Opens the fields that derived queues see.
class OpenFifo : public CFifoBuffer {
public:
    explicit OpenFifo(int bundleSize) { setBundleSize(bundleSize); }
    void pretendByteCount(std::int32_t count) { m_byteCount = count; }
    // Whether all blocks are filled to the last byte, but the last one, and the fields tell the truth.
    [[nodiscard]] bool isConsistent() const {
        std::int64_t bytes = 0;
        bool sound = true;
        const BufferBundle* last = nullptr;
        for (const BufferBundle* block = m_head; block != nullptr; block = block->next) {
            const std::int32_t room = block->capacity - block->used - (block == m_head ? m_readOffset : 0);
            sound = sound && block->used > 0 && (room == 0 || (room > 0 && block->next == nullptr));
            bytes += block->used;
            last = block;
        }
        return sound && m_tail == (last != m_head ? last : nullptr) && bytes == m_byteCount &&
               m_bundleCount == getBundleCount();
    }
};

std::string contents(const CFifoBuffer& queue) {
    std::vector<BufferRun> runs(static_cast<std::size_t>(queue.getBundleCount()) + 1);
    const int count = queue.getBundleRuns(runs.data(), static_cast<int>(runs.size()));
    BufferRun first{"x", 1};
    queue.getFirstBundle(&first.data, &first.length);
    EXPECT_TRUE(first.data == runs[0].data && first.length == runs[0].length);
    std::string all;
    std::for_each_n(runs.begin(), count, [&all](BufferRun run) { all.append(run.data, std::size_t(run.length)); });
    return all;
}

TEST(FifoBuffer, CountsAndBundleSizesWithoutSenseChangeNothing) {
    for (const int senseless : {0, -1, INT32_MIN}) {
        OpenFifo queue(senseless);
        queue.append("abc", 3);
        EXPECT_TRUE(queue.isEmpty() && queue.isConsistent());
        queue.setBundleSize(4);
        queue.append("x", senseless);
        EXPECT_EQ(queue.getBundleCount(), 0);
        queue.append("ab", 2);
        queue.clearBytes(senseless);
        queue.setBundleSize(senseless);
        queue.append("cde", 3);
        queue.append("fg", 2);
        EXPECT_EQ(contents(queue), "abfg") << "what fits into the last block is still taken";
        queue.clearBytes(INT32_MAX);
        EXPECT_TRUE(queue.isEmpty() && queue.isConsistent());
    }
}

TEST(FifoBuffer, RunsThatCannotBeQueuedAreRefused) {
    OpenFifo queue(64);
    const BufferRun negative[] = {{"ab", 2}, {"cd", -1}};
    EXPECT_FALSE(queue.appendRuns(negative, 2));
    const BufferRun endless[] = {{"a", INT32_MAX}, {"b", INT32_MAX}};
    EXPECT_FALSE(queue.appendRuns(endless, 2));
    queue.append("0123456789", 10);
    queue.pretendByteCount(INT32_MAX - 9);
    queue.append("0123456789", 10);
    EXPECT_EQ(contents(queue), "0123456789");
    queue.append("012345678", 9);
    EXPECT_EQ(queue.getByteCount(), INT32_MAX);
    queue.pretendByteCount(19);
    EXPECT_TRUE(queue.isConsistent());
}

TEST(FifoBuffer, MemoryRunningOutLeavesNothingHalfQueued) {
    const std::string bytes(240, 'm');
    const BufferRun runs[] = {{bytes.data(), 2}, {bytes.data() + 2, 238}};
    CBundleManager& pool = *CBundleManager::getInstance();
    for (int fail = 1; fail <= 5; ++fail) {
        for (const int standing : {0, 7, 48, 50}) {
            OpenFifo queue(48);
            queue.append(std::string(50, 's').data(), standing);
            for (const bool asRuns : {false, true}) {
                pool.clear();
                const FailingAlloc scarce(fail);
                asRuns ? static_cast<void>(queue.appendRuns(runs, 2)) : queue.append(bytes.data(), 240);
                EXPECT_EQ(contents(queue).size(), static_cast<std::size_t>(standing));
                EXPECT_TRUE(queue.isConsistent());
                EXPECT_EQ(pool.getFreeBundleCount(), fail - 1);
            }
            EXPECT_TRUE(queue.appendRuns(runs, 2));
            EXPECT_EQ(contents(queue), std::string(static_cast<std::size_t>(standing), 's') + bytes);
        }
    }
}

TEST(FifoBuffer, HoldsTheSameBytesAsAStringThroughAnyTraffic) {
    std::mt19937 random(20);
    const auto below = [&random](int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); };
    for (const int bundleSize : {1, 2, 7, 64, 1000, 5000}) {
        OpenFifo queue(bundleSize);
        std::string model;
        for (int step = 0; step < 5000; ++step) {
            const int length = std::array{1, below(8), bundleSize, below(3 * bundleSize + 1)}[random() % 4];
            if (below(2) == 0 && std::ssize(model) < 8 * bundleSize) {
                std::string bytes(static_cast<std::size_t>(length), '\0');
                std::ranges::generate(bytes, [&random] { return static_cast<char>(random()); });
                const int first = below(length + 1);
                const BufferRun runs[] = {{bytes.data(), first}, {bytes.data() + first, length - first}};
                below(2) == 0 ? static_cast<void>(queue.appendRuns(runs, 2)) : queue.append(bytes.data(), length);
                model += bytes;
            } else {
                queue.clearBytes(length);
                model.erase(0, static_cast<std::size_t>(length));
            }
            if (below(500) == 0) {
                queue.setBundleSize(1 + below(2 * bundleSize));
            }
            ASSERT_EQ(queue.isEmpty(), model.empty());
            ASSERT_TRUE(contents(queue) == model && queue.isConsistent()) << "step " << step << " of " << bundleSize;
        }
    }
}

} // namespace
