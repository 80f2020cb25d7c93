// tests/containers/fifo_buffer_test.cpp: the byte queue against a plain deque.
#include "sharedlib/containers/fifo_buffer.h"
#include "tests/support/failing_alloc.h"
#include <algorithm>
#include <array>
#include <deque>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace {

// Opens the fields that derived queues see, and counts what the overrides are told.
class OpenFifo : public CFifoBuffer {
public:
    explicit OpenFifo(int bundleSize) { setBundleSize(bundleSize); }
    void pretendByteCount(std::int32_t count) { m_byteCount = count; }
    [[nodiscard]] bool isConsistent() const {
        std::int64_t bytes = 0;
        for (const BufferBundle* block = m_head; block != nullptr; block = block->next) {
            const std::int32_t start = block == m_head ? m_readOffset : 0;
            if (block->used <= 0 || start + block->used > block->capacity) {
                return false;
            }
            if (block->next == nullptr && m_tail != (block == m_head ? nullptr : block)) {
                return false;
            }
            bytes += block->used;
        }
        return bytes == m_byteCount && m_bundleCount == getBundleCount() && (m_head != nullptr || m_tail == nullptr);
    }
    int m_taken = 0;
    int m_given = 0;

protected:
    BufferBundle* appendBundle(BufferBundle* after) override {
        BufferBundle* const block = CFifoBuffer::appendBundle(after);
        m_taken += block != nullptr ? 1 : 0;
        return block;
    }
    void recycleFirstBundle() override {
        ++m_given;
        CFifoBuffer::recycleFirstBundle();
    }
};

std::string firstRun(const CFifoBuffer& queue) {
    const char* data = nullptr;
    int length = 0;
    queue.getFirstBundle(&data, &length);
    return {data, static_cast<std::size_t>(length)};
}

// Takes everything out block by block, as the write path does.
std::string drain(CFifoBuffer& queue) {
    std::string all;
    while (!queue.isEmpty()) {
        const std::string run = firstRun(queue);
        all += run;
        queue.clearBytes(static_cast<int>(run.size()));
    }
    return all;
}

std::string pattern(std::size_t length) {
    std::string bytes(length, '\0');
    for (std::size_t i = 0; i < length; ++i) {
        bytes[i] = static_cast<char>(i * 31 + i / 251);
    }
    return bytes;
}

TEST(FifoBuffer, FillsBlocksToTheLastByte) {
    OpenFifo queue(10000);
    const std::string bytes = pattern(25000);
    queue.append(bytes.data(), 25000);
    EXPECT_EQ(queue.getBundleCount(), 3);
    EXPECT_EQ(firstRun(queue), bytes.substr(0, 10000));
    std::array<BufferRun, 4> runs{};
    ASSERT_EQ(queue.getBundleRuns(runs.data(), 4), 3);
    EXPECT_EQ(runs[2].length, 5000);
    EXPECT_EQ(std::string(runs[1].data, 10000), bytes.substr(10000, 10000));
    EXPECT_EQ(queue.getBundleRuns(runs.data(), 2), 2);
    queue.clearBytes(10000);
    EXPECT_EQ(queue.getBundleCount(), 2);
    queue.clearBytes(14999);
    EXPECT_EQ(firstRun(queue), bytes.substr(24999));
    queue.append(bytes.data(), 5000);
    EXPECT_EQ(queue.getBundleCount(), 1) << "the rest of the single block is used up first";
    queue.append(bytes.data() + 5000, 1);
    EXPECT_EQ(queue.getBundleCount(), 2);
    EXPECT_TRUE(queue.isConsistent());
    EXPECT_EQ(drain(queue), bytes.substr(24999) + bytes.substr(0, 5001));
}

TEST(FifoBuffer, NothingIsAppendedOrConsumedWithoutReason) {
    OpenFifo queue(16);
    const BufferRun negative[] = {{"ab", 2}, {"cd", -1}};
    for (const int length : {0, -1, INT32_MIN}) {
        queue.append("x", length);
        queue.clearBytes(length);
        EXPECT_EQ(queue.getByteCount(), 0) << length;
    }
    EXPECT_FALSE(queue.appendRuns(negative, 2));
    EXPECT_TRUE(queue.isEmpty());
    EXPECT_EQ(queue.m_taken, 0);
    const char* data = "x";
    int length = 1;
    queue.getFirstBundle(&data, &length);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(length, 0);
    queue.append("abc", 3);
    queue.clearBytes(-5);
    EXPECT_EQ(queue.getByteCount(), 3);
    queue.clearBytes(INT32_MAX);
    EXPECT_TRUE(queue.isEmpty());
    EXPECT_EQ(queue.getByteCount(), 0);
    EXPECT_EQ(queue.m_given, 1);
}

TEST(FifoBuffer, BundleSizeOfNothingTakesNoByteAndNoMemory) {
    for (const int size : {0, -1, INT32_MIN}) {
        OpenFifo queue(size);
        queue.append("abc", 3);
        EXPECT_TRUE(queue.isEmpty());
        EXPECT_TRUE(queue.isConsistent());
    }
    OpenFifo queue(4);
    queue.append("ab", 2);
    queue.setBundleSize(0);
    queue.append("cde", 3);
    queue.append("fg", 2);
    EXPECT_EQ(drain(queue), "abfg") << "what fits into the last block is still taken";
}

TEST(FifoBuffer, AppendBeyondTheLargestCountIsRefused) {
    OpenFifo queue(64);
    queue.append("0123456789", 10);
    queue.pretendByteCount(INT32_MAX - 9);
    queue.append("0123456789", 10);
    EXPECT_EQ(firstRun(queue).size(), 10U);
    queue.append("012345678", 9);
    EXPECT_EQ(queue.getByteCount(), INT32_MAX);
    EXPECT_EQ(firstRun(queue).size(), 19U);
    queue.pretendByteCount(19);
    const BufferRun runs[] = {{"a", INT32_MAX}, {"b", INT32_MAX}};
    EXPECT_FALSE(queue.appendRuns(runs, 2));
    EXPECT_EQ(queue.m_taken, 1);
}

TEST(FifoBuffer, MemoryRunningOutLeavesNothingHalfQueued) {
    const std::string bytes = pattern(240);
    for (int fail = 1; fail <= 5; ++fail) {
        for (const int standing : {0, 7, 48, 50}) {
            CBundleManager::getInstance()->clear();
            OpenFifo queue(48);
            queue.append(bytes.data(), standing);
            const int blocks = queue.getBundleCount();
            const int total = CBundleManager::getInstance()->getTotalBundleCount();
            const BufferRun runs[] = {{bytes.data(), 2}, {bytes.data() + 2, 5 * 48 - 2}};
            for (const bool asRuns : {false, true}) {
                CBundleManager::getInstance()->clear();
                const FailingAlloc scarce(fail);
                if (asRuns) {
                    EXPECT_FALSE(queue.appendRuns(runs, 2));
                } else {
                    queue.append(bytes.data(), 5 * 48);
                }
                EXPECT_TRUE(scarce.failed());
                EXPECT_TRUE(queue.isConsistent());
                EXPECT_EQ(queue.getByteCount(), standing);
            }
            EXPECT_EQ(queue.getBundleCount(), blocks);
            EXPECT_EQ(CBundleManager::getInstance()->getTotalBundleCount(), total + fail - 1);
            EXPECT_TRUE(queue.appendRuns(runs, 2));
            EXPECT_EQ(drain(queue), bytes.substr(0, static_cast<std::size_t>(standing)) + bytes);
        }
    }
}

class FifoAgainstDeque : public testing::TestWithParam<int> {};

TEST_P(FifoAgainstDeque, HoldsTheSameBytesThroughAnyTraffic) {
    std::mt19937 random(static_cast<unsigned>(GetParam()));
    OpenFifo queue(GetParam());
    std::deque<char> model;
    char next = 0;
    const auto below = [&random](int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); };
    for (int step = 0; step < 20000; ++step) {
        const int sizes[] = {1, below(8), GetParam(), below(3 * GetParam() + 1)};
        const int length = sizes[below(4)];
        if (below(2) == 0 && model.size() < 100000) {
            std::string bytes(static_cast<std::size_t>(length), '\0');
            std::ranges::generate(bytes, [&next] { return next++; });
            if (below(2) == 0) {
                queue.append(bytes.data(), length);
            } else {
                const int first = below(length + 1);
                const BufferRun runs[] = {{bytes.data(), first}, {bytes.data() + first, length - first}};
                queue.appendRuns(runs, 2);
            }
            model.insert(model.end(), bytes.begin(), bytes.end());
        } else {
            queue.clearBytes(length);
            model.erase(model.begin(), model.begin() + std::min<std::ptrdiff_t>(length, std::ssize(model)));
        }
        if (below(500) == 0) {
            queue.setBundleSize(1 + below(2 * GetParam()));
        }
        ASSERT_EQ(queue.getByteCount(), std::ssize(model));
        ASSERT_EQ(queue.isEmpty(), model.empty());
        const std::string run = firstRun(queue);
        ASSERT_TRUE(std::equal(run.begin(), run.end(), model.begin())) << "step " << step;
        ASSERT_TRUE(queue.isConsistent());
    }
    EXPECT_EQ(queue.m_taken - queue.m_given, queue.getBundleCount());
    EXPECT_EQ(drain(queue), std::string(model.begin(), model.end()));
}

INSTANTIATE_TEST_SUITE_P(BundleSizes, FifoAgainstDeque, testing::Values(1, 2, 7, 64, 1000));

} // namespace
